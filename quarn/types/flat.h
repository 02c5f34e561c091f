#pragma once

#include <array>
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
    void (*assign)(Symbol& object, Word word);       ///< gives an object of the type this value; null for none
};

/// The word that holds a plain C++ value. The value comes back from the word, or from the address of either.
template <class T> Word ToWord(const T& value) {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(Word));
    Word word = 0;
    std::memcpy(&word, &value, sizeof(T));
    return word;
}
template <class T> T ReadAt(const void* address) {
    T value;
    std::memcpy(&value, address, sizeof(T));
    return value;
}
template <class T> T FromWord(Word word) { return ReadAt<T>(&word); }

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

/// A value that one step hands to the next. It travels in a floating-point register where calls use such registers,
/// because most values are numbers.
#if defined(__x86_64__) || defined(_M_X64) || defined(__aarch64__) || defined(_M_ARM64)
using Passed = double;
#else
using Passed = Word;
#endif

/// A step of a program on words. It reads its operands, stores its result, and runs the next step. So the processor
/// predicts each of these calls separately, and the next step need not read the result from memory.
struct FlatStep {
    /// Carries out this step and all that follow. `last` is the result of the step before; the last step sets `value`,
    /// the result of the program. Returns false if one of them fails.
    using Run = bool (*)(const FlatStep* step, Passed last, Word& value);

    Run run;
    /// The addresses of up to two operands. For a callable with more operands, or with a context: the address of a list
    /// of such addresses, and the context.
    std::array<const void*, 2> operands{};
    mutable Word result = 0;
};

/// The ways to call a callable with words, see flat_forms.h. Each returns false if the callable fails. They give no
/// message; the form for objects does.
struct FlatForms {
    std::size_t operandCount;
    bool hasList; ///< of operands, see `FlatStep`
    /// Once. The operands are an array of words.
    bool (*call)(const FlatContext* context, const Word* operands, Word& result);
    /// `count` times. Each operand is the address of an array of so many words, none of which overlaps the results.
    bool (*callForMany)(const FlatContext* context, const void* const* operands, Word* results, std::size_t count);
    FlatStep::Run run;          ///< as a step whose operands are all in memory
    FlatStep::Run runWithLeft;  ///< as one whose left operand is the result of the step before; null with a list
    FlatStep::Run runWithRight; ///< the same for the right one; null unless there are two operands
};

/// A callable for flat values only. It gets no state.
struct FlatCallable {
    const FlatForms* forms = nullptr;         ///< null for none
    const FlatType* result = nullptr;         ///< the type of its result
    bool isIsolated = false;                  ///< see `Purity::Isolated`
    s_refptr<const FlatContext> context = {}; ///< null if it needs none
    /// Null, or gives a callable of the left operand alone that is faster for this right one; an empty one if there is
    /// none.
    FlatCallable (*withRight)(Word right) = nullptr;

    explicit operator bool() const { return forms != nullptr; }
    /// False if it fails. If the callable is replaced while it runs, the call finishes with the old one.
    bool operator()(const Word* operands, Word& value) const {
        if (!context) return forms->call(nullptr, operands, value);
        const s_refptr<const FlatContext> held = context;
        return forms->call(held.Get(), operands, value);
    }
};

} // namespace Quarn
