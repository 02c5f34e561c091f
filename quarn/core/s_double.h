#pragma once

#include <array>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "quarn/core/api.h"
#include "quarn/core/s_uint.h"

namespace Quarn {

/// A real number and its class. Finite numbers are written as digits, the others as "inf+", "inf-" and "nan".
template <class T> class s_double_t {
public:
    enum class Class : int { Finite = 0, PositiveInfinity = 1, NegativeInfinity = 2, NaN = 3 };

    constexpr s_double_t(T value = 0) : m_value(value) {}

    T Get() const { return m_value; }

    Class GetClass() const {
        constexpr T Infinity = std::numeric_limits<T>::infinity();
        if (m_value != m_value) return Class::NaN;
        if (m_value == Infinity) return Class::PositiveInfinity;
        return m_value == -Infinity ? Class::NegativeInfinity : Class::Finite;
    }

private:
    T m_value;
};

using s_double = s_double_t<double>;

/// The text of a number, stored inline.
class s_number_text {
public:
    operator std::string_view() const { return {m_characters.data(), m_size}; }

private:
    friend s_number_text PlainText(s_double value);

    std::array<char, 32> m_characters; ///< fits "-1.23456789012345e-308" with room to spare
    std::size_t m_size = 0;
};

/// Formats like C's "%.15g": at most 15 significant digits, no trailing zeros, an exponent only where needed. Any
/// decimal number of up to 15 digits survives a round trip through a double.
QUARN_API s_number_text PlainText(s_double value);

/// The double nearest to a decimal number, whatever the locale: a "-" or none, digits with at most one point, an
/// exponent or none. Infinity or 0 if it is out of range. None for any other text.
QUARN_API std::optional<double> ReadDecimal(std::string_view text);

/// `decimals` digits after the point, at least `integerDigits` before it; no point if there are no decimals.
///
/// The rounded fraction never carries: 0.999 with two decimals is "0.100". Reports are compared across versions, so the
/// form must not change. Pinned by "FixedFormKeepsItsFractionFromCarrying".
QUARN_API std::string FixedText(double value, s_uint integerDigits, s_uint decimals);

/// `digits` significant digits, and one more below 1: 0.5 with four digits is "0.050000".
///
/// Below 1 the first significant digit counts as a zero too, so there is always one zero too many. Fractions do not
/// carry either (1.9999 is "1.1000"). Both must stay for the same reason. Pinned by "SignificantFormKeepsItsExtraZero".
QUARN_API std::string SignificantText(double value, s_uint digits);

} // namespace Quarn
