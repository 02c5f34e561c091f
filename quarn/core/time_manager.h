#pragma once

#include <map>

#include "quarn/core/manager.h"
#include "quarn/core/profiler.h"
#include "quarn/core/s_refptr.h"
#include "quarn/core/timer.h"

namespace Quarn {

/// The one source of time, and the owner of all profiling data. Where time comes from is for the application to say, by
/// its callback.
class TimeManager : public Manager<TimeManager> {
public:
    inline static const s_str ClassName = "TimeManager";

    /// Returns the current time in seconds, from whatever start.
    using GetTimeFunction = double (*)();

    void SetGetTimeFunction(GetTimeFunction function) { m_getTime = function; }

    /// The current time in seconds; 0.0 without a callback.
    double GetTime() const { return m_getTime ? m_getTime() : 0.0; }

    /// Seeds the runtime's random generator with the calendar time and returns its fourth number: the first ones of
    /// neighbouring seconds are alike.
    static int SeedRandom();

    // --- Frames: for programs that work in rounds

    /// Sets everything but the profilers and the profiling flags to the state of a start, now.
    void Start();
    /// Begins a new frame. Call it once in each round.
    void Update();

    /// Runs since `Start`; null before.
    const s_refptr<Timer>& GetTimer() const { return m_timer; }
    double GetStartTime() const { return m_startTime; }
    /// The seconds of the last frame; 0.017, about a sixtieth, before the first.
    double GetFrameDelta() const { return m_frameDelta; }
    s_uint GetFrameCount() const { return m_frameCount; }
    /// The sum of the rates of all frames, in frames per second; divided by their count the average rate.
    s_uint GetRateSum() const { return m_rateSum; }
    s_uint GetLastRate() const { return m_lastRate; }
    s_uint GetHighestRate() const { return m_highestRate; }
    /// Infinity after `Start`, until there is one.
    s_uint GetLowestRate() const { return m_lowestRate; }

    // --- Profiling

    /// Without it there is no report. Off at first.
    void EnableProfiling(s_bool isEnabled) { m_isProfilingEnabled = isEnabled; }
    /// Starts a profiling run. The next report ends it, and later ones repeat its duration.
    void StartProfiling();

    /// The profiler of that name; made, with the group and the flag, when there is none. It lives as long as the
    /// manager.
    Profiler& GetProfiler(const s_str& name, s_uint group, s_bool listRecords = false);

    /// Logs the report on the profilers of a group; of all groups when it is infinite or not a number.
    void PrintProfiling(s_uint group = s_uint::NaN);

private:
    GetTimeFunction m_getTime = nullptr;
    s_refptr<Timer> m_timer;
    s_bool m_isProfilingEnabled;
    s_bool m_isProfilingRunning;
    s_uint m_frameCount;
    double m_frameDelta = FirstFrameDelta;
    s_uint m_rateSum;
    s_uint m_lastRate;
    s_uint m_highestRate;
    s_uint m_lowestRate;
    double m_currentTime = 0;
    double m_startTime = 0;
    double m_profilingStart = 0;
    double m_profilingDuration = 0;
    std::map<s_str, Profiler> m_profilers;

    static constexpr double FirstFrameDelta = 0.017;
};

} // namespace Quarn
