#include "core/s_double.h"

#include <cctype>
#include <charconv>

namespace Quarn {

namespace {

/// The precision at which every decimal number of as many digits comes back from a double unchanged.
constexpr int PlainDigits = std::numeric_limits<double>::digits10;

/// Below this magnitude a whole number has at most `PlainDigits` digits and is its own general notation.
constexpr double SmallestLongInteger = 1e15;

std::string CountText(double value) {
    const s_uint count = s_uint::FromDouble(value);
    if (count.IsValid()) return std::to_string(count.Get());
    return count.GetState() == s_uint::State::NaN ? "nan" : "inf";
}

std::string PaddedCountText(double value, std::size_t width) {
    std::string text = CountText(value);
    if (text.size() < width) text.insert(0, width - text.size(), '0');
    return text;
}

/// `value` times ten, `times` times: a loop and not a power, as each step rounds. Zero, infinity and not-a-number stay
/// what they are and end it.
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
    // Whole numbers are most of what a calculator prints, and as integers they are written several times faster.
    const bool isWhole = std::fabs(number) < SmallestLongInteger && number == std::trunc(number);
    const bool isNegativeZero = number == 0 && std::signbit(number);
    const char* const end = isWhole && !isNegativeZero
                                ? std::to_chars(first, last, static_cast<long long>(number)).ptr
                                : std::to_chars(first, last, number, std::chars_format::general, PlainDigits).ptr;
    text.m_size = static_cast<std::size_t>(end - first);
    return text;
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

    if (magnitude == 0) return sign + "0." + std::string(std::size_t{wanted} + 1, '0');
    if (magnitude < 1) {
        double scaled = magnitude;
        std::size_t zeros = 0;
        for (; scaled < 1; scaled *= 10) ++zeros;
        return sign + "0." + std::string(zeros, '0') + CountText(ShiftLeft(scaled, wanted));
    }

    const double whole = std::floor(magnitude);
    std::string text = CountText(whole);
    if (text.size() > wanted) {
        for (std::size_t i = wanted; i < text.size(); ++i)
            if (std::isdigit(static_cast<unsigned char>(text[i]))) text[i] = '0';
        return sign + text;
    }
    // With as many integer digits as wanted, the fraction is still rounded and written, as one digit that is 0 or 1.
    const unsigned places = wanted - static_cast<unsigned>(text.size());
    return sign + text + "." + PaddedCountText(ShiftLeft(magnitude - whole, places), places);
}

} // namespace Quarn
