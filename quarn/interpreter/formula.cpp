#include "quarn/interpreter/formula.h"

#include "quarn/interpreter/interpreter.h"
#include "quarn/types/reference.h"

namespace Quarn {

struct FormulaParts {
    s_refptr<Expression> expression;
    s_refptr<BoundVariables> variables;
};

namespace {

/// Collects the names in the steps of a text, and the first fault.
class Survey final : public StepSink {
public:
    Survey(Interpreter& interpreter, const FormulaParts& parts)
        : m_interpreter(interpreter), m_variables(*parts.variables), m_text(parts.expression->GetSharedText().view) {
        const EngineLimits::Entry entry(interpreter.limits);
        const Outcome outcome = Pass(m_text);
        if (interpreter.limits.IsStopped()) (void)interpreter.limits.CheckStopped(m_error, 0);
        if (outcome || fault) return;
        fault = Failure{m_error};
        interpreter.evaluator.Explain(*fault, m_text);
    }

    Outcome Accept(const Step& step) override {
        if (const Outcome outcome = m_interpreter.limits.Spend(1, m_error); !outcome) return outcome;
        switch (step.kind) {
        case Step::Kind::Fault:
            fault = {step.text, step.failure, static_cast<std::size_t>(step.at - m_text.data())};
            return Outcome::Failed;
        case Step::Kind::Literal: return PassExpressions(*step.constructor, step.text, true);
        case Step::Kind::Construct:
            AddType(*step.constructor);
            return PassExpressions(*step.constructor, step.text, false);
        case Step::Kind::Call: names.functions.insert(step.text); break;
        case Step::Kind::Name: AddName(step.text); break;
        default: break;
        }
        return Outcome::WentOn;
    }

    Formula::Names names;
    std::optional<Failure> fault;

private:
    Outcome Pass(std::string_view text) { return m_interpreter.evaluator.PassSteps(text, *this, m_error); }

    Outcome PassExpressions(const Constructor& constructor, std::string_view text, bool isLiteral) {
        if (!constructor.expressionsIn) return Outcome::WentOn;
        const Limits::Level level(m_interpreter.limits);
        if (!level) return m_interpreter.limits.AbandonTooDeep(m_error);
        Brackets brackets(text, m_interpreter.evaluator.GetBrackets());
        Cut cut(constructor.expressionsIn(text, isLiteral));
        Outcome outcome = Outcome::WentOn;
        if (const char* const at = brackets.FindFault(cut.text, Commas())) { // a constructor cuts before it evaluates
            fault = {Bracket(*at).GetFault(), FailureKind::Text, static_cast<std::size_t>(at - m_text.data())};
            outcome = Outcome::Failed;
        }
        for (std::string_view piece; outcome && brackets.Next(cut, Commas(), piece);)
            if (!cut.isSeparator) outcome = Pass(piece);
        if (!constructor.keepsExpressions || outcome.IsAbandoned()) return outcome;
        fault.reset();
        return Outcome::WentOn;
    }
    void AddType(const Constructor& constructor) {
        for (const auto& [type, registered] : m_interpreter.language.GetRegistry().constructors)
            if (&registered == &constructor) names.types.insert(type);
    }
    void AddName(std::string_view name) {
        const Language& language = m_interpreter.language;
        const bool isSymbol = m_variables.contains(name) || m_interpreter.symbols.Find(name);
        if (!isSymbol && language.FindFunctions(name)) names.functions.insert(name);
        else if (!isSymbol && FindIn(language.GetRegistry().constructors, name)) names.types.insert(name);
        else names.symbols.insert(name);
    }

    Interpreter& m_interpreter;
    const BoundVariables& m_variables;
    const std::string_view m_text;
    s_str m_error;
};

} // namespace

Formula::Formula(State& state, std::string_view expression) : m_state(&state), m_parts(make_refptr<FormulaParts>()) {
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
    program.lastNames = 0;
    program.language = 0; // an earlier parse took the name for a symbol
    return true;
}

std::optional<Failure> Formula::Check() { return Survey(Interpreter::Of(*m_state), *m_parts).fault; }

Formula::Names Formula::GetNames() { return Survey(Interpreter::Of(*m_state), *m_parts).names; }

Result<s_refptr<Symbol>> Formula::Evaluate() { return Value(*this, false).ToResult(); }

Formula::Value::Value(Formula& formula, bool isResolved) {
    Interpreter& interpreter = Interpreter::Of(*formula.m_state);
    const s_refptr<Expression> expression = formula.m_parts->expression; // a callable may destroy the formula
    Operand operand = interpreter.Answer(expression->GetSharedText().view, failure, [&](s_str& error) {
        Operand value = interpreter.evaluator.EvaluateAnew(*expression, error);
        return isResolved && Reference::In(value) ? Reference::Resolve(value, error) : value;
    });
    type = operand.GetFlatType();
    if (type) word = operand.GetWord();
    else object = std::move(operand).ToObject();
}

Result<s_refptr<Symbol>> Formula::Value::ToResult() const {
    if (type) return type->make(word);
    return object ? Result(object) : failure;
}

} // namespace Quarn
