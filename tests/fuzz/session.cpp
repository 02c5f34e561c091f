#include "session.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include <quarn/quarn.h>

#include "quarn/interpreter/language/names.h"
#include "require.h"

namespace {

/// Legal statements can run almost without end, for example doubling references; the fuzzer has to get through them.
constexpr std::uint64_t StepBudget = 20'000;

} // namespace

void PlayAnything(std::string_view script) {
    using namespace Quarn;
    std::istringstream input("n\ny\nY\n\n");
    std::ostringstream output;
    State state;
    Vector::Register(state);
    state.SetStreams(input, output);
    state.SetInteractive(true);
    state.GetLimits().SetStepBudget(StepBudget);
    while (!script.empty()) {
        const std::size_t end = std::min(script.find('\n'), script.size());
        const auto before = state.GetSymbols();
        const Result<s_str> preview = state.Preview(script.substr(0, end), std::chrono::milliseconds(5));
        Require(state.GetSymbols() == before, "a preview has changed symbols");
        state.ParseLine(script.substr(0, end));
        const bool isRight = !preview || preview->IsEmpty() || output.str().ends_with(preview->Get() + "\n");
        Require(isRight, "a preview shows something else than the line gives");
        script.remove_prefix(std::min(end + 1, script.size()));
        Require(state.GetSymbols().contains("_"), "there is no last result");
    }
    for (const auto& [name, value] : state.GetSymbols())
        Require(value && (name == "_" || IsNameCharacter(name.View().empty() ? 'a' : name.View()[0])), "a bad symbol");
    output.str("");
    state.ParseLine("1+abs(<1, 2>[1])");
    Require(output.str() == "\tScalar : 3\n", "a simple expression fails");
    Require(output.good(), "the output failed");
}
