#include "quarn/interpreter/engine/flat_program.h"

#include <algorithm>
#include <cassert>

#include "quarn/interpreter/engine/expression.h"
#include "quarn/interpreter/engine/symbol_table.h"
#include "quarn/types/reference.h"

namespace Quarn {

/// The translation of a program, step by step.
class FlatProgram::Translation {
public:
    Translation(FlatProgram& target, const Program& source, State& state, SymbolTable& symbols,
                const Language& language, std::uint64_t names)
        : m_target(target), m_source(source), m_state(state), m_symbols(symbols), m_language(language), m_names(names) {
    }

    bool Succeeds() {
        if (m_source.steps.size() > MostSteps) return false;
        for (const Step& step : m_source.steps)
            if (!Take(step)) return false;
        m_target.m_result = m_types.back();
        // A formula that is nothing but a reference gives the reference.
        const auto& steps = m_target.m_steps;
        return !(m_source.variables && steps.size() == 1 && steps.front().kind == Instruction::Kind::Reference);
    }

private:
    using Kind = Instruction::Kind;

    bool Take(const Step& step) {
        switch (step.kind) {
        case Step::Kind::Flat: return Push({Kind::Value, 0, {.value = step.word}}, step.type);
        case Step::Kind::Variable: return Push({Kind::Variable, 0, {.variable = step.variable}}, step.variable->type);
        case Step::Kind::Name: return TakeName(step.text);
        case Step::Kind::LeftUnary: return CallUnary(step.op->leftUnary);
        case Step::Kind::RightUnary: return CallUnary(step.op->rightUnary);
        case Step::Kind::Index:
        case Step::Kind::Binary: return CallBinary(step.op);
        case Step::Kind::Call: return CallFunction(*step.functions, step.argumentCount);
        default: return false;
        }
    }

    bool TakeName(std::string_view name) {
        if (name == SymbolTable::LastResultName) return false; // its changes do not count
        const Operand* const symbol = m_symbols.Read(name);
        if (!symbol) {
            const FunctionOverloads* const functions = m_language.FindFunctions(name);
            return functions && CallFunction(*functions, 0);
        }
        if (const FlatType* const type = symbol->GetFlatType())
            return Push({Kind::Value, 0, {.value = symbol->GetWord()}}, type);
        const Reference* const reference = Reference::In(*symbol);
        return reference && TakeReference(*reference);
    }
    bool TakeReference(const Reference& reference) {
        Expression& expression = *reference.GetExpression();
        const Program* const program = expression.program.Get();
        if (&reference.GetState() != &m_state || !program || program->variables || !program->flat.HoldsFor(m_names))
            return false;
        m_target.m_depth = std::max(m_target.m_depth, program->flat.m_depth + 1);
        m_target.m_expressions.push_back(reference.GetExpression());
        return Push({Kind::Reference, 0, {.expression = &expression}}, program->flat.m_result);
    }

    bool CallUnary(const UnaryOverloads* overloads) {
        const UnaryOperator* const callable = overloads ? FindIn(*overloads, *TypeAt(1).name) : nullptr;
        return callable && Call(*callable, 1);
    }
    bool CallBinary(const Operator* op) {
        const BinaryOperator* const callable = op ? op->FindBinary(TypeAt(2), TypeAt(1)) : nullptr;
        return callable && Call(*callable, 2);
    }
    bool CallFunction(const FunctionOverloads& functions, std::size_t argumentCount) {
        std::vector<const s_str*> names;
        for (std::size_t i = argumentCount; i > 0; --i) names.push_back(TypeAt(i).name);
        const Function* const callable = functions.Find(names, true);
        return callable && Call(*callable, static_cast<unsigned>(argumentCount));
    }
    template <class Callable> bool Call(const Callable& callable, unsigned operandCount) {
        if (!callable.flat || !callable.isPure) return false; // an impure one might change a symbol
        m_types.resize(m_types.size() - operandCount);
        const FlatCallable& flat = callable.flat;
        if (flat.context) m_target.m_contexts.push_back(flat.context);
        return Push({Kind::Call, operandCount, {.call = flat.function}, flat.context.Get()}, flat.result);
    }

    bool Push(const Instruction& instruction, const FlatType* type) {
        m_target.m_steps.push_back(instruction);
        m_types.push_back(type);
        return m_types.size() <= MostOperands;
    }
    const FlatType& TypeAt(std::size_t fromTop) const { return *m_types[m_types.size() - fromTop]; }

    FlatProgram& m_target;
    const Program& m_source;
    State& m_state;
    SymbolTable& m_symbols;
    const Language& m_language;
    const std::uint64_t m_names;
    std::vector<const FlatType*> m_types; ///< of the operands on the stack
};

void FlatProgram::Translate(const Program& program, State& state, SymbolTable& symbols, const Language& language,
                            std::uint64_t names) {
    if (m_runs > 0) return;
    m_steps.clear();
    m_expressions.clear();
    m_contexts.clear();
    m_depth = 0;
    m_names = Translation(*this, program, state, symbols, language, names).Succeeds() ? names : 0;
}

Outcome FlatProgram::Run(EngineLimits& limits, std::uint64_t moment, Word& result, s_str& error) const {
    if (const Outcome outcome = limits.Spend(m_steps.size(), error); !outcome) return outcome;
    const struct Running {
        unsigned& runs;
        explicit Running(unsigned& counted) : runs(counted) { ++runs; }
        ~Running() { --runs; }
    } running(m_runs);
    std::array<Word, MostOperands> operands;
    Word* end = operands.data();
    for (const Instruction& step : m_steps) {
        switch (step.kind) {
        case Instruction::Kind::Value: *end++ = step.value; break;
        case Instruction::Kind::Variable: *end++ = step.variable->read(step.variable->address); break;
        case Instruction::Kind::Reference:
            if (const Memo& memo = step.expression->memo; memo.HoldsFor(moment)) *end = memo.GetWord();
            else if (const Outcome outcome = Follow(*step.expression, limits, moment, *end, error); !outcome)
                return outcome;
            ++end;
            break;
        case Instruction::Kind::Call:
            end -= step.operandCount;
            *end = step.call(step.context, end);
            ++end;
            break;
        }
    }
    result = operands.front();
    return Outcome::WentOn;
}

/// Runs the program of a reference, and remembers its result unless a callable in it did more than it shows.
inline Outcome FlatProgram::Follow(Expression& expression, EngineLimits& limits, std::uint64_t moment, Word& result,
                                   s_str& error) const {
    const s_refptr<Program> program = expression.program; // a callable may have it parsed anew
    const FlatProgram& flat = program->flat;
    if (!flat.HoldsFor(m_names)) return Outcome::Failed;
    const std::uint64_t entered = limits.GetClock().entered;
    if (const Outcome outcome = flat.Run(limits, moment, result, error); !outcome) return outcome;
    if (limits.GetClock().entered == entered) expression.memo.Remember(moment, *flat.m_result, result, flat.m_depth);
    return Outcome::WentOn;
}

} // namespace Quarn
