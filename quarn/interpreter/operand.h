#pragma once

#include <cassert>

#include "quarn/interpreter/flat.h"
#include "quarn/types/symbol.h"

namespace Quarn {

/// A value during evaluation: an object, or a flat value. Null if there is none.
class Operand {
public:
    Operand() = default;
    Operand(s_refptr<Symbol> object) : m_object(std::move(object)) {}
    Operand([[maybe_unused]] Outcome failure) { assert(!failure); }
    Operand(const FlatType& type, Word word) : m_type(&type), m_word(word) {}

    /// The value without its name, flat if its type allows that.
    static Operand Nameless(s_refptr<Symbol> object) {
        Operand operand;
        operand.m_type = object->GetFlat(operand.m_word);
        if (!operand.m_type) operand.m_object = Symbol::Named(std::move(object), "");
        return operand;
    }
    /// The value, flat if it has no name and its type allows that.
    static Operand Flattened(const s_refptr<Symbol>& object) {
        Operand operand;
        if (object && object->GetName().IsEmpty()) operand.m_type = object->GetFlat(operand.m_word);
        if (!operand.m_type) operand.m_object = object;
        return operand;
    }

    explicit operator bool() const { return m_type || m_object; }
    /// Null for an object.
    const FlatType* GetFlatType() const { return m_type; }
    Word GetWord() const { return m_word; }
    /// Null for a flat value.
    const s_refptr<Symbol>& GetObject() const { return m_object; }
    /// The value as an object, which is made for a flat value.
    s_refptr<Symbol> ToObject() && { return m_type ? m_type->make(m_word) : std::move(m_object); }
    s_refptr<Symbol> ToObject() const& { return m_type ? m_type->make(m_word) : m_object; }

private:
    const FlatType* m_type = nullptr;
    Word m_word = 0;
    s_refptr<Symbol> m_object;
};

} // namespace Quarn
