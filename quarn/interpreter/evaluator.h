#pragma once

#include "quarn/interpreter/executor.h"

namespace Quarn {

/// Evaluates expressions: has their steps carried out until one fails, and remembers their results.
class Evaluator {
public:
    Evaluator(State& state, Limits& limits, Language& language, SymbolTable& symbols, Dispatcher& dispatcher)
        : m_work{state, limits, language, symbols, dispatcher} {
        m_memory.brackets.limits = &limits;
    }

    /// Evaluates a text like `State::ParseSymbol`, but takes no level of nesting.
    Operand Evaluate(const s_str& name, std::string_view expression, s_str& error, bool allowNew);
    /// Evaluates the expression of a reference. Its result is remembered until something changes, or the
    /// statement ends. So a web of references costs its size, not the number of its paths, and an operation that is
    /// added to a kept one does not evaluate all of it again.
    Operand Evaluate(Expression& expression, s_str& error);
    /// Evaluates the expression of a formula, which is a text.
    Operand EvaluateFormula(Expression& expression, s_str& error);

    // The callable for the types of the operands, applied; see `State`.
    Operand ApplyBinary(std::string_view op, const Operand& left, const Operand& right, s_str& error);
    Operand ApplyLeftUnary(std::string_view op, const Operand& operand, s_str& error);
    Operand ApplyRightUnary(std::string_view op, const Operand& operand, s_str& error);
    /// Passes the steps of a text to the sink, without carrying them out.
    Outcome PassSteps(std::string_view text, StepSink& sink, s_str& error);
    /// The value of `name:Type(text)`.
    s_refptr<Symbol> Construct(const Constructor& constructor, const s_str& name, std::string_view text, s_str& error) {
        return m_work.dispatcher.Calling(constructor)(m_work.state, name, text, false, error);
    }
    /// Counts the changes of everything that an evaluation depends on, and the statements.
    std::uint64_t GetMoment() const { return m_work.dispatcher.GetChanges() + m_work.limits.GetBegun(); }
    /// Counts what an evaluation did that must not be left out: impure calls, and whatever was abandoned.
    std::uint64_t GetDeeds() const { return m_work.dispatcher.GetImpureCalls() + m_work.limits.GetAbandonments(); }
    /// The text for an expression. A large part of the text that is being evaluated shares its memory.
    SharedText ShareText(std::string_view text) const;
    /// Must come before an evaluation whose failure may be explained.
    void ForgetFault() { m_work.fault.error = nullptr; }
    /// Fails at a place of the text that is being evaluated.
    Outcome FailAt(const char* at, FailureKind kind, std::string_view message, s_str& error) {
        return m_work.FailAt(at, kind, message, error);
    }
    /// Adds what is known of a failed evaluation of the text. It has appended its messages to `failure.error`.
    void Explain(Failure& failure, std::string_view text) const;
    /// The brackets of the texts that are being parsed.
    Brackets::Memory& GetBrackets() { return m_memory.brackets; }

private:
    class Recorder;

    bool Knows(const Expression& expression) const {
        const Expression::Known& known = expression.known;
        return known.moment == (known.isFailure ? m_work.dispatcher.GetChanges() : GetMoment()) &&
               known.depth <= m_work.limits.GetRemainingLevels() &&
               (known.isFailure || known.type || m_work.limits.FindKept(known.word));
    }
    Operand Recall(const Expression::Known& known) const;
    void RememberValue(Expression& expression, const Operand& value, unsigned depth, std::uint64_t steps);
    Outcome RunFlat(const Expression& expression, Operand& value, s_str& error);
    void Translate(Expression& expression, std::uint64_t bindings);
    static bool IsBetterParsed(Expression& expression);
    Outcome RunOnce(Expression& expression, Executor& executor);
    Outcome RunText(Expression& expression, Executor& executor);
    Outcome RunParts(Expression& expression, Executor& executor, s_str& error);
    Outcome ParseProgram(Expression& expression, s_str& error);

    Workspace m_work;
    ParserMemory m_memory;
};

} // namespace Quarn
