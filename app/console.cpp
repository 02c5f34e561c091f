#include "app/console.h"

#include <filesystem>
#include <iostream>
#include <new>

namespace Quarn {

File OpenScript(const s_str& path) {
    // Open the script only once: the writer of a pipe would see its reader disappear. `ReadWrite` fails on a read-only
    // script, and a pipe opened that way would never end because it would wait for its own write end.
    std::error_code ignored;
    constexpr int None = -1;
    if (std::filesystem::is_directory(path.Get(), ignored)) return {path, None};
    if (std::filesystem::is_regular_file(path.Get(), ignored)) {
        File script(path, File::ReadWrite);
        if (script.IsOpen()) return script;
    }
    return {path, File::Read};
}

void RunScript(State& state, File script) {
    while (script.IsValid() && std::cout.good()) {
        s_str line;
        try {
            line = script.ReadLine();
        } catch (const std::bad_alloc&) {
            state.PrintOutOfMemory();
        }
        std::string_view text = line;
        if (text.ends_with('\r')) text.remove_suffix(1);
        if (!text.empty()) state.ParseLine(text);
    }
    script.Close();
    if (!std::cout.flush()) std::cerr << "orbel: the output could not be written\n";
}

void RunInteractive(State& state) {
    state.SetInteractive(true);
    std::string line;
    // The end of the input is not checked: the prompt then repeats forever, with the last line if it had no line end.
    // Only the two words end the run, because programs that drive it through a pipe expect it to wait for them. Pinned
    // by the test "PromptComesBackWhenTheInputHasEnded".
    for (;;) {
        std::cout << "> " << std::flush;
        try {
            ReadLine(std::cin, line);
        } catch (const std::bad_alloc&) {
            state.PrintOutOfMemory();
        }
        if (line.empty()) continue;
        if (line == "q" || line == "exit") return;
        state.ParseLine(line);
    }
}

} // namespace Quarn
