// Carrying out the steps of expressions: every step takes its operands from the stack and pushes its result, and the
// first one that fails ends it.

#include <algorithm>
#include <vector>

#include "quarn/interpreter/expression.h"
#include "quarn/interpreter/scanner.h"
#include "quarn/interpreter/state.h"
#include "quarn/interpreter/text_writer.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

const s_str& Nameless() {
    static const s_str empty;
    return empty;
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

/// The number of nested references in a text of the form "&&...&name", 0 for any other. Each would be evaluated on its
/// own, and so scan the text once for each level that there is room for.
std::size_t CountMarkers(std::string_view text) {
    const auto name = std::min(text.find_first_not_of("& "), text.size());
    if (!std::ranges::all_of(text.substr(name), IsNameCharacter)) return 0;
    return static_cast<std::size_t>(std::ranges::count(text.substr(0, name), Reference::Marker));
}

Failure FailUnknown(std::string_view name, s_str& error) {
    return Fail(error, "\tError : Unknown symbol '" + s_str(name) + "'");
}

} // namespace

/// Carries out steps, on a part of its own of the stack of operands.
class State::Runner final : public StepSink {
    using Values = s_ctnr_t<s_refptr<Symbol>, std::vector<s_refptr<Symbol>>>;

public:
    Runner(State& state, const s_str& name, s_str& error, s_bool allowNew)
        : m_state(state), m_operands(state.m_operands), m_base(state.m_operands.size()), m_name(name), m_error(error),
          m_allowNew(allowNew) {}
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;
    ~Runner() {
        while (m_operands.size() > m_base) m_operands.pop_back();
        constexpr std::size_t MostKept = 4096; // a call with a million arguments should not keep their room
        if (m_base == 0 && m_operands.capacity() > MostKept) std::vector<s_refptr<Symbol>>().swap(m_operands);
    }

    bool Take(const Step& step) override;
    /// The steps come from this text, of an expression that is kept.
    void SetText(const SharedText* text) { m_text = text; }
    /// A step whose value is known.
    bool TakeConstant(s_refptr<Symbol> value) { return m_state.Spend(1, m_error) && Push(std::move(value)); }
    /// The value of the last step.
    const s_refptr<Symbol>& TopOperand() const { return m_operands.back(); }
    s_refptr<Symbol> PopOperand() {
        s_refptr<Symbol> operand = std::move(m_operands.back());
        m_operands.pop_back();
        return operand;
    }

private:
    /// False when there is no value, as the step failed.
    bool Push(s_refptr<Symbol>&& value) {
        if (!value) return false;
        m_operands.push_back(std::move(value));
        return true;
    }
    bool PushNamed(s_refptr<Symbol>&& value, const s_str& name) {
        return value && Push(Symbol::Named(std::move(value), name));
    }
    s_refptr<Symbol> Construct(const Step& step, const s_str& name, bool isLiteral);
    s_refptr<Symbol> ReadName(const Step& step, const s_str& name);
    s_refptr<Symbol> Call(const FunctionOverloads& functions, std::string_view name, std::size_t argumentCount);

    State& m_state;
    std::vector<s_refptr<Symbol>>& m_operands;
    const std::size_t m_base;
    const s_str& m_name;
    s_str& m_error;
    const s_bool m_allowNew;
    const SharedText* m_text = nullptr;
};

/// Keeps the steps for later.
class State::Recorder final : public StepSink {
public:
    explicit Recorder(Program& program) : m_program(program) {}

    bool Take(const Step& step) override {
        m_program.steps.push_back({step, nullptr});
        m_program.nesting = std::max(m_program.nesting, step.level);
        if (step.kind == Step::Kind::TooDeep) m_program.isClipped = true;
        if (step.kind == Step::Kind::Fault) m_program.steps.back().step.text = m_program.message = step.text;
        return step.kind != Step::Kind::TooDeep && step.kind != Step::Kind::Fault;
    }

private:
    Program& m_program;
};

bool State::Runner::Take(const Step& step) {
    if (!m_state.Spend(1, m_error)) return false;
    const s_str& name = step.isLast ? m_name : Nameless();
    switch (step.kind) {
    case Step::Kind::Fault: return Push(Fail(m_error, step.text));
    case Step::Kind::TooDeep: return Push(m_state.AbandonTooDeep(m_error));
    case Step::Kind::Literal: return Push(Construct(step, name, true));
    case Step::Kind::Construct: return Push(Construct(step, Nameless(), false));
    case Step::Kind::Name: return Push(ReadName(step, name));
    case Step::Kind::Call: return Push(Call(*step.functions, step.text, step.argumentCount));
    case Step::Kind::LeftUnary:
        return PushNamed(m_state.DispatchUnary(step.op->leftUnary, PopOperand(), {}, step.text, m_error), name);
    case Step::Kind::RightUnary:
        return PushNamed(m_state.DispatchUnary(step.op->rightUnary, PopOperand(), step.text, {}, m_error), name);
    case Step::Kind::Index:
    case Step::Kind::Binary: {
        const s_refptr<Symbol> right = PopOperand();
        const s_refptr<Symbol> left = PopOperand();
        return PushNamed(step.op ? m_state.DispatchBinary(*step.op, left, right, m_error)
                                 : m_state.ApplyBinaryOperator(step.text, left, right, m_error),
                         name);
    }
    }
    return false;
}

s_refptr<Symbol> State::Runner::Construct(const Step& step, const s_str& name, bool isLiteral) {
    const struct Evaluated {
        const SharedText*& innermost;
        const SharedText* const outer;
        Evaluated(const SharedText*& evaluated, const SharedText* text)
            : innermost(evaluated), outer(std::exchange(evaluated, text)) {}
        ~Evaluated() { innermost = outer; }
    } evaluated(m_state.m_evaluated, m_text);
    const Constructor& constructor = *step.constructor;
    return (step.isConstant ? constructor : m_state.Calling(constructor))(m_state, name, step.text, isLiteral, m_error);
}

s_refptr<Symbol> State::Runner::ReadName(const Step& step, const s_str& name) {
    const std::string_view text = step.text;
    if (s_refptr<Symbol> value = m_state.m_symbols.Read(text)) {
        if (name.IsEmpty()) return value;
        if (value->GetType() == Symbol::TypeName) Fail(m_error, "\tWarning : 'Symbol=Symbol' does nothing");
        return Symbol::Named(std::move(value), name);
    }
    if (text == SymbolTable::LastResultName)
        return Fail(m_error, "\tError : Unable to parse expression '_', no operator found");
    const Registry& registry = m_state.m_registry;
    if (const FunctionOverloads* functions = FindIn(registry.functions, text)) return Call(*functions, text, 0);
    if (const Constructor* constructor = FindIn(registry.constructors, text))
        return m_state.Calling(*constructor)(m_state, Nameless(), {}, false, m_error);
    // Only a text that is nothing but a name makes a symbol, and never one that is to be given another: `a = b` needs a
    // `b`.
    if (name.IsEmpty() && m_allowNew && step.isLast && step.level == 0) return make_refptr<Symbol>(text);
    return FailUnknown(text, m_error);
}

s_refptr<Symbol> State::Runner::Call(const FunctionOverloads& functions, std::string_view name,
                                     std::size_t argumentCount) {
    Values arguments;
    const auto first = m_operands.end() - static_cast<std::ptrdiff_t>(argumentCount);
    for (auto operand = first; operand != m_operands.end(); ++operand) arguments.PushBack(std::move(*operand));
    m_operands.erase(first, m_operands.end());
    for (s_refptr<Symbol>& argument : arguments) {
        argument = m_state.Follow(argument, m_error);
        if (!argument) return nullptr;
    }
    const s_str signature = SignatureOf(arguments);
    const Function* function = FindIn(functions, signature);
    if (!function) return FailWithoutOverload(functions, name, signature, m_error);
    Values results;
    if (!m_state.Calling(*function)(m_state, arguments, results, m_error)) return nullptr;
    if (results.Count() != 1)
        return Fail(m_error, "\tError : Multiple return values for function is not yet supported");
    return std::move(results[0]);
}

s_refptr<Symbol> State::ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew) {
    const Level level(*this);
    return level ? EvaluateText(name, expression, error, allowNew) : AbandonTooDeep(error);
}

s_refptr<Symbol> State::EvaluateText(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew) {
    BindVocabulary();
    Runner runner(*this, name, error, allowNew); // a text that is evaluated once needs no program
    runner.SetText(m_evaluated);                 // of which this one may be a part
    const bool isComplete = Compile(expression, GetRoom(), m_registry, m_vocabulary, m_compilerMemory, runner);
    return isComplete ? runner.PopOperand() : nullptr;
}

s_bool State::WriteText(const Symbol& value, s_str& text, s_str& error) {
    return TextWriter(this, text, error).Write(value);
}

/// Runs the program of a text that stands so many levels of brackets deep. Inlined, as evaluation recurses through it:
/// chains of references are as fast as their calls are few.
[[gnu::always_inline]] inline bool State::RunText(Expression& expression, unsigned level, Runner& runner) {
    const Program* const kept = expression.program.Get();
    const bool isUsable =
        kept && kept->generation == m_generation && !kept->isClipped && kept->nesting <= GetRoom() - level;
    if (!isUsable) CompileProgram(expression, GetRoom() - level);

    Program& program = *expression.program;
    const struct Running {
        unsigned& runs;
        explicit Running(unsigned& counted) : runs(counted) { ++runs; }
        ~Running() { --runs; }
    } running(program.runs);
    runner.SetText(&expression.GetSharedText());
    for (auto& [step, constant] : program.steps) {
        const bool goesOn = constant ? runner.TakeConstant(constant) : runner.Take(step);
        if (!goesOn) return false;
        if (step.isConstant && !constant) constant = runner.TopOperand();
    }
    return true;
}

/// Evaluates the expression of a reference. A failure is remembered until something changes: otherwise each operation
/// added to a kept one would evaluate all of it again.
s_refptr<Symbol> State::Evaluate(Expression& expression, s_str& error) {
    const std::uint64_t impureCalls = m_impureCalls;
    Runner runner(*this, Nameless(), error, false);
    const bool isText = !expression.GetOperation() && !expression.knownFailure.changes;
    if (isText ? RunText(expression, 0, runner) : RunParts(expression, runner, error)) return runner.PopOperand();
    if (m_impureCalls == impureCalls && !IsAbandoned(error)) {
        if (expression.program) Reach(m_depth + expression.program->nesting);
        expression.knownFailure = {GetChanges(), m_deepestReached - m_depth};
    }
    return nullptr;
}

/// Runs an operation as its text would run: the left operand, the right one, the operator. No recursion, as operations
/// nest without bound; the levels of their brackets count as those of a text.
bool State::RunParts(Expression& expression, Runner& runner, s_str& error) {
    expression.Update(m_operatorsVersion);
    struct Part {
        Expression* expression; ///< null for an operator
        unsigned level;
        const s_str* op;
    };
    std::vector<Part> parts{{&expression, 0, nullptr}}; // the last one is the next
    while (!parts.empty()) {
        const auto [part, level, op] = parts.back();
        parts.pop_back();
        if (op) {
            Step step;
            step.kind = Step::Kind::Binary;
            step.text = *op;
            step.op = m_vocabulary.GetOperators().Find(*op);
            step.level = level;
            if (!runner.Take(step)) return false;
            continue;
        }
        Reach(m_depth + level);
        if (level > GetRoom()) {
            AbandonTooDeep(error);
            return false;
        }
        const auto& [changes, depth] = part->knownFailure;
        if (changes == GetChanges() && level + depth <= GetRoom()) {
            Reach(m_depth + level + depth);
            Spend(1, error);
            return false; // without a message: nobody would see it
        }
        if (const Expression::Operation* operation = part->GetOperation()) {
            const Expression::Operand& left = operation->left;
            const Expression::Operand& right = operation->right;
            parts.push_back({nullptr, level, &operation->op});
            parts.push_back({right.expression.Get(), level + right.isBracketed, nullptr});
            parts.push_back({left.expression.Get(), level + left.isBracketed, nullptr});
        } else if (const bool isRun = RunText(*part, level, runner);
                   Reach(m_depth + level + part->program->nesting), !isRun) {
            return false;
        }
    }
    expression.knownFailure = {};
    return true;
}

/// Makes the program of a text, for the registries as they are now and so many levels of room.
void State::CompileProgram(Expression& expression, unsigned room) {
    const s_refptr<Program> program = make_refptr<Program>();
    BindVocabulary();
    Recorder recorder(*program);
    const std::string_view text = expression.GetSharedText().view;
    if (CountMarkers(text) > GetRoom()) {
        Step tooDeep;
        tooDeep.kind = Step::Kind::TooDeep;
        recorder.Take(tooDeep);
    } else {
        Compile(text, room, m_registry, m_vocabulary, m_compilerMemory, recorder);
    }
    program->generation = m_generation;
    s_refptr<Program> running = expression.program; // what is under way must last
    while (running && running->runs == 0) running = running->before;
    program->before = std::move(running);
    expression.program = program;
}

SharedText State::ShareText(std::string_view text) const {
    // A small part would keep all of the text alive.
    if (m_evaluated && PairedText{m_evaluated->view}.Contains(text) &&
        text.size() >= m_evaluated->whole->View().size() / 2)
        return {m_evaluated->whole, text};
    const s_refptr<const s_str> copy = make_refptr<s_str>(text);
    return {copy, *copy};
}

#if defined(NDEBUG) && defined(__OPTIMIZE__)
const std::size_t State::StackPerLevel = s_pools_keep ? 2304 : 8192; // more with the address sanitizer
#else
const std::size_t State::StackPerLevel = 8192;
#endif

unsigned State::GetRoom() const {
    const unsigned deepest = OutermostDepth + m_deepestNesting;
    return m_depth < deepest ? deepest - m_depth : 0;
}

s_bool State::HasRoomFor(std::string_view text) const { return NestingOf(text) < GetRoom(); }

s_bool State::Spend(std::uint64_t steps, s_str& error) {
    if (m_stepsLeft == Unlimited) return true;
    if (!m_isOutOfSteps && steps <= m_stepsLeft) {
        m_stepsLeft -= steps;
        return true;
    }
    m_stepsLeft = 0;
    m_isOutOfSteps = true;
    return Abandon(error, OutOfStepsMessage);
}

Failure State::Abandon(s_str& error, std::string_view message) {
    Fail(error, message);
    m_abandonment = {&error, error.View().size()};
    return {};
}

Failure State::AbandonCircle(const Expression& expression, s_str& error) {
    return Abandon(error, "\tError : Circular reference in expression '" + expression.GetText() + "'");
}

Failure State::AbandonTooDeep(s_str& error) {
    return Abandon(error, "\tError : Nested more than " + s_str(s_uint(m_deepestNesting)) + " levels deep");
}

} // namespace Quarn
