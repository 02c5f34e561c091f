#include "quarn/interpreter/engine/flat_program.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "quarn/core/ranges.h"
#include "quarn/interpreter/engine/executor.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

// The ends of chains.

bool End(const FlatStep*, Passed, Word&) { return true; }

bool GiveLast(const FlatStep*, Passed last, Word& value) {
    value = ToWord(last);
    return true;
}

bool GiveStored(const FlatStep* step, Passed, Word& value) {
    value = ReadAt<Word>(step->operands[0]);
    return true;
}

bool ReadVariable(const FlatStep* step, Passed, Word& value) {
    step->result = static_cast<const BoundVariable*>(step->operands[0])->Read();
    return step[1].run(step + 1, FromWord<Passed>(step->result), value);
}

/// Grows when a callable looks at the state, or changes it.
std::uint64_t CountLooks(const Clock& clock) { return clock.entered + clock.deeds + clock.Names(); }

} // namespace

/// The translation of a program, step by step.
class FlatProgram::Translation {
public:
    Translation(FlatProgram& target, const Program& source, Workspace& work)
        : m_target(target), m_source(source), m_work(work) {
        const std::size_t most = source.steps.size() + source.steps.size() / LongestChain + 2;
        m_words.reserve(most); // they must not move
        m_settled.reserve(most);
        m_varying.reserve(most);
    }

    bool Succeeds() {
        for (const Step& step : m_source.steps)
            if (!Take(step)) return false;
        // A formula that is nothing but a reference gives the reference.
        const auto& inputs = m_target.m_inputs;
        if (m_source.variables && m_source.steps.size() == 1 && !inputs.empty() && inputs.front().expression)
            return false;
        Finish();
        return true;
    }

private:
    enum class Lifetime { Constant, Settled, Varying };
    struct Value {
        const FlatType* type;
        Lifetime lifetime;
        const void* address;
    };

    bool Take(const Step& step) {
        switch (step.kind) {
        case Step::Kind::Flat: return Push({step.type, Lifetime::Constant, NewWord(step.word)});
        case Step::Kind::Variable: return TakeVariable(*step.variable);
        case Step::Kind::Name: return TakeName(step.GetText());
        case Step::Kind::LeftUnary: return CallUnary(step.op->leftUnary);
        case Step::Kind::RightUnary: return CallUnary(step.op->rightUnary);
        case Step::Kind::Index:
        case Step::Kind::Binary: return CallBinary(step.op);
        case Step::Kind::Call: return CallFunction(*step.functions, step.argumentCount);
        default: return false;
        }
    }

    bool TakeVariable(const BoundVariable& variable) {
        if (!variable.read) return Push({variable.type, Lifetime::Varying, variable.address});
        const auto [known, isNew] = m_variables.try_emplace(&variable, nullptr);
        if (isNew) known->second = &Add(m_varying, {ReadVariable, {&variable}}).result;
        return Push({variable.type, Lifetime::Varying, known->second});
    }

    bool TakeName(std::string_view name) {
        if (name == SymbolTable::LastResultName) return false; // it changes with every statement
        const auto known = m_names.find(name);
        if (known != m_names.end()) return Push(known->second);
        const s_refptr<Symbol>* const symbol = m_work.symbols.Find(name);
        Input input{name, symbol, nullptr, nullptr, nullptr};
        if (!symbol) {
            const FunctionOverloads* const functions = m_work.language.FindFunctions(name);
            if (m_functions.insert(name).second) m_target.m_inputs.push_back(input);
            return functions && CallFunction(*functions, 0);
        }
        if (const Reference* const reference = As<Reference>(**symbol)) input.expression = reference->GetExpression();
        input.type = TypeOf(**symbol);
        if (!input.type) return false;
        input.value = NewWord(0);
        m_target.m_settledIsIsolated &= !input.expression;
        m_target.m_inputs.push_back(input);
        const Value value{input.type, Lifetime::Settled, input.value};
        m_names.emplace(name, value);
        return Push(value);
    }
    /// The type of a symbol's value, or of a reference's; null if that is not flat.
    const FlatType* TypeOf(const Symbol& symbol) {
        Word word = 0;
        const Reference* const reference = As<Reference>(symbol);
        if (!reference) return symbol.GetFlat(word);
        if (&reference->GetState() != &m_work.state || reference->GetExpression()->GetOperation()) return nullptr;
        const Program* const program = reference->GetExpression()->program.Get();
        if (!program || !program->flat || !program->flat->Holds(m_work)) {
            m_target.m_isWaiting = !program || program->notFlat != m_work.limits.GetClock().Meanings();
            return nullptr;
        }
        m_target.m_depth = std::max(m_target.m_depth, program->flat->m_depth + 1);
        return program->flat->m_result;
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
        return callable && Call(*callable, argumentCount);
    }
    template <class Callable> bool Call(const Callable& callable, std::size_t operandCount) {
        // An impure one might change a symbol.
        return callable.flat && callable.isPure && callable.flat.forms->operandCount == operandCount &&
               CallFlat(callable.flat);
    }

    bool CallFlat(const FlatCallable& callable) {
        const std::size_t count = callable.forms->operandCount;
        if (count == 2 && callable.withRight && m_stack.back().lifetime == Lifetime::Constant) {
            if (const FlatCallable faster = callable.withRight(WordOf(m_stack.back())); faster) {
                m_stack.pop_back();
                return CallFlat(faster);
            }
        }
        const std::vector<Value> operands(m_stack.end() - static_cast<std::ptrdiff_t>(count), m_stack.end());
        m_stack.resize(m_stack.size() - count);
        Lifetime lifetime = Lifetime::Constant;
        for (const Value& operand : operands) lifetime = std::max(lifetime, operand.lifetime);
        if (lifetime == Lifetime::Constant && callable.isIsolated) return Fold(callable, operands);
        lifetime = std::max(lifetime, Lifetime::Settled);
        (lifetime == Lifetime::Settled ? m_target.m_settledIsIsolated : m_target.m_varyingIsIsolated) &=
            callable.isIsolated;
        const FlatStep& step = AddCall(lifetime == Lifetime::Settled ? m_settled : m_varying, callable, operands);
        return Push({callable.result, lifetime, &step.result});
    }
    bool Fold(const FlatCallable& callable, const std::vector<Value>& operands) {
        std::vector<Word> words;
        words.reserve(operands.size());
        for (const Value& operand : operands) words.push_back(WordOf(operand));
        Word result = 0;
        return callable(words.data(), result) && Push({callable.result, Lifetime::Constant, NewWord(result)});
    }
    const FlatStep& AddCall(Steps& steps, const FlatCallable& callable, const std::vector<Value>& operands) {
        const FlatForms& forms = *callable.forms;
        FlatStep step{forms.run};
        if (forms.hasList) {
            std::vector<const void*>& list = m_target.m_lists.emplace_back();
            list.reserve(operands.size());
            for (const Value& operand : operands) list.push_back(operand.address);
            step.operands = {list.data(), callable.context.Get()};
            if (callable.context) m_target.m_contexts.push_back(callable.context);
        } else {
            for (std::size_t i = 0; i < operands.size(); ++i) step.operands[i] = operands[i].address;
            if (IsLast(steps, step.operands[0])) step.run = forms.runWithLeft;
            else if (IsLast(steps, step.operands[1])) step.run = forms.runWithRight;
        }
        const FlatStep& added = Add(steps, step);
        if (m_source.isForMany && &steps == &m_varying) {
            m_target.m_forms.resize(steps.size());
            m_target.m_forms.back() = &forms;
        }
        return added;
    }
    /// Whether the value at the address will be handed to the next step.
    static bool IsLast(const Steps& steps, const void* address) {
        const bool begins = steps.size() % (LongestChain + 1) % LongestChain == 0;
        return !begins && address == &steps.back().result;
    }
    static const FlatStep& Add(Steps& steps, const FlatStep& step) {
        if (steps.size() % (LongestChain + 1) == LongestChain) steps.push_back({End});
        return steps.emplace_back(step);
    }

    bool Push(const Value& value) {
        m_stack.push_back(value);
        return true;
    }
    Word* NewWord(Word word) { return &m_words.emplace_back(word); }
    static Word WordOf(const Value& value) { return ReadAt<Word>(value.address); }
    const FlatType& TypeAt(std::size_t fromTop) const { return *m_stack[m_stack.size() - fromTop].type; }

    /// Moves everything to where it takes no more memory than it needs.
    void Finish() {
        const void* const result = m_stack.back().address;
        m_varying.push_back({IsLast(m_varying, result) ? GiveLast : GiveStored, {result}});
        if (m_source.isForMany) m_target.m_forms.resize(m_varying.size());
        if (!m_settled.empty()) m_settled.push_back({End});
        m_target.m_words = m_words;
        m_target.m_settled = m_settled;
        m_target.m_varying = m_varying;
        for (Steps* const steps : {&m_target.m_settled, &m_target.m_varying})
            for (FlatStep& step : *steps)
                for (const void*& operand : step.operands) operand = Moved(operand);
        for (std::vector<const void*>& list : m_target.m_lists)
            for (const void*& operand : list) operand = Moved(operand);
        for (Input& input : m_target.m_inputs)
            if (input.value) input.value += m_target.m_words.data() - m_words.data();
        m_target.m_inputs.shrink_to_fit();
        m_target.m_rerunSteps = std::max<std::size_t>(Count(m_varying), 1);
        const auto isRead = [](const Input& input) { return input.symbol != nullptr; };
        const auto reads =
            static_cast<std::size_t>(std::count_if(m_target.m_inputs.begin(), m_target.m_inputs.end(), isRead));
        m_target.m_allSteps = std::max<std::size_t>(reads + Count(m_settled) + Count(m_varying), 1);
        m_target.m_result = m_stack.back().type;
    }
    const void* Moved(const void* address) const {
        const void* moved = address;
        const auto move = [&](const auto& from, const auto& to) {
            const auto* const begin = reinterpret_cast<const char*>(from.data());
            const auto* const at = static_cast<const char*>(address);
            const std::less<const char*> isBefore;
            if (isBefore(at, begin) || !isBefore(at, reinterpret_cast<const char*>(from.data() + from.size()))) return;
            moved = reinterpret_cast<const char*>(to.data()) + (at - begin);
        };
        move(m_words, m_target.m_words);
        move(m_settled, m_target.m_settled);
        move(m_varying, m_target.m_varying);
        return moved;
    }

    FlatProgram& m_target;
    const Program& m_source;
    Workspace& m_work;
    std::vector<Value> m_stack;                              ///< the operands
    std::map<std::string_view, Value> m_names;               ///< of symbols
    std::set<std::string_view> m_functions;                  ///< that are called without brackets
    std::map<const BoundVariable*, const void*> m_variables; ///< that are converted
    std::vector<Word> m_words;
    Steps m_settled;
    Steps m_varying;
};

FlatProgram::FlatProgram(const Program& source, Workspace& work) {
    const Clock& clock = work.limits.GetClock();
    if (!Translation(*this, source, work).Succeeds()) return;
    m_language = clock.language;
    m_meanings = clock.Meanings();
}

bool FlatProgram::Holds(Workspace& work) {
    const Clock& clock = work.limits.GetClock();
    if (m_language != clock.language) return false;
    if (m_meanings == clock.Meanings()) return true;
    const bool holds = AllOf(m_inputs, [&](const Input& input) { return StandsForTheSame(input, m_depth, work); });
    if (holds) m_meanings = clock.Meanings();
    else Invalidate();
    return holds;
}

bool FlatProgram::StandsForTheSame(const Input& input, unsigned depth, Workspace& work) {
    const s_refptr<Symbol>* const symbol = work.symbols.Find(input.name);
    if (symbol != input.symbol) return false;
    if (!symbol) return true;
    const Reference* const reference = As<Reference>(**symbol);
    if (!reference) {
        Word word = 0;
        return !input.expression && (*symbol)->GetFlat(word) == input.type;
    }
    if (reference->GetExpression() != input.expression) return false;
    const Program* const program = input.expression->program.Get();
    // It may have been translated again.
    return program && program->flat && program->flat->Holds(work) && program->flat->m_result == input.type &&
           program->flat->m_depth < depth;
}

bool FlatProgram::RunSteps(const Steps& steps, Word& result, EngineLimits* limits) {
    constexpr std::size_t ChainsBetweenLooks = 32;
    std::size_t chains = 0;
    for (std::size_t i = 0; i < steps.size(); i += LongestChain + 1) {
        if (limits && chains++ % ChainsBetweenLooks == ChainsBetweenLooks - 1 && limits->MustStop()) return false;
        if (!steps[i].run(&steps[i], Passed(), result)) return false;
    }
    return true;
}

bool FlatProgram::Run(Workspace& work, Word& result) {
    if (m_isRunning) return false; // both would use the same words
    const struct Running {
        bool& isRunning;
        explicit Running(bool& flag) : isRunning(flag) { isRunning = true; }
        ~Running() { isRunning = false; }
    } running(m_isRunning);
    return (IsCurrent(work.limits.GetClock()) || Refresh(work)) && RunSteps(m_varying, result, &work.limits);
}

bool FlatProgram::Refresh(Workspace& work) {
    const Clock& clock = work.limits.GetClock();
    const std::uint64_t looks = CountLooks(clock);
    for (const Input& input : m_inputs)
        if (input.symbol && !Read(input, work)) return false;
    if (Word unused = 0; !RunSteps(m_settled, unused, &work.limits)) return false;
    if (CountLooks(clock) != looks) {
        m_isUnfit = true;
        Invalidate();
    }
    if (m_language == 0) return false; // a callable may have bound a variable, too
    m_names = clock.Names();
    return true;
}

bool FlatProgram::Read(const Input& input, Workspace& work) {
    if (!input.expression) return (*input.symbol)->GetFlat(*input.value) != nullptr;
    const s_refptr<Program> program = input.expression->program; // a callable may have it parsed anew
    return program && program->flat && program->flat->Holds(work) && program->flat->m_result == input.type &&
           work.limits.SpendIfLeft(program->flat->GetSteps(work.limits.GetClock())) &&
           program->flat->Run(work, *input.value);
}

} // namespace Quarn
