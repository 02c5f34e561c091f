#include "quarn/core/elementary.h"

#include <cfloat>
#include <cmath>

// The platform's own functions for its widest type of floating-point numbers, under their C names.
#if defined(__GLIBC__) && (defined(__x86_64__) || defined(__i386__))
#define WIDEST(function) function##f128
#ifdef __clang__ // glibc hides them from it
extern "C" {
__float128 expf128(__float128) noexcept;
__float128 logf128(__float128) noexcept;
__float128 powf128(__float128, __float128) noexcept;
__float128 sinf128(__float128) noexcept;
__float128 cosf128(__float128) noexcept;
__float128 tanf128(__float128) noexcept;
__float128 asinf128(__float128) noexcept;
__float128 acosf128(__float128) noexcept;
__float128 atanf128(__float128) noexcept;
__float128 atan2f128(__float128, __float128) noexcept;
}
#endif
#elif defined(__MINGW32__) && defined(__GNUC__) && !defined(__clang__)
#include <quadmath.h>
#define WIDEST(function) function##q
#else // glibc's long double has 113 bits on the other processors
#define WIDEST(function) function##l
#endif

namespace Quarn::Elementary {

namespace {

#if defined(__GLIBC__) && LDBL_MANT_DIG == 64
/// glibc's functions for 64 bits are wrong by a few units in the last place at most, as its manual documents. Hence
/// they settle nearly every result, twenty times faster.
constexpr bool IsLongDoubleAccurate = true;
#else
constexpr bool IsLongDoubleAccurate = false;
#endif

template <auto LongDoubleFunction, auto WidestFunction, class... Arguments> double Rounded(Arguments... arguments) {
    if constexpr (IsLongDoubleAccurate) {
        const long double value = LongDoubleFunction(arguments...);
        const long double error = value * 0x1p-60L; // 8 units in the last place at least
        if (static_cast<double>(value - error) == static_cast<double>(value + error)) return static_cast<double>(value);
    }
    return static_cast<double>(WidestFunction(arguments...));
}

} // namespace

double Exp(double a) { return Rounded<expl, WIDEST(exp)>(a); }
double Log(double a) { return Rounded<logl, WIDEST(log)>(a); }
double Pow(double a, double b) { return Rounded<powl, WIDEST(pow)>(a, b); }
double Sin(double a) { return Rounded<sinl, WIDEST(sin)>(a); }
double Cos(double a) { return Rounded<cosl, WIDEST(cos)>(a); }
double Tan(double a) { return Rounded<tanl, WIDEST(tan)>(a); }
double Asin(double a) { return Rounded<asinl, WIDEST(asin)>(a); }
double Acos(double a) { return Rounded<acosl, WIDEST(acos)>(a); }
double Atan(double a) { return Rounded<atanl, WIDEST(atan)>(a); }
double Atan2(double y, double x) { return Rounded<atan2l, WIDEST(atan2)>(y, x); }

double Round(double a) {
    const double whole = std::trunc(a);
    return std::fabs(a - whole) >= 0.5 ? whole + std::copysign(1.0, a) : whole;
}

} // namespace Quarn::Elementary
