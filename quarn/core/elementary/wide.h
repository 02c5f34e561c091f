#pragma once

#include <array>
#include <cstdint>

namespace Quarn::Elementary {

/// A number with 224 bits, for what the fast stage cannot settle. It is made to be checked by reading, not for speed:
/// an operation has an error of a few units in the last place, below 2^-218 of its result, and takes up to half a
/// microsecond.
class Wide {
public:
    static constexpr std::size_t Words = 7;

    Wide() = default;            ///< 0
    explicit Wide(double value); ///< exactly; finite
    explicit Wide(std::uint64_t value);
    /// The fraction 0.words times 2^exponent.
    template <std::size_t Count> Wide(const std::array<std::uint32_t, Count>& words, int exponent)
        : Wide(words.data(), Count, exponent) {}

    bool IsZero() const { return m_words[0] == 0; }
    bool IsNegative() const { return m_isNegative; }
    /// The exponent e of a number in [2^(e-1), 2^e).
    int GetExponent() const { return m_exponent; }
    /// The nearest double, of two the even one. Also below 2^-1022; infinite above all doubles.
    double Round() const;

    Wide operator-() const;
    friend Wide operator+(const Wide& a, const Wide& b);
    friend Wide operator-(const Wide& a, const Wide& b) { return a + -b; }
    friend Wide operator*(const Wide& a, const Wide& b);
    friend Wide operator/(const Wide& a, const Wide& b);
    friend Wide operator/(const Wide& a, std::uint32_t b);
    /// Times 2^exponent.
    Wide Scaled(int exponent) const;

private:
    Wide(const std::uint32_t* words, std::size_t count, int exponent);
    /// Takes the leading bits of a fraction.
    static Wide Normalised(const std::uint32_t* words, std::size_t count, int exponent, bool isNegative);
    static bool IsSmaller(const Wide& a, const Wide& b);

    std::array<std::uint32_t, Words> m_words{}; ///< the first one has its highest bit set, or all are 0
    int m_exponent = 0;
    bool m_isNegative = false;
};

Wide Sqrt(const Wide& a); ///< a >= 0

// The functions themselves. Arguments are finite, and no results exact or in the middle between two doubles.

Wide Exp(const Wide& a); ///< |a| < 1100
Wide Log(const Wide& a); ///< of a double above 0 but 1
struct Turn {
    unsigned quarters; ///< modulo 4
    Wide rest;         ///< at most pi/4
};
/// An angle without its quarter turns.
Turn Remainder(double a);
struct SinCos {
    Wide sin;
    Wide cos;
};
SinCos SinAndCos(double a);
Wide Atan2(const Wide& y, const Wide& x);

} // namespace Quarn::Elementary
