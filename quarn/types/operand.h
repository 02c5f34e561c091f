#pragma once

#include <cassert>

#include "quarn/types/flat.h"
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
        Word word = 0;
        if (const FlatType* const type = object->GetFlat(word)) return {*type, word};
        return Symbol::Named(std::move(object), "");
    }
    /// The value, flat if it has no name and its type allows that.
    static Operand Flattened(s_refptr<Symbol> object) {
        Word word = 0;
        const FlatType* const type = object && object->GetName().IsEmpty() ? object->GetFlat(word) : nullptr;
        return type ? Operand(*type, word) : Operand(std::move(object));
    }

    explicit operator bool() const { return m_type || m_object; }
    /// Null for an object.
    const FlatType* GetFlatType() const { return m_type; }
    /// Of a flat value.
    Word GetWord() const {
        assert(m_type);
        return m_word;
    }
    /// Null for a flat value.
    const Symbol* GetObject() const { return m_object.Get(); }
    /// The value as an object, which is made for a flat value.
    s_refptr<Symbol> ToObject() && { return m_type ? m_type->make(m_word) : std::move(m_object); }
    s_refptr<Symbol> ToObject() const& { return m_type ? m_type->make(m_word) : m_object; }

private:
    const FlatType* m_type = nullptr; ///< null for an object
    Word m_word = 0;
    s_refptr<Symbol> m_object; ///< null for a flat value
};

} // namespace Quarn
