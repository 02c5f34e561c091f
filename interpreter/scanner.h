#pragma once

#include <array>
#include <vector>

#include "interpreter/operators.h"

namespace Quarn {

/// A part of a text at its top bracket level: an operator, or what stands between two separators. Long expressions have
/// millions of them, so a piece is two words: an operator brings its own text.
class Piece {
public:
    Piece() : Piece(std::string_view("")) {}
    explicit Piece(std::string_view text) : m_begin(text.data()), m_size(text.size()) {}
    explicit Piece(const Operator* op) : m_begin(nullptr), m_operator(op) {}

    /// Null unless the piece is exactly an operator of the priority table.
    const Operator* GetOperator() const { return m_begin ? nullptr : m_operator; }
    std::string_view GetText() const { return m_begin ? std::string_view(m_begin, m_size) : m_operator->text.View(); }

private:
    const char* m_begin; ///< null for an operator
    union {
        std::size_t m_size;
        const Operator* m_operator;
    };
};

/// What to call a bracket that has no partner.
struct BracketFault {
    const char* unterminated; ///< for an opening one
    const char* tooMany;      ///< for a closing one
};

/// What a character is to the scanner. Round, angle and square brackets are kinds 0, 1 and 2.
struct Bracket {
    enum class Role : unsigned char { None, Opening, Closing };
    Role role = Role::None;
    unsigned char kind = 0;
};

const BracketFault& FaultOf(Bracket bracket);

inline constexpr std::array<Bracket, 256> Brackets = [] {
    std::array<Bracket, 256> brackets{};
    unsigned char kind = 0;
    for (const char* pair : {"()", "<>", "[]"}) {
        brackets[static_cast<unsigned char>(pair[0])] = {Bracket::Role::Opening, kind};
        brackets[static_cast<unsigned char>(pair[1])] = {Bracket::Role::Closing, kind++};
    }
    return brackets;
}();

constexpr Bracket BracketOf(char character) { return Brackets[static_cast<unsigned char>(character)]; }

constexpr std::size_t NoPartner = std::string_view::npos;

/// The position of the bracket that closes the opening one at `position`, `NoPartner` when there is none. Only brackets
/// of the same kind count; all others in between are plain text.
std::size_t FindPartner(std::string_view text, std::size_t position);

/// Appends the partner of every opening bracket of the text, at the bracket's own position behind the present end of
/// `partners`; other positions hold nothing. One pass over the text, whatever it nests.
void FindPartners(std::string_view text, std::vector<std::size_t>& partners);

/// How many brackets, of whatever kind, stand open at once where the text nests most deeply.
std::size_t NestingOf(std::string_view text);

/// Cuts a text at its top bracket level, the one algorithm behind every split.
///
/// `partner(i)` is the closing partner of the opening bracket at `i`, or `NoPartner`; `match(i)` is the separator piece
/// that starts at `i`, with an empty text when there is none; `emit(piece, isSeparator)` takes each piece in order,
/// empty ones left out. Returns null, or the message on the first bracket without a partner. Only the kind of bracket
/// opened at the top level is looked at until it closes: `(<)` is one piece, and so is `[(]`.
template <class Partner, class Match, class Emit>
const char* Cut(std::string_view text, const Partner& partner, const Match& match, const Emit& emit) {
    std::size_t start = 0;
    const auto emitUpTo = [&](std::size_t end) {
        if (start < end) emit(Piece(text.substr(start, end - start)), false);
    };
    for (std::size_t i = 0; i < text.size();) {
        const Bracket bracket = BracketOf(text[i]);
        if (bracket.role == Bracket::Role::None) {
            const Piece separator = match(i);
            const std::size_t length = separator.GetText().size();
            if (length == 0) {
                ++i;
                continue;
            }
            emitUpTo(i);
            emit(separator, true);
            i = start = i + length;
        } else if (bracket.role == Bracket::Role::Closing) {
            return FaultOf(bracket).tooMany;
        } else {
            const std::size_t closing = partner(i);
            if (closing >= text.size()) return FaultOf(bracket).unterminated;
            i = closing + 1;
        }
    }
    emitUpTo(text.size());
    return nullptr;
}

/// Appends the operators of the text and what stands between them.
template <class Partner> const char* CutAtOperators(std::string_view text, const Partner& partner,
                                                    const Operators& operators, std::vector<Piece>& pieces) {
    const auto match = [&](std::size_t i) {
        const Operator* op = operators.Match(text.substr(i));
        return op ? Piece(op) : Piece();
    };
    return Cut(text, partner, match, [&](const Piece& piece, bool isSeparator) {
        // "[]" is an operator that no separator ever is: it reaches the pieces as a pair of brackets.
        const Operator* op = isSeparator ? nullptr : operators.Find(piece.GetText());
        pieces.push_back(op ? Piece(op) : piece);
    });
}

/// Appends what stands between the commas of the text, as views or as pieces.
template <class Partner, class Text>
const char* CutAtCommas(std::string_view text, const Partner& partner, std::vector<Text>& pieces) {
    const auto match = [&](std::size_t i) { return text[i] == ',' ? Piece(text.substr(i, 1)) : Piece(); };
    return Cut(text, partner, match, [&](const Piece& piece, bool isSeparator) {
        if (!isSeparator) pieces.push_back(Text(piece.GetText()));
    });
}

} // namespace Quarn
