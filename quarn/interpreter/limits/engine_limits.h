#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "quarn/interpreter/limits/clock.h"
#include "quarn/interpreter/limits/kept_values.h"
#include "quarn/interpreter/limits/limits.h"

namespace Quarn {

/// The limits as the engine uses them: what is spent, what was stopped or abandoned, and which values are kept.
class EngineLimits final : public Limits {
public:
    explicit EngineLimits(Clock& clock) : m_clock(clock) {}

    static EngineLimits& Of(Limits& limits) { return limits.Engine(); }
    Clock& GetClock() const { return m_clock; }

    /// Starts the budget of an evaluation unless one is under way, as the outermost level does.
    class Entry {
    public:
        explicit Entry(EngineLimits& limits) {
            if (limits.IsIdle()) m_level.emplace(limits);
        }

    private:
        std::optional<Level> m_level;
    };
    /// Whether an evaluation that begins now may take so few steps, counted beforehand, and so many levels, without any
    /// further check. Reads no clock.
    bool AllowBrief(std::uint64_t steps, unsigned depth) const {
        return m_depth == 0 && steps <= m_mostBriefSteps && depth <= m_deepestNesting && !IsCancelled();
    }
    /// The outermost level of such an evaluation. Its budget begins only when something within it needs one.
    class Brief {
    public:
        Brief(EngineLimits& limits, std::uint64_t steps) : m_limits(limits) {
            limits.m_depth = OutermostDepth;
            limits.m_stepsToCheck = 0; // whatever takes more begins the budget
            limits.m_briefSteps = steps;
        }
        ~Brief() {
            m_limits.m_depth = 0;
            m_limits.m_briefSteps = 0;
            if (m_limits.m_hasBegun) m_limits.End();
        }
        Brief(const Brief&) = delete;
        Brief& operator=(const Brief&) = delete;
        /// Whether a limit ended what a callable evaluated.
        bool IsStopped() const { return m_limits.m_hasBegun && m_limits.IsStopped(); }

    private:
        EngineLimits& m_limits;
    };
    bool IsIdle() const { return m_depth == 0; }
    /// How many more levels may nest.
    unsigned GetRemainingLevels() const {
        const unsigned deepest = OutermostDepth + m_deepestNesting;
        return m_depth < deepest ? deepest - m_depth : 0;
    }
    /// Records that this many further levels were needed, though none was entered.
    void Reach(unsigned levels) {
        if (m_depth + levels > m_deepestReached) m_deepestReached = m_depth + levels;
    }
    /// How many steps were spent since the statement or evaluation under way began.
    std::uint64_t GetSpent() const { return m_granted - m_stepsToCheck; }
    /// Spends steps if so many are left. If fewer are, stops nothing: the work may fail before it uses them up.
    bool SpendIfLeft(std::uint64_t steps) {
        BeginIfNeeded();
        s_str unseen;
        return GetLeft() >= steps && Spend(steps, unseen);
    }
    std::uint64_t GetLeft() const { return m_stepsBeyond == Unlimited ? Unlimited : m_stepsBeyond + m_stepsToCheck; }
    /// Takes back steps that were spent but not taken.
    void TakeBack(std::uint64_t steps) { m_stepsToCheck += steps; }

    /// Fails if the statement was stopped. Messages behind the position are dropped: they are only consequences.
    Outcome CheckStopped(s_str& error, std::size_t position) {
        if (!m_stopped) return Outcome::WentOn;
        error.Truncate(position);
        return Abandon(error, m_stopped, GetStopKind());
    }
    Outcome CheckStopped(s_str& error) { return CheckStopped(error, error.View().size()); }
    /// Records that something is about to be called that is not pure. False if it must not be, as this is a preview.
    bool CountDeed() {
        ++m_clock.deeds;
        return !m_isPreview;
    }
    /// The same; stops a preview.
    Outcome CountDeed(s_str& error) { return CountDeed() ? Outcome(Outcome::WentOn) : StopPreview(error); }
    bool IsStopped() const { return m_stopped != nullptr; }
    using Limits::IsCancelled;
    /// Whether the statement, or the last one if none is under way, was stopped by cancellation.
    bool WasCancelled() const;
    /// The message if the time is over, or on cancellation; null otherwise.
    const char* GetInterruption() const;

    /// The outcome of an operation that appends to the error text when it fails.
    Outcome OutcomeOf(bool succeeded, const s_str& error) const {
        if (succeeded) return Outcome::WentOn;
        return m_abandonment && error.View().ends_with(m_abandonment->error) ? Outcome::Abandoned : Outcome::Failed;
    }
    /// The message of the last failure that was abandoned, and its kind; null if there was none.
    const Failure* GetAbandonment() const { return m_abandonment.get(); }

    /// Keeps a value, which took so many steps, while the statement or evaluation under way lasts: see `KeptValues`.
    std::optional<std::uint64_t> Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept;
    /// Null if it was let go.
    const s_refptr<Symbol>& FindKept(std::uint64_t number) { return m_kept.Find(number); }
    /// Destroys all that is left.
    void DestroyDiscarded() noexcept;

    /// An error text that nobody else sees. Its end restores what was known of the caller's abandonment.
    class PrivateError {
    public:
        explicit PrivateError(EngineLimits& limits) : m_limits(limits), m_outer(std::move(limits.m_abandonment)) {}
        ~PrivateError() { m_limits.m_abandonment = std::move(m_outer); }
        PrivateError(const PrivateError&) = delete;
        PrivateError& operator=(const PrivateError&) = delete;

        s_str text;

    private:
        EngineLimits& m_limits;
        std::unique_ptr<const Failure> m_outer;
    };

    /// While it exists, nothing may take longer than this, or call what is not pure.
    class Preview {
    public:
        Preview(EngineLimits& limits, double seconds)
            : m_limits(limits), m_timeLimit(std::exchange(limits.m_timeLimit, seconds)), m_level(limits) {
            limits.m_isPreview = true;
        }
        ~Preview() {
            m_limits.m_isPreview = false;
            m_limits.m_timeLimit = m_timeLimit;
        }
        Preview(const Preview&) = delete;
        Preview& operator=(const Preview&) = delete;

    private:
        EngineLimits& m_limits;
        const double m_timeLimit;
        const Level m_level;
    };

    /// Finds the deepest level that is reached while it exists.
    class Sounding {
    public:
        explicit Sounding(EngineLimits& limits)
            : m_limits(limits), m_before(std::exchange(limits.m_deepestReached, limits.m_depth)) {}
        ~Sounding() { m_limits.m_deepestReached = std::max(m_limits.m_deepestReached, m_before); }
        Sounding(const Sounding&) = delete;
        Sounding& operator=(const Sounding&) = delete;
        /// Counted from the current level.
        unsigned GetReached() const { return m_limits.m_deepestReached - m_limits.m_depth; }

    private:
        EngineLimits& m_limits;
        const unsigned m_before;
    };

private:
    friend class Limits;

    void BeginIfNeeded() {
        if (m_depth > 0 && !m_hasBegun) Begin();
    }
    FailureKind GetStopKind() const;
    Outcome StopPreview(s_str& error);
    void TakePortion();
    void TakeBackPortion();
    void DestroyUnlessInterrupted() noexcept;

    Clock& m_clock;
    std::uint64_t m_stepsBeyond = Unlimited; ///< of the budget, not yet granted
    std::uint64_t m_granted = 0;             ///< steps that are spent, or left before the next check
    std::uint64_t m_briefSteps = 0;          ///< of the `Brief` level under way
    const char* m_stopped = nullptr;         ///< the message, once the statement was stopped
    bool m_isPreview = false;
    std::unique_ptr<const Failure> m_abandonment;
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    DiscardedValues m_discarded;
    KeptValues m_kept{m_discarded};
};

} // namespace Quarn
