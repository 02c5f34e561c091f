#include "quarn/types/scalar.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "quarn/core/elementary.h"
#include "quarn/core/ranges.h"
#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/limits/limits.h"
#include "quarn/interpreter/state.h"

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
    return !text.empty() && AllOf(text, IsDigit);
}

s_refptr<Symbol> FromText(State& state, const s_str& name, std::string_view text, s_bool, s_str& error) {
    if (state.GetLimits().MustStopBefore(text.size())) return nullptr;
    const std::optional<double> value = Scalar::Read(text);
    if (!value) return Fail(error, "\tError : '" + s_str(text) + "' is not a number");
    return make_refptr<Scalar>(name, *value);
}

/// The most frequent literals, digits with at most one point, in one pass. Up to 2^53 and 10^22 both are exact, and a
/// quotient of two doubles is rounded correctly.
bool ReadLiteral(std::string_view text, Word& word) {
    constexpr std::size_t ExactDigits = std::numeric_limits<double>::digits10;
    static constexpr std::array Powers{1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (text.size() > ExactDigits) return false;
    std::int64_t digits = 0;
    std::size_t decimals = 0; // one more than their number, once there is a point
    for (const char character : text) {
        if (IsDigit(character)) {
            digits = 10 * digits + (character - '0');
            decimals += decimals > 0;
        } else if (character == '.' && decimals == 0 && text.size() > 1) {
            decimals = 1;
        } else {
            return false;
        }
    }
    const auto number = static_cast<double>(digits);
    word = ToWord(decimals > 1 ? number / Powers[decimals - 1] : number);
    return true;
}

Result<double> Remainder(double a, double b) {
    const auto fits = [](double value) {
        const double whole = std::trunc(value);
        return whole >= std::numeric_limits<std::int32_t>::min() && whole <= std::numeric_limits<std::int32_t>::max();
    };
    if (!fits(a) || !fits(b))
        return Result<double>::Error("\tError : The operands of '%' must fit into 32-bit integers");
    const auto divisor = static_cast<std::int64_t>(b);
    if (divisor == 0) return Result<double>::Error("\tError : The right operand of '%' must not be 0");
    return static_cast<double>(static_cast<std::int64_t>(a) % divisor);
}

/// f(a) = 1 if |a - 1| < 0.1, otherwise round(a) * f(a - 1). Where the recursion ends, it gives the factorial of the
/// nearest integer: it ends only if a whole number of steps down leads to |a - 1| < 0.1. It never ends for 0, which is
/// no special case, nor for numbers so large that a step down reaches one from which the next step changes nothing.
Result<double> Factorial(double a) {
    const double nearest = Elementary::Round(a);
    constexpr double Largest = 9007199254740994.0; // 2^53 + 2: one step leads to 2^53, below which all are exact
    const bool ends = nearest >= 1 && std::fabs(a - nearest) < 0.1 && a <= Largest;
    if (!ends) return Result<double>::Error("\tError : The factorial of '" + s_str(a) + "' is not defined");
    double product = 1;
    for (double factor = 2; factor <= nearest && !std::isinf(product); ++factor) product *= factor;
    return product;
}

template <class Callable> FlatCallable OnWords(Callable callable) {
    return FlatFormsOf<Callable, double, double>::Of(callable, true);
}

/// The same as `Elementary::Pow`, which finds out about the exponent each time.
FlatCallable PowerOf(Word exponent) {
    const auto power = FromWord<double>(exponent);
    if (power == 2) return OnWords([](double a) { return a * a; });
    if (power == -1) return OnWords([](double a) { return 1 / a; });
    return {};
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
    if (!text.empty() && text.size() <= ExactDigits && AllOf(text, IsDigit)) {
        double value = 0;
        for (const char digit : text) value = 10 * value + (digit - '0');
        return value;
    }
    return ReadDecimal(text);
}

Outcome Scalar::WriteTo(TextWriter& writer) const {
    const Outcome outcome = writer.AppendName(GetName());
    return outcome ? writer.Append(PlainText(m_value)) : outcome;
}

void Scalar::Register(State& state) {
    Registry& registry = state.EditRegistry();
    registry.types[TypeNameOf<Scalar>()] = [](const s_str& name) { return make_refptr<Scalar>(name); };
    const FlatReader reader{&FlatTypeOf<Scalar>(), ReadLiteral};
    LiteralTest& test = registry.literalTests[TypeNameOf<Scalar>()];
    test = [](std::string_view text) { return IsLiteral(text); };
    test.beginnings = "+-.0123456789e";
    test.reader = reader;
    registry.constantLiterals.insert(TypeNameOf<Scalar>());
    Constructor& constructor = registry.constructors[TypeNameOf<Scalar>()];
    constructor = Pure<Constructor>(FromText);
    constructor.reader = reader;

    s_str unseen; // fails only while an expression is evaluated: then the operators stay
    state.AddOperators({{"!", 4}, {"^", 3}, {"*", 2}, {"/", 2}, {"%", 2}, {"+", 1}, {"-", 1}}, unseen);

    // clang-format off
    Binding bind(state, Purity::Isolated);
    bind.RightUnary("!", [](double a) { return Factorial(a); });

    bind.Binary("*", [](double a, double b) { return a * b; });
    bind.Binary("/", [](double a, double b) { return a / b; });
    bind.Binary("+", [](double a, double b) { return a + b; });
    bind.Binary("-", [](double a, double b) { return a - b; });
    bind.Binary("^", [](double a, double b) { return Elementary::Pow(a, b); });
    bind.Binary("%", [](double a, double b) { return Remainder(a, b); });

    registry.binaryOperators["^"][TypeNameOf<Scalar>()][TypeNameOf<Scalar>()].flat.withRight = PowerOf;

    bind.RightUnary("+", [](const Scalar& a) { return a.Clone(); }); // with its name, if it has one
    registry.rightUnaryOperators["+"][TypeNameOf<Scalar>()].flat = OnWords([](double a) { return a; });
    bind.RightUnary("-", [](double a) { return -a; });

    bind.Function("min", [](double a, double b) { return a >= b ? b : a; });
    bind.Function("max", [](double a, double b) { return b >= a ? b : a; });
    bind.Function("round", [](double a) { return Elementary::Round(a); });
    bind.Function("round_up", [](double a) { return std::ceil(a); });
    bind.Function("round_down", [](double a) { return std::floor(a); });
    bind.Function("sqrt", [](double a) { return std::sqrt(a); });
    bind.Function("exp", [](double a) { return Elementary::Exp(a); });
    bind.Function("log", [](double a) { return Elementary::Log(a); });
    bind.Function("cos", [](double a) { return Elementary::Cos(a); });
    bind.Function("acos", [](double a) { return Elementary::Acos(a); });
    bind.Function("sin", [](double a) { return Elementary::Sin(a); });
    bind.Function("asin", [](double a) { return Elementary::Asin(a); });
    bind.Function("tan", [](double a) { return Elementary::Tan(a); });
    bind.Function("atan", [](double a) { return Elementary::Atan(a); });
    bind.Function("atan", [](double y, double x) { return Elementary::Atan2(y, x); });
    bind.Function("abs", [](double a) { return std::fabs(a); });
    bind.Function("pi", [] { return Pi; });

    Binding bindImpure(state);
    bindImpure.Function("rand", [] { return Random(0, 1); });
    bindImpure.Function("rand", Random);
    // clang-format on
}

} // namespace Quarn
