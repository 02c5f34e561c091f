#pragma once

#include <typeinfo>
#include <vector>

#ifndef __cpp_rtti
#error "quarn tells values apart by their run-time type information: compile without -fno-rtti"
#endif

#include "quarn/core/api.h"
#include "quarn/core/outcome.h"
#include "quarn/types/flat.h"

namespace Quarn {

class State;
class TextWriter;

/// The name of a type, one text for the whole process: types are told apart by its address. Created on first use, so a
/// state may be global, whatever is initialised before it.
template <class Type> QUARN_API const s_str& TypeNameOf() {
    static const s_str name = Type::TypeName;
    return name;
}

/// The root of all values, and itself the abstract type without a value. Types derive from `Value` (types/value.h).
/// Values live on the heap, are shared through `s_refptr<Symbol>`, and do not change once they are built; `Named` gives
/// a value under another name. Only what nobody shares may change, see `FlatType::assign`.
class QUARN_API Symbol {
public:
    static constexpr std::string_view TypeName = "Symbol";

    static void Register(State& state);

    /// The text of a valueless symbol is its name.
    explicit Symbol(const s_str& name) : m_name(name), m_text(name) {}
    virtual ~Symbol() = default;
    Symbol& operator=(const Symbol&) = delete;

    /// The display text of the value; "name = value" for a value that has a name.
    virtual s_str ToString() const { return m_text; }
    /// The type by which overloads are chosen: the process-wide name under which the type is registered. A reference is
    /// evaluated for it, which may erase the symbol that holds it, and may be stopped by a limit.
    virtual const s_str& GetType() const { return TypeNameOf<Symbol>(); }
    /// The type of the object itself.
    virtual const s_str& GetRealType() const { return GetType(); }
    /// The type with its size, if it has one: "3-Vector".
    virtual s_str GetFullType() const { return GetType(); }
    /// A new object of the same type with the same contents. It must have no side effects: it runs while a symbol is
    /// read.
    virtual s_refptr<Symbol> Clone() const { return s_refptr<Symbol>(new Symbol(*this)); }
    /// Writes the display text. A type that holds other values overrides this and has the writer write them, which
    /// bounds the text; its `ToString` then calls `TextWriter::TextOf`.
    virtual Outcome WriteTo(TextWriter& writer) const;
    /// How much memory the value takes, in bytes, with all that it holds: an estimate. What several values share counts
    /// for each. A type that holds more than its members overrides this.
    virtual std::size_t GetWeight() const { return m_name.View().size() + m_text.View().size() + UsualWeight; }
    /// Gives up the values that only this one holds; it is destroyed next. A type that may hold very many overrides
    /// this: then destroying them can be interrupted.
    virtual std::vector<s_refptr<Symbol>> TakeApart() { return {}; }
    /// The value without its name as a word, and its flat type; null if the value cannot be flat.
    virtual const FlatType* GetFlat(Word& word) const;

    /// The name as the user wrote it; empty for a temporary result.
    const s_str& GetName() const { return m_name; }
    /// The value under a name: the object itself if nobody else holds it, otherwise a copy.
    static s_refptr<Symbol> Named(s_refptr<Symbol> value, const s_str& name) {
        if (value->m_name == name) return value;
        if (!value.IsUnique()) value = value->Clone();
        value->m_name = name;
        return value;
    }

protected:
    static constexpr std::size_t UsualWeight = 160; ///< of an object with a few members, and its counts

    Symbol() = default;                                ///< without a name
    void SetName(const s_str& name) { m_name = name; } ///< during construction only
    Symbol(const Symbol&) = default;

    /// The display text of a value whose text without its name is `value`.
    s_str WithName(std::string_view value) const {
        if (m_name.IsEmpty()) return value;
        s_str text;
        text.Reserve(m_name.View().size() + 3 + value.size());
        text += m_name;
        text += " = ";
        text += value;
        return text;
    }

private:
    s_str m_name;
    s_str m_text;
};

/// The value as an object of a final class, or null: the only way to cast a value. Type information is compared by
/// address, because this runs for every operand: a class must be known to one module only, or exported from it.
template <class T> const T* As(const Symbol& value) {
    static_assert(std::is_final_v<T> || std::is_same_v<T, Symbol>);
#ifdef _WIN32 // each module has type information of its own
    return typeid(value) == typeid(T) ? static_cast<const T*>(&value) : nullptr;
#else
    return &typeid(value) == &typeid(T) ? static_cast<const T*>(&value) : nullptr;
#endif
}

} // namespace Quarn
