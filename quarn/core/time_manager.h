#pragma once

#include <map>

#include "quarn/core/api.h"
#include "quarn/core/manager.h"
#include "quarn/core/profiler.h"
#include "quarn/core/s_refptr.h"
#include "quarn/core/timer.h"

namespace Quarn {

/// The only source of time, and the owner of all profiling data. The application supplies the time through a callback.
class QUARN_API TimeManager : public Manager<TimeManager> {
public:
    inline static const s_str ClassName = "TimeManager";

    /// Returns the current time in seconds, from any starting point.
    using GetTimeFunction = double (*)();

    void SetGetTimeFunction(GetTimeFunction function) { m_getTime = function; }

    /// The current time in seconds; 0.0 without a callback.
    double GetTime() const { return m_getTime ? m_getTime() : 0.0; }

    /// Seeds the runtime's random generator with the calendar time and returns its fourth number: the first ones are
    /// alike for neighbouring seconds.
    static int SeedRandom();

    // --- Frames, for programs that run in a loop

    /// Resets frames, times and the profiling duration, as of now. Keeps the callback, the profilers and the profiling
    /// flags.
    void Start();
    /// Begins a new frame. Call it once per iteration.
    void Update();

    /// Runs since `Start`; null before.
    const s_refptr<Timer>& GetTimer() const { return m_timer; }
    double GetStartTime() const { return m_startTime; }
    /// The duration of the last frame in seconds; before the first, 0.017, about a sixtieth.
    double GetFrameDelta() const { return m_frameDelta; }
    s_uint GetFrameCount() const { return m_frameCount; }
    /// The sum of all frame rates, in frames per second. Divide it by the frame count for the average. A frame during
    /// which the clock went back counts as a short one; NaN once the length of a frame was NaN.
    s_uint GetRateSum() const { return m_rateSum; }
    s_uint GetLastRate() const { return m_lastRate; }
    s_uint GetHighestRate() const { return m_highestRate; }
    /// Infinity after `Start` until the first frame.
    s_uint GetLowestRate() const { return m_lowestRate; }

    // --- Profiling

    /// Reports are printed only while enabled. Disabled by default.
    void EnableProfiling(s_bool isEnabled) { m_isProfilingEnabled = isEnabled; }
    /// Starts a profiling run. The next report ends it; later reports repeat its duration.
    void StartProfiling();

    /// The profiler with that name, created with the group and the flag if there is none. It lives as long as the
    /// manager.
    Profiler& GetProfiler(const s_str& name, s_uint group, s_bool listRecords = false);

    /// Logs the report on a group's profilers; on all groups if `group` is infinite or NaN.
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
