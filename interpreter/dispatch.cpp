// Finding the callable for an operator and its operands, and what happens when an operand is a reference that cannot be
// evaluated yet: the whole operation is kept as the text of a new reference.

#include <algorithm>

#include "interpreter/scanner.h"
#include "interpreter/state.h"
#include "types/reference.h"

namespace Quarn {

namespace {

/// A kept operation grows with each use of an undefined symbol, and doubles in `x = x + x`: without an end, thirty such
/// statements fill the memory. A text of this length takes a few hundredths of a second to go through.
constexpr std::size_t LongestKeptExpression = std::size_t{1} << 20;

/// An operation that is to be kept, written with brackets around both operands.
class KeptOperation {
public:
    /// The partners of its brackets are found once: they may stand around each other by the thousand.
    KeptOperation(std::string_view text, const Operators& operators) : m_text{text}, m_operators(operators) {
        FindPartners(text, m_partners);
    }

    s_bool Rewrite(std::string_view part, s_str& output, s_str& error) const;

private:
    const char* Cut(std::string_view part, std::vector<Piece>& pieces) const {
        pieces.clear();
        return CutAtOperators(
            part, [&](std::size_t i) { return m_text.FindPartnerIn(part, i, m_partners); }, m_operators,
            [&](const Piece& piece) {
                pieces.push_back(piece);
                return true;
            });
    }
    std::string_view PeelPlainEnds(std::string_view part) const;

    const PairedText m_text;
    const Operators& m_operators;
    std::vector<std::size_t> m_partners;
};

/// Appends the part without the brackets that stand around a single operand; all others are kept, whatever the
/// priorities: `(x)+(1)` becomes `x+1`, `(a+b)*(2)` becomes `(a+b)*2`.
///
/// A piece that is not bracketed itself but holds a round bracket loses its first and last character too, so that
/// `(f(x))+(1)` fails on `(x`, and the operation with it. It stays so: to keep the piece would be a different language.
/// Pinned by the transcript "references".
s_bool KeptOperation::Rewrite(std::string_view part, s_str& output, s_str& error) const {
    // Brackets around brackets around an operand are peeled off in turn.
    while (part.find('(') != std::string_view::npos) {
        std::vector<Piece> pieces;
        if (const char* fault = Cut(part, pieces)) return Fail(error, fault);
        if (pieces.size() > 1) {
            for (const Piece& piece : pieces) {
                if (piece.op) output += piece.text;
                else if (!Rewrite(piece.text, output, error)) return false;
            }
            return true;
        }
        part = PeelPlainEnds(part);
        const std::string_view piece = s_str::Trimmed(part);
        const std::string_view peeled = piece.substr(1, piece.size() - 2);
        if (const char* fault = Cut(peeled, pieces)) return Fail(error, fault);
        if (pieces.size() != 1) break;
        part = peeled;
    }
    output += part;
    return true;
}

/// Peels off a part that is one piece what can be peeled without another look at it: with a plain character at each end
/// it stays one piece. One by one, each of these would cost a cut of all the rest.
std::string_view KeptOperation::PeelPlainEnds(std::string_view part) const {
    const auto isPlain = [&](const char& c) { // neither a bracket nor the beginning of an operator
        return Bracket(c).IsNone() && !m_operators.Match({&c, 1}, 0);
    };
    std::string_view piece = s_str::Trimmed(part);
    const std::string_view end = piece.substr(piece.find_last_of("()<>[]") + 1);
    if (!std::ranges::all_of(end, isPlain)) return part;
    while (isPlain(piece.front()) && isPlain(piece.back())) {
        part = piece.substr(1, piece.size() - 2);
        piece = s_str::Trimmed(part);
    }
    return part;
}

} // namespace

/// An operand as it was passed, and what its references led to.
struct State::FollowedOperand {
    const Symbol& operand;
    const Symbol& value;

    const s_str& Type() const { return Reference::TypeOfFollowed(value); }

    /// How it stands in messages and kept operations.
    ///
    /// A named operand contributes nothing. Sub-expressions have no names, so this meets only values that a function
    /// named itself; their text would begin with "name = ", which is no expression. Pinned by
    /// "NamedOperandsContributeNothing".
    s_str Text() const {
        if (!operand.GetName().IsEmpty()) return {};
        if (const Reference* reference = Reference::From(value)) return reference->GetUnevaluatedText();
        return value.ToString();
    }
};

s_refptr<Symbol> State::ApplyBinaryOperator(std::string_view op, const s_refptr<Symbol>& left,
                                            const s_refptr<Symbol>& right, s_str& error) {
    if (!Spend(1, error)) return nullptr;
    BindVocabulary();
    if (const Operator* known = m_vocabulary.GetOperators().Find(op)) return DispatchBinary(*known, left, right, error);
    Operator unlisted; // registered, but not to be written
    unlisted.text = op;
    unlisted.Bind(m_registry);
    return DispatchBinary(unlisted, left, right, error);
}

s_refptr<Symbol> State::ApplyLeftUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error) {
    if (!Spend(1, error)) return nullptr;
    return DispatchUnary(FindIn(m_registry.leftUnaryOperators, op), operand, {}, op, error);
}

s_refptr<Symbol> State::ApplyRightUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error) {
    if (!Spend(1, error)) return nullptr;
    return DispatchUnary(FindIn(m_registry.rightUnaryOperators, op), operand, op, {}, error);
}

s_refptr<Symbol> State::Follow(const s_refptr<Symbol>& value, s_str& error) {
    const Reference* const reference = Reference::From(*value);
    if (!reference) return value;
    Reference::Use use(*reference);
    if (use.WasAbandoned()) return Abandon(error, use.GetError());
    if (!use.GetValue()) return value;
    return Reference::From(*use.GetValue()) ? Follow(use.GetValue(), error) : use.TakeValue();
}

s_refptr<Symbol> State::DispatchBinary(const Operator& op, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right,
                                       s_str& error) {
    if (Reference::From(*left) || Reference::From(*right)) return DispatchReferences(op, left, right, error);
    if (const BinaryOperator* callable = op.FindBinary(left->GetType(), right->GetType()))
        return (*callable)(*this, left, right, error);
    return FailWithoutMatch({*left, *left}, op.text, right, error);
}

s_refptr<Symbol> State::DispatchReferences(const Operator& op, const s_refptr<Symbol>& left,
                                           const s_refptr<Symbol>& right, s_str& error) {
    const s_refptr<Symbol> leftValue = Follow(left, error);
    if (!leftValue) return nullptr;
    const bool isKept = op.binary && Reference::From(*leftValue);
    if (Reference::From(*right)) {
        // It is followed only if an operation of this kind is possible at all, or else to be kept.
        if (!isKept && !(op.binary && FindIn(*op.binary, leftValue->GetType())))
            return FailWithoutMatch({*left, *leftValue}, op.text, right, error);
    }
    const s_refptr<Symbol> rightValue = Follow(right, error);
    if (!rightValue) return nullptr;
    if (isKept || Reference::From(*rightValue))
        return KeepOperation({*left, *leftValue}, op.text, {*right, *rightValue}, error);
    if (const BinaryOperator* callable = op.FindBinary(leftValue->GetType(), rightValue->GetType()))
        return (*callable)(*this, leftValue, rightValue, error);
    return FailWithoutMatch({*left, *leftValue}, op.text, right, error);
}

/// The operator stands in `before` or in `behind`, the other is empty.
s_refptr<Symbol> State::DispatchUnary(const UnaryOverloads* overloads, const s_refptr<Symbol>& operand,
                                      std::string_view before, std::string_view behind, s_str& error) {
    const s_refptr<Symbol> value = Follow(operand, error);
    if (!value) return nullptr;
    if (overloads)
        if (const auto* callable = FindIn(*overloads, Reference::TypeOfFollowed(*value)))
            return (*callable)(*this, value, error);
    return FailWithoutMatch({*operand, *value}, before, behind, error);
}

Failure State::FailWithoutMatch(const FollowedOperand& left, std::string_view op, const s_refptr<Symbol>& rightOperand,
                                s_str& error) {
    // Here a circle is no fault of its own any more: it shows as the reference that it is.
    s_str unseen;
    const s_refptr<Symbol> value = Follow(rightOperand, unseen);
    const FollowedOperand right{*rightOperand, value ? *value : *rightOperand};
    return Fail(error, "\tError : No match for operator '" + left.Type() + " " + op + " " + right.Type() +
                           "' in :\n\t        \t" + left.Text() + " " + op + " " + right.Text());
}

Failure State::FailWithoutMatch(const FollowedOperand& operand, std::string_view before, std::string_view behind,
                                s_str& error) {
    const auto written = [&](const s_str& what) {
        return before.empty() ? what + " " + behind : s_str(before) + " " + what;
    };
    return Fail(error, "\tError : No match for operator '" + written(operand.Type()) + "' in :\n\t        \t" +
                           written(operand.Text()));
}

s_refptr<Symbol> State::KeepOperation(const FollowedOperand& left, std::string_view op, const FollowedOperand& right,
                                      s_str& error) {
    const s_str operation = "(" + left.Text() + ")" + op + "(" + right.Text() + ")";
    const std::size_t length = operation.View().size();
    if (length > LongestKeptExpression)
        return Abandon(error, "\tError : Expression longer than " + s_str(s_uint(LongestKeptExpression)) +
                                  " characters");
    if (!Spend(length, error)) return nullptr;
    s_str rewritten;
    if (!KeptOperation(operation, m_vocabulary.GetOperators()).Rewrite(operation, rewritten, error)) return nullptr;
    return make_refptr<Reference>("", rewritten, *this);
}

} // namespace Quarn
