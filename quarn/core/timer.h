#pragma once

#include "quarn/core/api.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// A stopwatch on the `TimeManager`'s time, in seconds. What a clock goes back counts as it is, negative.
class QUARN_API Timer {
public:
    inline static const s_str ClassName = "Timer";

    /// Starts at once if `isStarted`.
    explicit Timer(s_bool isStarted = true);

    /// Continues counting. Does nothing if running.
    void Start();
    /// Keeps the time counted so far. Does nothing if stopped.
    void Stop();
    s_bool IsStopped() const { return m_isStopped; }

    /// The time counted so far.
    double GetElapsed() const;

private:
    double m_accumulated = 0;
    double m_start = 0;
    s_bool m_isStopped;
};

} // namespace Quarn
