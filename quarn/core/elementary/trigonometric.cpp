#include <cmath>
#include <limits>

#include "quarn/core/elementary.h"
#include "quarn/core/elementary/stages.h"
#include "quarn/core/elementary/tables.h"
#include "quarn/core/elementary/wide.h"

namespace Quarn::Elementary {

namespace {

/// Below, sin(x), tan(x), asin(x) and atan(x) are nearest to x, and cos(x) to 1: the next term is below x*2^-54.
constexpr double Tiny = 0x1p-27;

/// k*pi/128 + r
struct Angle {
    int k;        ///< modulo 256
    Sum r;        ///< at most pi/256
    bool isExact; ///< r is all of the argument
};

/// For |x| < 2^17. The products with the first two parts of the step are exact. The third adds 2^-95 at most.
template <bool IsFused> QUARN_INLINE Angle Reduce(double x) {
    int k = 0;
    const double steps = Nearest(x * AngleSteps, k);
    const Sum r = Add(x - steps * AngleStep[0], -(steps * AngleStep[1]));
    return {k, Add(r.high, r.low - steps * AngleStep[2]), k == 0};
}

/// For |x| < 2^31, with two products in two parts. What is left out is below 2^-100.
template <bool IsFused> QUARN_INLINE Angle ReduceLarge(double x) {
    int k = 0;
    const double steps = Nearest(x * AngleSteps, k);
    const Sum first = Arithmetic<IsFused>::Multiply(steps, AngleStepSum[0]);
    const Sum second = Arithmetic<IsFused>::Multiply(steps, AngleStepSum[1]);
    const Sum rest = Add(x - first.high, -first.low);
    const Sum r = Add(rest.high, -second.high);
    return {k, Add(r.high, r.low + (rest.low - (second.low + steps * AngleStepSum[2]))), false};
}

/// The sine of an angle, with an error below 1.125*2^-65 of it (sine.gappa).
///
/// sin(a+r) = sin(a) + (cos(a) * sin(r) - sin(a) * (1-cos(r))), where a is in the table. r and r^2/2 have two parts.
/// r^3/6 is below 2^-21 and r^4/24 below 2^-29, so rounding them costs some 2^-73; the smallest result with a not 0 is
/// above 2^-7. With a = 0 it is r, and r^3/6 is below r*2^-15. What is left out, r^11/11!, is below r*2^-88. An r that
/// is nearly 0 has too few digits, unless it is all of the argument.
template <bool IsFused> QUARN_INLINE Estimate FastSin(const Angle& angle) {
    using A = Arithmetic<IsFused>;
    const Sum& sine = SinTable[static_cast<unsigned>(angle.k) % 256];
    const Sum& cosine = SinTable[static_cast<unsigned>(angle.k + 64) % 256];
    const Sum& r = angle.r;
    const Sum square = A::Multiply(r.high, r.high);
    constexpr double SineSeries[] = {-1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880};
    const double half = 0.5 * square.high;
    const double sineRest =
        A::MultiplyAdd(r.high * square.high, Polynomial<IsFused, 4>(SineSeries, square.high), r.low);
    constexpr double CosineSeries[] = {-1.0 / 24, 1.0 / 720, -1.0 / 40320};
    const double cosineRest =
        A::MultiplyAdd(square.high * square.high, Polynomial<IsFused, 3>(CosineSeries, square.high),
                       A::MultiplyAdd(r.high, r.low, 0.5 * square.low));
    const Sum rise = A::Multiply(cosine.high, r.high);
    const Sum fall = A::Multiply(sine.high, half);
    const Sum first = Add(sine.high, rise.high);
    const Sum second = Add(first.high, -fall.high);
    const double ends = A::MultiplyAdd(cosine.high, sineRest, -(sine.high * cosineRest)) +
                        A::MultiplyAdd(cosine.low, r.high, A::MultiplyAdd(-sine.low, half, sine.low));
    const double low = (first.low + second.low) + ((rise.low - fall.low) + ends);
    const Sum value = AddSmaller(second.high, low);
    const bool hasDigits = angle.isExact || std::fabs(value.high) > 0x1p-28;
    return hasDigits ? Estimate{value, 0x1.2p-65} : NoEstimate;
}

/// For any other x.
Angle ReduceAny(double x) {
    const auto [quarters, rest] = Remainder(x);
    const double high = rest.Round();
    const Angle angle = Reduce<false>(high);
    const double low = angle.r.low + (rest - Wide(high)).Round();
    return {angle.k + 64 * static_cast<int>(quarters), Add(angle.r.high, low), false};
}

/// A function of an angle.
template <class Function> struct AngleStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double& result) {
        const double size = std::fabs(x);
        if (size < 0x1p17 && size > Tiny) return Function::template Of<IsFused>(Reduce<IsFused>(x)).Settles(result);
        if (size < 0x1p31 && size > Tiny)
            return Function::template Of<IsFused>(ReduceLarge<IsFused>(x)).Settles(result);
        return SettleRare(x, result);
    }
    static double Sure(double x) { return Function::Exact(SinAndCos(x)).Round(); }

private:
    static bool SettleRare(double x, double& result) {
        if (std::fabs(x) <= Tiny) result = Function::OfTiny(x);
        else if (x - x != 0) result = std::numeric_limits<double>::quiet_NaN();
        else return Function::template Of<false>(ReduceAny(x)).Settles(result);
        return true;
    }
};

struct SinOf {
    template <bool IsFused> QUARN_INLINE static Estimate Of(const Angle& angle) { return FastSin<IsFused>(angle); }
    static Wide Exact(const SinCos& exact) { return exact.sin; }
    static double OfTiny(double x) { return x; }
};

struct CosOf {
    template <bool IsFused> QUARN_INLINE static Estimate Of(const Angle& angle) {
        return FastSin<IsFused>({angle.k + 64, angle.r, false});
    }
    static Wide Exact(const SinCos& exact) { return exact.cos; }
    static double OfTiny(double) { return 1; }
};

struct TanOf {
    template <bool IsFused> QUARN_INLINE static Estimate Of(const Angle& angle) {
        const Estimate sine = FastSin<IsFused>(angle);
        const Estimate cosine = FastSin<IsFused>({angle.k + 64, angle.r, false});
        return {Divide<IsFused>(sine.value, cosine.value), 0x1p-63 + (sine.error + cosine.error)};
    }
    static Wide Exact(const SinCos& exact) { return exact.sin / exact.cos; }
    static double OfTiny(double x) { return x; }
};

/// atan(y/x) for 0 <= y <= x, with an error below 2^-65 of it.
///
/// With c = i/64 near y/x, atan(y/x) = atan(c) + atan(t) with t = (y-c*x)/(x+c*y), below 2^-6.9. t has two parts. t^3/3
/// is below 2^-22, or t*2^-15 for c = 0. What is left out, t^11/11, is below t*2^-72.
template <bool IsFused> QUARN_INLINE Sum FastAtan(double y, double x) {
    using A = Arithmetic<IsFused>;
    int i = 0;
    const double c = Nearest(64 * y / x, i) / 64;
    const Sum above = A::Multiply(x, -c);
    const Sum along = A::Multiply(y, c);
    const double rise = y + above.high; // exactly: c*x is between y/2 and 2*y, or 0
    const Sum run = AddSmaller(x, along.high);
    const double inverse = 1 / run.high;
    const double t = rise * inverse;
    const Sum product = A::Multiply(t, run.high);
    const double left = ((rise - product.high) - product.low) + A::MultiplyAdd(-t, run.low + along.low, above.low);
    const double square = t * t;
    constexpr double Series[] = {-1.0 / 3, 1.0 / 5, -1.0 / 7, 1.0 / 9};
    const double rest = A::MultiplyAdd(t * square, Polynomial<IsFused, 4>(Series, square), left * inverse);
    const Sum& atan = AtanTable[static_cast<unsigned>(i)];
    const Sum sum = AddSmaller(atan.high, t);
    return {sum.high, sum.low + (atan.low + rest)};
}

/// x - y for x >= y >= 0
QUARN_INLINE Sum Subtract(Sum x, Sum y) {
    const Sum rest = AddSmaller(x.high, -y.high);
    return AddSmaller(rest.high, rest.low + (x.low - y.low));
}

constexpr double AtanError = 0x1p-65;

struct AtanStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double& result) {
        const double size = std::fabs(x);
        if (!(size > Tiny && size < Large)) return SettleSpecial(x, result);
        const bool isSteep = size > 1; // the choices below take no branches
        const Sum angle = FastAtan<IsFused>(isSteep ? 1 : size, isSteep ? size : 1);
        const double sign = isSteep ? -1 : 1;
        const Sum from = isSteep ? HalfPi : Sum{0, 0};
        const Sum sum = AddSmaller(from.high, sign * angle.high);
        const Sum value{sum.high, sum.low + (from.low + sign * angle.low)};
        if (!Estimate{value, AtanError}.Settles(result)) return false;
        result = std::copysign(result, x);
        return true;
    }
    static double Sure(double x) { return Atan2(Wide(x), Wide(1.0)).Round(); }

private:
    static constexpr double Large = 0x1p70; // beyond, pi/2 is nearest
    static bool SettleSpecial(double x, double& result) {
        result = std::fabs(x) >= Large ? std::copysign(HalfPi.high, x) : x;
        return true;
    }
};

/// The angle of a point with neither coordinate 0, infinite or not a number.
struct Atan2Stages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double y, double x, double& result) {
        const double height = std::fabs(y);
        const double width = std::fabs(x);
        const bool isSteep = height > width;
        const double longer = isSteep ? height : width;
        const double shorter = isSteep ? width : height;
        if (shorter < 0x1p-400 || longer > 0x1p400) return false;
        Sum value = FastAtan<IsFused>(shorter, longer);
        if (isSteep) value = Subtract(HalfPi, value);
        if (x < 0) value = Subtract({2 * HalfPi.high, 2 * HalfPi.low}, value);
        if (!Estimate{value, AtanError}.Settles(result)) return false;
        result = std::copysign(result, y);
        return true;
    }
    static double Sure(double y, double x) {
        const Wide angle = Atan2(Wide(y), Wide(x));
        // atan(t) is below t by less than a Wide shows if t is tiny, but t may be in the middle between two doubles.
        const bool isTiny = angle.GetExponent() < -120;
        return (isTiny ? angle - angle.Scaled(-240) : angle).Round();
    }
};

/// asin(x) for 0 <= x <= 1/2 by the nearest series, with an error below 2^-65 of it.
///
/// It is a + s*h + q*h^2 + ... with h = x - i/64, below 2^-7. a, s and h have two parts. q is about i/128, so rounding
/// q*h^2 costs some 2^-67 of the result, or nothing for i = 0, where h^3/6 is below h*2^-16. The terms from h^12 on are
/// below 2^-75.
template <bool IsFused> QUARN_INLINE Sum FastAsin(Sum x) {
    using A = Arithmetic<IsFused>;
    int i = 0;
    const double c = Nearest(64 * x.high, i) / 64;
    const AsinPart& part = AsinTable[static_cast<unsigned>(i)];
    const Sum h = AddSmaller(x.high - c, x.low);
    const Sum linear = A::Multiply(part.slope.high, h.high);
    const double square = h.high * h.high;
    const double slope = A::MultiplyAdd(2 * part.rest[0], h.high, part.slope.high);
    const double rest = A::MultiplyAdd(square, Polynomial<IsFused, 10>(part.rest.data(), h.high),
                                       A::MultiplyAdd(part.slope.low, h.high, slope * h.low));
    const Sum sum = Add(part.value.high, linear.high);
    return AddSmaller(sum.high, sum.low + (part.value.low + (linear.low + rest)));
}

/// sqrt((1-x)/2) for 1/2 < x < 1, where (1-x)/2 is exact.
template <bool IsFused> QUARN_INLINE Sum RootOfHalf(double x) {
    const double square = 0.5 * (1 - x);
    const double root = std::sqrt(square);
    const Sum back = Arithmetic<IsFused>::Multiply(root, root);
    return {root, ((square - back.high) - back.low) * (root * (0.5 / square))};
}

struct AsinStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double& result) {
        const double size = std::fabs(x);
        if (!(size > Tiny && size < 1)) return SettleSpecial(x, result);
        Sum value{};
        if (size <= 0.5) {
            value = FastAsin<IsFused>(Sum{size, 0});
        } else { // asin(x) = pi/2 - 2*asin(sqrt((1-x)/2))
            const Sum half = FastAsin<IsFused>(RootOfHalf<IsFused>(size));
            value = Subtract(HalfPi, {2 * half.high, 2 * half.low});
        }
        if (!Estimate{value, 0x1p-65}.Settles(result)) return false;
        result = std::copysign(result, x);
        return true;
    }
    static double Sure(double x) {
        const Wide wide(x);
        return Atan2(wide, Sqrt(Wide(1.0) - wide * wide)).Round();
    }

private:
    static bool SettleSpecial(double x, double& result) {
        if (std::fabs(x) <= Tiny) result = x;
        else if (std::fabs(x) == 1) result = std::copysign(HalfPi.high, x);
        else result = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
};

struct AcosStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double& result) {
        const double size = std::fabs(x);
        if (!(size < 1)) return SettleSpecial(x, result);
        Sum value{};
        if (size <= 0.5) {
            const Sum asin = FastAsin<IsFused>(Sum{size, 0});
            value = x < 0 ? Add(HalfPi, asin) : Subtract(HalfPi, asin);
        } else { // acos(x) = 2*asin(sqrt((1-x)/2)), acos(-x) = pi - acos(x)
            const Sum half = FastAsin<IsFused>(RootOfHalf<IsFused>(size));
            value = {2 * half.high, 2 * half.low};
            if (x < 0) value = Subtract({2 * HalfPi.high, 2 * HalfPi.low}, value);
        }
        return Estimate{value, 0x1p-65}.Settles(result);
    }
    static double Sure(double x) {
        const Wide wide(x);
        return Atan2(Sqrt(Wide(1.0) - wide * wide), wide).Round();
    }

private:
    static bool SettleSpecial(double x, double& result) {
        if (x == 1) result = 0;
        else if (x == -1) result = 2 * HalfPi.high;
        else result = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
};

} // namespace

double Sin(double a) { return Settle<AngleStages<SinOf>>(a); }
double Cos(double a) { return Settle<AngleStages<CosOf>>(a); }
double Tan(double a) { return Settle<AngleStages<TanOf>>(a); }
double Asin(double a) { return Settle<AsinStages>(a); }
double Acos(double a) { return Settle<AcosStages>(a); }
double Atan(double a) { return Settle<AtanStages>(a); }

double Atan2(double y, double x) {
    if (y != y || x != x) return x + y;
    const bool isLeft = std::signbit(x);
    const bool isWide = std::isinf(x);
    const double pi = 2 * HalfPi.high;
    double angle = 0; // of the quadrant, with C17's rules for zeros and infinities
    if (y == 0 || (isWide && !std::isinf(y))) angle = isLeft ? pi : 0;
    else if (x == 0 || (std::isinf(y) && !isWide)) angle = HalfPi.high;
    else if (isWide) angle = isLeft ? 0x1.2d97c7f3321d2p+1 : HalfPi.high / 2; // 3/4 pi
    else return Settle<Atan2Stages>(y, x);
    return std::copysign(angle, y);
}

} // namespace Quarn::Elementary
