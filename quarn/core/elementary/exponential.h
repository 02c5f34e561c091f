#pragma once

#include "quarn/core/elementary/tables.h"

namespace Quarn::Elementary {

/// 2^exponent times the value.
struct ScaledEstimate {
    Estimate estimate;
    int exponent;

    QUARN_INLINE bool Settles(double& result) const {
        if (!estimate.Settles(result)) return false;
        result *= PowerOfTwo(exponent);
        return true;
    }
};

/// exp(x) for |x| < 709, with an error below 2^-66 (exponential.gappa).
///
/// x = k*step + r with step = ln(2)/128 and |r| < 2^-8.5; then exp(x) = 2^(k/128) * exp(r). The products with the first
/// part of the step are exact; the second part adds 2^-79 at most. exp(r) - 1 is r itself, in two parts, and
/// r^2/2 + ... + r^6/720 in one: its first term is below 2^-18, so rounding it costs some 2^-70, and what is left out,
/// r^7/5040, 2^-72.
template <bool IsFused> QUARN_INLINE ScaledEstimate FastExp(Sum x) {
    using A = Arithmetic<IsFused>;
    int k = 0;
    const double steps = Nearest(x.high * ExpSteps, k);
    const Sum first = Add(x.high - steps * ExpStep.high, -(steps * ExpStep.low));
    const Sum r = Add(first.high, first.low + x.low);
    constexpr double Series[] = {1.0 / 2, 1.0 / 6, 1.0 / 24, 1.0 / 120, 1.0 / 720};
    const double rest =
        A::MultiplyAdd(r.high * r.high, Polynomial<IsFused, 5>(Series, r.high), A::MultiplyAdd(r.high, r.low, r.low));
    const Sum& power = ExpTable[static_cast<unsigned>(k) % 128];
    const Sum product = A::Multiply(power.high, r.high);
    const Sum sum = AddSmaller(power.high, product.high);
    const double lows =
        sum.low + (product.low + A::MultiplyAdd(power.high, rest, A::MultiplyAdd(power.low, r.high, power.low)));
    const int exponent = (k - static_cast<int>(static_cast<unsigned>(k) % 128)) / 128;
    return {{AddSmaller(sum.high, lows), 0x1p-66}, exponent};
}

/// log(x) for a normal x (logarithm.gappa).
///
/// x = 2^e * m, and with c from the table, of 11 bits, r = m*c - 1 is a sum of two doubles exactly, below 2^-7.8:
/// log(x) = e*ln(2) - log(c) + log(1+r). The first parts of both logarithms are multiples of 2^-42, so that they add up
/// exactly. Of log(1+r), r and r^2/2 have two parts. r^3/3 is below 2^-25, so the error is below 2^-76 then; what is
/// left out, r^10/10, is below 2^-81. With e = 0, log(x) may be as small as 2^-9 beside 1, and where c is 1 it is r
/// itself: the error is below 2^-67 of it.
template <bool IsFused> QUARN_INLINE Estimate FastLog(double x) {
    using A = Arithmetic<IsFused>;
    const std::uint64_t bits = BitsOf(x);
    const std::uint64_t behind = bits - LogBegin;
    const double e = static_cast<double>(static_cast<std::int64_t>(behind) >> 52);
    const double m = FromBits(bits - (behind & (std::uint64_t{0xfff} << 52)));
    const LogPart& part = LogTable[(behind >> 45) % LogTable.size()];
    const Sum scaled = A::Multiply(m, part.inverse);
    const Sum r = AddSmaller(scaled.high - 1, scaled.low);
    const Sum first = Add(e * Ln2.high + part.logarithm.high, r.high);
    const Sum square = A::Multiply(r.high, r.high);
    const Sum second = Add(first.high, -0.5 * square.high);
    constexpr double Series[] = {1.0 / 3, -1.0 / 4, 1.0 / 5, -1.0 / 6, 1.0 / 7, -1.0 / 8, 1.0 / 9};
    const double rest = A::MultiplyAdd(r.high * square.high, Polynomial<IsFused, 7>(Series, r.high),
                                       A::MultiplyAdd(-r.high, r.low, r.low) - 0.5 * square.low);
    const double low = (first.low + second.low) + (A::MultiplyAdd(e, Ln2.low, part.logarithm.low) + rest);
    return {AddSmaller(second.high, low), e == 0 ? 0x1p-66 : 0x1p-73};
}

} // namespace Quarn::Elementary
