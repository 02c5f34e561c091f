#include "quarn/interpreter/limits.h"

#include <algorithm>
#include <new>

#include "quarn/interpreter/brackets.h"
#include "quarn/types/symbol.h"

namespace Quarn {

namespace {

constexpr char TooManySteps[] = "\tError : Too many steps, the statement was stopped";
constexpr char TooMuchTime[] = "\tError : Too much time, the statement was stopped";
constexpr char Cancelled[] = "\tError : Cancelled, the statement was stopped";

} // namespace

#if defined(NDEBUG) && defined(__OPTIMIZE__)
const std::size_t Limits::StackPerLevel = s_pools_keep ? 2304 : 8192; // more with the address sanitizer
#else
const std::size_t Limits::StackPerLevel = 8192;
#endif

Limits::Limits() = default;

Limits::~Limits() = default;

void Limits::SetDeepestNesting(unsigned levels) {
    m_deepestNesting = std::min(levels, std::numeric_limits<unsigned>::max() - OutermostDepth);
}

void Limits::SetStackSize(std::size_t bytes) {
    SetDeepestNesting(static_cast<unsigned>(std::min<std::size_t>(bytes / StackPerLevel, DeepestNesting)));
}

bool Limits::HasRoomFor(std::string_view text) {
    const std::size_t nesting = Brackets::NestingOf(text);
    if (nesting >= GetRemainingLevels()) return false;
    Reach(static_cast<unsigned>(nesting) + 1);
    return true;
}

bool Limits::WasCancelled() const { return m_stopped == Cancelled; }

void Limits::Begin() {
    m_deepestReached = OutermostDepth;
    m_stopped = IsCancelled() ? Cancelled : nullptr;
    m_deadline = std::chrono::steady_clock::time_point::max();
    m_stepsToCheck = 0;
    m_stepsBeyond = m_stepBudget;
    m_granted = 0;
    ++m_begun;
    if (!m_stopped) TakePortion();
    DestroyDiscarded();
    if (m_timeLimit) {
        const auto now = std::chrono::steady_clock::now();
        if (*m_timeLimit < m_deadline - now) m_deadline = now + *m_timeLimit;
    }
}

void Limits::Discard(s_refptr<Symbol> value) noexcept {
    try {
        m_discarded.push_back(std::move(value));
    } catch (const std::bad_alloc&) { // it is destroyed now
    }
}

std::optional<std::size_t> Limits::Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept {
    // Each number in a vector takes a step, so these are some hundred megabytes. An object of any other type counts as
    // a thousand numbers.
    constexpr std::uint64_t MostKept = std::uint64_t{1} << 24;
    constexpr std::uint64_t StepsPerValue = 1024;
    steps += StepsPerValue;
    if (steps > MostKept - m_keptSteps) return std::nullopt;
    try {
        m_kept.push_back(value);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
    m_keptSteps += steps;
    return m_kept.size() - 1;
}

/// They are destroyed now, or later if the statement was stopped: see `Discard`.
void Limits::ReleaseKept() noexcept {
    std::vector<s_refptr<Symbol>> kept;
    kept.swap(m_kept);
    m_keptSteps = 0;
    if (m_stopped)
        for (s_refptr<Symbol>& value : kept) Discard(std::move(value));
}

void Limits::DestroyDiscarded() {
    if (!m_discarded.empty()) const auto destroyed = std::move(m_discarded);
}

/// Allows some of the steps without checks.
void Limits::TakePortion() {
    m_stepsToCheck = std::min(m_stepsBeyond, StepsBetweenChecks);
    if (m_stepsBeyond != Unlimited) m_stepsBeyond -= m_stepsToCheck;
    m_granted += m_stepsToCheck;
}

const char* Limits::GetInterruption() const {
    if (IsCancelled()) return Cancelled;
    const bool hasDeadline = m_deadline != std::chrono::steady_clock::time_point::max();
    return hasDeadline && std::chrono::steady_clock::now() >= m_deadline ? TooMuchTime : nullptr;
}

Outcome Limits::SpendSlowly(std::uint64_t steps, s_str& error) {
    if (m_stepsBeyond != Unlimited) m_stepsBeyond += m_stepsToCheck;
    m_granted -= std::exchange(m_stepsToCheck, 0);
    if (!m_stopped) m_stopped = steps > m_stepsBeyond ? TooManySteps : GetInterruption();
    if (m_stopped) return Abandon(error, m_stopped);
    if (m_stepsBeyond != Unlimited) m_stepsBeyond -= steps;
    m_granted += steps;
    TakePortion();
    return Outcome::WentOn;
}

Outcome Limits::Abandon(s_str& error, std::string_view message) {
    AppendMessage(error, message);
    m_abandonment = {&error, error.View().size()};
    ++m_abandonments;
    return Outcome::Abandoned;
}

Outcome Limits::AbandonTooDeep(s_str& error) {
    return Abandon(error, "\tError : Nested more than " + s_str(s_uint(m_deepestNesting)) + " levels deep");
}

} // namespace Quarn
