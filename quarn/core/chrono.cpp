#include "quarn/core/chrono.h"

#include "quarn/core/time_manager.h"

namespace Quarn {

Chrono::Chrono(Profiler* profiler) : m_profiler(profiler), m_start(TimeManager::Get().GetTime()) {}

Chrono::~Chrono() { Stop(); }

void Chrono::Stop(s_bool keep) {
    if (m_isStopped) return;
    if (m_profiler) {
        m_accumulated += TimeManager::Get().GetTime() - m_start;
        if (!keep) {
            m_profiler->AddRecord(m_accumulated);
            m_accumulated = 0;
        }
    }
    m_isStopped = true;
}

void Chrono::Start() {
    if (!m_isStopped) return;
    m_start = TimeManager::Get().GetTime();
    m_isStopped = false;
}

} // namespace Quarn
