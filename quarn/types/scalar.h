#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

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
    void SetFlatValue(double value) { m_value = value; }

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

/// Integers and bool. Reading fails for a number that is not whole or is out of range; for bool, 0 and 1 are in range.
/// Making a value fails for an integer that a double cannot hold exactly.
template <std::integral T>
requires(std::is_same_v<T, bool> || !is_character<T>) struct Conversion<T> {
    using Class = Scalar;
    using Range = std::numeric_limits<T>;
    static constexpr bool AlwaysFits = Range::digits <= std::numeric_limits<double>::digits;

    static Result<T> Read(const Scalar& scalar) {
        const double value = scalar.GetValue();
        const bool isInRange = value >= static_cast<double>(Range::min()) && value < EndOfRange;
        if (isInRange && value == static_cast<double>(static_cast<T>(value))) return static_cast<T>(value);
        return Result<T>::Error("\tError : '" + s_str(value) + "' is not a whole number from " +
                                std::to_string(Range::min()) + " to " + std::to_string(Range::max()));
    }
    static double Flatten(T value) requires AlwaysFits { return static_cast<double>(value); }
    static Result<s_refptr<Symbol>> Make(T value) {
        const auto number = static_cast<double>(value);
        if constexpr (!AlwaysFits)
            if (number >= EndOfRange || static_cast<T>(number) != value)
                return Result<s_refptr<Symbol>>::Error("\tError : '" + std::to_string(value) +
                                                       "' needs more than 53 bits");
        return make_refptr<Scalar>(number);
    }

private:
    static constexpr double EndOfRange = 2.0 * static_cast<double>(std::uint64_t{1} << (Range::digits - 1));
};

/// The other floating-point numbers, which round. Reading fails for a finite number that would become infinite.
template <std::floating_point T> struct Conversion<T> {
    using Class = Scalar;
    using Range = std::numeric_limits<T>;

    static Result<T> Read(const Scalar& scalar) {
        const double value = scalar.GetValue();
        const auto isInfinite = [](auto number) { return number == Range::infinity() || number == -Range::infinity(); };
        const auto rounded = static_cast<T>(value);
        if (isInfinite(rounded) == isInfinite(value)) return rounded;
        return Result<T>::Error("\tError : '" + s_str(value) + "' is not a number from " +
                                s_str(static_cast<double>(Range::lowest())) + " to " +
                                s_str(static_cast<double>(Range::max())));
    }
    static double Flatten(T value) { return static_cast<double>(value); }
    static s_refptr<Symbol> Make(T value) { return make_refptr<Scalar>(static_cast<double>(value)); }
};

} // namespace Quarn
