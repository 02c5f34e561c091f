#pragma once

#include <cstdint>
#include <limits>
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

/// The other numbers, and bool.
template <class T>
concept OtherNumber =
    std::is_arithmetic_v<T> && !std::is_same_v<T, double> && (std::is_same_v<T, bool> || !is_character<T>);

/// An integer is a whole number in its range, a bool 0 or 1; a float rounds, but stays finite. The other way, a number
/// of 64 bits must be one of 53, so that nothing is lost; only a long double rounds.
template <OtherNumber T> struct Conversion<T> {
    using Class = Scalar;
    using Range = std::numeric_limits<T>;
    static constexpr bool AlwaysFits = !std::is_integral_v<T> || Range::digits <= std::numeric_limits<double>::digits;

    static Result<T> Read(const Scalar& scalar) {
        const double value = scalar.GetValue();
        constexpr bool isWhole = std::is_integral_v<T>;
        constexpr auto lowest = static_cast<double>(Range::lowest());
        bool fits = !isWhole || (value >= lowest && value < EndOfRange);
        if (fits)
            fits = isWhole ? value == static_cast<double>(static_cast<T>(value))
                           : IsFinite(value) == IsFinite(static_cast<double>(static_cast<T>(value)));
        if (fits) return static_cast<T>(value);
        return Result<T>::Error("\tError : '" + s_str(value) + "' is not a " + (isWhole ? "whole " : "") +
                                "number from " + TextOf(Range::lowest()) + " to " + TextOf(Range::max()));
    }
    static double Flatten(T value) requires AlwaysFits { return static_cast<double>(value); }
    static Result<s_refptr<Symbol>> Make(T value) {
        const auto number = static_cast<double>(value);
        if constexpr (!AlwaysFits)
            if (number >= EndOfRange || static_cast<T>(number) != value)
                return Result<s_refptr<Symbol>>::Error("\tError : '" + TextOf(value) + "' needs more than 53 bits");
        return make_refptr<Scalar>(number);
    }

private:
    static constexpr double EndOfRange =
        std::is_integral_v<T> ? 2.0 * static_cast<double>(std::uint64_t{1} << ((Range::digits - 1) % 64)) : 0;
    static bool IsFinite(double value) { return value - value == 0; }
    static s_str TextOf(T value) {
        s_str text;
        if constexpr (std::is_integral_v<T>)
            text += static_cast<std::conditional_t<std::is_unsigned_v<T>, std::uint64_t, std::int64_t>>(value);
        else text += value;
        return text;
    }
};

} // namespace Quarn
