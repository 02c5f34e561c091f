#include "app/line_input.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "app/line_editor.h"
#include "app/terminal.h"
#include "quarn/core/file.h"

namespace Quarn {

namespace {

/// Lines from a pipe or a file. They never end: after the last one the line stays empty, or as it is if it had no line
/// end. But each takes a little longer then than the one before, up to a second, so that a program nobody ends does not
/// fill a disk.
class StreamInput : public LineInput {
public:
    Got ReadLine(std::string& line) override {
        if (!std::cin) {
            std::this_thread::sleep_for(m_pause);
            m_pause = std::min(m_pause + std::chrono::milliseconds(1), std::chrono::milliseconds(1000));
        }
        Quarn::ReadLine(std::cin, line);
        return Got::Line;
    }
    Got ReadAnswer(std::string& line) override { return ReadLine(line); }
    std::istream& GetAnswers() override { return std::cin; }

private:
    std::chrono::milliseconds m_pause{0};
};

} // namespace

AnswerBuffer::int_type AnswerBuffer::underflow() {
    const bool isDropped = m_input.ReadAnswer(m_answer) != LineInput::Got::Line;
    m_answer += isDropped ? "n\n" : "\n"; // a dropped one is empty
    setg(m_answer.data(), m_answer.data(), m_answer.data() + m_answer.size());
    return traits_type::to_int_type(m_answer.front());
}

std::unique_ptr<LineInput> OpenLineInput(State& state) {
    std::unique_ptr<LineInput> input = OpenLineEditor(state);
    if (!input) input = OpenTerminalInput();
    if (!input) input = std::make_unique<StreamInput>();
    return input;
}

} // namespace Quarn
