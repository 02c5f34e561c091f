#pragma once

#include <string>
#include <tuple>
#include <type_traits>

#include "quarn/core/result.h"
#include "quarn/types/operand.h"
#include "quarn/types/value.h"

namespace Quarn {

/// How values convert to a C++ type and back. By default a value class stands for itself. All numbers, bool, and
/// std::vector of these have a conversion (scalar.h, vector.h). A value type specialises it for the plain type that its
/// values are made from:
///
///     template <> struct Conversion<Plain> {
///         using Class = ValueClass;                        // the values that a Plain is read from
///         static Plain Read(const ValueClass& value);
///         static s_refptr<Symbol> Make(const Plain& plain);
///     };
///
/// Where a value may not fit, `Read` returns a `Result<Plain>`, and `Make` a `Result<s_refptr<Symbol>>`. If values of
/// the class can be flat, and every plain value has a flat equivalent, add `static Class::Flat Flatten(const Plain&)`.
///
/// To let a `Binding` accept other values as operands too (a number as a complex one), add
/// `using PromotedFrom = std::tuple<Scalar>;` and a `Read` for each of them.
template <class T> struct Conversion {
    using Class = T;
    static const T& Read(const T& value) { return value; }
    static s_refptr<Symbol> Make(const T& value) { return value.Clone(); }
};

/// The type whose `Conversion` is used for a C++ type: std::string for every text, the type itself otherwise.
template <class T> using PlainOf =
    std::conditional_t<s_text<std::remove_cvref_t<T>, char> || std::is_same_v<std::remove_cvref_t<T>, s_str>,
                       std::string, std::remove_cvref_t<T>>;

/// Stops the compiler with a sentence if there is no conversion.
template <class T> consteval void CheckConversion() {
    static_assert(std::is_base_of_v<Symbol, typename Conversion<T>::Class>,
                  "No value stands for this C++ type. Use double, another number, bool, a std::vector of these or a "
                  "value class, or specialise Quarn::Conversion for the type, see quarn/types/conversion.h.");
}

/// Whether flat values hold the C++ type itself.
template <class T> constexpr bool IsFlat = [] {
    if constexpr (requires { typename Conversion<T>::Class::Flat; })
        return std::is_same_v<typename Conversion<T>::Class::Flat, T>;
    else return false;
}();

/// The failure for a value that is not of the type. For a reference that cannot be evaluated it says why, as its
/// expression itself would.
QUARN_API Failure WhyNot(const Symbol& value, std::string_view type);

/// The value that references lead to, see `State::Resolve`.
QUARN_API Result<s_refptr<Symbol>> Follow(const s_refptr<Symbol>& value);

/// The plain value of an object of the class.
template <class T> Result<T> ReadValue(const typename Conversion<T>::Class& value) {
    return Conversion<T>::Read(value);
}

/// The value as a C++ type, or an error if it is of another class, or does not fit.
template <class T> Result<T> ConvertTo(const Symbol& value) {
    CheckConversion<T>();
    using Class = typename Conversion<T>::Class;
    if (const Class* object = As<Class>(value)) return ReadValue<T>(*object);
    return WhyNot(value, Class::TypeName);
}

/// Whether every value of the C++ type has a flat equivalent.
template <class T> constexpr bool HasWord = IsFlat<T> || requires(const T& plain) { Conversion<T>::Flatten(plain); };
template <class T> auto ToFlat(const T& plain) {
    if constexpr (IsFlat<T>) return plain;
    else return Conversion<T>::Flatten(plain);
}

/// The plain value of a flat one.
template <class T> Result<T> ReadWord(Word word) {
    using Class = typename Conversion<T>::Class;
    if constexpr (IsFlat<T>) return FromWord<T>(word);
    else return ReadValue<T>(Class(FromWord<typename Class::Flat>(word)));
}

/// The same for an operand. References are followed.
template <class T> Result<T> ConvertTo(const Operand& operand) {
    CheckConversion<T>();
    using Class = typename Conversion<T>::Class;
    if constexpr (requires { typename Class::Flat; })
        if (operand.GetFlatType() == &FlatTypeOf<Class>()) return ReadWord<T>(operand.GetWord());
    const Result<s_refptr<Symbol>> object = Follow(operand.ToObject());
    return object ? ConvertTo<T>(**object) : object.GetFailure();
}

/// The value that a C++ one stands for, without a name, or an error if it does not fit.
template <class T> Result<s_refptr<Symbol>> MakeValue(const T& plain) {
    using Plain = PlainOf<T>;
    CheckConversion<Plain>();
    if constexpr (std::is_same_v<T, Plain>) return Conversion<Plain>::Make(plain);
    else return Conversion<Plain>::Make(Plain(plain));
}

} // namespace Quarn
