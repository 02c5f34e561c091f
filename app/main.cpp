#include <csignal>
#include <iostream>

#include "app/console.h"
#include "app/process.h"
#include "app/services.h"
#include "quarn/interpreter/limits/limits.h"
#include "quarn/types/vector.h"

int main(int argumentCount, char** argumentWords) {
    using namespace Quarn;
    std::ios::sync_with_stdio(false);
    const bool hasOutput = PrepareStreams();
    PrepareForLackOfMemory();
    s_ctnr_t<s_str> arguments;
    for (int i = 0; i < argumentCount; ++i) arguments.PushBack(argumentWords[i]);
    std::cin.tie(nullptr); // output is flushed where somebody waits for it

    const s_str scriptPath = arguments.Count() > 1 ? arguments[1] : s_str();
    StartServices(scriptPath);
    State state;
    Vector::Register(state);
    state.GetLimits().SetDeepestNesting(FitNestingToStack());
    File script = OpenScript(scriptPath);
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN); // writing to a closed pipe fails instead
#endif
    if (script.IsOpen()) {
        RunScript(state, std::move(script));
        StopServices();
    } else {
        if (!hasOutput) std::cout.setstate(std::ios::badbit);
        RunInteractive(state, *OpenLineInput(state)); // the services live until the process ends
    }
    return 0;
}
