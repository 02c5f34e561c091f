#include "quarn/interpreter/engine/dispatcher.h"

#include "quarn/interpreter/engine/text_writer.h"

namespace Quarn {

namespace {

/// A named operand contributes nothing to messages and kept operations. Sub-expressions have no names, so this affects
/// only values that a function named itself; their text would begin with "name = ", which is no expression. Pinned by
/// "NamedOperandsContributeNothing".
bool HasText(const Operand& operand) { return !operand.GetObject() || operand.GetObject()->GetName().IsEmpty(); }

} // namespace

/// An ongoing operation on the values of references. If it meets itself again on the same references, and nothing has
/// changed, that is a circle: a vector leads to itself.
class Dispatcher::OngoingOperation {
public:
    /// The overloads identify the operator. All operands that are not references count as the same; null for none.
    OngoingOperation(Dispatcher& dispatcher, const void* overloads, const Operand& left, const Operand& right)
        : m_dispatcher(dispatcher), m_overloads(overloads), m_left(left), m_right(right),
          m_changes(dispatcher.m_limits.GetClock().Values()), m_outer(std::exchange(dispatcher.m_innermost, this)) {}
    ~OngoingOperation() { m_dispatcher.m_innermost = m_outer; }
    OngoingOperation(const OngoingOperation&) = delete;
    OngoingOperation& operator=(const OngoingOperation&) = delete;

    /// The expression that was met again; null if there is none.
    const Expression* FindCircle() const { return m_outer ? FindCircleInOuter() : nullptr; }

private:
    static const Expression* ExpressionIn(const Operand& operand) {
        const Reference* const reference = Reference::In(operand);
        return reference ? reference->GetExpression().Get() : nullptr;
    }
    static bool IsSame(const Expression* a, const Expression* b) { return a == b || (a && b && a->IsSameAs(*b)); }

    [[gnu::noinline]] const Expression* FindCircleInOuter() const {
        const Expression* const left = ExpressionIn(m_left);
        const Expression* const right = ExpressionIn(m_right);
        for (const OngoingOperation* outer = m_outer; outer; outer = outer->m_outer) {
            if (m_overloads == outer->m_overloads && m_changes == outer->m_changes &&
                IsSame(left, ExpressionIn(outer->m_left)) && IsSame(right, ExpressionIn(outer->m_right)))
                return left ? left : right;
        }
        return nullptr;
    }

    Dispatcher& m_dispatcher;
    const void* m_overloads;
    const Operand& m_left;
    const Operand& m_right;
    const std::uint64_t m_changes;
    const OngoingOperation* const m_outer;
};

Operand Dispatcher::ApplyBinary(const Operator& op, const Operand& left, const Operand& right, s_str& error) {
    if (Reference::In(left) || Reference::In(right)) return ApplyToReferences(op, left, right, error);
    if (const BinaryOperator* callable =
            op.FindBinary(Reference::TypeOfResolved(left), Reference::TypeOfResolved(right)))
        return Call(*callable, left, right, error);
    return FailWithoutMatch(left, left, op.text, right, error);
}

Operand Dispatcher::ApplyBinary(std::string_view op, const Operand& left, const Operand& right, s_str& error) {
    m_language.Refresh();
    if (const Operator* known = m_language.GetOperators().Find(op)) return ApplyBinary(*known, left, right, error);
    Operator unlisted;
    unlisted.text = op;
    unlisted.LookUp(m_language.GetRegistry());
    return ApplyBinary(unlisted, left, right, error);
}

Operand Dispatcher::ApplyToReferences(const Operator& op, const Operand& left, const Operand& right, s_str& error) {
    const Operand leftValue = Resolve(left, error);
    if (!leftValue) return {};
    if (!op.binary) return FailWithoutMatch(leftValue, left, op.text, right, error);
    if (Reference::In(leftValue)) return Keep(left, op.text, right, error);
    // Evaluated only if the operator has an overload for the left type.
    if (Reference::In(right) && !FindIn(*op.binary, Reference::TypeOfResolved(leftValue)))
        return FailWithoutMatch(ResolveAnew(left), left, op.text, right, error);
    const Operand rightValue = Resolve(right, error);
    if (!rightValue) return {};
    if (Reference::In(rightValue)) return Keep(left, op.text, right, error);
    const BinaryOperator* callable =
        op.FindBinary(Reference::TypeOfResolved(leftValue), Reference::TypeOfResolved(rightValue));
    if (!callable) return FailWithoutMatch(ResolveAnew(left), left, op.text, right, error);
    const OngoingOperation operation(*this, op.binary, left, right);
    if (const Expression* circle = operation.FindCircle()) return AbandonCircle(*circle, error);
    return Call(*callable, leftValue, rightValue, error);
}

Operand Dispatcher::ApplyUnary(const UnaryOverloads* overloads, const Operand& operand, std::string_view before,
                               std::string_view after, s_str& error) {
    const Operand value = Resolve(operand, error);
    if (!value) return {};
    const UnaryOperator* callable = overloads ? FindIn(*overloads, Reference::TypeOfResolved(value)) : nullptr;
    if (!callable) return FailWithoutMatch(overloads ? ResolveAnew(operand) : value, before, operand, after, error);
    if (!Reference::In(operand)) return Call(*callable, value, error);
    const Operand none;
    const OngoingOperation operation(*this, overloads, none, operand);
    if (const Expression* circle = operation.FindCircle()) return AbandonCircle(*circle, error);
    return Call(*callable, value, error);
}

Operand Dispatcher::Call(const BinaryOperator& callable, const Operand& left, const Operand& right, s_str& error) {
    if (left.GetFlatType() && right.GetFlatType() && callable.flat) {
        const std::array words{left.GetWord(), right.GetWord()};
        const FlatType& type = *callable.flat.result;
        if (Word result = 0; CallFlat(callable, words.data(), result)) return {type, result};
    }
    if (const Outcome outcome = BeforeCall(callable, error); !outcome) return outcome;
    return callable(m_state, left.ToObject(), right.ToObject(), error);
}

Operand Dispatcher::Call(const UnaryOperator& callable, const Operand& operand, s_str& error) {
    if (operand.GetFlatType() && callable.flat) {
        const Word word = operand.GetWord();
        const FlatType& type = *callable.flat.result;
        if (Word result = 0; CallFlat(callable, &word, result)) return {type, result};
    }
    if (const Outcome outcome = BeforeCall(callable, error); !outcome) return outcome;
    return callable(m_state, operand.ToObject(), error);
}

Outcome Dispatcher::AbandonCircle(const Expression& expression, s_str& error) {
    return m_limits.Abandon(error, "\tError : Circular reference in expression '" + expression.GetText() + "'",
                            FailureKind::Evaluation);
}

/// The value of the operand now; the operand itself if it cannot be evaluated. A circle is no error here.
Operand Dispatcher::ResolveAnew(const Operand& operand) {
    EngineLimits::PrivateError unseen(m_limits);
    const Operand value = Resolve(operand, unseen.text);
    return value ? value : operand;
}

// Messages ask first for the types of the operands and then for their texts, and kept operations for the texts. Each
// time a reference is evaluated anew, which shows if it is impure. Pinned by "WhatIsShownIsEvaluatedAnew".

Outcome Dispatcher::WriteText(const Operand& operand, s_str& text, s_str& error) {
    if (!HasText(operand)) return Outcome::WentOn;
    TextWriter writer(&m_limits, text, error);
    const Operand value = ResolveAnew(operand);
    const Reference* const reference = Reference::In(value);
    return reference ? writer.Append(*reference->GetUnevaluatedExpression()) : writer.Write(value);
}

Outcome Dispatcher::FailWithoutMatch(const Operand& leftForType, const Operand& left, std::string_view op,
                                     const Operand& right, s_str& error) {
    s_str message = "\tError : No match for operator '";
    (((message += Reference::TypeOfResolved(leftForType)) += " ") += op) += " ";
    (message += Reference::TypeOfResolved(ResolveAnew(right))) += "' in :\n\t        \t";
    if (const Outcome outcome = WriteText(left, message, error); !outcome) return outcome;
    (((message += " ") += op) += " ");
    if (const Outcome outcome = WriteText(right, message, error); !outcome) return outcome;
    if (m_limits.MustStopBefore(message.View().size())) return Outcome::Failed;
    return Fail(error, message);
}

Outcome Dispatcher::FailWithoutMatch(const Operand& forType, std::string_view before, const Operand& operand,
                                     std::string_view after, s_str& error) {
    const s_str type = Reference::TypeOfResolved(forType);
    s_str text;
    if (const Outcome outcome = WriteText(operand, text, error); !outcome) return outcome;
    const auto written = [&](const s_str& what) {
        return before.empty() ? what + " " + after : s_str(before) + " " + what;
    };
    return Fail(error, "\tError : No match for operator '" + written(type) + "' in :\n\t        \t" + written(text));
}

/// What the value of an operand contributes to a kept operation; null on failure.
s_refptr<Expression> Dispatcher::ExpressionOf(const Operand& value, s_str& error) {
    if (const Reference* reference = Reference::In(value)) {
        s_refptr<Expression> expression = reference->GetUnevaluatedExpression();
        // What is kept with an expression belongs to one state.
        if (&reference->GetState() != &m_state) return make_refptr<Expression>(expression->GetText());
        expression->Update(m_language.GetOperatorsVersion());
        return expression;
    }
    s_str text;
    if (!TextWriter(&m_limits, text, error, KeptOperation::Longest).Write(value)) return nullptr;
    return make_refptr<Expression>(text);
}

/// Keeps an operation of which an operand cannot be evaluated. A circle in the other operand is an error.
Operand Dispatcher::Keep(const Operand& left, std::string_view op, const Operand& right, s_str& error) {
    const auto expressionOf = [&](const Operand& operand) {
        if (!HasText(operand)) return make_refptr<Expression>("");
        const Operand value = Resolve(operand, error);
        return value ? ExpressionOf(value, error) : nullptr;
    };
    const s_refptr<Expression> leftExpression = expressionOf(left);
    const s_refptr<Expression> rightExpression = leftExpression ? expressionOf(right) : nullptr;
    if (!rightExpression) return {};
    s_refptr<Expression> kept = KeptOperation::Keep(leftExpression, op, rightExpression, m_language, m_limits, error);
    return kept ? Operand(make_refptr<Reference>(std::move(kept), m_state)) : Operand();
}

} // namespace Quarn
