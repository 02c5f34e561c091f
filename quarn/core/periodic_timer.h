#pragma once

#include <cstdint>

#include "quarn/core/timer.h"

namespace Quarn {

/// Tells when a period is over.
class PeriodicTimer : public Timer {
public:
    inline static const s_str ClassName = "PeriodicTimer";

    /// The period is in seconds. One of zero or less never passes: there is no end of such periods to be counted.
    explicit PeriodicTimer(double period, s_bool isStarted = true) : Timer(isStarted), m_period(period) {}

    /// Whether a period has passed since it last said yes. The periods follow each other from the start, so that a late
    /// question moves none of them: three periods late, the next three answers are yes.
    s_bool HasPassed();

private:
    double m_period;
    std::uint64_t m_passed = 0; ///< periods told
};

} // namespace Quarn
