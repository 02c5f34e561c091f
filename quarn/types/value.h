#pragma once

#include "quarn/types/symbol.h"

namespace Quarn {

/// The base of every value type. It supplies what all types have in common, so a type needs only its name, a
/// constructor for a value without a name, and its text:
///
///     class Length final : public Quarn::Value<Length> {
///     public:
///         static constexpr std::string_view TypeName = "Length";
///         explicit Length(double metres) : m_metres(metres) {}
///         Quarn::s_str ToString() const override { return WithName(Quarn::s_str(m_metres) + "m"); }
///     private:
///         double m_metres;
///     };
///
/// A type whose value fits into a word may add `using Flat = ...`, `Flat GetFlatValue() const`, and a constructor from
/// a `Flat`: then the engine makes no objects for values without a name. With `void SetFlatValue(Flat)`, it makes none
/// for a symbol that a host sets again and again.
template <class Derived> class Value : public Symbol {
public:
    s_str ToString() const override = 0;
    const s_str& GetType() const override { return TypeNameOf<Derived>(); }
    s_refptr<Symbol> Clone() const final {
        static_assert(std::is_final_v<Derived>);
        return s_refptr<Symbol>(new Derived(static_cast<const Derived&>(*this)));
    }
    const FlatType* GetFlat(Word& word) const final;

protected:
    Value() = default;
    explicit Value(const s_str& name) { SetName(name); }
};

template <class Class> constexpr auto AssignmentOf() -> void (*)(Symbol&, Word) {
    using Flat = typename Class::Flat;
    if constexpr (requires(Class & object, Flat value) { object.SetFlatValue(value); })
        return [](Symbol& object, Word word) { static_cast<Class&>(object).SetFlatValue(FromWord<Flat>(word)); };
    else return nullptr;
}

/// The type of the flat values of a class.
template <class Class> QUARN_API const FlatType& FlatTypeOf() {
    using Flat = typename Class::Flat;
    using Inherited = s_str (Symbol::*)() const;
    static const FlatType type{
        &TypeNameOf<Class>(), !std::is_same_v<decltype(&Class::GetFullType), Inherited>,
        [](Word word) -> s_refptr<Symbol> { return make_refptr<Class>(FromWord<Flat>(word)); },
        [](Word word, TextWriter& writer) { return Class(FromWord<Flat>(word)).WriteTo(writer); },
        AssignmentOf<Class>()};
    return type;
}

template <class Derived> const FlatType* Value<Derived>::GetFlat(Word& word) const {
    if constexpr (requires { typename Derived::Flat; }) {
        word = ToWord<typename Derived::Flat>(static_cast<const Derived&>(*this).GetFlatValue());
        return &FlatTypeOf<Derived>();
    } else {
        return nullptr;
    }
}

} // namespace Quarn
