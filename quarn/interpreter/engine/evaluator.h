#pragma once

#include "quarn/interpreter/engine/executor.h"

namespace Quarn {

/// Evaluates expressions: has their steps carried out until one fails, and remembers their results.
class Evaluator {
public:
    Evaluator(State& state, EngineLimits& limits, Language& language, SymbolTable& symbols, Dispatcher& dispatcher)
        : m_work{state, limits, language, symbols, dispatcher} {
        m_memory.brackets.limits = &limits;
    }

    /// Evaluates a text like `State::ParseSymbol`, but takes no level of nesting. With `allowNew`, an unknown name
    /// becomes a new symbol.
    Operand Evaluate(const s_str& name, std::string_view expression, s_str& error, bool allowNew);
    /// Evaluates the expression of a reference. Its result is remembered until something changes, or the
    /// statement ends. So a web of references costs its size, not the number of its paths, and an operation that is
    /// added to a kept one does not evaluate all of it again.
    Operand Evaluate(Expression& expression, s_str& error);
    /// The same without a look at what is remembered: for a formula, whose variables change unnoticed.
    Operand EvaluateAnew(Expression& expression, s_str& error);

    // These run a flat program as an evaluation of its own. False, without a message, if that needs more preparation,
    // or if it fails: then it must be evaluated in full.

    bool RunBriefly(FlatProgram& flat, Word& result);
    /// For an isolated program, which no callable can destroy.
    bool RunIsolated(FlatProgram& flat, Word& result);

    // Each applies the callable for the types of the operands, see `State`.
    Operand ApplyBinary(std::string_view op, const Operand& left, const Operand& right, s_str& error);
    Operand ApplyLeftUnary(std::string_view op, const Operand& operand, s_str& error);
    Operand ApplyRightUnary(std::string_view op, const Operand& operand, s_str& error);
    /// Passes the steps of a text to the sink, without carrying them out.
    Outcome PassSteps(std::string_view text, StepSink& sink, s_str& error);
    /// The value of `name:Type(text)`.
    s_refptr<Symbol> Construct(const Constructor& constructor, const s_str& name, std::string_view text, s_str& error) {
        if (const Outcome outcome = m_work.dispatcher.BeforeCall(constructor, error); !outcome) return outcome;
        return constructor(m_work.state, name, text, false, error);
    }
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

    struct Part;

    Operand Run(Expression& expression, s_str& error);
    Operand RunFlat(const Expression& expression);
    void Translate(Program& program, std::uint64_t meanings);
    static bool IsBetterParsed(Expression& expression);
    Outcome RunOnce(Expression& expression, Executor& executor);
    Outcome RunText(Expression& expression, Executor& executor);
    Outcome RunOperation(Expression& expression, Executor& executor);
    Outcome RunPart(Expression& expression, Executor& executor, std::vector<Part>& parts);
    Outcome ParseProgram(Expression& expression, s_str& error);
    Operand ApplyUnary(const Table<UnaryOverloads>& operators, const Operand& operand, std::string_view before,
                       std::string_view after, s_str& error);

    Workspace m_work;
    ParserMemory m_memory;
};

} // namespace Quarn
