#include "quarn/core/s_double.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "quarn/core/ranges.h"

#ifndef __cpp_lib_to_chars
#include <locale.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif
#endif

namespace Quarn {

namespace {

/// Every decimal number of this many digits survives a round trip through a double.
constexpr int PlainDigits = std::numeric_limits<double>::digits10;

/// The smallest number with more digits. A whole number below it needs no exponent.
constexpr double SmallestLonger = 1e15;
/// General notation has no exponent from `SmallestFixed` up to `EndOfFixed`, which itself rounds to `SmallestLonger`.
constexpr double SmallestFixed = 1e-4;
constexpr double EndOfFixed = SmallestLonger - 0.5;

/// "00" to "99", one after the other.
constexpr std::array<char, 200> DigitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    return pairs;
}();

/// Rounds the exact product to a whole number, for products from 1e14 to 1e15. The rounding error of such a product is
/// known exactly. It is smaller than the distance of the fraction from a half unless that distance is zero.
std::int64_t RoundedProduct(double a, double b) {
    const double product = a * b;
    const auto number = static_cast<std::int64_t>(product);
    const double fraction = product - static_cast<double>(number);
    if (fraction != 0.5) return fraction > 0.5 ? number + 1 : number;
    const double error = std::fma(a, b, -product);
    const bool isOdd = number % 2 != 0;
    return error > 0 || (error == 0 && isOdd) ? number + 1 : number;
}

/// Writes a number from `SmallestFixed` to below `EndOfFixed` in general notation; returns the end. The library's
/// conversion gives the same in about twice the time, because it handles every magnitude and precision.
char* WriteFixed(char* text, double number) {
    static constexpr std::array Powers{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                       1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19}; // all exact
    const auto firstDigits = [&](int point) {
        return RoundedProduct(number, Powers[static_cast<std::size_t>(PlainDigits - point)]);
    };
    // The number of digits before the point; negative counts zeros after it. The power of two gives it, or one less.
    // Rounding may add one too.
    constexpr int LogOfTwo = 19728; // to base ten, times 2^16, rounded down
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof(bits));
    const int exponent = static_cast<int>(bits >> 52) - 1023;
    static constexpr std::array Bounds{1e-4, 1e-3, 1e-2, 1e-1, 1e0,  1e1,  1e2,  1e3,  1e4,  1e5,
                                       1e6,  1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    int point = exponent * LogOfTwo / (1 << 16) + (exponent < 0 ? 0 : 1);
    constexpr int First = -4; // the power of ten of the first bound
    const int bound = point - First;
    if (number >= Bounds[static_cast<std::size_t>(bound)]) ++point;
    std::int64_t value = firstDigits(point);
    while (static_cast<double>(value) >= SmallestLonger) value = firstDigits(++point);

    std::array<char, PlainDigits> digits;
    // The last eight digits are written first, then the others. Each part fits into 32 bits, which divide faster.
    constexpr std::uint32_t Split = 100'000'000;
    auto rest = static_cast<std::uint32_t>(value % Split);
    for (std::size_t end = digits.size(); end > 1; end -= 2, rest /= 100) {
        if (end == digits.size() - 8) rest = static_cast<std::uint32_t>(value / Split);
        std::memcpy(digits.data() + end - 2, DigitPairs.data() + std::size_t{2} * (rest % 100), 2);
    }
    digits[0] = static_cast<char>('0' + rest);
    int count = PlainDigits;
    while (count > point && digits[static_cast<std::size_t>(count - 1)] == '0') --count;
    if (point > 0) {
        text = std::copy_n(digits.begin(), point, text);
        if (count > point) *text++ = '.';
        return std::copy(digits.begin() + point, digits.begin() + count, text);
    }
    *text++ = '0';
    *text++ = '.';
    return std::copy_n(digits.begin(), count, std::fill_n(text, -point, '0'));
}

/// Writes any other number in general notation; returns the end.
template <class Number> char* WriteGeneral(char* first, char* last, Number number) {
    if constexpr (requires { std::to_chars(first, last, number, std::chars_format::general, PlainDigits); })
        return std::to_chars(first, last, number, std::chars_format::general, PlainDigits).ptr;
    else // Emscripten 3.1.6, which knows one locale
        return first + std::snprintf(first, static_cast<std::size_t>(last - first), "%.*g", PlainDigits, number);
}

#ifdef __cpp_lib_to_chars
/// The value of a decimal number that is out of the range of a double: infinity or zero. The power of ten of its first
/// significant digit decides. There always is one: a number whose digits are all zero is in range.
double OutOfRange(std::string_view text) {
    const double sign = text.front() == '-' ? -1 : 1;
    const auto positionOf = [](std::string_view where, const auto& isWanted) {
        return static_cast<std::size_t>(FindIf(where, isWanted) - where.begin());
    };
    const std::size_t exponentMark = positionOf(text, [](char c) { return c == 'e' || c == 'E'; });
    const std::string_view mantissa = text.substr(0, exponentMark);
    const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
    const auto firstDigit =
        static_cast<std::int64_t>(positionOf(mantissa, [](char c) { return c >= '1' && c <= '9'; }));

    std::string_view exponentText = text.substr(std::min(exponentMark + 1, text.size()));
    if (exponentText.starts_with('+')) exponentText.remove_prefix(1);
    std::int64_t exponent = 0;
    const auto result = std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
    // The sum must not overflow. No text is long enough for its digits to make up for such an exponent.
    constexpr std::int64_t Largest = std::int64_t{1} << 62;
    if (result.ec == std::errc::result_out_of_range) exponent = exponentText.starts_with('-') ? -Largest : Largest;
    const bool isLarge = point - firstDigit + std::clamp(exponent, -Largest, Largest) > 0;
    return sign * (isLarge ? std::numeric_limits<double>::infinity() : 0.0);
}
#endif

std::string CountText(double value) {
    const s_uint count = s_uint(value);
    if (count.IsValid()) return std::to_string(count.Get());
    return count.GetState() == s_uint::State::NaN ? "nan" : "inf";
}

std::string PaddedCountText(double value, std::size_t width) {
    std::string text = CountText(value);
    if (text.size() < width) text.insert(0, width - text.size(), '0');
    return text;
}

/// Multiplies by ten `times` times, in a loop because each step must round. Zero, infinity and NaN stay as they are and
/// end the loop.
double ShiftLeft(double value, unsigned times) {
    while (times-- > 0 && value != 0 && std::isfinite(value)) value *= 10;
    return value;
}

unsigned CountOrZero(s_uint count) { return count.IsValid() ? count.Get() : 0; }

} // namespace

s_number_text PlainText(s_double value) {
    s_number_text text;
    char* const first = text.m_characters.data();
    char* const last = first + text.m_characters.size();
    const double number = value.Get();
    const auto put = [&](std::string_view word) { text.m_size = word.copy(first, word.size()); };
    switch (value.GetClass()) {
    case s_double::Class::NaN: put("nan"); return text;
    case s_double::Class::PositiveInfinity: put("inf+"); return text;
    case s_double::Class::NegativeInfinity: put("inf-"); return text;
    case s_double::Class::Finite: break;
    }
    const double magnitude = std::fabs(number);
    const bool isNegativeZero = number == 0 && std::signbit(number);
    char* end = first;
    if (magnitude < SmallestLonger && number == std::trunc(number) && !isNegativeZero) {
        end = std::to_chars(first, last, static_cast<std::int64_t>(number)).ptr;
    } else if (magnitude >= SmallestFixed && magnitude < EndOfFixed) {
        if (number < 0) *end++ = '-';
        end = WriteFixed(end, magnitude);
    } else {
        end = WriteGeneral(first, last, number);
    }
    text.m_size = static_cast<std::size_t>(end - first);
    return text;
}

std::optional<double> ReadDecimal(std::string_view text) {
    // The library's functions also accept hexadecimal digits, the names of special values, blanks and plus signs.
    static constexpr std::array<bool, 256> IsPart = [] {
        std::array<bool, 256> isPart{};
        for (const char c : std::string_view("0123456789.eE-+")) isPart[static_cast<unsigned char>(c)] = true;
        return isPart;
    }();
    const auto isPart = [](char c) { return IsPart[static_cast<unsigned char>(c)]; };
    if (text.empty() || text.front() == '+' || !AllOf(text, isPart)) return std::nullopt;
#ifdef __cpp_lib_to_chars
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ptr != end || result.ec == std::errc::invalid_argument) return std::nullopt;
    return result.ec == std::errc::result_out_of_range ? OutOfRange(text) : value;
#else // libc++ 19 has no std::from_chars for a double. POSIX has this; the locale is the one with a decimal point.
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    const std::string terminated(text);
    char* end = nullptr;
    const double value = strtod_l(terminated.c_str(), &end, classic);
    return end == terminated.c_str() + terminated.size() ? std::optional(value) : std::nullopt;
#endif
}

std::string FixedText(double value, s_uint integerDigits, s_uint decimals) {
    const std::string sign = value < 0 ? "-" : "";
    const double magnitude = value < 0 ? -value : value;
    const double whole = std::floor(magnitude);
    const unsigned places = CountOrZero(decimals);
    std::string text = sign + PaddedCountText(whole, CountOrZero(integerDigits));
    if (places == 0) return text;
    return text + "." + PaddedCountText(ShiftLeft(magnitude - whole, places), places);
}

std::string SignificantText(double value, s_uint digits) {
    const std::string sign = value < 0 ? "-" : "";
    const double magnitude = value < 0 ? -value : value;
    const unsigned wanted = CountOrZero(digits);

    if (magnitude < 1) {
        double scaled = magnitude;
        std::size_t zeros = 0;
        for (; scaled < 1 && scaled > 0; scaled *= 10) ++zeros;
        // Also reached by a denormal number if the processor flushes those to zero.
        if (scaled == 0) return sign + "0." + std::string(std::size_t{wanted} + 1, '0');
        return sign + "0." + std::string(zeros, '0') + CountText(ShiftLeft(scaled, wanted));
    }

    const double whole = std::floor(magnitude);
    std::string text = CountText(whole);
    if (text.size() > wanted) {
        for (std::size_t i = wanted; i < text.size(); ++i)
            if (std::isdigit(static_cast<unsigned char>(text[i]))) text[i] = '0';
        return sign + text;
    }
    // If the whole part already has enough digits, the fraction is still written, rounded to one digit (0 or 1).
    const unsigned places = wanted - static_cast<unsigned>(text.size());
    return sign + text + "." + PaddedCountText(ShiftLeft(magnitude - whole, places), places);
}

} // namespace Quarn
