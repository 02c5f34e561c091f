#include "quarn/interpreter/limits/engine_limits.h"

#include <algorithm>

#include "quarn/types/symbol.h"

namespace Quarn {

namespace {

constexpr char TooManySteps[] = "\tError : Too many steps, the statement was stopped";
constexpr char TooMuchTime[] = "\tError : Too much time, the statement was stopped";
constexpr char Cancelled[] = "\tError : Cancelled, the statement was stopped";
constexpr char NotPure[] = "\tError : A preview calls only what is pure";

} // namespace

#if defined(NDEBUG) && defined(__OPTIMIZE__)
const std::size_t Limits::StackPerLevel = s_pools_keep ? 2304 : 8192; // more with the address sanitizer
#else
const std::size_t Limits::StackPerLevel = 8192;
#endif

EngineLimits& Limits::Engine() { return static_cast<EngineLimits&>(*this); }

void Limits::SetDeepestNesting(unsigned levels) {
    m_deepestNesting = std::min(levels, std::numeric_limits<unsigned>::max() - OutermostDepth);
}

void Limits::SetStackSize(std::size_t bytes) {
    SetDeepestNesting(static_cast<unsigned>(std::min<std::size_t>(bytes / StackPerLevel, DeepestNesting)));
}

bool EngineLimits::WasCancelled() const { return m_stopped == Cancelled; }

FailureKind EngineLimits::GetStopKind() const {
    return m_stopped == Cancelled     ? FailureKind::Cancelled
           : m_stopped == TooMuchTime ? FailureKind::TimeLimit
           : m_stopped == NotPure     ? FailureKind::Evaluation
                                      : FailureKind::StepLimit;
}

void Limits::Begin() {
    EngineLimits& engine = Engine();
    m_hasBegun = true;
    m_deepestReached = m_depth;
    engine.m_stopped = IsCancelled() ? Cancelled : nullptr;
    engine.m_deadline = std::chrono::steady_clock::time_point::max();
    m_stepsToCheck = 0;
    engine.m_stepsBeyond =
        m_stepBudget == Unlimited ? Unlimited : m_stepBudget - std::min(m_stepBudget, engine.m_briefSteps);
    engine.m_granted = 0;
    ++engine.m_clock.statements;
    engine.m_abandonment.reset();
    if (!engine.m_stopped) engine.TakePortion();
    engine.DestroyUnlessInterrupted();
    if (m_timeLimit == Endless) return;
    const auto now = std::chrono::steady_clock::now();
    if (const std::chrono::duration<double> time(m_timeLimit); time < engine.m_deadline - now)
        engine.m_deadline = now + std::chrono::duration_cast<std::chrono::nanoseconds>(time);
}

void Limits::Destroy(s_refptr<Symbol> value) noexcept {
    constexpr std::size_t Large = std::size_t{1} << 16;
    if (!value.IsUnique() || value->GetWeight() < Large) return;
    Engine().m_discarded.Add(std::move(value));
    Engine().DestroyUnlessInterrupted();
}

void Limits::Destroy(std::vector<s_refptr<Symbol>> values) noexcept {
    Engine().m_discarded.Add(std::move(values));
    Engine().DestroyUnlessInterrupted();
}

bool Limits::MustStop() {
    EngineLimits& engine = Engine();
    engine.BeginIfNeeded();
    if (!engine.m_stopped) engine.m_stopped = engine.GetInterruption();
    if (!engine.m_stopped) return false;
    ++engine.m_clock.deeds; // what depends on this must not be remembered
    engine.TakeBackPortion();
    return true;
}

std::optional<std::uint64_t> EngineLimits::Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept {
    const std::optional<std::uint64_t> number = m_kept.Keep(value, steps);
    m_hasKept = !m_kept.AreEmpty();
    DestroyUnlessInterrupted();
    return number;
}

void Limits::ReleaseKept() noexcept {
    m_hasKept = false;
    Engine().m_kept.Release();
    Engine().DestroyUnlessInterrupted();
}

void EngineLimits::DestroyUnlessInterrupted() noexcept {
    m_discarded.Destroy([this] { return GetInterruption() != nullptr; });
}

void EngineLimits::DestroyDiscarded() noexcept {
    m_discarded.Destroy([] { return false; });
}

/// Allows some of the steps without checks.
void EngineLimits::TakePortion() {
    m_stepsToCheck = std::min(m_stepsBeyond, StepsBetweenChecks);
    if (m_stepsBeyond != Unlimited) m_stepsBeyond -= m_stepsToCheck;
    m_granted += m_stepsToCheck;
}

void EngineLimits::TakeBackPortion() {
    if (m_stepsBeyond != Unlimited) m_stepsBeyond += m_stepsToCheck;
    m_granted -= std::exchange(m_stepsToCheck, 0);
}

const char* EngineLimits::GetInterruption() const {
    if (IsCancelled()) return Cancelled;
    const bool hasDeadline = m_deadline != std::chrono::steady_clock::time_point::max();
    return hasDeadline && std::chrono::steady_clock::now() >= m_deadline ? TooMuchTime : nullptr;
}

Outcome Limits::SpendSlowly(std::uint64_t steps, s_str& error) {
    EngineLimits& engine = Engine();
    engine.BeginIfNeeded();
    engine.TakeBackPortion();
    if (!engine.m_stopped) engine.m_stopped = steps > engine.m_stepsBeyond ? TooManySteps : engine.GetInterruption();
    if (engine.m_stopped) return Abandon(error, engine.m_stopped, engine.GetStopKind());
    if (engine.m_stepsBeyond != Unlimited) engine.m_stepsBeyond -= steps;
    engine.m_granted += steps;
    engine.TakePortion();
    return Outcome::WentOn;
}

Outcome EngineLimits::StopPreview(s_str& error) {
    BeginIfNeeded();
    TakeBackPortion();
    if (!m_stopped) m_stopped = NotPure;
    return CheckStopped(error);
}

Outcome Limits::Abandon(s_str& error, std::string_view message, FailureKind kind) {
    auto abandonment = std::make_unique<const Failure>(Failure{message, kind});
    AppendMessage(error, abandonment->error); // the message may be a part of what is replaced
    Engine().m_abandonment = std::move(abandonment);
    ++Engine().m_clock.deeds;
    return Outcome::Abandoned;
}

Outcome Limits::AbandonTooDeep(s_str& error) {
    return Abandon(error, "\tError : Nested more than " + s_str(s_uint(m_deepestNesting)) + " levels deep",
                   FailureKind::NestingLimit);
}

} // namespace Quarn
