#include "quarn/interpreter/engine/executor.h"

#include <new>

#include "quarn/types/reference.h"

namespace Quarn {

namespace {

constexpr std::size_t ManyArguments = 4096; // between two looks at the limits

Outcome FailWithoutOverload(const FunctionOverloads& functions, std::string_view name,
                            std::span<const s_str* const> types, EngineLimits& limits, s_str& error) {
    AppendMessage(error, "\tError : No matching function call to :\n\t\t  ");
    (error += name) += "(";
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (i % ManyArguments == ManyArguments - 1 && limits.MustStop()) return Outcome::Failed;
        (error += i > 0 ? ", " : "") += *types[i];
    }
    if (limits.MustStopBefore(error.View().size())) return Outcome::Failed;
    error += ")\n\t\tPossible candidates :";
    for (const auto& [candidate, function] : functions) ((error += "\n\t\t  ") += name) += candidate;
    return Outcome::Failed;
}

} // namespace

/// Literals, symbols and operators give their value the name that was asked for; functions and constructors do not, so
/// `x = sqrt(4)` shows "2". Pinned by the transcript "statements".
Outcome Executor::Execute(const Step& step) {
    const s_str& name = step.isLast ? m_name : Nameless();
    switch (step.kind) {
    case Step::Kind::Fault: return m_work.FailAt(step.at, step.failure, step.GetText(), m_error);
    case Step::Kind::Flat: break; // see `Accept`
    case Step::Kind::Literal: return Construct(step, name, true);
    case Step::Kind::Construct: return Construct(step, Nameless(), false);
    case Step::Kind::Name: return ReadName(step, name);
    case Step::Kind::Variable: return ReadVariable(*step.variable);
    case Step::Kind::Call: return Call(*step.functions, step.GetText(), step.argumentCount);
    case Step::Kind::LeftUnary: return ApplyUnary(step.op->leftUnary, {}, step.GetText(), name);
    case Step::Kind::RightUnary: return ApplyUnary(step.op->rightUnary, step.GetText(), {}, name);
    case Step::Kind::Index:
    case Step::Kind::Binary: return Dispatch(step, name);
    }
    return Outcome::Failed;
}

void Executor::Expect(std::size_t operands) {
    try {
        m_operands.reserve(m_operands.size() + operands);
    } catch (const std::bad_alloc&) { // there may be fewer
    }
}

Outcome Executor::Apply(const s_str& op) {
    Step step;
    step.kind = Step::Kind::Binary;
    step.SetText(op);
    step.op = m_work.language.GetOperators().Find(op);
    return Accept(step);
}

Outcome Executor::ReadConstant(Step& step, Program& program) {
    if (step.argumentCount > 0) return Push(program.objects[step.argumentCount - 1]);
    if (const Outcome outcome = Execute(step); !outcome) return outcome;
    const Operand& value = TopOperand();
    if (value.GetFlatType()) {
        step.kind = Step::Kind::Flat;
        step.type = value.GetFlatType();
        step.word = value.GetWord();
    } else {
        program.objects.push_back(value.ToObject());
        step.argumentCount = program.objects.size();
    }
    return Outcome::WentOn;
}

/// Replaces the arguments, which are flat, with the result. False if the function has no form for flat values, or
/// fails.
bool Executor::CallFlat(const Function& function, std::size_t argumentCount) {
    constexpr std::size_t Most = 4;
    if (!function.flat || argumentCount > Most) return false;
    std::array<Word, Most> words;
    for (std::size_t i = 0; i < argumentCount; ++i)
        words[i] = m_operands[m_operands.size() - argumentCount + i].GetWord();
    const FlatType& type = *function.flat.result;
    Word result = 0;
    if (!m_work.dispatcher.CallFlat(function, words.data(), result)) return false;
    m_operands.resize(m_operands.size() - argumentCount);
    m_operands.emplace_back(type, result);
    return true;
}

Outcome Executor::ApplyUnary(const UnaryOverloads* overloads, std::string_view before, std::string_view after,
                             const s_str& name) {
    Operand operand = PopOperand();
    Operand result = m_work.dispatcher.ApplyUnary(overloads, operand, before, after, m_error);
    Destroy(std::move(operand));
    return PushNamed(std::move(result), name);
}

Outcome Executor::Dispatch(const Step& step, const s_str& name) {
    Dispatcher& dispatcher = m_work.dispatcher;
    Operand right = PopOperand();
    Operand left = PopOperand();
    Operand result = step.op ? dispatcher.ApplyBinary(*step.op, left, right, m_error)
                             : dispatcher.ApplyBinary(step.GetText(), left, right, m_error);
    Destroy(std::move(left));
    Destroy(std::move(right));
    return PushNamed(std::move(result), name);
}

Outcome Executor::Construct(const Step& step, const s_str& name, bool isLiteral) {
    if (m_work.limits.MustStopBefore(step.GetText().size())) return Outcome::Failed;
    const struct Inner {
        Source& innermost;
        const Source outer;
        Inner(Source& current, Source source) : innermost(current), outer(std::exchange(current, source)) {}
        ~Inner() { innermost = outer; }
    } inner(m_work.source, m_source);
    const Constructor& constructor = *step.constructor;
    if (!step.isConstant)
        if (const Outcome outcome = m_work.dispatcher.BeforeCall(constructor, m_error); !outcome) return outcome;
    s_refptr<Symbol> value = constructor(m_work.state, name, step.GetText(), isLiteral, m_error);
    return Push(Operand::Flattened(std::move(value)));
}

Outcome Executor::ReadVariable(const BoundVariable& variable) {
    m_operands.emplace_back(*variable.type, variable.Read());
    return Outcome::WentOn;
}

Outcome Executor::ReadName(const Step& step, const s_str& name) {
    if (m_source.variables) {
        if (const auto found = m_source.variables->find(step.GetText()); found != m_source.variables->end())
            return ReadVariable(found->second);
    }
    if (name.IsEmpty()) return ReadSymbol(step);
    const Operand* const value = m_work.symbols.Read(step.GetText());
    if (!value) return ReadOtherName(step);
    s_refptr<Symbol> object = value->ToObject();
    if (object->GetType() == Symbol::TypeName) AppendMessage(m_error, "\tWarning : 'Symbol=Symbol' does nothing");
    return Push(Symbol::Named(std::move(object), name));
}

/// Reads a name that is no symbol.
Outcome Executor::ReadOtherName(const Step& step) {
    const std::string_view text = step.GetText();
    if (text == SymbolTable::LastResultName)
        return Fail(m_error, "\tError : Unable to parse expression '_', no operator found");
    if (m_work.limits.MustStopBefore(text.size())) return Outcome::Failed;
    const Registry& registry = m_work.language.GetRegistry();
    if (const FunctionOverloads* functions = m_work.language.FindFunctions(text)) return Call(*functions, text, 0);
    if (const Constructor* constructor = FindIn(registry.constructors, text)) {
        const Outcome outcome = m_work.dispatcher.BeforeCall(*constructor, m_error);
        return outcome ? Push((*constructor)(m_work.state, Nameless(), {}, false, m_error)) : outcome;
    }
    // Only a text that is a single name makes a new symbol, and only if it gets no other name: `a = b` needs a `b`.
    if (m_allowNew && step.isLast && !step.isBracketed && m_name.IsEmpty()) return Push(make_refptr<Symbol>(text));
    return m_work.FailAt(text.data(), FailureKind::UnknownName, "\tError : Unknown symbol '" + s_str(text) + "'",
                         m_error);
}

Outcome Executor::Call(const FunctionOverloads& functions, std::string_view name, std::size_t argumentCount) {
    std::array<const s_str*, 8> few;
    std::vector<const s_str*> many(argumentCount > few.size() ? argumentCount : 0);
    const std::span<const s_str*> types = many.empty() ? std::span(few).first(argumentCount) : std::span(many);
    bool areFlat = true;
    if (const Outcome outcome = ResolveArguments(types, areFlat); !outcome) return outcome;
    const Function* function = functions.Find(types, areFlat);
    if (!function) return FailWithoutOverload(functions, name, types, m_work.limits, m_error);
    if (areFlat && CallFlat(*function, argumentCount)) return Outcome::WentOn;
    return CallWithObjects(*function, argumentCount);
}

/// Follows the references among the arguments, the top operands, and finds their types.
inline Outcome Executor::ResolveArguments(std::span<const s_str*> types, bool& areFlat) {
    const std::size_t first = m_operands.size() - types.size();
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (i % ManyArguments == ManyArguments - 1 && m_work.limits.MustStop()) return Outcome::Failed;
        if (Reference::In(m_operands[first + i])) {
            const Operand reference = m_operands[first + i]; // the stack may move
            Operand value = m_work.dispatcher.Resolve(reference, m_error);
            if (!value) return Push({});
            m_operands[first + i] = std::move(value);
        }
        const Operand& argument = m_operands[first + i];
        if (!argument.GetFlatType()) areFlat = false;
        types[i] = &Reference::TypeOfResolved(argument);
    }
    return Outcome::WentOn;
}

Outcome Executor::CallWithObjects(const Function& function, std::size_t argumentCount) {
    const std::size_t first = m_operands.size() - argumentCount;
    Values arguments;
    for (std::size_t i = first; i < m_operands.size(); ++i) arguments.PushBack(std::move(m_operands[i]).ToObject());
    m_operands.resize(first);
    Values results;
    if (const Outcome outcome = m_work.dispatcher.BeforeCall(function, m_error); !outcome) return outcome;
    if (!function(m_work.state, arguments, results, m_error)) return Push({});
    if (results.Count() != 1)
        return Fail(m_error, "\tError : Multiple return values for function is not yet supported");
    return Push(Operand::Flattened(results[0]));
}

} // namespace Quarn
