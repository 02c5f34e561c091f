#include "quarn/types/scalar.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "quarn/interpreter/names.h"
#include "quarn/interpreter/state.h"
#include "quarn/interpreter/text_writer.h"

namespace Quarn {

namespace {

constexpr double Pi = 3.141592653589793;

/// An optional sign, digits with at most one point, an optional exponent. Some texts without a digit pass too ("." or
/// "e5"): names and operators never get here, and the constructor refuses what is no number.
bool IsLiteral(std::string_view text) {
    text = s_str::Trimmed(text);
    if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
    bool hasPoint = false;
    while (!text.empty() && (IsDigit(text.front()) || text.front() == '.')) {
        if (text.front() == '.' && std::exchange(hasPoint, true)) return false;
        text.remove_prefix(1);
    }
    if (text.empty()) return true;
    if (text.front() != 'e') return false;
    text.remove_prefix(1);
    if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
    return !text.empty() && std::ranges::all_of(text, IsDigit);
}

/// The value of a decimal number that is out of the range of a double: infinity or zero. The power of ten of its first
/// significant digit decides. There always is one: a number whose digits are all zero is in range.
double OutOfRange(std::string_view text) {
    const double sign = text.front() == '-' ? -1 : 1;
    const auto exponentMark = std::min(text.find_first_of("eE"), text.size());
    const std::string_view mantissa = text.substr(0, exponentMark);
    const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
    const auto firstDigit = static_cast<std::int64_t>(mantissa.find_first_of("123456789"));

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

s_refptr<Symbol> FromText(State&, const s_str& name, std::string_view text, s_bool, s_str& error) {
    const std::optional<double> value = Scalar::Read(text);
    if (!value) return Fail(error, "\tError : '" + s_str(text) + "' is not a number");
    return make_refptr<Scalar>(name, *value);
}

s_refptr<Symbol> Remainder(double a, double b, s_str& error) {
    const auto fits = [](double value) {
        const double whole = std::trunc(value);
        return whole >= std::numeric_limits<std::int32_t>::min() && whole <= std::numeric_limits<std::int32_t>::max();
    };
    if (!fits(a) || !fits(b)) return Fail(error, "\tError : The operands of '%' must fit into 32-bit integers");
    const auto divisor = static_cast<std::int64_t>(b);
    if (divisor == 0) return Fail(error, "\tError : The right operand of '%' must not be 0");
    return Conversion<double>::Make(static_cast<double>(static_cast<std::int64_t>(a) % divisor));
}

/// f(a) = 1 if |a - 1| < 0.1, otherwise round(a) * f(a - 1). Where the recursion ends, it gives the factorial of the
/// nearest integer: it ends only if a whole number of steps down leads to |a - 1| < 0.1. It never ends for 0, which is
/// no special case, nor for numbers so large that a step down reaches one from which the next step changes nothing.
s_refptr<Symbol> Factorial(double a, s_str& error) {
    const double nearest = std::round(a);
    constexpr double Largest = 9007199254740994.0; // 2^53 + 2: one step leads to 2^53, below which all are exact
    const bool ends = nearest >= 1 && std::fabs(a - nearest) < 0.1 && a <= Largest;
    if (!ends) return Fail(error, "\tError : The factorial of '" + s_str(a) + "' is not defined");
    double product = 1;
    for (double factor = 2; factor <= nearest && !std::isinf(product); ++factor) product *= factor;
    return Conversion<double>::Make(product);
}

/// The generator of the C runtime, unseeded, so every run draws the same numbers. A wider one gives its upper bits.
double Random(double a, double b) {
    constexpr int Largest = 32767;
    constexpr int Width = RAND_MAX / (Largest + 1) + 1; // how many numbers drawn count as one; 1 if all fit
    if (!std::isfinite(a) || !std::isfinite(b)) return 0;
    if (a > b) return a;
    const int drawn = std::rand() / Width;
    return a + drawn / static_cast<double>(Largest) * (b - a);
}

} // namespace

std::optional<double> Scalar::Read(std::string_view text) {
    text = s_str::Trimmed(text);
    if (text.empty()) return 0;
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    // A fast path for short whole numbers, the most common input; each step is exact.
    constexpr std::size_t ExactDigits = std::numeric_limits<double>::digits10;
    double value = 0;
    if (!text.empty() && text.size() <= ExactDigits && std::ranges::all_of(text, IsDigit)) {
        for (const char digit : text) value = 10 * value + (digit - '0');
        return value;
    }
    // std::from_chars accepts names for the special values; here they are not numbers.
    if (std::ranges::any_of(text, [](char c) { return IsLetter(c) && c != 'e' && c != 'E'; })) return std::nullopt;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ptr != end || result.ec == std::errc::invalid_argument) return std::nullopt;
    return result.ec == std::errc::result_out_of_range ? OutOfRange(text) : value;
}

Outcome Scalar::WriteTo(TextWriter& writer) const {
    const Outcome outcome = writer.AppendName(GetName());
    return outcome ? writer.Append(PlainText(m_value)) : outcome;
}

void Scalar::Register(State& state) {
    Registry& registry = state.EditRegistry();
    registry.types[TypeNameOf<Scalar>()] = [](const s_str& name) { return make_refptr<Scalar>(name); };
    registry.literalTests[TypeNameOf<Scalar>()] = [](std::string_view text) { return IsLiteral(text); };
    registry.constantLiterals.insert(TypeNameOf<Scalar>());
    registry.constructors[TypeNameOf<Scalar>()] = Pure<Constructor>(FromText);

    // clang-format off
    Binding bind(state, Purity::Pure);
    bind.RightUnary("!", Factorial);

    bind.Binary("*", [](double a, double b) { return a * b; });
    bind.Binary("/", [](double a, double b) { return a / b; });
    bind.Binary("+", [](double a, double b) { return a + b; });
    bind.Binary("-", [](double a, double b) { return a - b; });
    bind.Binary("^", [](double a, double b) { return std::pow(a, b); });
    bind.Binary("%", Remainder);

    bind.RightUnary("+", [](const Scalar& a) { return a.Clone(); });
    bind.RightUnary("-", [](double a) { return -a; });

    bind.Function("min", [](double a, double b) { return a >= b ? b : a; });
    bind.Function("max", [](double a, double b) { return b >= a ? b : a; });
    bind.Function("round", [](double a) { return std::round(a); }); // halves away from zero
    bind.Function("round_up", [](double a) { return std::ceil(a); });
    bind.Function("round_down", [](double a) { return std::floor(a); });
    bind.Function("sqrt", [](double a) { return std::sqrt(a); });
    bind.Function("exp", [](double a) { return std::exp(a); });
    bind.Function("log", [](double a) { return std::log(a); }); // to the base e
    bind.Function("cos", [](double a) { return std::cos(a); });
    bind.Function("acos", [](double a) { return std::acos(a); });
    bind.Function("sin", [](double a) { return std::sin(a); });
    bind.Function("asin", [](double a) { return std::asin(a); });
    bind.Function("tan", [](double a) { return std::tan(a); });
    bind.Function("atan", [](double a) { return std::atan(a); });
    bind.Function("atan", [](double y, double x) { return std::atan2(y, x); });
    bind.Function("abs", [](double a) { return std::fabs(a); });
    bind.Function("pi", [] { return Pi; });

    Binding bindImpure(state);
    bindImpure.Function("rand", [] { return Random(0, 1); });
    bindImpure.Function("rand", Random);
    // clang-format on
}

} // namespace Quarn
