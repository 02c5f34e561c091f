#pragma once

#include <tuple>

#include "quarn/interpreter/result.h"
#include "quarn/types/symbol.h"

namespace Quarn {

/// How values convert to a C++ type and back. By default a value class stands for itself. A value type specialises this
/// for the plain type that its values are made from, as `Scalar` does for double:
///
///     template <> struct Conversion<Plain> {
///         using Class = ValueClass;                        // the values that a Plain is read from
///         static Plain Read(const ValueClass& value);
///         static s_refptr<Symbol> Make(const Plain& plain);
///     };
///
/// To let a `Binding` accept other values as operands too (a number as a complex one), add
/// `using PromotedFrom = std::tuple<Scalar>;` and a `Read` for each of them.
template <class T> struct Conversion {
    using Class = T;
    static const T& Read(const T& value) { return value; }
};

/// Whether flat values hold the C++ type itself.
template <class T> constexpr bool IsFlat = [] {
    if constexpr (requires { typename Conversion<T>::Class::Flat; })
        return std::is_same_v<typename Conversion<T>::Class::Flat, T>;
    else return false;
}();

/// The message for a value that is not of the type. For a reference that cannot be evaluated it says why, as its
/// expression itself would.
QUARN_API s_str WhyNot(const Symbol& value, std::string_view type);

/// The value as a C++ type, or an error if it is of another class.
template <class T> Result<T> ConvertTo(const Symbol& value) {
    using Class = typename Conversion<T>::Class;
    if (const Class* object = As<Class>(value)) return T(Conversion<T>::Read(*object));
    return Result<T>::Error(WhyNot(value, Class::TypeName));
}

} // namespace Quarn
