#include <cmath>
#include <limits>

#include "quarn/core/elementary.h"
#include "quarn/core/elementary/exponential.h"
#include "quarn/core/elementary/stages.h"
#include "quarn/core/elementary/wide.h"

namespace Quarn::Elementary {

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();

struct ExpStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double& result) {
        constexpr double Tiny = 0x1p-54;
        constexpr double Large = 708; // beyond, results may be infinite or below 2^-1022
        if (!(std::fabs(x) < Large && std::fabs(x) > Tiny)) return SettleSpecial(x, result);
        return FastExp<IsFused>(Sum{x, 0}).Settles(result);
    }
    static double Sure(double x) { return Exp(Wide(x)).Round(); }

private:
    static bool SettleSpecial(double x, double& result) {
        constexpr double Most = 710;   // exp(710) > 2^1024
        constexpr double Least = -746; // exp(-746) < 2^-1075
        if (x != x) result = x;
        else if (x > Most) result = Infinity;
        else if (x < Least) result = 0;
        else if (std::fabs(x) < 1) result = 1;
        else return false;
        return true;
    }
};

struct LogStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double& result) {
        if (!(x >= std::numeric_limits<double>::min() && x < Infinity) || x == 1) return SettleSpecial(x, result);
        return FastLog<IsFused>(x).Settles(result);
    }
    static double Sure(double x) { return Log(Wide(x)).Round(); }

private:
    static bool SettleSpecial(double x, double& result) {
        if (x == 1) result = 0;
        else if (x == 0) result = -Infinity;
        else if (x < 0) result = std::numeric_limits<double>::quiet_NaN();
        else if (x != x || x == Infinity) result = x;
        else return false; // below 2^-1022
        return true;
    }
};

/// x^y for 0 < x < infinity, x not 1, and a finite y that is not 0.
struct PowStages {
    template <bool IsFused> QUARN_INLINE static bool Settle(double x, double y, double& result) {
        if (x < std::numeric_limits<double>::min()) return false;
        constexpr int MostFactors = 16;
        if (int n = 0; std::fabs(y) <= MostFactors && Nearest(y, n) == y && x > 0x1p-60 && x < 0x1p60)
            return Factors<IsFused>(x, n).Settles(result);
        constexpr double Most = 0x1p500;
        if (std::fabs(y) > Most) return SettleLarge(x, y, result);
        const Estimate logarithm = FastLog<IsFused>(x);
        const Sum exponent = Multiply<IsFused>(logarithm.value, y);
        const double size = std::fabs(exponent.high);
        if (!(size < 708)) return SettleLarge(x, y, result);
        ScaledEstimate power = FastExp<IsFused>(exponent);
        power.estimate.error += size * logarithm.error;
        return power.Settles(result);
    }
    static double Sure(double x, double y) {
        double exact = 0;
        return SettleExact(x, y, exact) ? exact : Exp(Wide(y) * Log(Wide(x))).Round();
    }

private:
    /// By repeated squaring. The error is below 2^-100 for each of 8 products at most, and doubles with each square.
    template <bool IsFused> QUARN_INLINE static Estimate Factors(double x, int n) {
        const auto count = static_cast<unsigned>(n < 0 ? -n : n);
        Sum power = Arithmetic<IsFused>::Multiply(x, x);
        Sum result = count % 2 != 0 ? Sum{x, 0} : Sum{1, 0};
        for (unsigned left = count >> 1; left != 0; left >>= 1) {
            if (left % 2 != 0) result = Multiply<IsFused>(result, power);
            if (left > 1) power = Multiply<IsFused>(power, power);
        }
        if (n < 0) result = Divide<IsFused>(Sum{1, 0}, result);
        return {result, 0x1p-94};
    }
    static bool SettleLarge(double x, double y, double& result) {
        const double exponent = y * std::log(x);
        if (exponent > 710) result = Infinity;
        else if (exponent < -746) result = 0;
        else return false;
        return true;
    }
    /// If x^y is a number of 64 bits, and so perhaps in the middle between two doubles. Then y = n/2^f, and x = m*2^e
    /// is the 2^f-th power of such a number.
    static bool SettleExact(double x, double y, double& result) {
        int e = 0;
        auto m = static_cast<std::uint64_t>(std::frexp(x, &e) * 0x1p53);
        e -= 53;
        for (; m % 2 == 0; m /= 2) ++e;
        for (int i = 0; y != std::trunc(y); ++i, y *= 2) {
            const auto root = static_cast<std::uint64_t>(std::sqrt(static_cast<double>(m)));
            if (i == 6 || root * root != m || e % 2 != 0) return false;
            m = root;
            e /= 2;
        }
        if (std::fabs(y) > 2000 || (m != 1 && (y < 0 || y > 40))) return false;
        std::uint64_t power = 1;
        for (int i = 0; m != 1 && i < static_cast<int>(y); ++i) {
            if (power > ~std::uint64_t{0} / m) return false;
            power *= m;
        }
        result = Wide(power).Scaled(e * static_cast<int>(y)).Round();
        return true;
    }
};

double PowOfPositive(double x, double y) {
    if (y == 1) return x;
    if (y == -1) return 1 / x;
    if (y == 0.5) return std::sqrt(x);
    return Settle<PowStages>(x, y);
}

/// With the rules of C17, annex F.10.4.4, for zeros and infinities.
double PowOfRare(double x, double y) {
    if (y == 0 || x == 1) return 1;
    if (x != x || y != y) return x + y;
    const double size = std::fabs(x);
    if (std::fabs(y) == Infinity) return size == 1 ? 1 : (size > 1) == (y > 0) ? Infinity : 0;
    const bool isInteger = y == std::trunc(y);
    const double sign = isInteger && std::fmod(y, 2) != 0 ? std::copysign(1.0, x) : 1;
    if (x == 0 || size == Infinity) return sign * ((x == 0) == (y > 0) ? 0 : Infinity);
    if (!isInteger) return std::numeric_limits<double>::quiet_NaN();
    return size == 1 ? sign : sign * PowOfPositive(size, y);
}

} // namespace

double Exp(double a) { return Settle<ExpStages>(a); }

double Log(double a) { return Settle<LogStages>(a); }

double Pow(double a, double b) {
    if (b == 2) return a * a;
    const bool isUsual = a > 0 && a < Infinity && a != 1 && b - b == 0 && b != 0;
    return isUsual ? PowOfPositive(a, b) : PowOfRare(a, b);
}

} // namespace Quarn::Elementary
