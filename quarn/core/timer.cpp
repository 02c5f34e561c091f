#include "quarn/core/timer.h"

#include "quarn/core/time_manager.h"

namespace Quarn {

Timer::Timer(s_bool isStarted) : m_isStopped(true) {
    if (isStarted) Start();
}

void Timer::Start() {
    if (!m_isStopped) return;
    m_start = TimeManager::Get().GetTime();
    m_isStopped = false;
}

void Timer::Stop() {
    m_accumulated = GetElapsed();
    m_isStopped = true;
}

double Timer::GetElapsed() const {
    return m_isStopped ? m_accumulated : m_accumulated + (TimeManager::Get().GetTime() - m_start);
}

} // namespace Quarn
