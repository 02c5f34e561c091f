#include "quarn/interpreter/formula.h"

#include <algorithm>

#include "quarn/interpreter/engine/flat_blocks.h"
#include "quarn/interpreter/interpreter.h"
#include "quarn/types/reference.h"

namespace Quarn {

struct FormulaParts {
    s_refptr<Expression> expression;
    s_refptr<BoundVariables> variables;

    BoundVariable& Bind(std::string_view name, const BoundVariable& variable) {
        ParseAnew(); // an earlier parse took the name for a symbol
        return variables->insert_or_assign(name, variable).first->second;
    }
    void ParseAnew() {
        Program& program = *expression->program;
        if (program.flat) program.flat->Invalidate();
        program.notFlat = 0;
        program.language = 0;
    }
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
            fault = {step.GetText(), step.failure, static_cast<std::size_t>(step.at - m_text.data())};
            return Outcome::Failed;
        case Step::Kind::Literal: return PassExpressions(*step.constructor, step.GetText(), true);
        case Step::Kind::Construct:
            AddType(*step.constructor);
            return PassExpressions(*step.constructor, step.GetText(), false);
        case Step::Kind::Call: names.functions.insert(step.GetText()); break;
        case Step::Kind::Name: AddName(step.GetText()); break;
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
    m_parts->Bind(name, {&type, variable, read});
    return true;
}

/// Evaluates it if it has an isolated program of the type: no callable in it can destroy the formula. False if not, or
/// if that fails: then it must be evaluated in full.
bool Formula::EvaluateBriefly(const FlatType& type, Word& result) {
    Interpreter& interpreter = Interpreter::Of(*m_state);
    FlatProgram* const flat = m_parts->expression->program->flat.get();
    if (!flat || &flat->GetResultType() != &type) return false;
    if (!flat->IsReady(interpreter.clock)) return flat->IsIsolated() && RefreshAndRun(*flat, result);
    return interpreter.limits.AllowBrief(flat->GetSteps(true), flat->GetDepth()) && flat->RunVarying(result);
}

/// Not inlined: `EvaluateBriefly` would save registers each time.
bool Formula::RefreshAndRun(FlatProgram& flat, Word& result) {
    return Interpreter::Of(*m_state).evaluator.RunIsolated(flat, result);
}

std::optional<Failure> Formula::Check() { return Survey(Interpreter::Of(*m_state), *m_parts).fault; }

Formula::Names Formula::GetNames() { return Survey(Interpreter::Of(*m_state), *m_parts).names; }

/// An evaluation for many values of some variables.
class Formula::Series {
public:
    Series(Formula& formula, const Results& results)
        : m_interpreter(Interpreter::Of(*formula.m_state)), m_parts(formula.m_parts), m_results(results) {
        Program& program = *m_parts->expression->program;
        if (!std::exchange(program.isForMany, true)) m_parts->ParseAnew();
    }

    /// Fails if the name cannot be bound, or has too few values.
    std::optional<Failure> Add(const Values& values) {
        s_str error;
        if (values.name.empty()) return Failure{"\tError : A variable needs a name"};
        if (!m_interpreter.statements.CheckSymbolName(values.name, error)) return Failure{error};
        if (values.count < m_results.count)
            return Failure{"\tError : The variable '" + s_str(values.name) + "' has " + std::to_string(values.count) +
                           " values for " + std::to_string(m_results.count) + " results"};
        m_values.push_back(&values);
        return std::nullopt;
    }

    /// Carries it out. Gives some value if it went on to the end, or to one that does not fit the result.
    Operand Evaluate(s_str& error) {
        Operand value = m_results.wordType ? Operand(*m_results.wordType, 0) : Operand();
        for (const Values* const values : m_values) m_variables.push_back(&(*m_parts->variables)[values->name]);
        while (m_next < m_results.count) {
            Bind();
            if (RunBlock(error)) continue;
            if (m_interpreter.limits.IsStopped()) return {};
            SetVariables(m_next);
            value = m_interpreter.evaluator.EvaluateAnew(*m_parts->expression, error);
            if (Reference::In(value)) value = Reference::Resolve(value, error);
            if (value) m_failure = m_results.put(value, m_results.At(m_next));
            if (!value || m_failure) break;
            ++m_next;
            m_blocks.reset(); // symbols may have changed
        }
        return value;
    }
    /// Why a value does not fit, if one does not.
    const std::optional<Failure>& GetFailure() const { return m_failure; }

private:
    /// Binds the variables where they are not, because this is new, or because a callable has bound them otherwise.
    void Bind() {
        for (std::size_t i = 0; i < m_values.size(); ++i) {
            BoundVariable& variable = *m_variables[i];
            if (variable.type == m_values[i]->type && variable.address == &variable.current) continue;
            variable = {m_values[i]->type, &variable.current, nullptr};
            m_parts->ParseAnew();
            m_blocks.reset();
        }
    }
    /// Runs a flat program that needs no preparation for the next values. False if there is none, if a callable fails,
    /// or if a limit ends it.
    bool RunBlock(s_str& error) {
        EngineLimits& limits = m_interpreter.limits;
        const FlatProgram* const flat = m_parts->expression->program->flat.get();
        if (!flat || &flat->GetResultType() != m_results.wordType || !flat->CanRunInBlocks() ||
            !flat->IsReady(m_interpreter.clock))
            return false;
        if (!m_blocks) m_blocks.emplace(*flat, m_variables);
        const std::uint64_t affordable = limits.GetLeft() / flat->GetSteps(true);
        const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(affordable, m_blocks->GetMost()));
        const std::size_t count = std::min(m_results.count - m_next, most);
        const std::uint64_t steps = count * flat->GetSteps(true);
        if (count == 0 || !limits.Spend(steps, error)) return false;
        m_converted.resize(m_values.size());
        std::vector<const void*> columns;
        for (std::size_t i = 0; i < m_values.size(); ++i)
            columns.push_back(ColumnOf(*m_values[i], m_converted[i], count));
        SetVariables(m_next + count - 1);
        if (!m_blocks->Run(columns, m_results.At(m_next), count)) {
            limits.TakeBack(steps);
            return false;
        }
        m_next += count;
        return true;
    }
    void SetVariables(std::size_t index) {
        for (std::size_t i = 0; i < m_values.size(); ++i) m_variables[i]->current = m_values[i]->At(index);
    }
    const void* ColumnOf(const Values& values, std::vector<Word>& converted, std::size_t count) const {
        if (!values.read) return values.AddressOf(m_next);
        converted.resize(count);
        for (std::size_t i = 0; i < count; ++i) converted[i] = values.At(m_next + i);
        return converted.data();
    }

    Interpreter& m_interpreter;
    const s_refptr<FormulaParts> m_parts; // a callable may destroy the formula
    const Results& m_results;
    std::vector<const Values*> m_values;
    std::vector<BoundVariable*> m_variables; ///< with these values
    std::size_t m_next = 0;                  ///< the index of the next result
    std::optional<FlatBlocks> m_blocks;
    std::vector<std::vector<Word>> m_converted; ///< values of a block
    std::optional<Failure> m_failure;
};

std::optional<Failure> Formula::EvaluateEach(std::span<const Values> values, const Results& results) {
    Series series(*this, results);
    for (const Values& variable : values)
        if (std::optional<Failure> failure = series.Add(variable)) return failure;
    if (results.count == 0) return std::nullopt;
    Failure failure;
    const Operand last = Interpreter::Of(*m_state).Answer(m_parts->expression->GetSharedText().view, failure,
                                                          [&](s_str& error) { return series.Evaluate(error); });
    return last ? series.GetFailure() : failure;
}

Result<s_refptr<Symbol>> Formula::Evaluate() { return Value(*this, false).ToResult(); }

Formula::Value::Value(Formula& formula, bool isResolved) {
    Interpreter& interpreter = Interpreter::Of(*formula.m_state);
    const s_refptr<Expression> expression = formula.m_parts->expression; // a callable may destroy the formula
    const s_refptr<Program> program = expression->program;
    if (FlatProgram* const flat = program->flat.get(); isResolved && flat) {
        try {
            if (interpreter.evaluator.RunBriefly(*flat, word)) {
                type = &flat->GetResultType();
                return;
            }
        } catch (const std::bad_alloc&) { // `Answer` tries again, and reports it
        } catch (const std::length_error&) {
        }
    }
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
