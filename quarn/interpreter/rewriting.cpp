// The rewriting of an operation that is kept: `(x)+(1)` becomes `x+1`, `(a+b)*(2)` becomes `(a+b)*2`.
//
// The text is cut at its operators. Of each operand between them, brackets around a single operand are peeled off, in
// turn; brackets around an operation are kept, whatever the priorities.
//
// An operand that is not bracketed itself but holds a round bracket loses its first and last character too, so that
// `(f(x))+(1)` fails on `(x`, and the operation with it. It stays so: to keep such an operand would be a different
// language. Pinned by the transcript "references".

#include "quarn/interpreter/rewriting.h"

#include <algorithm>

namespace Quarn {

namespace {

constexpr std::string_view Brackets = "()<>[]";

class Rewriting {
public:
    /// The partners of all brackets are found once: they may stand around each other by the thousand.
    Rewriting(std::string_view text, const Operators& operators) : m_text{text}, m_operators(operators) {
        if (text.find_first_of(Brackets) != std::string_view::npos) FindPartners(text, m_partners);
    }

    template <class Take> const char* Cut(std::string_view part, const Take& take) const {
        return CutAtOperators(
            part, [&](std::size_t i) { return m_text.FindPartnerIn(part, i, m_partners); }, m_operators, take);
    }

    s_bool Rewrite(s_str& output, s_str& error) const;

private:
    struct EndMatch {
        const Operator* op; ///< null for none
        std::size_t position;
    };

    EndMatch MatchAtEnd(std::string_view operand) const;
    s_bool RewriteOperand(std::string_view operand, s_str& output, s_str& error) const;
    std::string_view PeelPlainEnds(std::string_view operand) const;

    const PairedText m_text;
    const Operators& m_operators;
    std::vector<std::size_t> m_partners;
};

bool HoldsRoundBracket(std::string_view text) { return text.find('(') != std::string_view::npos; }

s_bool Rewriting::Rewrite(s_str& output, s_str& error) const {
    if (const char* fault = Cut(m_text.text, [](const Piece&) { return true; })) return Fail(error, fault);
    bool goesOn = true;
    Cut(m_text.text, [&](const Piece& piece) {
        if (piece.op) output += piece.text;
        else goesOn = static_cast<bool>(RewriteOperand(piece.text, output, error));
        return goesOn;
    });
    return goesOn;
}

s_bool Rewriting::RewriteOperand(std::string_view operand, s_str& output, s_str& error) const {
    // Without what follows, the operand may end in the beginning of an operator, which then counts as the whole one.
    // The part before that may do so again.
    std::vector<const Operator*> ends;
    const std::size_t firstBracket = operand.find('(');
    while (firstBracket < operand.size()) {
        const EndMatch end = MatchAtEnd(operand);
        if (!end.op) break;
        ends.push_back(end.op);
        operand = operand.substr(0, end.position);
    }
    while (HoldsRoundBracket(operand)) {
        operand = PeelPlainEnds(operand);
        const std::string_view trimmed = s_str::Trimmed(operand);
        const std::string_view peeled = trimmed.substr(1, trimmed.size() - 2);
        std::size_t count = 0;
        if (const char* fault = Cut(peeled, [&](const Piece&) { return ++count > 0; })) return Fail(error, fault);
        if (count != 1) break;
        operand = peeled;
    }
    output += operand;
    for (; !ends.empty(); ends.pop_back()) output += ends.back()->text;
    return true;
}

/// The operator whose first characters end the operand; the leftmost if there are several.
Rewriting::EndMatch Rewriting::MatchAtEnd(std::string_view operand) const {
    EndMatch match{nullptr, 0};
    std::size_t position = operand.size();
    for (std::size_t i = 1; i < m_operators.GetLongest() && position > 0; ++i) {
        if (!Bracket(operand[--position]).IsNone()) break;
        if (const Operator* op = m_operators.Match(operand, position)) match = {op, position};
    }
    return match;
}

/// Peels off what can be peeled without a look at the rest: with a character at each end that is no bracket, a single
/// operand stays one. One by one, each of these would cost a cut of all the rest.
std::string_view Rewriting::PeelPlainEnds(std::string_view operand) const {
    for (;;) {
        const std::string_view trimmed = s_str::Trimmed(operand);
        const std::string_view peeled = trimmed.substr(1, trimmed.size() - 2);
        if (!Bracket(trimmed.front()).IsNone() || !Bracket(trimmed.back()).IsNone() || MatchAtEnd(peeled).op)
            return operand;
        operand = peeled;
    }
}

bool HasBalancedRoundBrackets(std::string_view text) {
    std::size_t open = 0;
    for (const char character : text) {
        if (character == '(') ++open;
        else if (character == ')' && open-- == 0) return false;
    }
    return open == 0;
}

} // namespace

s_bool RewriteOperation(std::string_view text, const Operators& operators, s_str& output, s_str& error) {
    return Rewriting(text, operators).Rewrite(output, error);
}

Expression::Shape ShapeOf(std::string_view text, const Operators& operators) {
    using enum Expression::Shape;
    if (!HasBalancedRoundBrackets(text)) return Irregular;
    std::size_t count = 0;
    bool isOperator = false;
    const char* fault = Rewriting(text, operators).Cut(text, [&](const Piece& piece) {
        isOperator = piece.op != nullptr;
        return ++count > 0;
    });
    if (fault) return Irregular;
    if (count != 1) return Bracketed;
    // Blanks matter too: evaluated by itself the text loses them, and may end in the beginning of an operator then.
    return isOperator || HoldsRoundBracket(text) || s_str::Trimmed(text) != text ? Irregular : Plain;
}

} // namespace Quarn
