#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "quarn/core/api.h"
#include "quarn/core/s_refptr.h"
#include "quarn/interpreter/outcome.h"

namespace Quarn {

class Symbol;

/// What a state may spend on a statement or an evaluation: levels of nesting, steps, and time. Each one starts anew,
/// printing and erasing included; an evaluation within another shares its budget. Whatever exceeds a limit fails with
/// an error and changes nothing.
///
/// Other threads may only set the cancellation flag.
class QUARN_API Limits {
    /// The last failure that was abandoned: its message ends this error text.
    struct Abandonment {
        const s_str* error = nullptr;
        std::size_t end = 0; ///< the size of the text with its message
    };

public:
    /// How deeply texts may nest by default: brackets, calls, indexings, vectors, references, statements within
    /// statements, and values within values. Everything that recurses counts (`Level`).
    static constexpr unsigned DeepestNesting = 1000;
    /// An upper bound, in bytes, for the stack that one level takes in this build of the library. Measured with the
    /// kinds of nesting that take the most; see docs/design.md.
    static const std::size_t StackPerLevel;
    /// No step limit.
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
    /// How deeply texts may nest. Every thread that uses the state needs `StackPerLevel` bytes of stack for each level:
    /// 2.2 MiB for the 1000 levels of a release build. For a smaller stack, set a smaller limit or use `SetStackSize`.
    void SetDeepestNesting(unsigned levels);
    unsigned GetDeepestNesting() const { return m_deepestNesting; }
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
            if (--m_limits.m_depth == 0 && !m_limits.m_kept.empty()) m_limits.ReleaseKept();
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
    /// Whether the text can be evaluated without nesting too deeply, judging by its brackets. Rejects hopeless texts
    /// early.
    bool HasRoomFor(std::string_view text);
    /// Takes steps from the budget. Fails if it is used up, if the time is over, or if cancelled.
    Outcome Spend(std::uint64_t steps, s_str& error) {
        return SpendQuickly(steps) ? Outcome(Outcome::WentOn) : SpendSlowly(steps, error);
    }
    /// Fails in a way that references pass on. A reference takes any other failure for "not defined yet" and keeps
    /// operations on it; after a circle or a limit these would fail again, or grow. A failure counts as abandoned as
    /// long as its message is the last one of this error text.
    Outcome Abandon(s_str& error, std::string_view message);
    Outcome AbandonTooDeep(s_str& error);
    /// For a value that is not needed any more because the statement was stopped. It lives until the next statement or
    /// evaluation begins: destroying millions of values takes longer than stopping may.
    void Discard(s_refptr<Symbol> value) noexcept;

    // --- For the engine

    void DestroyDiscarded();
    /// Keeps a value until the statement or evaluation under way ends, and gives its number. Gives none if the values
    /// that are kept have taken too many steps; this one took `steps`.
    std::optional<std::size_t> Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept;
    const s_refptr<Symbol>& GetKept(std::size_t number) const { return m_kept[number]; }
    /// Counts the statements and evaluations that have begun.
    std::uint64_t GetBegun() const { return m_begun; }
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
    /// Fails if the statement was stopped. Results of references may be wrong then and must not be shown.
    Outcome CheckStopped(s_str& error) { return m_stopped ? Abandon(error, m_stopped) : Outcome(Outcome::WentOn); }
    bool IsStopped() const { return m_stopped != nullptr; }
    /// Whether the statement, or the last one if none is under way, was stopped by cancellation.
    bool WasCancelled() const;
    /// The outcome of an operation that appends to the error text when it fails.
    Outcome OutcomeOf(bool succeeded, const s_str& error) const {
        if (succeeded) return Outcome::WentOn;
        return m_abandonment.error == &error && m_abandonment.end == error.View().size() ? Outcome::Abandoned
                                                                                         : Outcome::Failed;
    }

    /// Needed for every error text that nobody else sees: it restores the abandonments of other texts afterwards.
    class PrivateError {
    public:
        explicit PrivateError(Limits& limits) : m_limits(limits), m_outer(std::exchange(limits.m_abandonment, {})) {}
        ~PrivateError() { m_limits.m_abandonment = m_outer; }
        PrivateError(const PrivateError&) = delete;
        PrivateError& operator=(const PrivateError&) = delete;

        s_str text;

    private:
        Limits& m_limits;
        const Abandonment m_outer;
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
    void TakePortion();
    void ReleaseKept() noexcept;
    Outcome SpendSlowly(std::uint64_t steps, s_str& error);

    unsigned m_depth = 0;
    unsigned m_deepestReached = 0; ///< since the innermost `Sounding`, or the outermost level, began
    unsigned m_deepestNesting = DeepestNesting;

    std::uint64_t m_stepsToCheck = 0; ///< left before the next check
    std::uint64_t m_stepsBeyond = Unlimited;
    std::uint64_t m_granted = 0; ///< steps that are spent, or left before the next check
    std::uint64_t m_begun = 0;
    const char* m_stopped = nullptr; ///< the message, once the statement was stopped
    Abandonment m_abandonment;
    std::uint64_t m_abandonments = 0;

    std::uint64_t m_stepBudget = Unlimited;
    std::optional<std::chrono::nanoseconds> m_timeLimit;
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    const std::atomic<bool>* m_isCancelled = nullptr;
    std::vector<s_refptr<Symbol>> m_discarded;
    std::vector<s_refptr<Symbol>> m_kept; ///< until the outermost level ends
    std::uint64_t m_keptSteps = 0;        ///< that they took
};

} // namespace Quarn
