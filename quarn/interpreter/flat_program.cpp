#include "quarn/interpreter/flat_program.h"

#include <algorithm>
#include <cassert>

#include "quarn/interpreter/expression.h"
#include "quarn/interpreter/limits.h"
#include "quarn/interpreter/symbol_table.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

using FlatTypes = std::vector<const FlatType*>;

/// Passes the callable that the step applies to operands of the types, and their number, to `take`. False if there is
/// none.
template <class Take> bool WithCallable(const Step& step, const FlatTypes& types, const Take& take) {
    const auto typeAt = [&](std::size_t fromTop) -> const FlatType& { return *types[types.size() - fromTop]; };
    const auto unary = [&](const UnaryOverloads* overloads) {
        const UnaryOperator* const callable = overloads ? FindIn(*overloads, *typeAt(1).name) : nullptr;
        return callable && take(*callable, 1u);
    };
    switch (step.kind) {
    case Step::Kind::LeftUnary: return unary(step.op->leftUnary);
    case Step::Kind::RightUnary: return unary(step.op->rightUnary);
    case Step::Kind::Index:
    case Step::Kind::Binary: {
        const BinaryOperator* const callable = step.op ? step.op->FindBinary(typeAt(2), typeAt(1)) : nullptr;
        return callable && take(*callable, 2u);
    }
    case Step::Kind::Call: {
        std::vector<const s_str*> names;
        for (std::size_t i = step.argumentCount; i > 0; --i) names.push_back(typeAt(i).name);
        const Function* const callable = step.functions->Find(names, true);
        return callable && take(*callable, static_cast<unsigned>(step.argumentCount));
    }
    default: return false;
    }
}

} // namespace

void FlatProgram::Translate(const Program& program, State& state, SymbolTable& symbols, const Language& language,
                            std::uint64_t bindings) {
    if (m_runs > 0) return;
    m_bindings = TranslateSteps(program, state, symbols, language, bindings) ? bindings : 0;
}

bool FlatProgram::TranslateSteps(const Program& program, State& state, SymbolTable& symbols, const Language& language,
                                 std::uint64_t bindings) {
    m_steps.clear();
    m_expressions.clear();
    m_contexts.clear();
    if (program.steps.size() > MostSteps) return false;
    m_depth = 0;
    FlatTypes types; // of the operands on the stack
    const auto push = [&](const Step& step, const FlatType* type) {
        m_steps.push_back(step);
        types.push_back(type);
        return types.size() <= MostOperands;
    };
    const auto call = [&](const auto& callable, unsigned operandCount) {
        if (!callable.flat || !callable.isPure) return false; // an impure one might change a symbol
        types.resize(types.size() - operandCount);
        const FlatCallable& flat = callable.flat;
        if (flat.context) m_contexts.push_back(flat.context);
        return push({Step::Kind::Call, operandCount, {.call = flat.function}, flat.context.Get()}, flat.result);
    };
    const auto reference = [&](const Reference& value) {
        Expression& expression = *value.GetExpression();
        const bool isFlat = &value.GetState() == &state && expression.program &&
                            expression.program->flat.HoldsFor(bindings) && !expression.program->variables;
        if (!isFlat) return false;
        const FlatProgram& flat = expression.program->flat;
        m_depth = std::max(m_depth, flat.m_depth + 1);
        m_expressions.push_back(value.GetExpression());
        return push({Step::Kind::Reference, 0, {.expression = &expression}}, flat.m_result);
    };
    const auto name = [&](std::string_view text) {
        if (text == SymbolTable::LastResultName) return false; // its changes do not count
        if (const Operand* const symbol = symbols.Read(text)) {
            const Reference* const value = Reference::In(*symbol);
            return value && reference(*value);
        }
        const FunctionOverloads* const functions = language.FindFunctions(text);
        const Function* const callable = functions ? functions->Find({}, true) : nullptr;
        return callable && call(*callable, 0);
    };
    const auto translate = [&](const Quarn::Step& step, bool isKnown) {
        if (isKnown) return push({Step::Kind::Value, 0, {.value = step.word}}, step.type);
        switch (step.kind) {
        case Quarn::Step::Kind::Variable:
            return push({Step::Kind::Variable, 0, {.variable = step.variable}}, step.variable->type);
        case Quarn::Step::Kind::Name: return name(step.text);
        default: return WithCallable(step, types, call);
        }
    };
    for (const auto& [step, stepBindings] : program.steps) {
        const bool isName = step.kind == Quarn::Step::Kind::Name;
        if (!translate(step, step.kind == Quarn::Step::Kind::Flat || (isName && stepBindings == bindings)))
            return false;
    }
    m_result = types.back();
    // A formula that is nothing but a reference gives the reference.
    return !(program.variables && m_steps.size() == 1 && m_steps.front().kind == Step::Kind::Reference);
}

Outcome FlatProgram::Run(Limits& limits, std::uint64_t moment, Word& result, s_str& error) const {
    if (const Outcome outcome = limits.Spend(m_steps.size(), error); !outcome) return outcome;
    const struct Running {
        unsigned& runs;
        explicit Running(unsigned& counted) : runs(counted) { ++runs; }
        ~Running() { --runs; }
    } running(m_runs);
    std::array<Word, MostOperands> operands;
    Word* end = operands.data();
    for (const Step& step : m_steps) {
        switch (step.kind) {
        case Step::Kind::Value: *end++ = step.value; break;
        case Step::Kind::Variable: *end++ = step.variable->read(step.variable->address); break;
        case Step::Kind::Reference: {
            Expression::Known& known = step.expression->known;
            // A failure never has this moment: its count leaves out the statements, of which there is at least one.
            if (known.moment != moment) {
                const s_refptr<Program> program = step.expression->program; // a callable may have it parsed anew
                const FlatProgram& flat = program->flat;
                if (!flat.HoldsFor(m_bindings)) return Outcome::Failed;
                const std::uint64_t entered = limits.GetEntered();
                if (const Outcome outcome = flat.Run(limits, moment, *end, error); !outcome) return outcome;
                if (limits.GetEntered() == entered) known = {moment, flat.m_result, *end, flat.m_depth};
            } else {
                *end = known.word;
            }
            ++end;
            break;
        }
        case Step::Kind::Call:
            end -= step.operandCount;
            *end = step.call(step.context, end);
            ++end;
            break;
        }
    }
    result = operands.front();
    return Outcome::WentOn;
}

} // namespace Quarn
