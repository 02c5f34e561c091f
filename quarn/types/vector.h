#pragma once

#include <cassert>
#include <initializer_list>
#include <vector>

#include "quarn/types/conversion.h"
#include "quarn/types/operand.h"
#include "quarn/types/value.h"

namespace Quarn {

/// The elements of a vector. Flat values of one type take a word each; the object is made for whoever asks for one.
/// Positions start at 0; a position at or beyond the size is a bug in the caller.
class QUARN_API Elements {
public:
    class iterator {
    public:
        iterator(const Elements& elements, std::size_t position) : m_elements(&elements), m_position(position) {}
        s_refptr<Symbol> operator*() const { return (*m_elements)[m_position]; }
        iterator& operator++() {
            ++m_position;
            return *this;
        }
        bool operator!=(const iterator& other) const { return m_position != other.m_position; }

    private:
        const Elements* m_elements;
        std::size_t m_position;
    };

    Elements() = default;
    Elements(std::initializer_list<s_refptr<Symbol>> elements) {
        for (const s_refptr<Symbol>& element : elements) PushBack(Operand::Flattened(element));
    }

    std::size_t Count() const { return m_type ? m_words.size() : m_objects.size(); }
    /// The number of elements; infinity if it does not fit.
    s_uint Size() const { return s_uint(Count()); }
    bool IsEmpty() const { return Count() == 0; }
    Operand At(std::size_t position) const {
        assert(position < Count());
        return m_type ? Operand(*m_type, m_words[position]) : Operand(m_objects[position]);
    }
    s_refptr<Symbol> operator[](std::size_t position) const { return At(position).ToObject(); }
    iterator begin() const { return {*this, 0}; }
    iterator end() const { return {*this, Count()}; }

    /// Null if they are objects, or if there are none.
    const FlatType* GetFlatType() const { return m_type; }

    void Reserve(std::size_t count);
    /// The element must not be null.
    void PushBack(Operand element);
    /// See `Vector`.
    std::size_t GetSize() const { return m_type ? m_words.size() : m_size; }
    std::size_t GetWeight() const { return m_type ? m_words.size() * sizeof(Word) : m_weight; }
    unsigned GetNesting() const { return m_nesting; }
    /// Gives up the objects.
    std::vector<s_refptr<Symbol>> TakeApart() { return std::exchange(m_objects, {}); }

private:
    void PushObject(s_refptr<Symbol> object);

    const FlatType* m_type = nullptr; ///< null for objects
    std::vector<Word> m_words;
    std::vector<s_refptr<Symbol>> m_objects;
    std::size_t m_size = 0; ///< of objects, like the next two
    std::size_t m_weight = 0;
    unsigned m_nesting = 0;
    std::size_t m_expected = 0; ///< the elements to make room for, once their kind is known
};

/// A list of fixed length whose elements have one full type, such as numbers, or vectors of one length. It knows
/// nothing of their arithmetic; every operation on elements goes through the dispatch of the state.
class QUARN_API Vector final : public Value<Vector> {
public:
    static constexpr std::string_view TypeName = "Vector";

    /// The largest size (see `GetSize`). Needed because `v = <v, v>` doubles the size while sharing the memory.
    static constexpr std::size_t LargestSize = std::size_t{1} << 24;

    using Elements = Quarn::Elements;

    /// Registers the type, `<a, b>` as its literal, `Vector(a, b)` and its operators. Needs `Scalar`.
    static void Register(State& state);

    /// The vector of the elements in the text, which are separated by commas; for a literal, the brackets around them
    /// are removed first. Null, with a message, if an element fails or differs in type, or if the vector is too large.
    static s_refptr<Symbol> CreateFrom(State& state, const s_str& name, std::string_view text, s_bool isLiteral,
                                       s_str& error);

    explicit Vector(const s_str& name, Elements elements = {});
    /// The same without a name; an error if the elements differ in type, or are too many. References are not followed.
    static Result<s_refptr<Symbol>> Make(Elements elements);

    s_str ToString() const override;
    /// "3-Vector" for three elements.
    s_str GetFullType() const override;
    Outcome WriteTo(TextWriter& writer) const override;
    std::size_t GetWeight() const override { return Value::GetWeight() + m_elements->GetWeight(); }
    std::vector<s_refptr<Symbol>> TakeApart() override;

    const Elements& GetElements() const { return *m_elements; }
    /// The number of elements at all depths. Vectors count only if they are empty.
    std::size_t GetSize() const { return m_elements->GetSize(); }
    /// How deeply vectors nest in it: 1 for a vector of numbers.
    unsigned GetNesting() const { return m_elements->GetNesting() + 1; }

private:
    s_refptr<Elements> m_elements; ///< never changed, so that copies share it
};

/// Lists of numbers, of lists, or of whatever has a conversion. References in a vector are followed.
template <class T> struct Conversion<std::vector<T>> {
    using Class = Vector;

    static Result<std::vector<T>> Read(const Vector& vector) {
        std::vector<T> plain;
        const Elements& elements = vector.GetElements();
        plain.reserve(elements.Count());
        for (std::size_t i = 0; i < elements.Count(); ++i) {
            const Result<T> element = ConvertTo<T>(elements.At(i));
            if (!element) return element.GetFailure();
            plain.push_back(*element);
        }
        return plain;
    }
    static Result<s_refptr<Symbol>> Make(const std::vector<T>& plain) {
        Elements elements;
        elements.Reserve(plain.size());
        for (const T& value : plain) {
            Result<s_refptr<Symbol>> element = MakeValue<T>(value);
            if (!element) return element;
            elements.PushBack(Operand::Flattened(*element));
        }
        return Vector::Make(std::move(elements));
    }
};

} // namespace Quarn
