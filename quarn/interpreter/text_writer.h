#pragma once

#include "quarn/interpreter/limits.h"

namespace Quarn {

class Expression;
class State;
class Symbol;

/// Makes the text of a value. The language allows values whose texts have no end, or double with each reference. Their
/// growth ends here: levels are counted as everywhere, steps for each element, and the text has a largest size.
class QUARN_API TextWriter {
public:
    struct Limit {
        std::size_t size;     ///< of the text, in characters
        std::size_t perValue; ///< what each value counts besides its characters
        const char* message;  ///< of the failure when that is exceeded
    };

    /// Of a report or a message. A flat vector of the largest size fits, whatever its numbers: the longest,
    /// "-1.23456789012345e-308, ", count 32. A report takes this much memory, and up to as much again while it grows.
    /// Each value counts extra, because writing it takes time, and behind a reference an evaluation; so a text that
    /// doubles is stopped after a few seconds.
    static constexpr Limit Report{std::size_t{33} << 24, 8, "\tError : The text of the value is too long to be shown"};

    /// Appends to the text. Without limits, levels and steps count only within references.
    TextWriter(Limits* limits, s_str& text, s_str& error, const Limit& limit = Report)
        : m_limits(limits), m_text(text), m_error(error), m_limit(limit) {}

    /// The text of a value by itself; the error message when it cannot be made.
    static s_str TextOf(const Symbol& value, Limits* limits);

    // When one of these fails, what was appended is worthless.

    Outcome Write(const Symbol& value);
    Outcome Append(std::string_view text);
    Outcome Append(const Expression& expression);
    /// "name = " for a value that has a name.
    Outcome AppendName(const s_str& name);
    /// Writes what is nested in a value, by calling `write` one level deeper.
    template <class WriteNested> Outcome Nest(const WriteNested& write) {
        m_isNested = true;
        if (!m_limits) return write();
        const Limits::Level level(*m_limits);
        return level ? write() : m_limits->AbandonTooDeep(m_error);
    }
    Outcome Spend(std::size_t steps) { return m_limits ? m_limits->Spend(steps, m_error) : Outcome(Outcome::WentOn); }
    /// Fails if the budget was exceeded, perhaps in an evaluation that kept quiet about it.
    Outcome CheckStopped() { return m_limits ? m_limits->CheckStopped(m_error) : Outcome(Outcome::WentOn); }

    /// The result of an expression, for as long as it is written. To meet the expression again within it is a circle.
    /// The reference that is to be written itself does not count: its result reads as that value reads by itself.
    class Result {
    public:
        /// These limits count from here on, if there were none.
        Result(TextWriter& writer, const Expression& expression, Limits& limits);
        ~Result() {
            if (m_isNested) m_writer.m_innermost = m_outer;
        }
        Result(const Result&) = delete;
        Result& operator=(const Result&) = delete;
        bool IsCircle() const;

    private:
        TextWriter& m_writer;
        const Expression& m_expression;
        const bool m_isNested;
        const Result* const m_outer;
    };

private:
    Outcome Count(std::size_t size);

    Limits* m_limits;
    s_str& m_text;
    s_str& m_error;
    const Limit& m_limit;
    std::size_t m_size = 0;
    const Result* m_innermost = nullptr;
    bool m_isNested = false; ///< writes what stands within another value
};

} // namespace Quarn
