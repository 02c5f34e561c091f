#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "quarn/interpreter/language/names.h"

namespace Quarn {

class Limits;

/// What a character is to the scanner: no bracket, or a round, angle or square one (kinds 0, 1 and 2). One byte,
/// because every character is looked at.
class Bracket {
public:
    static constexpr unsigned KindCount = 3;

    constexpr explicit Bracket(char character) : m_code(Codes[static_cast<unsigned char>(character)]) {}

    constexpr bool IsNone() const { return m_code == 0; }
    constexpr bool IsOpening() const { return m_code % 2 == 1; }
    /// For brackets only.
    constexpr unsigned GetKind() const { return (m_code - 1u) / 2; }
    /// The message on one without a partner.
    const char* GetFault() const;

private:
    /// The 1-based position in this text; 0 for all other characters.
    static constexpr std::array<unsigned char, 256> Codes = [] {
        std::array<unsigned char, 256> codes{};
        unsigned char code = 0;
        for (const char character : std::string_view("()<>[]")) codes[static_cast<unsigned char>(character)] = ++code;
        return codes;
    }();

    unsigned char m_code;
};

/// Whether the part stands in the whole text, in the same memory.
bool Contains(std::string_view whole, std::string_view part);
/// Whether the character stands there, or would follow it.
bool Contains(std::string_view whole, const char* character);

/// A text that is being cut into pieces, from the left.
struct Cut {
    std::string_view text;
    std::size_t position = 0;    ///< where the rest begins
    bool isSeparator = false;    ///< whether the last piece is one
    const char* fault = nullptr; ///< the bracket without a partner that ended the cutting, if one did

    explicit Cut(std::string_view whole) : text(whole) {}
};

/// The brackets of a text and of its parts: finds partners and brackets without one, and cuts a text at its top bracket
/// level. The partner of a bracket closes it; between the two only brackets of the same kind count.
///
/// The first query finds all partners in one pass. So a level of nesting costs its own length, without what it
/// encloses.
///
/// Separators are found by a class with two members. `Match(text, position)` gives the length of the separator that
/// starts at the position, or 0; no separator starts with a bracket. `SkipPlain(text, position)` gives the first
/// position from there on where a separator may start, or a bracket stands.
class Brackets {
public:
    static constexpr std::size_t None = std::string_view::npos;

    /// The positions of two brackets. There may be millions of pairs, so a position takes 32 bits: a longer text is
    /// refused.
    struct Pair {
        static constexpr std::uint32_t NoPartner = ~std::uint32_t{0};
        std::uint32_t opening;
        std::uint32_t closing; ///< `NoPartner` if there is none
    };
    /// The brackets of several texts, one parsed within another.
    struct Memory {
        std::vector<Pair> pairs; ///< a stack; those of a text in the order of the opening brackets
        Brackets* innermost = nullptr;
        Limits* limits = nullptr; ///< asked whether the search for partners must stop; null for never
    };

    /// A text that is a view into the innermost text of the memory shares the partners found there. Brackets must be
    /// destroyed in reverse order; the text must outlive them.
    Brackets(std::string_view text, Memory& memory);
    ~Brackets();
    Brackets(const Brackets&) = delete;
    Brackets& operator=(const Brackets&) = delete;

    /// Whether each bracket of the text, of whatever kind, has its partner, and all pairs lie within one another or
    /// side by side. Then what is cut out between separators, or between two partners, has no fault. False for a text
    /// that is a part of another, of which this is not known.
    bool AreBalanced();
    /// The partner of the opening bracket at a position of the part; `None` if it is not in the part, or if the search
    /// was stopped.
    std::size_t FindPartner(std::string_view part, std::size_t position);
    /// The first top-level bracket of the part without a partner there; null if all have one. Brackets within
    /// separators do not count.
    template <class Separators> const char* FindFault(std::string_view part, const Separators& separators) {
        const char* fault = nullptr;
        for (std::size_t end = 0; end < part.size() && !fault;) {
            const std::size_t length = Match(part, end, separators);
            end = length > 0 ? end + length : FindSeparator(part, end, separators, fault);
        }
        return fault;
    }
    /// Cuts off the next piece: a separator, or everything before the next one. False at the end, or at a bracket
    /// without a partner.
    template <class Separators> bool Next(Cut& cut, const Separators& separators, std::string_view& piece) {
        const std::size_t begin = cut.position;
        if (begin >= cut.text.size()) return false;
        const std::size_t length = Match(cut.text, begin, separators);
        cut.isSeparator = length > 0;
        cut.position = length > 0 ? begin + length : FindSeparator(cut.text, begin, separators, cut.fault);
        piece = cut.text.substr(begin, cut.position - begin);
        return !cut.fault;
    }
    /// Where the next separator starts, or the part ends; also at a bracket without a partner, which is a fault. No
    /// separator may start at `i`.
    template <class Separators>
    std::size_t FindSeparator(std::string_view part, std::size_t i, const Separators& separators, const char*& fault) {
        for (const std::size_t begin = i;;) {
            i = separators.SkipPlain(part, i);
            if (i >= part.size()) return i;
            const Bracket bracket(part[i]);
            if (bracket.IsNone()) {
                if (i > begin && separators.Match(part, i) > 0) return i;
                ++i;
                continue;
            }
            const std::size_t partner = bracket.IsOpening() ? FindPartner(part, i) : None;
            if (partner == None) {
                fault = &part[i];
                return part.size();
            }
            i = partner + 1;
        }
    }

    /// The partner of the opening bracket at the position, found by a search; `None` if there is none.
    static std::size_t SearchPartner(std::string_view text, std::size_t position);

private:
    template <class Separators>
    static std::size_t Match(std::string_view text, std::size_t position, const Separators& separators) {
        return Bracket(text[position]).IsNone() ? separators.Match(text, position) : 0;
    }

    using Innermost = std::array<std::uint32_t, Bracket::KindCount>;

    void FindPartners();
    void FindPartners(std::string_view block, Innermost& innermost);
    const Pair& PairAt(std::size_t opening);

    const std::string_view m_text;
    Memory& m_memory;
    const std::size_t m_begin; ///< where its pairs start in the memory
    std::size_t m_end;         ///< where they end, once they are found
    std::size_t m_next;        ///< after the pair that was asked for last
    bool m_areBalanced = false;
    bool m_isStopped = false;
    Brackets* const m_outer;
    Brackets* m_found; ///< the owner of the pairs used; null until they are found
};

/// Separates arguments.
struct Commas {
    /// The bytes that are neither commas nor brackets.
    static constexpr ByteSet IsPlain = [] {
        ByteSet isPlain{};
        for (unsigned i = 0; i < isPlain.size(); ++i) isPlain[i] = i != ',' && Bracket(static_cast<char>(i)).IsNone();
        return isPlain;
    }();

    std::size_t Match(std::string_view text, std::size_t position) const { return text[position] == ',' ? 1 : 0; }
    std::size_t SkipPlain(std::string_view text, std::size_t position) const {
        while (position < text.size() && IsPlain[static_cast<unsigned char>(text[position])]) ++position;
        return position;
    }
};

} // namespace Quarn
