#include "app/console.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iostream>
#include <new>
#include <utility>

#include "quarn/interpreter/limits/limits.h"

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

/// Reads a script in blocks and cuts it into lines. A line within a block is not copied.
class ScriptLines {
public:
    explicit ScriptLines(File& script) : m_script(script) {}

    /// The next line, valid until the next call; false at the end. If a line does not fit in memory, skips it, leaves
    /// `line` empty, and throws std::bad_alloc.
    bool Read(std::string_view& line) {
        const bool hasLine = ReadAny(line);
        constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
        if (std::exchange(m_isAtBegin, false) && line.starts_with(ByteOrderMark))
            line.remove_prefix(ByteOrderMark.size());
        return hasLine;
    }

private:
    bool ReadAny(std::string_view& line) {
        bool isWhole = Cut(line);
        if (isWhole) return true;
        try {
            m_joined = line;
            while (!isWhole && ReadBlock()) {
                isWhole = Cut(line);
                m_joined += line;
            }
        } catch (const std::bad_alloc&) {
            m_joined = std::string();
            while (!isWhole && ReadBlock()) isWhole = Cut(line);
            line = {};
            throw;
        }
        line = m_joined;
        return isWhole || !line.empty();
    }

    /// Cuts off the line, or as much of it as the block holds. False if it continues in the next block.
    bool Cut(std::string_view& part) {
        const std::size_t end = m_rest.find('\n');
        part = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(part.size() + 1, m_rest.size()));
        return end != std::string_view::npos;
    }
    /// Reads the next block. False at the end of the script.
    bool ReadBlock() {
        m_rest = {m_block.data(), m_script.ReadAvailable(m_block.data(), m_block.size())};
        return !m_rest.empty();
    }

    File& m_script;
    bool m_isAtBegin = true;
    std::array<char, 8192> m_block;
    std::string_view m_rest; ///< of the block, not yet cut off
    std::string m_joined;    ///< the current line, if it spans several blocks
};

void ReportLostOutput() { std::cerr << "orbel: the output could not be written\n"; }

} // namespace

void RunScript(State& state, File script) {
    ScriptLines lines(script);
    bool hasLine = true;
    while (hasLine && std::cout.good()) {
        std::string_view line;
        try {
            hasLine = lines.Read(line);
        } catch (const std::bad_alloc&) {
            state.PrintOutOfMemory();
        }
        line = WithoutCarriageReturn(line);
        if (!line.empty()) state.ParseLine(line);
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
        if (got == LineInput::Got::Line) state.ParseLine(text);
        input.AnswerInterrupt();
    }
    ReportLostOutput();
}

} // namespace Quarn
