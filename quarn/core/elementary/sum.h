#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Quarn::Elementary {

// Arithmetic on sums of two doubles. It needs numbers that neither overflow nor become subnormal, and the usual
// rounding, to the nearest. The exact transformations are those of T. Dekker (1971) and D. Knuth.

#if defined(__GNUC__)
#define QUARN_INLINE [[gnu::always_inline]] inline
#else
#define QUARN_INLINE inline
#endif

/// A number with twice the digits: `low` is at most half a unit in the last place of `high`.
struct Sum {
    double high;
    double low;
};

QUARN_INLINE std::uint64_t BitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}
QUARN_INLINE double FromBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}
/// 2^exponent, which must be a normal number.
QUARN_INLINE double PowerOfTwo(int exponent) { return FromBits(static_cast<std::uint64_t>(1023 + exponent) << 52); }

/// The nearest integer, and the same as an int, for |value| < 2^31.
QUARN_INLINE double Nearest(double value, int& integer) {
    constexpr double Shift = 0x1.8p52;
    const double shifted = value + Shift;
    integer = static_cast<int>(static_cast<std::uint32_t>(BitsOf(shifted)));
    return shifted - Shift;
}

/// a + b, exactly.
QUARN_INLINE Sum Add(double a, double b) {
    const double sum = a + b;
    const double part = sum - a;
    return {sum, (a - (sum - part)) + (b - part)};
}
/// a + b, exactly, for |a| >= |b| or a = 0.
QUARN_INLINE Sum AddSmaller(double a, double b) {
    const double sum = a + b;
    return {sum, b - (sum - a)};
}
/// a + b with an error below 2^-104 of |a| + |b|.
QUARN_INLINE Sum Add(Sum a, Sum b) {
    const Sum sum = Add(a.high, b.high);
    return AddSmaller(sum.high, sum.low + (a.low + b.low));
}

/// What depends on whether the processor has a fused multiply-add. Both give exact products, so that estimates only
/// differ far behind the digits that are needed.
template <bool IsFused> struct Arithmetic;

template <> struct Arithmetic<true> {
    QUARN_INLINE static Sum Multiply(double a, double b) {
        const double product = a * b;
        return {product, __builtin_fma(a, b, -product)};
    }
    /// a * b + c
    QUARN_INLINE static double MultiplyAdd(double a, double b, double c) { return __builtin_fma(a, b, c); }
};

template <> struct Arithmetic<false> {
    QUARN_INLINE static Sum Multiply(double a, double b) {
        const Sum x = Split(a);
        const Sum y = Split(b);
        const double product = a * b;
        return {product, ((x.high * y.high - product) + x.high * y.low + x.low * y.high) + x.low * y.low};
    }
    QUARN_INLINE static double MultiplyAdd(double a, double b, double c) { return a * b + c; }

private:
    /// Two parts of at most 26 bits.
    QUARN_INLINE static Sum Split(double a) {
        const double scaled = a * 0x1.0000002p27;
        const double high = scaled - (scaled - a);
        return {high, a - high};
    }
};

/// a * b with an error below 2^-102 of it.
template <bool IsFused> QUARN_INLINE Sum Multiply(Sum a, double b) {
    const Sum product = Arithmetic<IsFused>::Multiply(a.high, b);
    return AddSmaller(product.high, product.low + a.low * b);
}
template <bool IsFused> QUARN_INLINE Sum Multiply(Sum a, Sum b) {
    const Sum product = Arithmetic<IsFused>::Multiply(a.high, b.high);
    return AddSmaller(product.high, product.low + (a.high * b.low + a.low * b.high));
}
/// a / b with an error below 2^-101 of it.
template <bool IsFused> QUARN_INLINE Sum Divide(Sum a, Sum b) {
    const double quotient = a.high / b.high;
    const Sum product = Arithmetic<IsFused>::Multiply(quotient, b.high);
    const double rest = ((a.high - product.high) - product.low) + (a.low - quotient * b.low);
    return AddSmaller(quotient, rest / b.high);
}

/// A polynomial by Estrin's scheme: the terms are independent of one another. `first` is the coefficient of 1.
template <bool IsFused, std::size_t Count> QUARN_INLINE double Polynomial(const double* first, double x) {
    using A = Arithmetic<IsFused>;
    if constexpr (Count == 1) return first[0];
    else if constexpr (Count == 2) return A::MultiplyAdd(first[1], x, first[0]);
    else if constexpr (Count == 3) return A::MultiplyAdd(first[2], x * x, A::MultiplyAdd(first[1], x, first[0]));
    else if constexpr (Count == 4)
        return A::MultiplyAdd(Polynomial<IsFused, 2>(first + 2, x), x * x, Polynomial<IsFused, 2>(first, x));
    else if constexpr (Count <= 8)
        return A::MultiplyAdd(Polynomial<IsFused, Count - 4>(first + 4, x), (x * x) * (x * x),
                              Polynomial<IsFused, 4>(first, x));
    else
        return A::MultiplyAdd(Polynomial<IsFused, Count - 8>(first + 8, x), ((x * x) * (x * x)) * ((x * x) * (x * x)),
                              Polynomial<IsFused, 8>(first, x));
}

/// A result, and how far it may be off. If all numbers so near round alike, that is the nearest double (A. Ziv, 1991).
struct Estimate {
    Sum value;
    double error; ///< relative to the value

    QUARN_INLINE bool Settles(double& result) const {
        const double off = value.high * error;
        result = value.high + (value.low - off);
        return result == value.high + (value.low + off);
    }
};
/// Leaves the result to the sure stage.
inline constexpr Estimate NoEstimate{{1, 0}, 1};

} // namespace Quarn::Elementary
