// Running compiled expressions: every step takes its operands from the stack and pushes its result. The first step that
// fails ends the run. Only what a step calls may run another expression.

#include "interpreter/scanner.h"
#include "interpreter/state.h"
#include "types/reference.h"

namespace Quarn {

namespace {

const s_str Nameless;

/// Drops, at its end, what an evaluation left on the stack of operands.
class OperandScope {
public:
    explicit OperandScope(std::vector<s_refptr<Symbol>>& operands) : m_operands(operands), m_size(operands.size()) {}
    ~OperandScope() { m_operands.resize(m_size); }
    OperandScope(const OperandScope&) = delete;
    OperandScope& operator=(const OperandScope&) = delete;

private:
    std::vector<s_refptr<Symbol>>& m_operands;
    const std::size_t m_size;
};

/// The value under that name. A value that others hold too keeps its own; the engine names only what is its alone.
s_refptr<Symbol> Named(s_refptr<Symbol> value, const s_str& name) {
    if (!value || value->GetName() == name) return value;
    if (!value.IsUnique()) value = value->Clone();
    value->SetName(name);
    return value;
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

s_refptr<Symbol> State::ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew) {
    const Level level(*this);
    if (!level) return AbandonTooDeep(error);

    // Programs are used like a stack; a free one keeps its memory for the next text.
    if (m_openPrograms == m_programs.size()) m_programs.emplace_back();
    struct Open {
        explicit Open(State& owner) : state(owner), program(owner.m_programs[owner.m_openPrograms++]) {}
        ~Open() {
            program.Clear();
            --state.m_openPrograms;
        }
        State& state;
        Program& program;
    } open(*this);

    BindOperators();
    Compile(expression, GetRoom(), m_registry, m_operators, m_compilerMemory, open.program);
    return Run(open.program, name, error, allowNew);
}

s_refptr<Symbol> State::Evaluate(Expression& expression, s_str& error) {
    Program& program = expression.program;
    if (expression.generation != m_generation || program.nesting > GetRoom()) {
        expression.generation = 0;
        program.Clear();
        BindOperators();
        Compile(expression.text, GetRoom(), m_registry, m_operators, m_compilerMemory, program);
        if (!program.isClipped) expression.generation = m_generation;
    }
    return Run(program, Nameless, error, false);
}

s_refptr<Symbol> State::Run(const Program& program, const s_str& name, s_str& error, s_bool allowNew) {
    const OperandScope scope(m_operands);
    const Step* const last = &program.steps.back();
    for (const Step& step : program.steps) {
        s_refptr<Symbol> value = Execute(step, &step == last ? name : Nameless, error, allowNew);
        if (!value) return nullptr;
        m_operands.push_back(std::move(value));
    }
    return PopOperand();
}

s_refptr<Symbol> State::Execute(const Step& step, const s_str& name, s_str& error, s_bool allowNew) {
    if (!Spend(1, error)) return nullptr;
    switch (step.kind) {
    case Step::Kind::Fault: return Fail(error, step.text);
    case Step::Kind::TooDeep: return AbandonTooDeep(error);
    case Step::Kind::Literal: return (*step.constructor)(*this, name, step.text, true, error);
    case Step::Kind::Construct: return (*step.constructor)(*this, Nameless, step.text, false, error);
    case Step::Kind::Name: return ReadName(step, name, error, allowNew);
    case Step::Kind::Call: return Call(*step.functions, step.text, step.argumentCount, error);
    case Step::Kind::LeftUnary:
        return Named(DispatchUnary(step.op->leftUnary, PopOperand(), {}, step.text, error), name);
    case Step::Kind::RightUnary:
        return Named(DispatchUnary(step.op->rightUnary, PopOperand(), step.text, {}, error), name);
    case Step::Kind::Index:
    case Step::Kind::Binary: break;
    }
    s_refptr<Symbol> right = PopOperand();
    s_refptr<Symbol> left = PopOperand();
    const BinaryOverloads* const overloads = step.op ? step.op->binary : nullptr;
    return Named(DispatchBinary(step.text, overloads, std::move(left), std::move(right), error), name);
}

s_refptr<Symbol> State::ReadName(const Step& step, const s_str& name, s_str& error, s_bool allowNew) {
    const std::string_view text = step.text;
    if (const auto symbol = m_symbols.find(text); symbol != m_symbols.end()) {
        s_refptr<Symbol> clone = symbol->second->Clone();
        clone->SetName(name);
        if (!name.IsEmpty() && clone->GetType() == Symbol::TypeName)
            Fail(error, "\tWarning : 'Symbol=Symbol' does nothing");
        return clone;
    }
    if (text == "_") return Fail(error, "\tError : Unable to parse expression '_', no operator found");
    if (const auto functions = m_registry.functions.find(text); functions != m_registry.functions.end())
        return Call(functions->second, text, 0, error);
    if (const auto constructor = m_registry.constructors.find(text); constructor != m_registry.constructors.end())
        return constructor->second(*this, Nameless, {}, false, error);
    // A text that is to be given a name never makes a symbol of itself: `a = b` needs a `b`.
    if (name.IsEmpty() && allowNew && step.isWholeText) return make_refptr<Symbol>(text);
    return FailUnknown(text, error);
}

s_refptr<Symbol> State::Call(const FunctionOverloads& functions, std::string_view name, std::size_t argumentCount,
                             s_str& error) {
    s_ctnr_t<s_refptr<Symbol>> arguments;
    const auto first = m_operands.end() - static_cast<std::ptrdiff_t>(argumentCount);
    for (auto operand = first; operand != m_operands.end(); ++operand) arguments.PushBack(std::move(*operand));
    m_operands.erase(first, m_operands.end());
    for (s_refptr<Symbol>& argument : arguments) {
        argument = Follow(std::move(argument), error);
        if (!argument) return nullptr;
    }
    const s_str signature = SignatureOf(arguments);
    const auto function = functions.find(signature);
    if (function == functions.end()) return FailWithoutOverload(functions, name, signature, error);
    s_ctnr_t<s_refptr<Symbol>> results;
    if (!function->second(*this, arguments, results, error)) return nullptr;
    if (results.Count() != 1) return Fail(error, "\tError : Multiple return values for function is not yet supported");
    return std::move(results[0]);
}

s_refptr<Symbol> State::PopOperand() {
    s_refptr<Symbol> operand = std::move(m_operands.back());
    m_operands.pop_back();
    return operand;
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
