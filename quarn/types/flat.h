#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"

namespace Quarn {

class Outcome;
class Symbol;
class TextWriter;

// Flat values. The values of some types fit into a machine word, as numbers do. While such a value has no name, the
// engine keeps the word and makes an object only where one is needed. This is all it knows of the type.

using Word = std::uint64_t;

/// A type whose values can be flat. There is one object for each type; it must outlive all states.
struct FlatType {
    const s_str* name;                               ///< of the type, the object that `Symbol::GetType` returns
    bool hasFullType;                                ///< whether `Symbol::GetFullType` may give anything but the name
    s_refptr<Symbol> (*make)(Word word);             ///< makes a nameless object with the value
    Outcome (*write)(Word word, TextWriter& writer); ///< writes it as `Symbol::WriteTo` does
};

/// The word that holds a plain C++ value, and back.
template <class T> Word ToWord(const T& value) {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(Word));
    Word word = 0;
    std::memcpy(&word, &value, sizeof(T));
    return word;
}
template <class T> T FromWord(Word word) {
    T value;
    std::memcpy(&value, &word, sizeof(T));
    return value;
}

/// Reads literals of a flat type.
struct FlatReader {
    const FlatType* type = nullptr; ///< null for none
    /// Whether the text is a literal, and its value. If not, the literal test and the constructor are asked.
    bool (*read)(std::string_view text, Word& word) = nullptr;

    bool operator==(const FlatReader&) const = default;
    explicit operator bool() const { return type != nullptr; }
};

/// What a flat callable needs besides its operands.
struct FlatContext {
    virtual ~FlatContext() = default;
};

/// A callable for flat values only. It cannot fail, and gets no state.
struct FlatCallable {
    using Function = Word (*)(const FlatContext* context, const Word* operands);

    Function function = nullptr;         ///< null for none
    const FlatType* result = nullptr;    ///< the type of its result
    s_refptr<const FlatContext> context; ///< null if it needs none

    explicit operator bool() const { return function != nullptr; }
    /// If the callable is replaced while it runs, the call finishes with the old one.
    Word operator()(const Word* operands) const {
        const s_refptr<const FlatContext> held = context;
        return function(held.Get(), operands);
    }
};

} // namespace Quarn
