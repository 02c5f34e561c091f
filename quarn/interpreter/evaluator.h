#pragma once

#include "quarn/interpreter/dispatcher.h"

namespace Quarn {

/// Evaluates expressions: carries out their steps on a stack of operands until one fails.
class Evaluator {
public:
    Evaluator(State& state, Limits& limits, Language& language, SymbolTable& symbols, Dispatcher& dispatcher)
        : m_state(state), m_limits(limits), m_language(language), m_symbols(symbols), m_dispatcher(dispatcher) {}

    /// Evaluates a text like `State::ParseSymbol`, but takes no level of nesting.
    s_refptr<Symbol> Evaluate(const s_str& name, std::string_view expression, s_str& error, bool allowNew);
    /// Evaluates the expression of a reference. A failure is remembered until something changes: otherwise each
    /// operation added to a kept one would evaluate all of it again.
    Operand Evaluate(Expression& expression, s_str& error);
    /// Evaluates the expression of a formula, which is a text.
    Operand EvaluateFormula(Expression& expression, s_str& error);

    /// The value of `name:Type(text)`.
    s_refptr<Symbol> Construct(const Constructor& constructor, const s_str& name, std::string_view text, s_str& error) {
        return m_dispatcher.Calling(constructor)(m_state, name, text, false, error);
    }
    /// The text for an expression. A large part of the text that is being evaluated shares its memory.
    SharedText ShareText(std::string_view text) const;
    /// The brackets of the texts that are being parsed.
    Brackets::Memory& GetBrackets() { return m_memory.brackets; }

private:
    class Executor;
    class Recorder;

    /// The text that the argument of a constructor is part of, and the variables that it may name.
    struct Source {
        const SharedText* text = nullptr; ///< null for a line
        const BoundVariables* variables = nullptr;
    };

    Outcome RunText(Expression& expression, unsigned level, Executor& executor);
    Outcome RunParts(Expression& expression, Executor& executor, s_str& error);
    Outcome ParseProgram(Expression& expression, s_str& error);

    State& m_state;
    Limits& m_limits;
    Language& m_language;
    SymbolTable& m_symbols;
    Dispatcher& m_dispatcher;
    ParserMemory m_memory;
    std::vector<Operand> m_operands; ///< a stack, shared by all evaluations under way
    Source m_source;                 ///< of the innermost constructor
};

} // namespace Quarn
