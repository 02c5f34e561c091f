#pragma once

#include <map>

#include "quarn/interpreter/limits/limits.h"

namespace Quarn {

class EngineLimits;
class Expression;
class Operand;
class Recording;
class Reference;
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

    /// Appends to the text. If `limits` is null, nothing is counted until the first reference, which brings its own.
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
        Limits* const limits = GetLimits();
        if (!limits) return write();
        const Limits::Level level(*limits);
        return level ? write() : limits->AbandonTooDeep(m_error);
    }
    Outcome Spend(std::size_t steps);
    /// Fails if the statement must stop, or was stopped by an evaluation that did not report it.
    Outcome CheckStopped();
    /// Writes what a reference shows: the value of its expression, or else the expression. If there were no limits,
    /// these apply from there on.
    Outcome WriteResult(const Reference& reference, Limits& limits);

private:
    /// The text of an expression's result.
    struct Written {
        s_refptr<Expression> expression;
        std::uint64_t moment;
        std::size_t begin; ///< in the text
        std::size_t length;
        std::size_t size; ///< as the limit counts it
        std::uint64_t steps = 0;
        unsigned depth = 0;
    };

    class ExpressionResult;

    Limits* GetLimits() const;
    Outcome WriteOnce(const Reference& reference, bool isCircle);
    Outcome WriteValue(const Reference& reference, bool isCircle);
    const Written* FindWritten(const Expression& expression) const;
    Outcome Repeat(const Written& written);
    void Remember(Written written, const Recording& recording);
    Outcome Count(std::size_t size);

    EngineLimits* m_limits;
    s_str& m_text;
    s_str& m_error;
    const Limit& m_limit;
    std::size_t m_size = 0;
    const ExpressionResult* m_innermost = nullptr;
    bool m_isNested = false;     ///< writing what is nested in a value
    std::uint64_t m_circles = 0; ///< how many were met; a text with one depends on where it began
    std::map<const Expression*, Written> m_written;
};

} // namespace Quarn
