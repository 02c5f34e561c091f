#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "quarn/core/api.h"
#include "quarn/core/outcome.h"
#include "quarn/core/result.h"
#include "quarn/core/s_refptr.h"

namespace Quarn {

class EngineLimits;
class Symbol;

/// What a state may spend on a statement or an evaluation: levels of nesting, steps, and time. Each statement and each
/// evaluation gets the full budget, for what it prints and erases, too. An evaluation within another shares its budget.
/// Whatever exceeds a limit fails with an error and changes nothing.
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

    Limits(const Limits&) = delete;
    Limits& operator=(const Limits&) = delete;

    // --- For hosts. A new step budget or time limit holds from the next statement or evaluation on; all else holds at
    // once.

    /// How many steps a statement may take: operands, operators, elements of a vector that is built or shown,
    /// characters of an expression that is shown or rewritten.
    void SetStepBudget(std::uint64_t steps) {
        m_stepBudget = steps;
        m_mostBriefSteps = steps < StepsBetweenChecks ? steps : StepsBetweenChecks;
    }
    /// How long a statement may take, as a duration of <chrono>. Checked every thousand steps or so.
    template <class Duration> void SetTimeLimit(const Duration& time) {
        m_timeLimit = static_cast<double>(time.count()) * Duration::period::num / Duration::period::den;
    }
    void SetTimeLimit(std::nullopt_t) { m_timeLimit = Endless; }
    /// While the flag is true every statement and evaluation fails, including the one under way. It may be of any type
    /// that converts to bool. Other threads and signal handlers may set a std::atomic<bool>. Not owned.
    template <class Flag> void SetCancellation(const Flag* isCancelled) {
        m_cancellation = isCancelled;
        m_readCancellation = [](const void* flag) { return static_cast<bool>(*static_cast<const Flag*>(flag)); };
    }
    void SetCancellation(std::nullptr_t) { m_cancellation = nullptr; }
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
            if (!m_limits.m_hasBegun) m_limits.Begin();
        }
        ~Level() {
            if (--m_limits.m_depth == 0) m_limits.End();
        }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        explicit operator bool() const { return m_limits.m_depth <= OutermostDepth + m_limits.m_deepestNesting; }

    private:
        Limits& m_limits;
    };
    /// Takes steps from the budget. Fails if it is used up, if the time is over, or if cancelled.
    Outcome Spend(std::uint64_t steps, s_str& error) {
        return SpendQuickly(steps) ? Outcome(Outcome::WentOn) : SpendSlowly(steps, error);
    }
    /// Fails if the time is over, or if cancelled. For work without steps. `MustStop` is for work that cannot fail.
    Outcome Poll(s_str& error) { return SpendSlowly(0, error); }
    /// Fails in a way that references pass on. A reference takes any other failure for "not defined yet" and keeps
    /// operations on it; after a circle or a limit these would fail again, or grow. A failure counts as abandoned as
    /// long as its message ends the error text, whoever has put it there.
    Outcome Abandon(s_str& error, std::string_view message, FailureKind kind = FailureKind::SizeLimit);
    Outcome AbandonTooDeep(s_str& error);
    /// Whether the statement has to stop. For long work that takes no steps, to be asked every now and then. Whoever
    /// gets true may give up with whatever result: nobody will see it.
    bool MustStop();
    /// The same, if the work is long enough to ask: by the number of characters that are read or copied.
    bool MustStopBefore(std::size_t characters) {
        constexpr std::size_t Long = std::size_t{1} << 16; // less than a millisecond
        return characters >= Long && MustStop();
    }
    /// Destroys a value that is not needed any more, if this pointer alone holds it. Destroying millions of values can
    /// be stopped like everything else; the rest is destroyed when the next statement or evaluation begins.
    void Destroy(s_refptr<Symbol> value) noexcept;
    void Destroy(std::vector<s_refptr<Symbol>> values) noexcept;

private:
    friend class EngineLimits; // every `Limits` is one, see engine_limits.h

    static constexpr unsigned OutermostDepth = 1;
    static constexpr std::uint64_t StepsBetweenChecks = 1024; ///< some microseconds
    static constexpr double Endless = std::numeric_limits<double>::infinity();

    Limits() = default;
    ~Limits() = default;

    EngineLimits& Engine();
    void Begin();
    void End() noexcept {
        m_hasBegun = false;
        if (m_hasKept) ReleaseKept();
    }
    void ReleaseKept() noexcept;
    Outcome SpendSlowly(std::uint64_t steps, s_str& error);
    /// Takes steps if nothing needs to be checked.
    bool SpendQuickly(std::uint64_t steps) {
        if (steps > m_stepsToCheck) return false;
        m_stepsToCheck -= steps;
        return true;
    }
    bool IsCancelled() const { return m_cancellation && m_readCancellation(m_cancellation); }

    unsigned m_depth = 0;
    unsigned m_deepestReached = 0; ///< since the innermost `Sounding`, or the outermost level, began
    unsigned m_deepestNesting = DeepestNesting;
    bool m_hasBegun = false;          ///< the budget of the outermost level, see also `EngineLimits::Brief`
    bool m_hasKept = false;           ///< values, until the outermost level ends
    std::uint64_t m_stepsToCheck = 0; ///< left before the next check

    std::uint64_t m_stepBudget = Unlimited;
    std::uint64_t m_mostBriefSteps = StepsBetweenChecks; ///< see `EngineLimits::AllowBrief`
    double m_timeLimit = Endless;                        ///< in seconds
    const void* m_cancellation = nullptr;
    bool (*m_readCancellation)(const void* flag) = nullptr;
    std::uint64_t m_memory = Unlimited;
};

} // namespace Quarn
