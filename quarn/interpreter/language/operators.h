#pragma once

#include <array>
#include <vector>

#include "quarn/core/outcome.h"
#include "quarn/interpreter/language/brackets.h"
#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/language/registry.h"

namespace Quarn {

/// An operator and what is registered for it.
struct Operator {
    s_str text;
    unsigned priority = 0;
    const BinaryOverloads* binary = nullptr; ///< null when nothing is registered; likewise the other two
    const UnaryOverloads* leftUnary = nullptr;
    const UnaryOverloads* rightUnary = nullptr;

    /// Points to what the registry holds now.
    void LookUp(const Registry& registry);

    /// The callable for operands of these types, or null. The last one found is cached, for flat types by their
    /// addresses. The cache stays valid because entries of the registry are never removed.
    const BinaryOperator* FindBinary(const FlatType& left, const FlatType& right) const {
        return &left == m_recentLeft && &right == m_recentRight ? m_recentFlat : SearchBinary(left, right);
    }
    const BinaryOperator* FindBinary(std::string_view left, std::string_view right) const;

private:
    const BinaryOperator* SearchBinary(const FlatType& left, const FlatType& right) const;

    mutable const FlatType* m_recentLeft = nullptr;
    mutable const FlatType* m_recentRight = nullptr;
    mutable const BinaryOperator* m_recentFlat = nullptr;
    mutable std::string_view m_recentLeftName; ///< in the registry
    mutable std::string_view m_recentRightName;
    mutable const BinaryOperator* m_recentBinary = nullptr;
};

/// The operators that can be written, found by the characters at a position.
class Operators {
public:
    Operators() : Operators(OperatorPriorities()) {}
    explicit Operators(const OperatorPriorities& priorities);

    /// The first operator, in ascending order of the texts, that agrees with the text from the position on as far as
    /// both go; null if there is none.
    const Operator* Match(std::string_view text, std::size_t position) const {
        // Nearly every character starts no operator, or one of a single character.
        const Position start = m_starts[static_cast<unsigned char>(text[position])];
        if (start == None) return nullptr;
        return m_operators[start].text.View().size() == 1 ? &m_operators[start] : MatchLong(text.substr(position));
    }

    /// In ascending order of the texts; null if there is none.
    const Operator* GetFirst() const { return m_operators.empty() ? nullptr : &m_operators.front(); }
    /// Whether one has several characters, other than "[]".
    bool AreLong() const { return m_longest > 1; }
    /// The number of characters in the longest one, other than "[]".
    std::size_t GetLongest() const { return m_longest; }
    /// The operator that the end of the text cuts off, and where it begins: the leftmost if there are several. Null if
    /// there is none.
    const Operator* MatchAtEnd(std::string_view text, std::size_t& position) const;

    /// The operator with exactly this text, or null.
    const Operator* Find(std::string_view text) const {
        if (text.empty()) return nullptr;
        const Position start = m_starts[static_cast<unsigned char>(text.front())];
        if (start == None) return nullptr;
        // The operators are sorted, so one of a single character comes before the longer ones that start with it.
        const bool isShort = m_operators[start].text.View().size() == 1;
        return text.size() == 1 ? (isShort ? &m_operators[start] : nullptr) : FindFrom(text);
    }

    /// The first position from there on where an operator may start, or a bracket stands.
    std::size_t SkipPlain(std::string_view text, std::size_t position) const {
        while (position < text.size() && m_isPlain[static_cast<unsigned char>(text[position])]) ++position;
        return position;
    }
    /// Whether a character is neither a bracket nor the first character of an operator.
    bool IsPlain(char character) const { return m_isPlain[static_cast<unsigned char>(character)]; }
    /// The letters and digits with which no operator starts.
    const ByteSet& GetNameCharacters() const { return m_isInName; }
    /// The same characters and the decimal point.
    const ByteSet& GetNumberCharacters() const { return m_isInNumber; }
    /// Whether one but "[]" contains a bracket.
    bool HaveBrackets() const { return m_haveBrackets; }

    /// Points to what the registry holds now.
    void LookUp(const Registry& registry);

private:
    using Position = unsigned;
    static constexpr Position None = ~0u;

    const Operator* MatchLong(std::string_view rest) const;
    const Operator* FindFrom(std::string_view text) const;
    bool StartsWith(Position position, char character) const;

    std::vector<Operator> m_operators;  ///< in ascending order
    std::array<Position, 256> m_starts; ///< where the operators that start with a byte begin
    ByteSet m_isPlain;                  ///< see `IsPlain`
    ByteSet m_isInName;                 ///< see `GetNameCharacters`
    ByteSet m_isInNumber;               ///< see `GetNumberCharacters`
    std::size_t m_longest = 0;
    bool m_haveBrackets = false;
};

/// Separates operands.
struct OperatorSeparators {
    const Operators& operators;

    std::size_t Match(std::string_view text, std::size_t position) const {
        const Operator* const op = operators.Match(text, position);
        return op ? op->text.View().size() : 0;
    }
    std::size_t SkipPlain(std::string_view text, std::size_t position) const {
        return operators.SkipPlain(text, position);
    }
};

/// A part of a text at its top bracket level: an operator, or the text between two of them.
struct Piece {
    std::string_view text;
    const Operator* op = nullptr; ///< null unless the piece is exactly an operator
};

/// Cuts off the next piece, see `Brackets::Next`.
inline bool NextPiece(Brackets& brackets, Cut& cut, const Operators& operators, Piece& piece) {
    const std::size_t begin = cut.position;
    if (!brackets.Next(cut, OperatorSeparators{operators}, piece.text)) return false;
    // "[]" is never a separator: it arrives here as a pair of brackets.
    piece.op = cut.isSeparator ? operators.Match(cut.text, begin) : operators.Find(piece.text);
    if (cut.isSeparator) piece.text = piece.op->text; // the whole operator, even if the text ends within it
    return true;
}

} // namespace Quarn
