#pragma once

#include "quarn/interpreter/engine/dispatcher.h"
#include "quarn/interpreter/engine/symbol_table.h"

namespace Quarn {

/// The text that the argument of a constructor is part of, and the variables that it may name.
struct Source {
    const SharedText* text = nullptr; ///< null for a line
    const BoundVariables* variables = nullptr;
};

/// The last failure that has a place in a text.
struct Fault {
    const s_str* error = nullptr; ///< that the message was appended to; null for none
    std::size_t end = 0;          ///< of the error text then
    FailureKind kind = FailureKind::Text;
    const char* at = nullptr; ///< in the text

    /// Whether the error text ends with its message.
    bool Ends(const s_str& text) const { return error == &text && end == text.View().size(); }
};

/// What all evaluations of a state share.
struct Workspace {
    State& state;
    EngineLimits& limits;
    Language& language;
    SymbolTable& symbols;
    Dispatcher& dispatcher;
    std::vector<Operand> operands = {}; ///< a stack, for all evaluations under way
    /// Operands below this are left from a stopped statement. The next one destroys them, because millions take long.
    std::size_t bottom = 0;
    Fault fault = {};
    Source source = {}; ///< of the innermost constructor

    Outcome FailAt(const char* at, FailureKind kind, std::string_view message, s_str& error) {
        const Outcome outcome = Fail(error, message);
        fault = {&error, error.View().size(), kind, at};
        return outcome;
    }
};

/// The name of a value that has none.
inline const s_str& Nameless() {
    static const s_str empty;
    return empty;
}

/// Carries out steps on its own part of the stack of operands.
class Executor final : public StepSink {
    using Values = s_ctnr_t<s_refptr<Symbol>, std::vector<s_refptr<Symbol>>>;

public:
    Executor(Workspace& work, const s_str& name, s_str& error, bool allowNew)
        : m_work(work), m_operands(work.operands), m_base(work.operands.size()), m_name(name), m_error(error),
          m_allowNew(allowNew) {}
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;
    ~Executor() {
        constexpr std::size_t MostKept = 4096; // a call with a million arguments should not keep their memory
        const bool isOutermost = m_base <= m_work.bottom;
        if (isOutermost && m_operands.size() > MostKept && m_work.limits.IsStopped()) {
            m_work.bottom = m_operands.size();
            return;
        }
        while (m_operands.size() > m_base) m_operands.pop_back();
        if (!isOutermost) return;
        m_work.bottom = m_base;
        if (m_operands.capacity() <= MostKept) return;
        std::vector<Operand>().swap(m_operands);
        m_work.bottom = 0;
    }

    s_str& GetError() { return m_error; }
    /// The next steps come from this text.
    void Begin(Source source) { m_source = source; }
    Outcome Accept(const Step& step) override {
        if (const Outcome outcome = m_work.limits.Spend(1, m_error); !outcome) return outcome;
        // The most frequent cases, without a look at anything else.
        if (step.kind == Step::Kind::Flat) m_operands.emplace_back(*step.type, step.word);
        else if (step.kind == Step::Kind::Name && !m_source.variables && !step.isLast) return ReadSymbol(step);
        else if (step.kind == Step::Kind::Call)
            return Call(*step.functions, step.GetText(), step.argumentCount); // no name
        else if (step.kind != Step::Kind::Binary || !ApplyFlatBinary(step.op)) return Execute(step);
        return step.isLast && !m_name.IsEmpty() ? PushNamed(PopOperand(), m_name) : Outcome::WentOn;
    }
    /// Makes room at once: copying millions of operands again and again takes long.
    void Expect(std::size_t operands) override;
    /// Carries out a step of a program. Its value gets no name, and bound variables have steps of their own.
    Outcome Accept(Step& step, Program& program) {
        if (const Outcome outcome = m_work.limits.Spend(1, m_error); !outcome) return outcome;
        if (step.kind == Step::Kind::Flat) m_operands.emplace_back(*step.type, step.word);
        else if (step.kind == Step::Kind::Name) return ReadSymbol(step);
        else if (step.isConstant) return ReadConstant(step, program);
        else if (step.kind != Step::Kind::Binary || !ApplyFlatBinary(step.op)) return Execute(step);
        return Outcome::WentOn;
    }
    /// Applies an operator to the top two operands.
    Outcome Apply(const s_str& op);
    /// A null value is a failure.
    Outcome Push(Operand&& value) {
        if (!value) return m_work.limits.OutcomeOf(false, m_error);
        m_operands.push_back(std::move(value));
        return Outcome::WentOn;
    }
    Operand PopOperand() {
        Operand operand = std::move(m_operands.back());
        m_operands.pop_back();
        return operand;
    }

private:
    const Operand& TopOperand() const { return m_operands.back(); }
    /// For an operand that is not needed any more.
    void Destroy(Operand&& operand) {
        if (operand.GetObject()) m_work.limits.Destroy(std::move(operand).ToObject());
    }
    Outcome PushNamed(Operand&& value, const s_str& name) {
        if (!value) return Push({});
        if (!name.IsEmpty()) return Push(Symbol::Named(std::move(value).ToObject(), name));
        return Push(value.GetFlatType() ? std::move(value) : Operand::Nameless(std::move(value).ToObject()));
    }
    // Rare cases are not inlined, to keep the frequent ones, and the stack that a level takes, small.
    [[gnu::noinline]] Outcome ReadConstant(Step& step, Program& program);
    [[gnu::noinline]] Outcome Execute(const Step& step);
    Outcome ResolveArguments(std::span<const s_str*> types, bool& areFlat);
    Outcome CallWithObjects(const Function& function, std::size_t argumentCount);
    bool CallFlat(const Function& function, std::size_t argumentCount);
    [[gnu::noinline]] Outcome ApplyUnary(const UnaryOverloads* overloads, std::string_view before,
                                         std::string_view after, const s_str& name);
    bool ApplyFlatBinary(const Operator* op);
    Outcome ReadSymbol(const Step& step) {
        const Operand* const value = m_work.symbols.Read(step.GetText());
        if (!value) return ReadOtherName(step);
        m_operands.push_back(*value);
        return Outcome::WentOn;
    }
    [[gnu::noinline]] Outcome Dispatch(const Step& step, const s_str& name);
    [[gnu::noinline]] Outcome Construct(const Step& step, const s_str& name, bool isLiteral);
    [[gnu::noinline]] Outcome ReadVariable(const BoundVariable& variable);
    [[gnu::noinline]] Outcome ReadName(const Step& step, const s_str& name);
    [[gnu::noinline]] Outcome ReadOtherName(const Step& step);
    [[gnu::noinline]] Outcome Call(const FunctionOverloads& functions, std::string_view name,
                                   std::size_t argumentCount);

    Workspace& m_work;
    std::vector<Operand>& m_operands;
    const std::size_t m_base;
    const s_str& m_name;
    s_str& m_error;
    const bool m_allowNew;
    Source m_source;
};

/// Replaces the top two operands with the result. False if they, or the callable for them, are not flat.
inline bool Executor::ApplyFlatBinary(const Operator* op) {
    const Operand& left = m_operands[m_operands.size() - 2];
    const Operand& right = m_operands.back();
    if (!left.GetFlatType() || !right.GetFlatType() || !op) return false;
    const BinaryOperator* const callable = op->FindBinary(*left.GetFlatType(), *right.GetFlatType());
    if (!callable || !callable->flat) return false;
    const std::array words{left.GetWord(), right.GetWord()};
    const FlatType& type = *callable->flat.result;
    Word result = 0;
    if (!m_work.dispatcher.CallFlat(*callable, words.data(), result)) return false;
    m_operands.pop_back();
    m_operands.back() = {type, result};
    return true;
}

} // namespace Quarn
