#include "quarn/interpreter/flat_program.h"

#include "quarn/interpreter/expression.h"

namespace Quarn {

namespace {

using FlatTypes = std::vector<const FlatType*>;

/// Passes the callable that the step applies to operands of the types, and their number, to `take`. False if there is
/// none.
template <class Take> bool WithCallable(const Step& step, const FlatTypes& types, const Take& take) {
    const auto typeAt = [&](std::size_t fromTop) -> const s_str& { return *types[types.size() - fromTop]->name; };
    const auto unary = [&](const UnaryOverloads* overloads) {
        const UnaryOperator* const callable = overloads ? FindIn(*overloads, typeAt(1)) : nullptr;
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
        s_str signature = "(";
        for (std::size_t i = step.argumentCount; i > 0; --i) (signature += typeAt(i)) += i > 1 ? ", " : "";
        const Function* const callable = FindIn(*step.functions, signature + ")");
        return callable && take(*callable, step.argumentCount);
    }
    default: return false;
    }
}

} // namespace

bool FlatProgram::Translate(const Program& program) {
    m_steps.clear();
    FlatTypes types; // of the operands on the stack
    for (const auto& [step, value, changes] : program.steps) {
        const bool isVariable = step.kind == Quarn::Step::Kind::Variable;
        if (isVariable || value.GetFlatType()) {
            m_steps.push_back({nullptr, 0, isVariable ? step.variable : nullptr, value.GetWord()});
            types.push_back(isVariable ? step.variable->type : value.GetFlatType());
            if (types.size() > MostOperands) return false;
            continue;
        }
        const bool isFlat = WithCallable(step, types, [&](const auto& callable, unsigned operandCount) {
            if (!callable.flat || !callable.isPure) return false; // an impure one might change a symbol
            m_steps.push_back({callable.flat.call, operandCount, nullptr, 0});
            types.resize(types.size() - operandCount);
            types.push_back(callable.flat.result);
            return true;
        });
        if (!isFlat) return false;
    }
    m_result = types.back();
    return true;
}

Word FlatProgram::Run() const {
    std::array<Word, MostOperands> operands;
    Word* end = operands.data();
    for (const Step& step : m_steps) {
        if (step.call) {
            end -= step.operandCount;
            *end = step.call(end);
        } else {
            *end = step.variable ? step.variable->read(step.variable->address) : step.value;
        }
        ++end;
    }
    return operands.front();
}

} // namespace Quarn
