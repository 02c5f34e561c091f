#include "quarn/interpreter/formula.h"

#include "quarn/interpreter/interpreter.h"
#include "quarn/types/reference.h"

namespace Quarn {

struct FormulaParts {
    s_refptr<Expression> expression;
    s_refptr<BoundVariables> variables;
};

Formula::Formula(State& state, std::string_view expression)
    : m_state(&state), m_parts(std::make_unique<FormulaParts>()) {
    m_parts->expression = make_refptr<Expression>(expression);
    m_parts->expression->program = make_refptr<Program>();
    m_parts->variables = make_refptr<BoundVariables>();
    m_parts->expression->program->variables = m_parts->variables;
}

Formula::~Formula() = default;
Formula::Formula(Formula&&) noexcept = default;
Formula& Formula::operator=(Formula&&) noexcept = default;

bool Formula::Bind(std::string_view name, const FlatType& type, const void* variable, Word (*read)(const void*)) {
    s_str unseen;
    if (name.empty() || !m_state->CheckSymbolName(name, unseen)) return false;
    m_parts->variables->insert_or_assign(name, BoundVariable{&type, variable, read});
    Program& program = *m_parts->expression->program;
    program.flat = {};
    program.lastBindings = 0;
    program.generation = 0; // an earlier parse took the name for a symbol
    return true;
}

Result<s_refptr<Symbol>> Formula::Evaluate() { return Value(*this, false).ToResult(); }

Formula::Value::Value(Formula& formula, bool isResolved) {
    Interpreter& interpreter = Interpreter::Of(*formula.m_state);
    const s_refptr<Expression> expression = formula.m_parts->expression; // a callable may destroy the formula
    Result<Operand> result = interpreter.Answer(expression->GetSharedText().view, [&](s_str& error) {
        Operand value = interpreter.evaluator.EvaluateFormula(*expression, error);
        return isResolved && Reference::In(value) ? Reference::Resolve(value, error) : value;
    });
    if (!result) {
        failure = result.GetFailure();
        return;
    }
    Operand operand = *std::move(result);
    type = operand.GetFlatType();
    if (type) word = operand.GetWord();
    else object = std::move(operand).ToObject();
}

Result<s_refptr<Symbol>> Formula::Value::ToResult() const {
    if (type) return type->make(word);
    return object ? Result(object) : failure;
}

} // namespace Quarn
