#include "quarn/interpreter/scanner.h"

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

#include "quarn/interpreter/state.h"

namespace Quarn {

namespace {

constexpr std::array<BracketFault, 3> Faults{{
    {"\tError : Unterminated '('", "\tError : Too many closing ')'"},
    {"\tError : Unterminated '<'", "\tError : Too many closing '>'"},
    {"\tError : Unterminated '['", "\tError : Too many closing ']'"},
}};

} // namespace

const BracketFault& FaultOf(Bracket bracket) { return Faults[bracket.GetKind()]; }

std::size_t FindPartner(std::string_view text, std::size_t position) {
    const unsigned kind = Bracket(text[position]).GetKind();
    std::size_t depth = 0;
    for (std::size_t i = position; i < text.size(); ++i) {
        const Bracket bracket(text[i]);
        if (bracket.IsNone() || bracket.GetKind() != kind) continue;
        if (bracket.IsOpening()) ++depth;
        else if (--depth == 0) return i;
    }
    return NoPartner;
}

void FindPartners(std::string_view text, std::vector<std::size_t>& partners) {
    const std::size_t base = partners.size();
    partners.resize(base + text.size());
    const auto partner = [&](std::size_t position) -> std::size_t& { return partners[base + position]; };

    // The brackets of a kind that still stand open form a chain through their own entries, the innermost first.
    std::array<std::size_t, Faults.size()> innermost;
    innermost.fill(NoPartner);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const Bracket bracket(text[i]);
        if (bracket.IsNone()) continue;
        std::size_t& open = innermost[bracket.GetKind()];
        if (bracket.IsOpening()) {
            partner(i) = open;
            open = i;
        } else if (open != NoPartner) {
            const std::size_t opening = open;
            open = partner(opening);
            partner(opening) = i;
        }
    }
    for (std::size_t open : innermost)
        while (open != NoPartner) open = std::exchange(partner(open), NoPartner);
}

bool PairedText::Contains(std::string_view part) const {
    const std::less_equal<const char*> isNotBehind;
    return isNotBehind(text.data(), part.data()) && isNotBehind(part.data() + part.size(), text.data() + text.size());
}

std::size_t PairedText::FindPartnerIn(std::string_view part, std::size_t position,
                                      const std::vector<std::size_t>& partners) const {
    const auto offset = static_cast<std::size_t>(part.data() - text.data());
    const std::size_t partner = partners[begin + offset + position];
    return partner == NoPartner || partner >= offset + part.size() ? NoPartner : partner - offset;
}

std::size_t NestingOf(std::string_view text) {
    std::size_t open = 0;
    std::size_t deepest = 0;
    for (const char character : text) {
        const Bracket bracket(character);
        if (bracket.IsOpening()) deepest = std::max(deepest, ++open);
        else if (bracket.IsClosing() && open > 0) --open;
    }
    return deepest;
}

// How a text is cut, for those outside the engine: the same algorithm on texts of their own.

s_bool State::SplitExpression(s_ctnr<s_str>& pieces, const s_str& text, const Matcher& matcher, s_str& error,
                              s_bool keepSeparators) const {
    s_str matched;
    const char* fault = Cut(
        text, [&](std::size_t i) { return FindPartner(text, i); },
        [&](std::size_t i) -> std::size_t { return matcher(i, text, matched) ? matched.View().size() : 0; },
        [&](std::string_view piece, bool isSeparator) {
            if (!isSeparator) pieces.PushBack(piece);
            else if (keepSeparators) pieces.PushBack(matched);
            return true;
        });
    if (fault) return Fail(error, fault);
    return true;
}

s_bool State::SplitOperators(s_ctnr<s_str>& pieces, const s_str& text, s_str& error) const {
    return SplitExpression(
        pieces, text,
        [this](std::size_t position, const s_str& wholeText, s_str& matchedText) {
            return MatchOperator(position, wholeText, matchedText);
        },
        error, true);
}

s_bool State::MatchOperator(std::size_t position, const s_str& wholeText, s_str& matchedText) const {
    if (position >= wholeText.View().size()) return false;
    const Operator* op = m_vocabulary.GetOperators().Match(wholeText, position);
    if (op) matchedText = op->text;
    return op != nullptr;
}

s_bool State::SplitArguments(std::vector<std::string_view>& arguments, std::string_view text, s_str& error) const {
    const char* fault = CutAtCommas(
        text,
        [&](std::size_t i) {
            const auto& [waiting, partners, paired] = m_compilerMemory;
            return paired.Contains(text) ? paired.FindPartnerIn(text, i, partners) : FindPartner(text, i);
        },
        [&](std::string_view argument) {
            arguments.push_back(argument);
            return true;
        });
    if (fault) return Fail(error, fault);
    return true;
}

} // namespace Quarn
