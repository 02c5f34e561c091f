#include "app/line_input.h"

#include "app/line_editor.h"
#include "app/terminal.h"
#include "quarn/core/file.h"

namespace Quarn {

namespace {

/// Lines from a pipe or a file. They never end: after the last one the line stays empty, or as it is if it had no line
/// end.
class StreamInput : public LineInput {
public:
    Got ReadLine(std::string& line) override {
        Quarn::ReadLine(std::cin, line);
        return Got::Line;
    }
    Got ReadAnswer(std::string& line) override { return ReadLine(line); }
    std::istream& GetAnswers() override { return std::cin; }
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
