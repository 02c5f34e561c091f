#include "quarn/core/periodic_timer.h"

namespace Quarn {

s_bool PeriodicTimer::HasPassed() {
    if (!(m_period > 0)) return false;
    // A product, not a sum: summing many periods would accumulate rounding errors.
    if (GetElapsed() < static_cast<double>(m_passed + 1) * m_period) return false;
    ++m_passed;
    return true;
}

} // namespace Quarn
