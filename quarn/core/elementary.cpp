#include "quarn/core/elementary.h"

#include <cmath>

namespace Quarn::Elementary {

double Round(double a) {
    const double whole = std::trunc(a);
    return std::fabs(a - whole) >= 0.5 ? whole + std::copysign(1.0, a) : whole;
}

} // namespace Quarn::Elementary
