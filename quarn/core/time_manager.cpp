#include "quarn/core/time_manager.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "quarn/core/log.h"

namespace Quarn {

namespace {

/// Frames shorter than this, in seconds, count at `HighestRate`.
constexpr double ShortestFrame = 0.0001;
constexpr unsigned HighestRate = 10000;

} // namespace

int TimeManager::SeedRandom() {
    Get();
    std::srand(s_uint(static_cast<double>(std::time(nullptr))).Get());
    for (int i = 0; i < 3; ++i) std::rand();
    return std::rand();
}

void TimeManager::Start() {
    m_timer = make_refptr<Timer>(true);
    m_currentTime = m_startTime = m_profilingStart = GetTime();
    m_profilingDuration = 0;
    m_frameDelta = FirstFrameDelta;
    m_frameCount = m_rateSum = m_lastRate = m_highestRate = 0u;
    m_lowestRate = s_uint::Infinity;
}

void TimeManager::Update() {
    const double previousTime = m_currentTime;
    m_currentTime = GetTime();
    m_frameDelta = m_currentTime - previousTime;
    ++m_frameCount;
    m_lastRate = m_frameDelta < ShortestFrame ? s_uint(HighestRate) : s_uint(1 / m_frameDelta);
    m_rateSum = m_rateSum + m_lastRate;
    if (m_highestRate < m_lastRate) m_highestRate = m_lastRate;
    if (m_lastRate < m_lowestRate) m_lowestRate = m_lastRate;
}

void TimeManager::StartProfiling() {
    m_isProfilingRunning = true;
    m_profilingStart = GetTime();
}

Profiler& TimeManager::GetProfiler(const s_str& name, s_uint group, s_bool listRecords) {
    return m_profilers.try_emplace(name, name, group, listRecords).first->second;
}

void TimeManager::PrintProfiling(s_uint group) {
    if (!m_isProfilingEnabled) return;
    if (m_isProfilingRunning) {
        m_profilingDuration = GetTime() - m_profilingStart;
        m_isProfilingRunning = false;
    }
    Log("\n");
    if (group.IsValid())
        Log("# Profiling info for group [" + s_str(group) + "] : " + s_str(m_profilingDuration) + " s of profiling");
    else Log("# Profiling info : " + s_str(m_profilingDuration, 0u, 2u) + " s of profiling");
    for (const auto& [name, profiler] : m_profilers)
        if (!group.IsValid() || profiler.GetGroup() == group) profiler.Print(m_profilingDuration);
    Log("# end.");
}

} // namespace Quarn
