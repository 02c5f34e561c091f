// Finding the callable for an operator and its operands, and what happens when an operand is a reference that cannot be
// evaluated yet: the whole operation is kept as a new reference.

#include "quarn/interpreter/expression.h"
#include "quarn/interpreter/rewriting.h"
#include "quarn/interpreter/state.h"
#include "quarn/interpreter/text_writer.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

/// A kept operation grows with each use of an undefined symbol, and doubles in `x = x + x`: without an end, thirty such
/// statements fill the memory. A text of this length takes a few hundredths of a second to go through.
constexpr TextWriter::Limit KeptExpression{std::size_t{1} << 20, 0,
                                           "\tError : Expression longer than 1048576 characters"};

} // namespace

/// An operand as it was passed, and what its references led to.
struct State::FollowedOperand {
    const Symbol& operand;
    const Symbol& value;

    const s_str& Type() const { return Reference::TypeOfFollowed(value); }

    /// In messages and kept operations a named operand contributes nothing. Sub-expressions have no names, so this
    /// meets only values that a function named itself; their text would begin with "name = ", which is no expression.
    /// Pinned by "NamedOperandsContributeNothing".
    bool HasText() const { return static_cast<bool>(operand.GetName().IsEmpty()); }
};

/// An operation on the values of references, for as long as it is carried out. If it meets itself again on the same
/// references, and nothing has changed, that is a circle: a vector leads into itself.
class State::Operating {
public:
    /// The overloads stand for the operator. An operand that is no reference is like any other; null for none.
    Operating(State& state, const void* overloads, const Symbol* left, const Symbol* right)
        : m_state(state), m_overloads(overloads), m_left(left), m_right(right), m_changes(state.GetChanges()),
          m_outer(std::exchange(state.m_operating, this)) {}
    ~Operating() { m_state.m_operating = m_outer; }
    Operating(const Operating&) = delete;
    Operating& operator=(const Operating&) = delete;

    /// The expression that is met again, null when there is none.
    const Expression* FindCircle() const { return m_outer ? FindCircleInOuter() : nullptr; }

private:
    static const Expression* ExpressionIn(const Symbol* operand) {
        const Reference* const reference = operand ? Reference::From(*operand) : nullptr;
        return reference ? reference->GetExpression().Get() : nullptr;
    }
    static bool IsSame(const Expression* a, const Expression* b) { return a == b || (a && b && a->IsSameAs(*b)); }

    [[gnu::noinline]] const Expression* FindCircleInOuter() const {
        const Expression* const left = ExpressionIn(m_left);
        const Expression* const right = ExpressionIn(m_right);
        for (const Operating* outer = m_outer; outer; outer = outer->m_outer) {
            if (m_overloads == outer->m_overloads && m_changes == outer->m_changes &&
                IsSame(left, ExpressionIn(outer->m_left)) && IsSame(right, ExpressionIn(outer->m_right)))
                return left ? left : right;
        }
        return nullptr;
    }

    State& m_state;
    const void* m_overloads;
    const Symbol* m_left;
    const Symbol* m_right;
    const std::uint64_t m_changes;
    const Operating* const m_outer;
};

s_refptr<Symbol> State::ApplyBinaryOperator(std::string_view op, const s_refptr<Symbol>& left,
                                            const s_refptr<Symbol>& right, s_str& error) {
    if (!Spend(1, error)) return nullptr;
    BindVocabulary();
    if (const Operator* known = m_vocabulary.GetOperators().Find(op)) return DispatchBinary(*known, left, right, error);
    return ApplyUnlisted(op, left, right, error);
}

/// An operator that is registered, but not to be written.
s_refptr<Symbol> State::ApplyUnlisted(std::string_view op, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right,
                                      s_str& error) {
    Operator unlisted;
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
        return Calling(*callable)(*this, left, right, error);
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
    const BinaryOperator* callable = op.FindBinary(leftValue->GetType(), rightValue->GetType());
    if (!callable) return FailWithoutMatch({*left, *leftValue}, op.text, right, error);
    const Operating operating(*this, op.binary, left.Get(), right.Get());
    if (const Expression* circle = operating.FindCircle()) return AbandonCircle(*circle, error);
    return Calling(*callable)(*this, leftValue, rightValue, error);
}

/// The operator stands in `before` or in `after`, the other is empty.
s_refptr<Symbol> State::DispatchUnary(const UnaryOverloads* overloads, const s_refptr<Symbol>& operand,
                                      std::string_view before, std::string_view after, s_str& error) {
    const s_refptr<Symbol> value = Follow(operand, error);
    if (!value) return nullptr;
    const auto* callable = overloads ? FindIn(*overloads, Reference::TypeOfFollowed(*value)) : nullptr;
    if (!callable) return FailWithoutMatch({*operand, *value}, before, after, error);
    if (!Reference::From(*operand)) return Calling(*callable)(*this, value, error);
    const Operating operating(*this, overloads, nullptr, operand.Get());
    if (const Expression* circle = operating.FindCircle()) return AbandonCircle(*circle, error);
    return Calling(*callable)(*this, value, error);
}

s_bool State::WriteText(const FollowedOperand& operand, s_str& text, s_str& error) {
    if (!operand.HasText()) return true;
    const Reference* const reference = Reference::From(operand.value);
    if (!reference) return WriteText(operand.value, text, error);
    return TextWriter(this, text, error).Append(*reference->GetUnevaluatedExpression());
}

Failure State::FailWithoutMatch(const FollowedOperand& left, std::string_view op, const s_refptr<Symbol>& rightOperand,
                                s_str& error) {
    // Here a circle is no fault of its own any more: it shows as the reference that it is.
    s_str unseen;
    const s_refptr<Symbol> value = Follow(rightOperand, unseen);
    const FollowedOperand right{*rightOperand, value ? *value : *rightOperand};
    s_str message =
        "\tError : No match for operator '" + left.Type() + " " + op + " " + right.Type() + "' in :\n\t        \t";
    if (!WriteText(left, message, error)) return {};
    (((message += " ") += op) += " ");
    if (!WriteText(right, message, error)) return {};
    return Fail(error, message);
}

Failure State::FailWithoutMatch(const FollowedOperand& operand, std::string_view before, std::string_view after,
                                s_str& error) {
    s_str text;
    if (!WriteText(operand, text, error)) return {};
    const auto written = [&](const s_str& what) {
        return before.empty() ? what + " " + after : s_str(before) + " " + what;
    };
    return Fail(error,
                "\tError : No match for operator '" + written(operand.Type()) + "' in :\n\t        \t" + written(text));
}

/// What an operand contributes to an operation that is kept; null on failure.
s_refptr<Expression> State::ExpressionOf(const FollowedOperand& operand, s_str& error) {
    if (!operand.HasText()) return make_refptr<Expression>("");
    if (const Reference* reference = Reference::From(operand.value)) {
        s_refptr<Expression> expression = reference->GetUnevaluatedExpression();
        expression->Update(m_operatorsVersion);
        return expression;
    }
    s_str text;
    if (!TextWriter(this, text, error, KeptExpression).Write(operand.value)) return nullptr;
    return make_refptr<Expression>(text);
}

/// The operation as a reference. Its text is put together only where the operands do not tell how it reads: so it costs
/// what is added, however long the operands are.
s_refptr<Symbol> State::KeepOperation(const FollowedOperand& left, std::string_view op, const FollowedOperand& right,
                                      s_str& error) {
    const s_refptr<Expression> leftExpression = ExpressionOf(left, error);
    const s_refptr<Expression> rightExpression = leftExpression ? ExpressionOf(right, error) : nullptr;
    if (!rightExpression) return nullptr;
    const std::size_t length = leftExpression->GetLength() + op.size() + rightExpression->GetLength() + 4;
    if (length > KeptExpression.size) return Abandon(error, KeptExpression.message);

    using enum Expression::Shape;
    const Operators& operators = m_vocabulary.GetOperators();
    const auto leftShape = leftExpression->GetShape(operators, m_operatorsVersion);
    const auto rightShape = rightExpression->GetShape(operators, m_operatorsVersion);
    const bool isWritten = operators.Find(op) && op != "[]";
    if (isWritten && leftShape != Irregular && rightShape != Irregular) {
        return make_refptr<Reference>(
            make_refptr<Expression>(Expression::Operation{{leftExpression, leftShape == Bracketed},
                                                          op,
                                                          {rightExpression, rightShape == Bracketed},
                                                          m_operatorsVersion}),
            *this);
    }
    if (!Spend(length, error)) return nullptr;
    s_str rewritten;
    const s_str text = "(" + leftExpression->GetText() + ")" + op + "(" + rightExpression->GetText() + ")";
    if (!RewriteOperation(text, operators, rewritten, error)) return nullptr;
    return make_refptr<Reference>("", rewritten, *this);
}

} // namespace Quarn
