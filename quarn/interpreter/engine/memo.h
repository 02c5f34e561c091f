#pragma once

#include "quarn/interpreter/limits/engine_limits.h"
#include "quarn/types/operand.h"

namespace Quarn {

/// Watches an evaluation, for whoever remembers its result.
class Recording {
public:
    explicit Recording(EngineLimits& limits)
        : m_limits(limits), m_sounding(limits), m_moment(limits.GetClock().Moment()), m_deeds(limits.GetClock().deeds),
          m_spent(limits.GetSpent()) {}

    /// Whether a second evaluation would give the same result. Not if it called something impure, or abandoned
    /// anything: that may depend on where it was met, even if it was not passed on.
    bool IsRepeatable() const { return m_limits.GetClock().deeds == m_deeds; }
    std::uint64_t GetMoment() const { return m_moment; }
    /// The levels of nesting that it took so far.
    unsigned GetDepth() const { return m_sounding.GetReached(); }
    /// The steps that it took so far.
    std::uint64_t GetSteps() const { return m_limits.GetSpent() - m_spent; }

private:
    EngineLimits& m_limits;
    const EngineLimits::Sounding m_sounding;
    const std::uint64_t m_moment;
    const std::uint64_t m_deeds;
    const std::uint64_t m_spent;
};

/// What is known of an expression: its value, or that it cannot be evaluated, for as long as evaluating it again would
/// give the same. An object is held by the limits and not by the memo, since it may lead to the expression.
class Memo {
public:
    /// Whether it may replace an evaluation now. Not where too few levels are left: the evaluation would fail.
    bool Holds(EngineLimits& limits) const {
        const Clock& clock = limits.GetClock();
        return m_reading == (m_isFailure ? clock.Values() : clock.Moment()) && m_depth <= limits.GetRemainingLevels() &&
               (m_isFailure || m_type || limits.FindKept(m_word));
    }
    /// Gives the result once more, for one step. A known failure has no message: nobody would see it.
    Outcome Recall(EngineLimits& limits, Operand& value, s_str& error) const {
        if (const Outcome outcome = limits.Spend(1, error); !outcome) return outcome;
        limits.Reach(m_depth);
        if (m_isFailure) return Outcome::Failed;
        value = m_type ? Operand(*m_type, m_word) : Operand(limits.FindKept(m_word));
        return Outcome::WentOn;
    }
    /// Remembers the value, or the failure if it is null, if it is worth it and will hold.
    void Remember(const Operand& value, const Recording& recording, EngineLimits& limits) {
        if (!recording.IsRepeatable()) return;
        const Clock& clock = limits.GetClock();
        if (!value) {
            *this = {clock.Values(), nullptr, 0, recording.GetDepth(), true};
        } else if (clock.Moment() != recording.GetMoment()) {
            return;
        } else if (const FlatType* const type = value.GetFlatType()) {
            *this = {clock.Moment(), type, value.GetWord(), recording.GetDepth()};
        } else if (const auto number = limits.Keep(value.ToObject(), recording.GetSteps())) {
            *this = {clock.Moment(), nullptr, *number, recording.GetDepth()};
        }
    }

    Memo() = default;

private:
    Memo(std::uint64_t reading, const FlatType* type, Word word, unsigned depth, bool isFailure = false)
        : m_reading(reading), m_type(type), m_word(word), m_depth(depth), m_isFailure(isFailure) {}

    std::uint64_t m_reading = 0;      ///< the `Clock::Moment`, or for a failure the `Clock::Values`; 0 for none
    const FlatType* m_type = nullptr; ///< null for an object, or a failure
    Word m_word = 0;                  ///< the flat value, or the number of the object
    unsigned m_depth = 0;             ///< the levels of nesting that it took
    bool m_isFailure = false;
};

} // namespace Quarn
