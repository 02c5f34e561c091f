// Rewrites an operation to be kept: `(x)+(1)` becomes `x+1`, `(a+b)*(2)` becomes `(a+b)*2`.
//
// The text is cut at its operators. Brackets around a single operand are peeled off, one pair after the other; brackets
// around an operation are kept, whatever the priorities.
//
// An operand that is not bracketed itself but contains a round bracket also loses its first and last character. So
// `(f(x))+(1)` fails on `(x`, and the operation with it. To keep such an operand would change the language. Pinned by
// the transcript "references".

#include "quarn/interpreter/engine/kept_operation.h"

#include <algorithm>

#include "quarn/interpreter/engine/expression.h"
#include "quarn/interpreter/engine/text_writer.h"

namespace Quarn {

namespace {

bool HoldsRoundBracket(std::string_view text) { return text.find('(') != std::string_view::npos; }

class Rewriting {
public:
    Rewriting(std::string_view text, const Operators& operators)
        : m_text(text), m_operators(operators), m_brackets(text, m_memory) {}

    Outcome Rewrite(s_str& output, s_str& error);

    /// The number of pieces of a part of the text, and the first one. Fails if a bracket has no partner in the part.
    struct Pieces {
        const char* fault;
        std::size_t count = 0;
        Piece first = {};
    };
    Pieces CountPieces(std::string_view part);

private:
    Outcome RewriteOperand(std::string_view operand, s_str& output, s_str& error);
    std::string_view PeelPlainEnds(std::string_view operand) const;

    const std::string_view m_text;
    const Operators& m_operators;
    Brackets::Memory m_memory;
    Brackets m_brackets;
};

Rewriting::Pieces Rewriting::CountPieces(std::string_view part) {
    Pieces pieces{m_brackets.FindFault(part, OperatorSeparators{m_operators})};
    Cut cut(part);
    for (Piece piece; !pieces.fault && NextPiece(m_brackets, cut, m_operators, piece);)
        if (++pieces.count == 1) pieces.first = piece;
    return pieces;
}

Outcome Rewriting::Rewrite(s_str& output, s_str& error) {
    if (const char* fault = m_brackets.FindFault(m_text, OperatorSeparators{m_operators}))
        return Fail(error, Bracket(*fault).GetFault());
    Cut cut(m_text);
    for (Piece piece; NextPiece(m_brackets, cut, m_operators, piece);) {
        if (piece.op) output += piece.text;
        else if (const Outcome outcome = RewriteOperand(piece.text, output, error); !outcome) return outcome;
    }
    return Outcome::WentOn;
}

Outcome Rewriting::RewriteOperand(std::string_view operand, s_str& output, s_str& error) {
    // Cut off from what follows, the operand may end in the beginning of an operator, which then counts as a whole one.
    // So may the part before it.
    std::vector<const Operator*> ends;
    const std::size_t firstBracket = operand.find('(');
    std::size_t end = 0;
    while (firstBracket < operand.size()) {
        const Operator* const op = m_operators.MatchAtEnd(operand, end);
        if (!op) break;
        ends.push_back(op);
        operand = operand.substr(0, end);
    }
    while (HoldsRoundBracket(operand)) {
        operand = PeelPlainEnds(operand);
        const std::string_view trimmed = s_str::Trimmed(operand);
        const std::string_view peeled = trimmed.substr(1, trimmed.size() - 2);
        const Pieces pieces = CountPieces(peeled);
        if (pieces.fault) return Fail(error, Bracket(*pieces.fault).GetFault());
        if (pieces.count != 1) break;
        operand = peeled;
    }
    output += operand;
    for (; !ends.empty(); ends.pop_back()) output += ends.back()->text;
    return Outcome::WentOn;
}

/// Peels off what can be peeled without looking at the rest: with a character at each end that is no bracket, a single
/// operand stays one. Otherwise each of these would cost a cut of all the rest.
std::string_view Rewriting::PeelPlainEnds(std::string_view operand) const {
    for (;;) {
        const std::string_view trimmed = s_str::Trimmed(operand);
        const std::string_view peeled = trimmed.substr(1, trimmed.size() - 2);
        std::size_t end = 0;
        if (!Bracket(trimmed.front()).IsNone() || !Bracket(trimmed.back()).IsNone() ||
            m_operators.MatchAtEnd(peeled, end))
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

s_refptr<Expression> KeptOperation::Keep(const s_refptr<Expression>& left, std::string_view op,
                                         const s_refptr<Expression>& right, const Language& language,
                                         EngineLimits& limits, s_str& error) {
    const std::size_t length = left->GetLength() + op.size() + right->GetLength() + 4;
    if (length > Longest.size) return limits.Abandon(error, Longest.message);

    using enum Shape;
    const Operators& operators = language.GetOperators();
    const unsigned version = language.GetOperatorsVersion();
    const Shape leftShape = left->GetShape(operators, version);
    const Shape rightShape = right->GetShape(operators, version);
    const bool isWritten = operators.Find(op) && op != "[]";
    if (isWritten && leftShape != Irregular && rightShape != Irregular)
        return make_refptr<Expression>(
            KeptOperation{{left, leftShape == Bracketed}, op, {right, rightShape == Bracketed}, version});
    if (const Outcome outcome = limits.Spend(length, error); !outcome) return outcome;
    s_str rewritten;
    const s_str text = "(" + left->GetText() + ")" + op + "(" + right->GetText() + ")";
    if (const Outcome outcome = Rewrite(text, operators, rewritten, error); !outcome) return outcome;
    return make_refptr<Expression>(rewritten);
}

Outcome KeptOperation::Rewrite(std::string_view text, const Operators& operators, s_str& output, s_str& error) {
    return Rewriting(text, operators).Rewrite(output, error);
}

KeptOperation::Shape KeptOperation::ShapeOf(std::string_view text, const Operators& operators) {
    using enum Shape;
    if (!HasBalancedRoundBrackets(text)) return Irregular;
    const Rewriting::Pieces pieces = Rewriting(text, operators).CountPieces(text);
    if (pieces.fault) return Irregular;
    if (pieces.count != 1) return Bracketed;
    // Blanks matter too: evaluated by itself the text loses them, and may then end in the beginning of an operator.
    return pieces.first.op || HoldsRoundBracket(text) || s_str::Trimmed(text) != text ? Irregular : Plain;
}

} // namespace Quarn
