#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

#include "quarn/core/api.h"
#include "quarn/core/s_refptr.h"
#include "quarn/interpreter/kept_values.h"
#include "quarn/interpreter/outcome.h"
#include "quarn/interpreter/result.h"

namespace Quarn {

class Symbol;

/// What a state may spend on a statement or an evaluation: levels of nesting, steps, and time. Each one starts anew,
/// printing and erasing included; an evaluation within another shares its budget. Whatever exceeds a limit fails with
/// an error and changes nothing.
///
/// Other threads may only set the cancellation flag.
class QUARN_API Limits {
public:
    /// How deeply vectors, references, constructors and statements may nest by default, in a text and in one another,
    /// and values within values as they are written. Everything that recurses counts (`Level`). Round brackets, calls
    /// of functions and indexings do not recurse, and nest without limit.
    static constexpr unsigned DeepestNesting = 1000;
    /// An upper bound, in bytes, for the stack that one level takes in this build of the library. Measured with the
    /// kinds of nesting that take the most; see docs/design.md.
    static const std::size_t StackPerLevel;
    /// No limit.
    static constexpr std::uint64_t Unlimited = std::numeric_limits<std::uint64_t>::max();

    Limits();
    ~Limits();

    // --- For hosts. Changes take effect with the next statement or evaluation, but for the nesting.

    /// How many steps a statement may take: operands, operators, elements of a vector that is built or shown,
    /// characters of an expression that is shown or rewritten.
    void SetStepBudget(std::uint64_t steps) { m_stepBudget = steps; }
    /// How long a statement may take. Checked every thousand steps or so. None means no limit.
    void SetTimeLimit(std::optional<std::chrono::nanoseconds> time) { m_timeLimit = time; }
    /// While the flag is true every statement and evaluation fails, including the one under way. Any thread, and a
    /// signal handler, may set the flag. Not owned; null for none.
    void SetCancellation(const std::atomic<bool>* isCancelled) { m_isCancelled = isCancelled; }
    /// How many levels may nest. Every thread that uses the state needs `StackPerLevel` bytes of stack for each level:
    /// 2.2 MiB for the 1000 levels of a release build. For a smaller stack, set a smaller limit or use `SetStackSize`.
    void SetDeepestNesting(unsigned levels);
    unsigned GetDeepestNesting() const { return m_deepestNesting; }
    /// How much memory the symbols may take together, in bytes, the last result included: by the weights of their
    /// values (`Symbol::GetWeight`). Unlimited at first. A statement that would exceed it fails.
    void SetMemory(std::uint64_t bytes) { m_memory = bytes; }
    std::uint64_t GetMemory() const { return m_memory; }
    /// Limits the nesting to what a stack of this size has room for, at most `DeepestNesting` levels. Pass the size
    /// that is left when the state is used.
    void SetStackSize(std::size_t bytes);

    // --- For values whose work recurses or grows

    /// One level of nesting while it exists; false if it is too deep. The outermost one starts the budget.
    class Level {
    public:
        explicit Level(Limits& limits) : m_limits(limits) {
            if (++m_limits.m_depth > m_limits.m_deepestReached) m_limits.m_deepestReached = m_limits.m_depth;
            if (m_limits.m_depth == OutermostDepth) m_limits.Begin();
        }
        ~Level() {
            if (--m_limits.m_depth == 0 && !m_limits.m_kept.AreEmpty()) m_limits.ReleaseKept();
        }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        explicit operator bool() const { return m_limits.m_depth <= OutermostDepth + m_limits.m_deepestNesting; }

    private:
        Limits& m_limits;
    };
    /// Starts the budget of an evaluation unless one is under way, as the outermost level does.
    class Entry {
    public:
        explicit Entry(Limits& limits) {
            if (limits.IsIdle()) m_level.emplace(limits);
        }

    private:
        std::optional<Level> m_level;
    };
    /// Takes steps from the budget. Fails if it is used up, if the time is over, or if cancelled.
    Outcome Spend(std::uint64_t steps, s_str& error) {
        return SpendQuickly(steps) ? Outcome(Outcome::WentOn) : SpendSlowly(steps, error);
    }
    /// Fails in a way that references pass on. A reference takes any other failure for "not defined yet" and keeps
    /// operations on it; after a circle or a limit these would fail again, or grow. A failure counts as abandoned as
    /// long as its message ends the error text, whoever has put it there.
    Outcome Abandon(s_str& error, std::string_view message, FailureKind kind = FailureKind::SizeLimit);
    Outcome AbandonTooDeep(s_str& error);
    /// Destroys a value that is not needed any more, if this pointer alone holds it. Destroying millions of values can
    /// be stopped like everything else; the rest is destroyed when the next statement or evaluation begins.
    void Destroy(s_refptr<Symbol> value) noexcept;
    void Destroy(std::vector<s_refptr<Symbol>> values) noexcept;
    /// Whether the statement has to stop. For long work that takes no steps, to be asked every now and then. Whoever
    /// gets true may give up with whatever result: nobody will see it.
    bool MustStop();
    /// The same, if the work is long enough to ask: by the number of characters that are read or copied.
    bool MustStopBefore(std::size_t characters) {
        constexpr std::size_t Long = std::size_t{1} << 16; // less than a millisecond
        return characters >= Long && MustStop();
    }

    // --- For the engine

    /// Destroys all that is left.
    void DestroyDiscarded() noexcept;
    /// Keeps a value, which took so many steps, while the statement or evaluation under way lasts: see `KeptValues`.
    std::optional<std::uint64_t> Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept;
    /// Null if it was let go.
    const s_refptr<Symbol>& FindKept(std::uint64_t number) { return m_kept.Find(number); }
    /// Counts the statements and evaluations that have begun.
    std::uint64_t GetBegun() const { return m_begun; }
    /// Counts the evaluations that callers outside of the engine began. The result of a flat program is not remembered
    /// if a callable in it began one.
    std::uint64_t GetEntered() const { return m_entered; }
    void CountEntered() { ++m_entered; }
    /// How many steps were spent since the one under way began.
    std::uint64_t GetSpent() const { return m_granted - m_stepsToCheck; }
    /// How many more levels may nest.
    unsigned GetRemainingLevels() const {
        const unsigned deepest = OutermostDepth + m_deepestNesting;
        return m_depth < deepest ? deepest - m_depth : 0;
    }
    /// Fails if the time is up, or on cancellation. For work that takes no steps.
    Outcome Poll(s_str& error) { return SpendSlowly(0, error); }
    bool IsCancelled() const { return m_isCancelled && *m_isCancelled; }
    /// The message if the time is up, or on cancellation; null otherwise.
    const char* GetInterruption() const;
    /// Takes steps if nothing needs to be checked.
    bool SpendQuickly(std::uint64_t steps) {
        if (steps > m_stepsToCheck) return false;
        m_stepsToCheck -= steps;
        return true;
    }
    bool IsIdle() const { return m_depth == 0; }
    /// Counts what was abandoned.
    std::uint64_t GetAbandonments() const { return m_abandonments; }
    /// Fails if the statement was stopped. Its results may be wrong then, and messages behind the position only
    /// consequences, as a callable need not pass the failure on: they are dropped.
    Outcome CheckStopped(s_str& error, std::size_t position) {
        if (!m_stopped) return Outcome::WentOn;
        error.Truncate(position);
        return Abandon(error, m_stopped, GetStopKind());
    }
    Outcome CheckStopped(s_str& error) { return CheckStopped(error, error.View().size()); }
    bool IsStopped() const { return m_stopped != nullptr; }
    /// Whether the statement, or the last one if none is under way, was stopped by cancellation.
    bool WasCancelled() const;
    /// The outcome of an operation that appends to the error text when it fails.
    Outcome OutcomeOf(bool succeeded, const s_str& error) const {
        if (succeeded) return Outcome::WentOn;
        return m_abandonment && error.View().ends_with(m_abandonment->error) ? Outcome::Abandoned : Outcome::Failed;
    }
    /// The message of the last failure that was abandoned, and its kind; null if there was none.
    const Failure* GetAbandonment() const { return m_abandonment.get(); }

    /// Needed for every error text that nobody else sees: it restores the abandonments of other texts afterwards.
    class PrivateError {
    public:
        explicit PrivateError(Limits& limits) : m_limits(limits), m_outer(std::move(limits.m_abandonment)) {}
        ~PrivateError() { m_limits.m_abandonment = std::move(m_outer); }
        PrivateError(const PrivateError&) = delete;
        PrivateError& operator=(const PrivateError&) = delete;

        s_str text;

    private:
        Limits& m_limits;
        std::unique_ptr<const Failure> m_outer;
    };

    /// Finds the deepest level that is reached while it exists.
    class Sounding {
    public:
        explicit Sounding(Limits& limits)
            : m_limits(limits), m_before(std::exchange(limits.m_deepestReached, limits.m_depth)) {}
        ~Sounding() { m_limits.m_deepestReached = std::max(m_limits.m_deepestReached, m_before); }
        Sounding(const Sounding&) = delete;
        Sounding& operator=(const Sounding&) = delete;
        /// Counted from the current level.
        unsigned GetReached() const { return m_limits.m_deepestReached - m_limits.m_depth; }

    private:
        Limits& m_limits;
        const unsigned m_before;
    };
    /// Counts levels that do not recurse as reached.
    void Reach(unsigned levels) {
        if (m_depth + levels > m_deepestReached) m_deepestReached = m_depth + levels;
    }

private:
    static constexpr unsigned OutermostDepth = 1;
    static constexpr std::uint64_t StepsBetweenChecks = 1024; ///< some microseconds

    void Begin();
    FailureKind GetStopKind() const;
    void TakePortion();
    void TakeBackPortion();
    void ReleaseKept() noexcept;
    void DestroyUnlessInterrupted() noexcept;
    Outcome SpendSlowly(std::uint64_t steps, s_str& error);

    unsigned m_depth = 0;
    unsigned m_deepestReached = 0; ///< since the innermost `Sounding`, or the outermost level, began
    unsigned m_deepestNesting = DeepestNesting;

    std::uint64_t m_stepsToCheck = 0; ///< left before the next check
    std::uint64_t m_stepsBeyond = Unlimited;
    std::uint64_t m_granted = 0; ///< steps that are spent, or left before the next check
    std::uint64_t m_begun = 0;
    std::uint64_t m_entered = 0;
    const char* m_stopped = nullptr; ///< the message, once the statement was stopped
    std::unique_ptr<const Failure> m_abandonment;
    std::uint64_t m_abandonments = 0;

    std::uint64_t m_stepBudget = Unlimited;
    std::optional<std::chrono::nanoseconds> m_timeLimit;
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    const std::atomic<bool>* m_isCancelled = nullptr;
    std::uint64_t m_memory = Unlimited;
    DiscardedValues m_discarded;
    KeptValues m_kept{m_discarded}; ///< until the outermost level ends
};

} // namespace Quarn
