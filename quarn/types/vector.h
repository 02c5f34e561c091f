#pragma once

#include <vector>

#include "quarn/core/s_ctnr.h"
#include "quarn/types/value.h"

namespace Quarn {

/// A list of fixed length whose elements have one full type, such as numbers, or vectors of one length. It knows
/// nothing of their arithmetic; every operation on elements goes through the dispatch of the state.
class QUARN_API Vector final : public Value<Vector> {
public:
    static constexpr std::string_view TypeName = "Vector";

    /// The largest size (see `GetSize`). Needed because `v = <v, v>` doubles the size while sharing the memory.
    static constexpr std::size_t LargestSize = std::size_t{1} << 24;

    using Elements = s_ctnr_t<s_refptr<Symbol>, std::vector<s_refptr<Symbol>>>;

    /// Registers the type, `<a, b>` as its literal, `Vector(a, b)` and its operators. Needs `Scalar`.
    static void Register(State& state);

    /// The vector of the elements in the text, which are separated by commas; for a literal, the brackets around them
    /// are removed first. Null, with a message, if an element fails or differs in type, or if the vector is too large.
    static s_refptr<Symbol> CreateFrom(State& state, const s_str& name, std::string_view text, s_bool isLiteral,
                                       s_str& error);

    explicit Vector(const s_str& name, Elements elements = {});

    s_str ToString() const override;
    /// "3-Vector" for three elements.
    s_str GetFullType() const override;
    Outcome WriteTo(TextWriter& writer) const override;

    const Elements& GetElements() const { return *m_elements; }
    /// The number of elements at all depths, not counting vectors themselves.
    std::size_t GetSize() const { return m_size; }
    /// How deeply vectors nest in it: 1 for a vector of numbers.
    unsigned GetNesting() const { return m_nesting; }

private:
    s_refptr<const Elements> m_elements; ///< never changed, so that copies share it
    std::size_t m_size = 0;
    unsigned m_nesting = 1;
};

} // namespace Quarn
