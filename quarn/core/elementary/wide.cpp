#include "quarn/core/elementary/wide.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "quarn/core/elementary/tables.h"

namespace Quarn::Elementary {

namespace {

constexpr int WordBits = 32;

int CountLeadingZeros(std::uint32_t word) {
    int count = 0;
    for (; count < WordBits && (word >> (WordBits - 1)) == 0; ++count) word <<= 1;
    return count;
}

} // namespace

Wide::Wide(double value) : m_isNegative(value < 0) {
    int exponent = 0;
    const double fraction = std::frexp(std::fabs(value), &exponent);
    const auto significand = static_cast<std::uint64_t>(fraction * 0x1p64);
    m_words[0] = static_cast<std::uint32_t>(significand >> WordBits);
    m_words[1] = static_cast<std::uint32_t>(significand);
    m_exponent = exponent;
}

Wide::Wide(std::uint64_t value) {
    const std::array words{static_cast<std::uint32_t>(value >> WordBits), static_cast<std::uint32_t>(value)};
    *this = Wide(words, 64);
}

Wide::Wide(const std::uint32_t* words, std::size_t count, int exponent)
    : Wide(Normalised(words, count, exponent, false)) {}

Wide Wide::Normalised(const std::uint32_t* words, std::size_t count, int exponent, bool isNegative) {
    std::size_t first = 0;
    while (first < count && words[first] == 0) ++first;
    Wide result;
    if (first == count) return result;
    const int shift = CountLeadingZeros(words[first]);
    for (std::size_t i = 0; i < Words && first + i < count; ++i) {
        const std::uint32_t next = first + i + 1 < count ? words[first + i + 1] : 0;
        result.m_words[i] =
            static_cast<std::uint32_t>((std::uint64_t{words[first + i]} << WordBits | next) >> (WordBits - shift));
    }
    result.m_exponent = exponent - static_cast<int>(first) * WordBits - shift;
    result.m_isNegative = isNegative;
    return result;
}

double Wide::Round() const {
    if (IsZero()) return 0;
    constexpr int Digits = std::numeric_limits<double>::digits;
    constexpr int Lowest = std::numeric_limits<double>::min_exponent - Digits; // of the last place of any double
    const int bits = std::min(Digits, m_exponent - Lowest);                    // fewer below 2^-1022
    const double sign = m_isNegative ? -1 : 1;
    if (bits < 0) return sign * 0.0;
    const std::uint64_t leading = std::uint64_t{m_words[0]} << WordBits | m_words[1];
    std::uint64_t kept = bits > 0 ? leading >> (64 - bits) : 0;
    const std::uint64_t rest = leading << bits; // at most 53
    const bool isMore = (rest << 1) != 0 || std::any_of(m_words.begin() + 2, m_words.end(), [](auto w) { return w; });
    const bool isHalf = (rest >> 63) != 0;
    if (isHalf && (isMore || (kept & 1) != 0)) ++kept;
    return sign * std::ldexp(static_cast<double>(kept), m_exponent - bits);
}

Wide Wide::operator-() const {
    Wide result = *this;
    result.m_isNegative = !m_isNegative;
    return result;
}

Wide Wide::Scaled(int exponent) const {
    Wide result = *this;
    result.m_exponent += exponent;
    return result;
}

/// Of the absolute values.
bool Wide::IsSmaller(const Wide& a, const Wide& b) {
    if (a.IsZero() || b.IsZero()) return !b.IsZero();
    return a.m_exponent != b.m_exponent ? a.m_exponent < b.m_exponent : a.m_words < b.m_words;
}

Wide operator+(const Wide& a, const Wide& b) {
    if (Wide::IsSmaller(a, b)) return b + a;
    if (b.IsZero()) return a;
    constexpr std::size_t Count = Wide::Words + 2; // one for the carry, one for what is shifted out
    const auto distance = static_cast<std::size_t>(a.m_exponent - b.m_exponent);
    const std::size_t skipped = distance / WordBits;
    const unsigned shift = distance % WordBits;
    if (skipped > Wide::Words) return a;
    std::array<std::uint32_t, Count> sum{};
    std::copy(a.m_words.begin(), a.m_words.end(), sum.begin() + 1);
    std::array<std::uint32_t, Count> other{};
    for (std::size_t i = 0; i < Wide::Words; ++i) {
        const std::uint64_t shifted = (std::uint64_t{b.m_words[i]} << WordBits) >> shift;
        const std::size_t at = i + skipped + 1;
        if (at < Count) other[at] |= static_cast<std::uint32_t>(shifted >> WordBits);
        if (at + 1 < Count) other[at + 1] |= static_cast<std::uint32_t>(shifted);
    }
    const bool isDifference = a.m_isNegative != b.m_isNegative;
    std::uint64_t carry = 0;
    for (std::size_t i = Count; i-- > 0;) {
        const std::uint64_t word =
            isDifference ? std::uint64_t{sum[i]} - other[i] - carry : std::uint64_t{sum[i]} + other[i] + carry;
        sum[i] = static_cast<std::uint32_t>(word);
        carry = word >> WordBits & 1;
    }
    return Wide::Normalised(sum.data(), Count, a.m_exponent + WordBits, a.m_isNegative);
}

/// Without the products that lie two words behind the result or more.
Wide operator*(const Wide& a, const Wide& b) {
    std::array<std::uint32_t, 2 * Wide::Words> product{};
    for (std::size_t i = Wide::Words; i-- > 0;) {
        std::uint64_t carry = 0;
        for (std::size_t j = std::min(Wide::Words, Wide::Words + 1 - i); j-- > 0;) {
            const std::uint64_t word = std::uint64_t{a.m_words[i]} * b.m_words[j] + product[i + j + 1] + carry;
            product[i + j + 1] = static_cast<std::uint32_t>(word);
            carry = word >> WordBits;
        }
        product[i] = static_cast<std::uint32_t>(carry);
    }
    return Wide::Normalised(product.data(), product.size(), a.m_exponent + b.m_exponent,
                            a.m_isNegative != b.m_isNegative);
}

Wide operator/(const Wide& a, std::uint32_t b) {
    std::array<std::uint32_t, Wide::Words + 1> quotient{};
    std::uint64_t rest = 0;
    for (std::size_t i = 0; i < quotient.size(); ++i) {
        rest = rest << WordBits | (i < Wide::Words ? a.m_words[i] : 0);
        quotient[i] = static_cast<std::uint32_t>(rest / b);
        rest %= b;
    }
    return Wide::Normalised(quotient.data(), quotient.size(), a.m_exponent, a.m_isNegative);
}

namespace {

/// The leading bits as a double in [1/2, 1).
double Leading(const Wide& a) { return std::fabs(a.Scaled(-a.GetExponent()).Round()); }

const Wide& One() {
    static const Wide one(1.0);
    return one;
}

} // namespace

/// Newton's iteration doubles the digits of the inverse: 53, 106, 212, 224.
Wide operator/(const Wide& a, const Wide& b) {
    const Wide divisor = (b.IsNegative() ? -b : b).Scaled(-b.GetExponent());
    Wide inverse(1 / Leading(b));
    for (int i = 0; i < 3; ++i) inverse = inverse + inverse * (One() - divisor * inverse);
    const Wide quotient = (a * inverse).Scaled(-b.GetExponent());
    return b.IsNegative() ? -quotient : quotient;
}

/// The same for 1/sqrt(a).
Wide Sqrt(const Wide& a) {
    if (a.IsZero()) return a;
    const int exponent = a.GetExponent() + (a.GetExponent() & 1);
    const Wide scaled = a.Scaled(-exponent); // in [1/4, 1)
    Wide inverse(1 / std::sqrt(scaled.Round()));
    for (int i = 0; i < 3; ++i) inverse = inverse + inverse * (One() - scaled * inverse * inverse).Scaled(-1);
    return (scaled * inverse).Scaled(exponent / 2);
}

namespace {

constexpr std::size_t MostTerms = 32;

/// 1/n!
const Wide& InverseFactorial(std::size_t n) {
    static const auto all = [] {
        std::array<Wide, MostTerms> inverses;
        inverses[0] = One();
        for (std::uint32_t i = 1; i < MostTerms; ++i) inverses[i] = inverses[i - 1] / i;
        return inverses;
    }();
    return all[n];
}

} // namespace

/// exp(a) = 2^n exp(r)^(2^Halvings), where r is small enough for a short Taylor series.
Wide Exp(const Wide& a) {
    constexpr int Halvings = 10;
    constexpr std::size_t Last = 17; // (ln(2)/2^11)^18/18! < 2^-250
    static const Wide ln2(Ln2Words, 0);
    const double n = std::round(a.Round() * 1.4426950408889634);
    const Wide r = (a - Wide(n) * ln2).Scaled(-Halvings);
    Wide sum = InverseFactorial(Last);
    for (std::size_t i = Last; i-- > 0;) sum = InverseFactorial(i) + r * sum;
    for (int i = 0; i < Halvings; ++i) sum = sum * sum;
    return sum.Scaled(static_cast<int>(n));
}

/// log(a) = y + log(1+z) with z = a/exp(y) - 1, below 2^-40 for an estimate y that the C library gives.
Wide Log(const Wide& a) {
    const double estimate = std::log(a.Round());
    const Wide z = a * Exp(-Wide(estimate)) - One();
    Wide sum;
    for (std::uint32_t i = 7; i > 0; --i) sum = One() / i - z * sum;
    return Wide(estimate) + z * sum;
}

namespace {

/// By Taylor's series for an eighth of the angle, which is then doubled three times. |r| <= pi/4.
SinCos SinAndCosOfRest(const Wide& r) {
    constexpr int Halvings = 3;
    constexpr std::size_t Last = 31; // (pi/32)^32/32! < 2^-220
    const Wide part = r.Scaled(-Halvings);
    const Wide square = -(part * part);
    Wide sine = InverseFactorial(Last);
    Wide cosine = InverseFactorial(Last - 1);
    for (std::size_t i = Last; i > 2; i -= 2) {
        sine = InverseFactorial(i - 2) + square * sine;
        cosine = InverseFactorial(i - 3) + square * cosine;
    }
    sine = part * sine;
    for (int i = 0; i < Halvings; ++i) {
        const Wide product = sine * cosine;
        cosine = One() - (sine * sine).Scaled(1);
        sine = product.Scaled(1);
    }
    return {sine, cosine};
}

} // namespace

Turn Remainder(double a) {
    if (std::fabs(a) < 0.78) return {0, Wide(a)};
    int exponent = 0;
    const auto significand = static_cast<std::uint64_t>(std::frexp(std::fabs(a), &exponent) * 0x1p53);
    // |a| = significand * 2^(exponent-53). Of 2/pi, words are left out whose products with it are multiples of 4. What
    // remains has 400 bits behind the point or more, of which 61 may cancel.
    constexpr std::size_t Used = 14;
    const std::size_t skipped = exponent > 55 ? static_cast<std::size_t>(exponent - 55) / WordBits : 0;
    std::array<std::uint32_t, Used + 3> product{};
    const std::array factor{static_cast<std::uint32_t>(significand >> WordBits),
                            static_cast<std::uint32_t>(significand)};
    for (std::size_t i = factor.size(); i-- > 0;) {
        std::uint64_t carry = 0;
        for (std::size_t j = Used; j-- > 0;) {
            const std::uint64_t word = std::uint64_t{factor[i]} * TwoOverPi[skipped + j] + product[i + j + 1] + carry;
            product[i + j + 1] = static_cast<std::uint32_t>(word);
            carry = word >> WordBits;
        }
        product[i] = static_cast<std::uint32_t>(carry);
    }
    // The point is behind so many bits; two before it are the quarters.
    const auto point = static_cast<std::size_t>(64 + exponent - 53) - skipped * WordBits;
    std::array<std::uint32_t, Used> fraction{};
    for (std::size_t i = 0; i < fraction.size(); ++i) {
        const std::size_t at = i + (point - 2) / WordBits;
        if (at + 1 >= product.size()) break;
        fraction[i] = static_cast<std::uint32_t>((std::uint64_t{product[at]} << WordBits | product[at + 1]) >>
                                                 (WordBits - (point - 2) % WordBits));
    }
    unsigned quarters = fraction[0] >> (WordBits - 2);
    fraction[0] &= ~std::uint32_t{0} >> 2;
    Wide turn(fraction, 2);                          // the fraction behind the quarters
    if (turn.GetExponent() == 0 && !turn.IsZero()) { // at least a half
        ++quarters;
        turn = turn - One();
    }
    static const Wide halfPi(QuarterPiWords, 1);
    const Wide rest = turn * halfPi;
    return a < 0 ? Turn{-quarters % 4, -rest} : Turn{quarters % 4, rest};
}

namespace {

/// atan(t) for |t| < 2^-20
Wide SmallAtan(const Wide& t) {
    const Wide square = t * t;
    Wide sum;
    for (int i = 13; i > 0; i -= 2) sum = One() / static_cast<std::uint32_t>(i) - square * sum;
    return t * sum;
}

const Wide& Pi() {
    static const Wide pi(QuarterPiWords, 2);
    return pi;
}

} // namespace

SinCos SinAndCos(double a) {
    const auto [quarters, r] = Remainder(a);
    const auto [sine, cosine] = SinAndCosOfRest(r);
    SinCos result{quarters % 2 == 0 ? sine : cosine, quarters % 2 == 0 ? cosine : sine};
    if (quarters >= 2) result.sin = -result.sin;
    if (quarters == 1 || quarters == 2) result.cos = -result.cos;
    return result;
}

/// The angle of a point: an estimate, and how far the point is off the ray of the estimate.
Wide Atan2(const Wide& y, const Wide& x) {
    if (y.IsNegative()) return -Atan2(-y, x);
    if (x.IsNegative()) return Pi() - Atan2(y, -x);
    if (y.GetExponent() > x.GetExponent() + 1 && !y.IsZero()) return Pi().Scaled(-1) - Atan2(x, y);
    if (y.GetExponent() + 20 < x.GetExponent()) return SmallAtan(y / x);
    const int exponent = x.GetExponent();
    const double estimate = std::atan2(y.Scaled(-exponent).Round(), x.Scaled(-exponent).Round());
    const SinCos ray = SinAndCos(estimate);
    return Wide(estimate) + SmallAtan((y * ray.cos - x * ray.sin) / (x * ray.cos + y * ray.sin));
}

} // namespace Quarn::Elementary
