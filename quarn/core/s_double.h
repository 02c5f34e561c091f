#pragma once

#include <array>
#include <cmath>
#include <string>
#include <string_view>

#include "quarn/core/s_uint.h"

namespace Quarn {

/// A real number together with its class, which decides how it is written: finite numbers as digits, the others as the
/// fixed texts "inf+", "inf-" and "nan".
template <class T> class s_double_t {
public:
    enum class Class : int { Finite = 0, PositiveInfinity = 1, NegativeInfinity = 2, NaN = 3 };

    constexpr s_double_t(T value = 0) : m_value(value) {}

    T Get() const { return m_value; }

    Class GetClass() const {
        if (std::isnan(m_value)) return Class::NaN;
        if (!std::isinf(m_value)) return Class::Finite;
        return m_value > 0 ? Class::PositiveInfinity : Class::NegativeInfinity;
    }

private:
    T m_value;
};

using s_double = s_double_t<double>;

/// The text of a number, with its memory.
class s_number_text {
public:
    operator std::string_view() const { return {m_characters.data(), m_size}; }

private:
    friend s_number_text PlainText(s_double value);

    std::array<char, 32> m_characters; ///< "-1.23456789012345e-308" and some room
    std::size_t m_size = 0;
};

/// At most 15 significant digits, no trailing zeros, an exponent only where the general notation chooses one (C's
/// "%.15g"): the most digits that every decimal number survives on its way through a double.
s_number_text PlainText(s_double value);

/// `decimals` digits after the point, at least `integerDigits` before it; without a point when there are no decimals.
///
/// The rounded fraction never carries: 0.999 with two decimals is "0.100". Reports are compared with reports of other
/// versions, so the form stays. Pinned by "FixedFormKeepsItsFractionFromCarrying".
std::string FixedText(double value, s_uint integerDigits, s_uint decimals);

/// `digits` significant digits, and d + 1 of them below one: 0.5 with four digits is "0.050000".
///
/// The zeros below one are counted with the first significant digit, so there is always one too many, and fractions do
/// not carry either (1.9999 is "1.1000"). Both stay for the same reason. Pinned by "SignificantFormKeepsItsExtraZero".
std::string SignificantText(double value, s_uint digits);

} // namespace Quarn
