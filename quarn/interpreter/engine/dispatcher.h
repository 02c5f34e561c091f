#pragma once

#include "quarn/interpreter/engine/expression.h"
#include "quarn/types/reference.h"

namespace Quarn {

/// Finds the callable for an operator and its operand types, and calls it. An operation on a reference that cannot be
/// evaluated yet is kept as a new reference.
class Dispatcher {
public:
    Dispatcher(State& state, EngineLimits& limits, Language& language)
        : m_state(state), m_limits(limits), m_language(language) {}

    // Each returns null on failure.

    Operand ApplyBinary(const Operator& op, const Operand& left, const Operand& right, s_str& error);
    /// Also for an operator that is registered but cannot be written.
    Operand ApplyBinary(std::string_view op, const Operand& left, const Operand& right, s_str& error);
    /// The text of the operator is in `before` or in `after`; the other one is empty.
    Operand ApplyUnary(const UnaryOverloads* overloads, const Operand& operand, std::string_view before,
                       std::string_view after, s_str& error);

    /// Records that a registered callable is about to be called. Fails if it must not be.
    template <class Entry> Outcome BeforeCall(const Entry& callable, s_str& error) {
        return callable.isPure ? Outcome(Outcome::WentOn) : m_limits.CountDeed(error);
    }
    /// Calls a callable in its form for flat values, with their words. False if it fails: its other form says why.
    template <class Entry> bool CallFlat(const Entry& callable, const Word* operands, Word& result) {
        return (callable.isPure || m_limits.CountDeed()) && callable.flat(operands, result);
    }
    /// Like `Reference::Resolve`. A reference of another state counts as an impure call: nobody tells this one what
    /// changes there.
    Operand Resolve(const Operand& value, s_str& error) {
        const Reference* const reference = Reference::In(value);
        if (!reference) return value;
        if (&reference->GetState() != &m_state)
            if (const Outcome outcome = m_limits.CountDeed(error); !outcome) return {};
        return Reference::Resolve(value, error);
    }
    /// Fails because the expression leads to itself.
    Outcome AbandonCircle(const Expression& expression, s_str& error);

private:
    class OngoingOperation;

    // Rare cases are not inlined: the other functions take stack for every level of nesting.
    Operand ApplyToReferences(const Operator& op, const Operand& left, const Operand& right, s_str& error);
    Operand Call(const BinaryOperator& callable, const Operand& left, const Operand& right, s_str& error);
    Operand Call(const UnaryOperator& callable, const Operand& operand, s_str& error);
    [[gnu::noinline]] Operand Keep(const Operand& left, std::string_view op, const Operand& right, s_str& error);
    Operand ResolveAnew(const Operand& operand);
    s_refptr<Expression> ExpressionOf(const Operand& value, s_str& error);
    Outcome WriteText(const Operand& operand, s_str& text, s_str& error);
    [[gnu::noinline]] Outcome FailWithoutMatch(const Operand& leftForType, const Operand& left, std::string_view op,
                                               const Operand& right, s_str& error);
    [[gnu::noinline]] Outcome FailWithoutMatch(const Operand& forType, std::string_view before, const Operand& operand,
                                               std::string_view after, s_str& error);

    State& m_state;
    EngineLimits& m_limits;
    Language& m_language;
    const OngoingOperation* m_innermost = nullptr;
};

} // namespace Quarn
