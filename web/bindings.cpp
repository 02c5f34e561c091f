// What the module in JavaScript calls: a calculator at whose prompt somebody types, as app/console.h has it, but in
// steps. Texts are UTF-8. They come and go in a buffer of the calculator; a result is its size.

#include <algorithm>
#include <cstddef>
#include <istream>
#include <sstream>
#include <string>
#include <string_view>

#include "app/advisor.h"
#include "app/console.h"
#include "app/utf8.h"
#include "quarn/interpreter/limits/limits.h"
#include "quarn/interpreter/state.h"
#include "quarn/interpreter/statement_form.h"
#include "quarn/types/vector.h"

#define EXPORTED extern "C" __attribute__((used, visibility("default")))

using namespace Quarn;

namespace {

/// A question that nobody has answered yet.
struct Asked {};

/// The answer to a question. A statement that asks is carried out twice: first up to the question, then, with the
/// answer, from its beginning, without the question.
class Answer : public std::streambuf {
public:
    explicit Answer(std::ostringstream& output) : m_output(output) {}
    void Give(std::string text) {
        m_text = std::move(text) + "\n";
        m_isGiven = true;
    }

protected:
    int_type underflow() override {
        if (!m_isGiven) throw Asked();
        m_isGiven = false;
        m_output.str({}); // the question
        setg(m_text.data(), m_text.data(), m_text.data() + m_text.size());
        return traits_type::to_int_type(m_text.front());
    }

private:
    std::ostringstream& m_output;
    std::string m_text;
    bool m_isGiven = false;
};

class Calculator {
public:
    explicit Calculator(unsigned levels) {
        m_input.exceptions(std::ios::badbit); // passes on what a buffer throws
        m_state.SetStreams(m_input, m_output);
        Vector::Register(m_state);
        m_state.GetLimits().SetDeepestNesting(levels);
    }

    char* Reserve(std::size_t size) {
        m_text.resize(size);
        return m_text.data();
    }
    const char* GetText() const { return m_text.data(); }

    /// Carries out the lines of a script.
    std::size_t Run() {
        std::string_view rest = m_text;
        while (!rest.empty()) {
            std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            line = WithoutCarriageReturn(line);
            if (!line.empty()) m_state.ParseLine(line);
        }
        return Show();
    }

    /// Begins a line. At a prompt, "~" asks.
    void Begin(bool isScript) {
        m_state.SetInteractive(!isScript);
        m_line = m_text;
        m_rest = WithoutCarriageReturn(m_line);
    }
    /// Carries out the next statement of the line.
    std::size_t Step() {
        m_isAsked = false;
        const std::string_view before = m_rest;
        std::string_view statement;
        if (!CutStatement(m_rest, statement)) return Show();
        try {
            m_state.ParseLine(statement);
        } catch (const Asked&) {
            m_isAsked = true;
            m_input.clear();
            m_rest = before;
        }
        return Show();
    }
    bool IsAtEnd() const { return m_rest.find_first_not_of(';') == std::string_view::npos; }
    /// Whether the last step ended in a question. After the answer, the next step is the same one.
    bool IsAsked() const { return m_isAsked; }
    void GiveAnswer() { m_answer.Give(m_text); }

    std::size_t Advise(std::size_t cursor) {
        m_advisor.Begin();
        const std::u32string line = FromUtf8(m_text);
        m_text = ToUtf8(m_advisor.Advise(line, FromUtf8(m_text.substr(0, cursor)).size()).answer);
        return m_text.size();
    }
    /// The position where candidates begin, and the candidates, one a line.
    std::size_t Complete(std::size_t position) {
        const Completions completions = m_state.Complete(m_text, position);
        m_text = std::to_string(completions.begin);
        for (const s_str& candidate : completions.candidates) (m_text += '\n') += candidate.Get();
        return m_text.size();
    }

private:
    std::size_t Show() {
        m_text = m_output.str();
        m_output.str({});
        return m_text.size();
    }

    std::ostringstream m_output;
    Answer m_answer{m_output};
    std::istream m_input{&m_answer};
    State m_state;
    Advisor m_advisor{m_state};
    std::string m_text;
    std::string m_line;
    std::string_view m_rest; ///< of the line, not yet carried out
    bool m_isAsked = false;
};

} // namespace

EXPORTED Calculator* Open(unsigned levels) { return new Calculator(levels); }
EXPORTED char* Reserve(Calculator* calculator, std::size_t size) { return calculator->Reserve(size); }
EXPORTED const char* GetText(const Calculator* calculator) { return calculator->GetText(); }
EXPORTED std::size_t Run(Calculator* calculator) { return calculator->Run(); }
EXPORTED void Begin(Calculator* calculator, bool isScript) { calculator->Begin(isScript); }
EXPORTED std::size_t Step(Calculator* calculator) { return calculator->Step(); }
EXPORTED bool IsAtEnd(const Calculator* calculator) { return calculator->IsAtEnd(); }
EXPORTED bool IsAsked(const Calculator* calculator) { return calculator->IsAsked(); }
EXPORTED void GiveAnswer(Calculator* calculator) { calculator->GiveAnswer(); }
EXPORTED std::size_t Advise(Calculator* calculator, std::size_t cursor) { return calculator->Advise(cursor); }
EXPORTED std::size_t Complete(Calculator* calculator, std::size_t position) { return calculator->Complete(position); }
