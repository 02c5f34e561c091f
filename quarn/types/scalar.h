#pragma once

#include <optional>

#include "quarn/types/binding.h"
#include "quarn/types/value.h"

namespace Quarn {

/// A real number: an IEEE 754 double, including infinities and not-a-number.
class QUARN_API Scalar final : public Value<Scalar> {
public:
    static constexpr std::string_view TypeName = "Scalar";
    using Flat = double;

    /// Registers the type, its literals, operators and functions.
    static void Register(State& state);

    explicit Scalar(const s_str& name, double value = 0) : Value(name), m_value(value) {}
    /// A result, which has no name.
    explicit Scalar(double value) : m_value(value) {}

    /// The number in a text, correctly rounded: an optional sign, digits with at most one point, an optional exponent.
    /// The empty text is 0. Blanks around it do not count. None for any other text.
    static std::optional<double> Read(std::string_view text);

    /// "nan", "inf+", "inf-", or at most 15 significant digits.
    s_str ToString() const override { return WithName(PlainText(m_value)); }
    Outcome WriteTo(TextWriter& writer) const override;

    double GetValue() const { return m_value; }
    double GetFlatValue() const { return m_value; }

    // Pooled, because every literal and every result is one.
    static void* operator new(std::size_t) { return s_pool::Allocate<sizeof(Scalar)>(); }
    static void operator delete(void* memory) { s_pool::Free<sizeof(Scalar)>(memory); }

private:
    double m_value;
};

/// Numbers are doubles to a host: in callables, in `State::Set` and `Get`, in formulas.
template <> struct Conversion<double> {
    using Class = Scalar;
    static double Read(const Scalar& scalar) { return scalar.GetValue(); }
    static s_refptr<Symbol> Make(double value) { return make_refptr<Scalar>(value); }
};

} // namespace Quarn
