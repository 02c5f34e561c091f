#pragma once

#include "quarn/core/s_str.h"

namespace Quarn {

/// A stopwatch on the time of the `TimeManager`, in seconds. A clock that goes backward counts as standing still.
class Timer {
public:
    inline static const s_str ClassName = "Timer";

    /// Runs from now on, or stands until it is started.
    explicit Timer(s_bool isStarted = true);

    /// Goes on counting; nothing happens to a running timer.
    void Start();
    /// Keeps what it has counted; nothing happens to a stopped timer.
    void Stop();
    s_bool IsStopped() const { return m_isStopped; }

    /// What it has counted up to now, never negative.
    double GetElapsed() const;

private:
    double m_accumulated = 0;
    double m_start = 0;
    s_bool m_isStopped;
};

/// The seconds between two times; a clock that went backward, or not-a-number, counts as standing still.
double Span(double from, double to);

} // namespace Quarn
