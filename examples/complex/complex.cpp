// Complex numbers for the calculator: literals like `3i`, arithmetic with numbers on either side, and functions.
// It carries out the lines that it reads.

#include <cmath>
#include <complex>
#include <iostream>
#include <optional>
#include <string>
#include <tuple>

#include <quarn/quarn.h>

using Number = std::complex<double>;

/// The value type. `Value` supplies what all types do alike.
class Complex final : public Quarn::Value<Complex> {
public:
    static constexpr std::string_view TypeName = "Complex";

    explicit Complex(const Number& value) : m_value(value) {}

    /// "1-2i", with the real part even if that is 0.
    Quarn::s_str ToString() const override {
        const Quarn::s_str imaginary(m_value.imag());
        const char* const plus = imaginary.StartsWith("-") ? "" : "+";
        return WithName(Quarn::s_str(m_value.real()) + plus + imaginary + "i");
    }

    const Number& GetValue() const { return m_value; }

private:
    Number m_value;
};

/// How values become C++ numbers and back: a Scalar counts as a complex number too.
template <> struct Quarn::Conversion<Number> {
    using Class = Complex;
    using PromotedFrom = std::tuple<Scalar>;
    static Number Read(const Complex& value) { return value.GetValue(); }
    static Number Read(const Scalar& value) { return value.GetValue(); }
    static s_refptr<Symbol> Make(const Number& value) { return make_refptr<Complex>(value); }
};

/// The number that the literal stands for; none if the text is no literal of this type.
static std::optional<Number> ReadImaginary(std::string_view text) {
    if (!text.ends_with('i')) return std::nullopt;
    text.remove_suffix(1);
    const std::optional<double> value = text.empty() ? std::nullopt : Quarn::Scalar::Read(text);
    return value ? std::optional(Number(0, *value)) : std::nullopt;
}

static void RegisterComplex(Quarn::State& state) {
    Quarn::Binding bind(state, Quarn::Purity::Pure);
    bind.Type<Number>(ReadImaginary, [](double real, double imaginary) { return Number(real, imaginary); });

    bind.Binary("+", [](const Number& a, const Number& b) { return a + b; });
    bind.Binary("-", [](const Number& a, const Number& b) { return a - b; });
    bind.Binary("*", [](const Number& a, const Number& b) { return a * b; });
    bind.Binary("/", [](const Number& a, const Number& b) { return a / b; });
    bind.Binary("^", [](const Number& a, const Number& b) { return std::pow(a, b); });
    bind.RightUnary("-", [](const Number& a) { return -a; });

    bind.Function("abs", [](const Number& a) { return std::abs(a); });
    bind.Function("arg", [](const Number& a) { return std::arg(a); });
    bind.Function("conj", [](const Number& a) { return std::conj(a); });
    bind.Function("sqrt", [](const Number& a) { return std::sqrt(a); });
}

int main() {
    Quarn::State state;
    Quarn::Vector::Register(state);
    RegisterComplex(state);
    for (std::string line; std::getline(std::cin, line);) state.ParseLine(line);
}
