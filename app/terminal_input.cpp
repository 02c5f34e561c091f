#include "app/terminal.h"

namespace Quarn {

namespace {

class TerminalInput : public LineInput {
public:
    Got ReadLine(std::string& line) override { return Read(line, "q"); }
    Got ReadAnswer(std::string& line) override { return Read(line, "n"); }
    std::istream& GetAnswers() override { return m_answers; }
    const std::atomic<bool>* GetInterrupt() const override { return &m_terminal.GetInterrupt(); }
    void AnswerInterrupt() override {
        if (m_terminal.GetInterrupt()) m_unread.clear();
        m_terminal.AnswerInterrupt();
    }

private:
    /// Ctrl-D on an empty line types `atEnd`. Otherwise the terminal passes the line on without its end.
    Got Read(std::string& line, std::string_view atEnd) {
        line.clear();
        for (;;) {
            const auto end = m_unread.find('\n');
            if (end != std::string::npos) {
                line = m_unread.substr(0, end);
                m_unread.erase(0, end + 1);
                return Got::Line;
            }
            switch (m_terminal.Read(m_unread)) {
            case Terminal::Event::Input:
            case Terminal::Event::Resized:
            case Terminal::Event::Continued: break;
            case Terminal::Event::Interrupt: m_terminal.Echo("\n"); return Got::Nothing;
            case Terminal::Event::EndOfFile:
                if (m_unread.empty()) m_terminal.Echo(atEnd);
                m_terminal.Echo("\n");
                line += m_unread.empty() ? atEnd : m_unread;
                m_unread.clear();
                return Got::Line;
            case Terminal::Event::Gone: return Got::End;
            }
        }
    }

    Terminal m_terminal;
    std::string m_unread;
    AnswerBuffer m_answerBuffer{*this};
    std::istream m_answers{&m_answerBuffer};
};

} // namespace

std::unique_ptr<LineInput> OpenTerminalInput() {
    if (!Terminal::IsPresent()) return nullptr;
    return std::make_unique<TerminalInput>();
}

} // namespace Quarn
