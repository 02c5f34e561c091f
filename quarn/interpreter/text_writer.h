#pragma once

#include <map>

#include "quarn/interpreter/limits.h"

namespace Quarn {

class Expression;
class Operand;
class State;
class Symbol;

/// Makes the text of a value. Values may have texts that are endless, or double with each reference. So levels count
/// here as everywhere, each element takes a step, and the text has a largest size.
class QUARN_API TextWriter {
public:
    struct Limit {
        std::size_t size;     ///< of the text, in characters
        std::size_t perValue; ///< added for each value besides its characters
        const char* message;  ///< of the failure if the size is exceeded
    };

    /// For reports and messages. A flat vector of the largest size fits, whatever its numbers: the longest,
    /// "-1.23456789012345e-308, ", count 32. A report takes this much memory, and up to as much again while it grows.
    /// Each value counts extra because writing it takes time, and for a reference also an evaluation; so a text that
    /// doubles is stopped after a few seconds.
    static constexpr Limit Report{std::size_t{33} << 24, 8, "\tError : The text of the value is too long to be shown"};

    /// Appends to the text. Without limits, levels and steps count only from the first reference on.
    TextWriter(Limits* limits, s_str& text, s_str& error, const Limit& limit = Report);
    ~TextWriter();
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    /// The text of a value by itself; the error message if it cannot be made.
    static s_str TextOf(const Symbol& value, Limits* limits);

    // If one of these fails, the appended text is useless.

    Outcome Write(const Symbol& value);
    Outcome Write(const Operand& value);
    Outcome Append(std::string_view text);
    Outcome Append(const Expression& expression);
    /// "name = " for a value that has a name.
    Outcome AppendName(const s_str& name);
    /// Calls `write`, one level deeper, for what is nested in a value.
    template <class WriteNested> Outcome Nest(const WriteNested& write) {
        m_isNested = true;
        if (!m_limits) return write();
        const Limits::Level level(*m_limits);
        return level ? write() : m_limits->AbandonTooDeep(m_error);
    }
    Outcome Spend(std::size_t steps) { return m_limits ? m_limits->Spend(steps, m_error) : Outcome(Outcome::WentOn); }
    /// Fails if the statement must stop, or was stopped by an evaluation that did not report it.
    Outcome CheckStopped() {
        return m_limits && m_limits->MustStop() ? m_limits->CheckStopped(m_error) : Outcome(Outcome::WentOn);
    }

    /// Writes an expression's result by `write`, or copies it if it was written before and nothing has changed since:
    /// texts that double with each reference are stopped early. The moment and the deeds are those of the evaluator.
    template <class Write, class GetDeeds> Outcome WriteOnce(const s_refptr<Expression>& expression,
                                                             std::uint64_t moment, const GetDeeds& getDeeds,
                                                             const Write& write) {
        if (const Written* const written = FindWritten(*expression, moment)) return Repeat(*written);
        const Limits::Sounding sounding(*m_limits);
        const std::uint64_t deeds = getDeeds() + m_circles;
        Written written{expression, moment, m_text.View().size(), 0, m_size, m_limits->GetSpent(), 0};
        const Outcome outcome = write();
        if (outcome && getDeeds() + m_circles == deeds) Remember(std::move(written), sounding.GetReached());
        return outcome;
    }

    /// The result of an expression while it is written. Meeting the expression again within it is a circle. The
    /// outermost reference does not count: its result reads as that value reads by itself.
    class ExpressionResult {
    public:
        /// If there were no limits, these apply from here on.
        ExpressionResult(TextWriter& writer, const Expression& expression, Limits& limits);
        ~ExpressionResult() {
            if (m_isNested) m_writer.m_innermost = m_outer;
        }
        ExpressionResult(const ExpressionResult&) = delete;
        ExpressionResult& operator=(const ExpressionResult&) = delete;
        bool IsCircle() const;

    private:
        TextWriter& m_writer;
        const Expression& m_expression;
        const bool m_isNested;
        const ExpressionResult* const m_outer;
    };

private:
    /// The text of an expression's result.
    struct Written {
        s_refptr<Expression> expression;
        std::uint64_t moment;
        std::size_t begin; ///< in the text
        std::size_t length;
        std::size_t size;    ///< as the limit counts it
        std::uint64_t steps; ///< that it took
        unsigned depth;
    };

    const Written* FindWritten(const Expression& expression, std::uint64_t moment) const;
    Outcome Repeat(const Written& written);
    void Remember(Written written, unsigned depth);
    Outcome Count(std::size_t size);

    Limits* m_limits;
    s_str& m_text;
    s_str& m_error;
    const Limit& m_limit;
    std::size_t m_size = 0;
    const ExpressionResult* m_innermost = nullptr;
    bool m_isNested = false;     ///< writing what is nested in a value
    std::uint64_t m_circles = 0; ///< that were met; what surrounds one reads otherwise elsewhere
    std::map<const Expression*, Written> m_written;
};

} // namespace Quarn
