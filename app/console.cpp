#include "app/console.h"

#include <filesystem>
#include <iostream>
#include <new>

#include "quarn/interpreter/limits.h"

namespace Quarn {

File OpenScript(const s_str& path) {
    // Open the script only once: the writer of a pipe would see its reader disappear. `ReadWrite` fails on a read-only
    // script, and a pipe opened that way would never end because it would wait for its own write end.
    std::error_code ignored;
    constexpr int None = -1;
    constexpr bool IsBinary = true; // on Windows, a Ctrl-Z would end a text file
    if (std::filesystem::is_directory(path.Get(), ignored)) return {path, None};
    if (std::filesystem::is_regular_file(path.Get(), ignored)) {
        File script(path, File::ReadWrite, IsBinary);
        if (script.IsOpen()) return script;
    }
    return {path, File::Read, IsBinary};
}

namespace {

std::string_view WithoutCarriageReturn(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

void ReportLostOutput() { std::cerr << "orbel: the output could not be written\n"; }

} // namespace

void RunScript(State& state, File script) {
    std::string line;
    while (script.IsValid() && std::cout.good()) {
        try {
            script.ReadLine(line);
        } catch (const std::bad_alloc&) {
            state.PrintOutOfMemory();
        }
        const std::string_view text = WithoutCarriageReturn(line);
        if (!text.empty()) state.ParseLine(text);
    }
    script.Close();
    if (!std::cout.flush()) ReportLostOutput();
}

void RunInteractive(State& state, LineInput& input) {
    state.SetInteractive(true);
    state.SetStreams(input.GetAnswers(), input.GetOutput());
    state.GetLimits().SetCancellation(input.GetInterrupt());
    std::string line;
    // The end of the input is not checked: the prompt then repeats forever, with the last line if it had no line end.
    // Only the two words end the run, because programs that drive it through a pipe expect it to wait for them. Pinned
    // by the test "PromptComesBackWhenTheInputHasEnded".
    while (input.GetOutput() << "> " << std::flush) {
        LineInput::Got got = LineInput::Got::Line;
        try {
            got = input.ReadLine(line);
        } catch (const std::bad_alloc&) {
            state.PrintOutOfMemory();
        }
        if (got == LineInput::Got::End) {
            std::cerr << "orbel: the terminal is gone\n";
            return;
        }
        const std::string_view text = WithoutCarriageReturn(line);
        if (text == "q" || text == "exit") return;
        if (got == LineInput::Got::Line && !text.empty()) state.ParseLine(text);
        input.AnswerInterrupt();
    }
    ReportLostOutput();
}

} // namespace Quarn
