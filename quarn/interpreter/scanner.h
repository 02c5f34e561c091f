#pragma once

#include <array>
#include <vector>

#include "quarn/interpreter/operators.h"

namespace Quarn {

/// A part of a text at its top bracket level: an operator, or what stands between two of them.
struct Piece {
    std::string_view text;
    const Operator* op = nullptr; ///< null unless the piece is exactly an operator of the priority table
};

/// What to call a bracket that has no partner.
struct BracketFault {
    const char* unterminated; ///< for an opening one
    const char* tooMany;      ///< for a closing one
};

/// What a character is to the scanner: no bracket, or one of round, angle and square, which are the kinds 0, 1 and 2.
/// A single byte, as every character is looked at.
class Bracket {
public:
    constexpr explicit Bracket(char character) : m_code(Codes[static_cast<unsigned char>(character)]) {}

    constexpr bool IsNone() const { return m_code == 0; }
    constexpr bool IsOpening() const { return m_code % 2 == 1; }
    constexpr bool IsClosing() const { return !IsNone() && !IsOpening(); }
    /// Of a bracket only.
    constexpr unsigned GetKind() const { return (m_code - 1u) / 2; }

private:
    /// The position in this text, from 1 on; 0 for all other characters.
    static constexpr std::array<unsigned char, 256> Codes = [] {
        std::array<unsigned char, 256> codes{};
        unsigned char code = 0;
        for (const char character : std::string_view("()<>[]")) codes[static_cast<unsigned char>(character)] = ++code;
        return codes;
    }();

    unsigned char m_code;
};

const BracketFault& FaultOf(Bracket bracket);

constexpr std::size_t NoPartner = std::string_view::npos;

/// The position of the bracket that closes the opening one at `position`, `NoPartner` when there is none. Only brackets
/// of the same kind count; all others in between are plain text.
std::size_t FindPartner(std::string_view text, std::size_t position);

/// Appends the partner of every opening bracket of the text, at the bracket's own position behind the present end of
/// `partners`; other positions hold nothing. One pass over the text, whatever it nests.
void FindPartners(std::string_view text, std::vector<std::size_t>& partners);

/// A text whose partners stand in a list, from `begin` on. They serve every part of it too.
struct PairedText {
    std::string_view text;
    std::size_t begin = 0;

    /// Whether the other is a part of this text, in the same memory.
    bool Contains(std::string_view part) const;
    /// The partner of the opening bracket at `position` of the part, if it closes there.
    std::size_t FindPartnerIn(std::string_view part, std::size_t position,
                              const std::vector<std::size_t>& partners) const;
};

/// How many brackets, of whatever kind, stand open at once where the text nests most deeply.
std::size_t NestingOf(std::string_view text);

/// Cuts a text at its top bracket level, the one algorithm behind every split.
///
/// `partner(i)` is the closing partner of the opening bracket at `i`, or `NoPartner`; `match(i)` is the length of the
/// separator that starts at `i`, 0 when there is none; `take(piece, isSeparator)` takes each piece in order, empty ones
/// left out, and says whether to go on. Returns the message on the first bracket without a partner, when what stands
/// before it has been taken; null when there is none, or when `take` ended it. Only the kind of bracket opened at the
/// top level is looked at until it closes: `(<)` is one piece, and so is `[(]`.
template <class Partner, class Match, class Take>
const char* Cut(std::string_view text, const Partner& partner, const Match& match, const Take& take) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size();) {
        const Bracket bracket(text[i]);
        if (bracket.IsNone()) {
            const std::size_t length = match(i);
            if (length == 0) {
                ++i;
                continue;
            }
            if (start < i && !take(text.substr(start, i - start), false)) return nullptr;
            if (!take(text.substr(i, length), true)) return nullptr;
            i = start = i + length;
        } else if (bracket.IsClosing()) {
            return FaultOf(bracket).tooMany;
        } else {
            const std::size_t closing = partner(i);
            if (closing >= text.size()) return FaultOf(bracket).unterminated;
            i = closing + 1;
        }
    }
    if (start < text.size()) take(text.substr(start), false);
    return nullptr;
}

/// Cuts it into its operators and what stands between them.
template <class Partner, class Take> const char* CutAtOperators(std::string_view text, const Partner& partner,
                                                                const Operators& operators, const Take& take) {
    const Operator* op = nullptr;
    const auto match = [&](std::size_t i) -> std::size_t {
        op = operators.Match(text, i);
        return op ? op->text.View().size() : 0;
    };
    return Cut(text, partner, match, [&](std::string_view piece, bool isSeparator) {
        // "[]" is an operator that no separator ever is: it reaches the pieces as a pair of brackets.
        return take(isSeparator ? Piece{op->text, op} : Piece{piece, operators.Find(piece)});
    });
}

/// Cuts it into what stands between its commas.
template <class Partner, class Take>
const char* CutAtCommas(std::string_view text, const Partner& partner, const Take& take) {
    const auto match = [&](std::size_t i) -> std::size_t { return text[i] == ',' ? 1 : 0; };
    return Cut(text, partner, match,
               [&](std::string_view piece, bool isSeparator) { return isSeparator || take(piece); });
}

} // namespace Quarn
