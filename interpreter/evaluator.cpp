// Carrying out the steps of expressions: every step takes its operands from the stack and pushes its result, and the
// first one that fails ends it. Only what a step calls evaluates another expression.

#include <algorithm>

#include "interpreter/scanner.h"
#include "interpreter/state.h"
#include "types/reference.h"

namespace Quarn {

namespace {

const s_str Nameless;

/// Drops, at its end, what an evaluation left on the stack of operands.
class OperandScope {
public:
    explicit OperandScope(std::deque<s_refptr<Symbol>>& operands) : m_operands(operands), m_size(operands.size()) {}
    ~OperandScope() {
        while (m_operands.size() > m_size) m_operands.pop_back();
    }
    OperandScope(const OperandScope&) = delete;
    OperandScope& operator=(const OperandScope&) = delete;

private:
    std::deque<s_refptr<Symbol>>& m_operands;
    const std::size_t m_size;
};

/// Names the value. One that others hold too keeps its name; the engine changes only what is its alone.
void Name(s_refptr<Symbol>& value, const s_str& name) {
    if (!value || value->GetName() == name) return;
    if (!value.IsUnique()) value = value->Clone();
    value->SetName(name);
}

s_str SignatureOf(const s_ctnr<s_refptr<Symbol>>& arguments) {
    s_str signature = "(";
    for (const s_refptr<Symbol>& argument : arguments) {
        if (signature.Length().Get() > 1) signature += ", ";
        signature += Reference::TypeOfFollowed(*argument);
    }
    signature += ")";
    return signature;
}

Failure FailWithoutOverload(const FunctionOverloads& functions, std::string_view name, std::string_view signature,
                            s_str& error) {
    s_str message =
        "\tError : No matching function call to :\n\t\t  " + s_str(name) + signature + "\n\t\tPossible candidates :";
    for (const auto& [candidate, function] : functions) message += "\n\t\t  " + s_str(name) + candidate;
    return Fail(error, message);
}

Failure FailUnknown(std::string_view name, s_str& error) {
    return Fail(error, "\tError : Unknown symbol '" + s_str(name) + "'");
}

} // namespace

/// Carries out each step when it is found: a text that is evaluated once needs no program.
class State::Runner final : public StepSink {
public:
    Runner(State& state, const s_str& name, s_str& error, s_bool allowNew)
        : m_state(state), m_name(name), m_error(error), m_allowNew(allowNew) {}

    bool Take(const Step& step) override {
        s_refptr<Symbol> value = m_state.Execute(step, step.isLast ? m_name : Nameless, m_error, m_allowNew);
        if (!value) return false;
        if (step.isLast) m_result = std::move(value);
        else m_state.m_operands.push_back(std::move(value));
        return true;
    }

    /// Null unless the last step was taken and did not fail.
    s_refptr<Symbol> TakeResult() { return std::move(m_result); }

private:
    State& m_state;
    const s_str& m_name;
    s_str& m_error;
    const s_bool m_allowNew;
    s_refptr<Symbol> m_result;
};

/// Keeps the steps for later.
class State::Recorder final : public StepSink {
public:
    explicit Recorder(Program& program) : m_program(program) {}

    bool Take(const Step& step) override {
        m_program.steps.push_back(step);
        m_program.nesting = std::max(m_program.nesting, step.level);
        if (step.kind == Step::Kind::TooDeep) m_program.isClipped = true;
        if (step.kind == Step::Kind::Fault) m_program.steps.back().text = m_program.message = step.text;
        return step.kind != Step::Kind::TooDeep && step.kind != Step::Kind::Fault;
    }

private:
    Program& m_program;
};

s_refptr<Symbol> State::ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew) {
    const Level level(*this);
    if (!level) return AbandonTooDeep(error);
    const OperandScope scope(m_operands);
    BindVocabulary();
    Runner runner(*this, name, error, allowNew);
    Compile(expression, GetRoom(), m_registry, m_vocabulary, m_compilerMemory, runner);
    return runner.TakeResult();
}

/// Runs the program of a reference, which is made when there is none for the registries as they are now, or when the
/// one there is nests more deeply than there is room for here.
s_refptr<Symbol> State::Evaluate(Expression& expression, s_str& error) {
    Program& program = expression.program;
    if (expression.generation != m_generation || program.nesting > GetRoom()) {
        expression.generation = 0;
        program = {};
        BindVocabulary();
        Recorder recorder(program);
        Compile(expression.text, GetRoom(), m_registry, m_vocabulary, m_compilerMemory, recorder);
        if (!program.isClipped) expression.generation = m_generation;
    }
    const OperandScope scope(m_operands);
    for (const Step& step : program.steps) {
        s_refptr<Symbol> value = Execute(step, Nameless, error, false);
        if (!value || step.isLast) return value;
        m_operands.push_back(std::move(value));
    }
    return nullptr;
}

s_refptr<Symbol> State::Execute(const Step& step, const s_str& name, s_str& error, s_bool allowNew) {
    if (!Spend(1, error)) return nullptr;
    s_refptr<Symbol> value;
    switch (step.kind) {
    case Step::Kind::Fault: return Fail(error, step.text);
    case Step::Kind::TooDeep: return AbandonTooDeep(error);
    case Step::Kind::Literal: return (*step.constructor)(*this, name, step.text, true, error);
    case Step::Kind::Construct: return (*step.constructor)(*this, Nameless, step.text, false, error);
    case Step::Kind::Name: return ReadName(step, name, error, allowNew);
    case Step::Kind::Call: return Call(*step.functions, step.text, step.argumentCount, error);
    case Step::Kind::LeftUnary:
        value = DispatchUnary(step.op->leftUnary, m_operands.back(), {}, step.text, error);
        m_operands.pop_back();
        break;
    case Step::Kind::RightUnary:
        value = DispatchUnary(step.op->rightUnary, m_operands.back(), step.text, {}, error);
        m_operands.pop_back();
        break;
    case Step::Kind::Index:
    case Step::Kind::Binary: {
        const s_refptr<Symbol>& left = *(m_operands.end() - 2);
        const s_refptr<Symbol>& right = m_operands.back();
        value =
            step.op ? DispatchBinary(*step.op, left, right, error) : ApplyBinaryOperator(step.text, left, right, error);
        m_operands.pop_back();
        m_operands.pop_back();
        break;
    }
    }
    Name(value, name);
    return value;
}

s_refptr<Symbol> State::ReadName(const Step& step, const s_str& name, s_str& error, s_bool allowNew) {
    const std::string_view text = step.text;
    if (const s_refptr<Symbol>* symbol = m_symbols.Find(text)) {
        s_refptr<Symbol> clone = (*symbol)->Clone();
        clone->SetName(name);
        if (!name.IsEmpty() && clone->GetType() == Symbol::TypeName)
            Fail(error, "\tWarning : 'Symbol=Symbol' does nothing");
        return clone;
    }
    if (text == LastResultName) return Fail(error, "\tError : Unable to parse expression '_', no operator found");
    if (const auto functions = m_registry.functions.find(text); functions != m_registry.functions.end())
        return Call(functions->second, text, 0, error);
    if (const auto constructor = m_registry.constructors.find(text); constructor != m_registry.constructors.end())
        return constructor->second(*this, Nameless, {}, false, error);
    // Only a text that is nothing but a name makes a symbol, and never one that is to be given another: `a = b` needs a
    // `b`.
    if (name.IsEmpty() && allowNew && step.isLast && step.level == 0) return make_refptr<Symbol>(text);
    return FailUnknown(text, error);
}

s_refptr<Symbol> State::Call(const FunctionOverloads& functions, std::string_view name, std::size_t argumentCount,
                             s_str& error) {
    s_ctnr_t<s_refptr<Symbol>, std::vector<s_refptr<Symbol>>> arguments;
    const auto first = m_operands.end() - static_cast<std::ptrdiff_t>(argumentCount);
    for (auto operand = first; operand != m_operands.end(); ++operand) arguments.PushBack(std::move(*operand));
    m_operands.erase(first, m_operands.end());
    for (s_refptr<Symbol>& argument : arguments) {
        argument = Follow(argument, error);
        if (!argument) return nullptr;
    }
    const s_str signature = SignatureOf(arguments);
    const auto function = functions.find(signature);
    if (function == functions.end()) return FailWithoutOverload(functions, name, signature, error);
    s_ctnr_t<s_refptr<Symbol>, std::vector<s_refptr<Symbol>>> results;
    if (!function->second(*this, arguments, results, error)) return nullptr;
    if (results.Count() != 1) return Fail(error, "\tError : Multiple return values for function is not yet supported");
    return std::move(results[0]);
}

unsigned State::GetRoom() const {
    const unsigned deepest = OutermostDepth + DeepestNesting;
    return m_depth < deepest ? deepest - m_depth : 0;
}

s_bool State::HasRoomFor(std::string_view text) const { return NestingOf(text) < GetRoom(); }

s_bool State::Spend(std::uint64_t steps, s_str& error) {
    if (m_stepsLeft == Unlimited) return true;
    if (steps <= m_stepsLeft) {
        m_stepsLeft -= steps;
        return true;
    }
    m_stepsLeft = 0;
    m_isOutOfSteps = true;
    return Abandon(error, OutOfStepsMessage);
}

Failure State::Abandon(s_str& error, std::string_view message) {
    m_isAbandoned = true;
    return Fail(error, message);
}

Failure State::AbandonCircle(const Expression& expression, s_str& error) {
    return Abandon(error, "\tError : Circular reference in expression '" + expression.text + "'");
}

Failure State::AbandonTooDeep(s_str& error) {
    return Abandon(error, "\tError : Nested more than " + s_str(s_uint(DeepestNesting)) + " levels deep");
}

} // namespace Quarn
