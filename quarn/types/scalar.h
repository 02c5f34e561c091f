#pragma once

#include "quarn/types/binding.h"

namespace Quarn {

/// A real number: a double in the sense of IEEE 754, infinities and not-a-number included.
class Scalar final : public Symbol {
public:
    static constexpr std::string_view TypeName = "Scalar";

    /// Registers the type, its literals, operators and functions.
    static void Register(State& state);

    // Not by `Symbol(name)`, which would keep the name as the text of the value too.
    explicit Scalar(const s_str& name, double value = 0) : m_value(value) { SetName(name); }
    /// A result: it has no name.
    explicit Scalar(double value) : m_value(value) {}

    /// "nan", "inf+", "inf-", or at most 15 significant digits.
    s_str ToString() const override { return WithName(PlainText(m_value)); }
    const s_str& GetType() const override { return TypeNameOf<Scalar>(); }
    s_refptr<Symbol> Clone() const override { return s_refptr<Symbol>(new Scalar(*this)); }
    s_bool WriteTo(TextWriter& writer) const override;

    double GetValue() const { return m_value; }

    // Every literal and every result is one.
    static void* operator new(std::size_t) { return s_pool::Take<sizeof(Scalar)>(); }
    static void operator delete(void* memory) { s_pool::GiveBack<sizeof(Scalar)>(memory); }

private:
    Scalar(const Scalar&) = default;

    double m_value;
};

/// Callables of numbers take and return doubles.
template <> struct Operand<double> {
    using Class = Scalar;
    static double Read(const Scalar& scalar) { return scalar.GetValue(); }
    static s_refptr<Symbol> Make(double value) { return make_refptr<Scalar>(value); }
};

} // namespace Quarn
