#pragma once

#include <cstdint>

#include "quarn/core/api.h"
#include "quarn/core/timer.h"

namespace Quarn {

class QUARN_API PeriodicTimer : public Timer {
public:
    inline static const s_str ClassName = "PeriodicTimer";

    /// The period is in seconds. A period of zero or less never passes: it would end infinitely often.
    explicit PeriodicTimer(double period, s_bool isStarted = true) : Timer(isStarted), m_period(period) {}

    /// Whether a period has passed since the last yes. Periods are counted from the start, so a late call shifts none
    /// of them: three periods late, the next three calls return yes.
    s_bool HasPassed();

private:
    double m_period;
    std::uint64_t m_passed = 0; ///< periods reported
};

} // namespace Quarn
