#include "quarn/interpreter/limits.h"

#include <algorithm>

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

bool Limits::WasCancelled() const { return m_stopped == Cancelled; }

FailureKind Limits::GetStopKind() const {
    return m_stopped == Cancelled     ? FailureKind::Cancelled
           : m_stopped == TooMuchTime ? FailureKind::TimeLimit
                                      : FailureKind::StepLimit;
}

void Limits::Begin() {
    m_deepestReached = OutermostDepth;
    m_stopped = IsCancelled() ? Cancelled : nullptr;
    m_deadline = std::chrono::steady_clock::time_point::max();
    m_stepsToCheck = 0;
    m_stepsBeyond = m_stepBudget;
    m_granted = 0;
    ++m_begun;
    m_abandonment.reset();
    if (!m_stopped) TakePortion();
    DestroyUnlessInterrupted();
    if (m_timeLimit) {
        const auto now = std::chrono::steady_clock::now();
        if (*m_timeLimit < m_deadline - now) m_deadline = now + *m_timeLimit;
    }
}

void Limits::Destroy(s_refptr<Symbol> value) noexcept {
    constexpr std::size_t Large = std::size_t{1} << 16;
    if (!value.IsUnique() || value->GetWeight() < Large) return;
    m_discarded.Add(std::move(value));
    DestroyUnlessInterrupted();
}

void Limits::Destroy(std::vector<s_refptr<Symbol>> values) noexcept {
    m_discarded.Add(std::move(values));
    DestroyUnlessInterrupted();
}

bool Limits::MustStop() {
    if (!m_stopped) m_stopped = GetInterruption();
    if (!m_stopped) return false;
    ++m_abandonments; // what depends on this must not be remembered
    TakeBackPortion();
    return true;
}

std::optional<std::uint64_t> Limits::Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept {
    const std::optional<std::uint64_t> number = m_kept.Keep(value, steps);
    DestroyUnlessInterrupted();
    return number;
}

void Limits::ReleaseKept() noexcept {
    m_kept.Release();
    DestroyUnlessInterrupted();
}

void Limits::DestroyUnlessInterrupted() noexcept {
    m_discarded.Destroy([this] { return GetInterruption() != nullptr; });
}

void Limits::DestroyDiscarded() noexcept {
    m_discarded.Destroy([] { return false; });
}

/// Allows some of the steps without checks.
void Limits::TakePortion() {
    m_stepsToCheck = std::min(m_stepsBeyond, StepsBetweenChecks);
    if (m_stepsBeyond != Unlimited) m_stepsBeyond -= m_stepsToCheck;
    m_granted += m_stepsToCheck;
}

void Limits::TakeBackPortion() {
    if (m_stepsBeyond != Unlimited) m_stepsBeyond += m_stepsToCheck;
    m_granted -= std::exchange(m_stepsToCheck, 0);
}

const char* Limits::GetInterruption() const {
    if (IsCancelled()) return Cancelled;
    const bool hasDeadline = m_deadline != std::chrono::steady_clock::time_point::max();
    return hasDeadline && std::chrono::steady_clock::now() >= m_deadline ? TooMuchTime : nullptr;
}

Outcome Limits::SpendSlowly(std::uint64_t steps, s_str& error) {
    TakeBackPortion();
    if (!m_stopped) m_stopped = steps > m_stepsBeyond ? TooManySteps : GetInterruption();
    if (m_stopped) return Abandon(error, m_stopped, GetStopKind());
    if (m_stepsBeyond != Unlimited) m_stepsBeyond -= steps;
    m_granted += steps;
    TakePortion();
    return Outcome::WentOn;
}

Outcome Limits::Abandon(s_str& error, std::string_view message, FailureKind kind) {
    auto abandonment = std::make_unique<const Failure>(Failure{message, kind});
    AppendMessage(error, abandonment->error); // the message may be a part of what is replaced
    m_abandonment = std::move(abandonment);
    ++m_abandonments;
    return Outcome::Abandoned;
}

Outcome Limits::AbandonTooDeep(s_str& error) {
    return Abandon(error, "\tError : Nested more than " + s_str(s_uint(m_deepestNesting)) + " levels deep",
                   FailureKind::NestingLimit);
}

} // namespace Quarn
