#include "quarn/interpreter/evaluator.h"

#include <algorithm>

#include "quarn/interpreter/names.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

const s_str& Nameless() {
    static const s_str empty;
    return empty;
}

Outcome FailWithoutOverload(const FunctionOverloads& functions, std::string_view name, std::string_view signature,
                            s_str& error) {
    s_str message =
        "\tError : No matching function call to :\n\t\t  " + s_str(name) + signature + "\n\t\tPossible candidates :";
    for (const auto& [candidate, function] : functions) message += "\n\t\t  " + s_str(name) + candidate;
    return Fail(error, message);
}

Outcome FailTesting(s_str& error) { return Fail(error, "\tError : A literal test must not evaluate anything"); }

/// The number of nested references in a text of the form "&&...&name"; 0 for any other. Each is evaluated on its own
/// and parses the rest of the text, so too many are refused beforehand.
unsigned CountReferences(std::string_view text) {
    const auto name = std::min(text.find_first_not_of("& "), text.size());
    if (!std::ranges::all_of(text.substr(name), IsNameCharacter)) return 0;
    return static_cast<unsigned>(std::ranges::count(text.substr(0, name), Reference::Marker));
}

class Running {
public:
    explicit Running(Program& program) : m_program(program) { ++m_program.runs; }
    ~Running() { --m_program.runs; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    Program& m_program;
};

} // namespace

/// Carries out steps on its own part of the stack of operands.
class Evaluator::Executor final : public StepSink {
    using Values = s_ctnr_t<s_refptr<Symbol>, std::vector<s_refptr<Symbol>>>;

public:
    Executor(Evaluator& evaluator, const s_str& name, s_str& error, bool allowNew)
        : m_evaluator(evaluator), m_operands(evaluator.m_operands), m_base(evaluator.m_operands.size()), m_name(name),
          m_error(error), m_allowNew(allowNew) {}
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;
    ~Executor() {
        while (m_operands.size() > m_base) m_operands.pop_back();
        constexpr std::size_t MostKept = 4096; // a call with a million arguments should not keep their memory
        if (m_base == 0 && m_operands.capacity() > MostKept) std::vector<Operand>().swap(m_operands);
    }

    s_str& GetError() { return m_error; }
    /// The next steps come from this text, which is at this level of brackets.
    void Begin(Source source, unsigned level) {
        m_source = source;
        m_level = level;
    }
    Outcome Accept(const Step& step) override {
        if (const Outcome outcome = Pay(step); !outcome) return outcome;
        // The most frequent cases, without a look at anything else.
        if (step.kind == Step::Kind::Flat) m_operands.emplace_back(*step.type, step.word);
        else if (step.kind != Step::Kind::Binary || !ApplyFlatBinary(step.op)) return Execute(step);
        return step.isLast && !m_name.IsEmpty() ? PushNamed(PopOperand(), m_name) : Outcome::WentOn;
    }
    /// Carries out a step of a program; its value may be known.
    Outcome Accept(Program::KeptStep& kept, Program& program) {
        const Step& step = kept.step;
        if (const Outcome outcome = Pay(step); !outcome) return outcome;
        const bool isFlat = step.kind == Step::Kind::Flat ||
                            (step.kind == Step::Kind::Name && kept.bindings == m_evaluator.GetBindings());
        if (isFlat) m_operands.emplace_back(*step.type, step.word);
        else if (step.kind == Step::Kind::Name) return ReadKeptName(kept);
        else if (step.isConstant) return ReadConstant(kept, program);
        else if (step.kind != Step::Kind::Binary || !ApplyFlatBinary(step.op)) return Execute(step);
        return Outcome::WentOn;
    }
    /// A null value is a failure.
    Outcome Push(Operand&& value) {
        if (!value) return m_evaluator.m_limits.OutcomeOf(false, m_error);
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
    /// Charges the step and the levels of brackets around it to the limits.
    Outcome Pay(const Step& step) {
        Limits& limits = m_evaluator.m_limits;
        if (const Outcome outcome = limits.Spend(1, m_error); !outcome) return outcome;
        if (m_level + step.level > limits.GetRemainingLevels()) return limits.AbandonTooDeep(m_error);
        return Outcome::WentOn;
    }
    Outcome PushNamed(Operand&& value, const s_str& name) {
        if (!value) return Push({});
        if (!name.IsEmpty()) return Push(Symbol::Named(std::move(value).ToObject(), name));
        return Push(value.GetFlatType() ? std::move(value) : Operand::Nameless(std::move(value).ToObject()));
    }
    // Rare cases are not inlined, to keep the frequent ones, and the stack that a level takes, small.
    [[gnu::noinline]] Outcome ReadKeptName(Program::KeptStep& kept);
    [[gnu::noinline]] Outcome ReadConstant(Program::KeptStep& kept, Program& program);
    [[gnu::noinline]] Outcome Execute(const Step& step);
    bool ApplyFlat(const FlatCallable& callable, std::size_t operandCount);
    [[gnu::noinline]] Outcome ApplyUnary(const UnaryOverloads* overloads, std::string_view before,
                                         std::string_view after, const s_str& name);
    bool ApplyFlatBinary(const Operator* op);
    [[gnu::noinline]] Outcome Dispatch(const Step& step, const s_str& name);
    [[gnu::noinline]] Outcome Construct(const Step& step, const s_str& name, bool isLiteral);
    [[gnu::noinline]] Outcome ReadName(const Step& step, const s_str& name);
    [[gnu::noinline]] Outcome Call(const FunctionOverloads& functions, std::string_view name,
                                   std::size_t argumentCount);

    Evaluator& m_evaluator;
    std::vector<Operand>& m_operands;
    const std::size_t m_base;
    const s_str& m_name;
    s_str& m_error;
    const bool m_allowNew;
    Source m_source;
    unsigned m_level = 0;
};

/// Stores the steps in a program.
class Evaluator::Recorder final : public StepSink {
public:
    Recorder(Program& program, Limits& limits, s_str& error) : m_program(program), m_limits(limits), m_error(error) {}

    Outcome Accept(const Step& step) override {
        constexpr std::size_t StepsBetweenPolls = 1024;
        if (m_program.steps.size() % StepsBetweenPolls == StepsBetweenPolls - 1)
            if (const Outcome outcome = m_limits.Poll(m_error); !outcome) return outcome;
        Step& kept = m_program.steps.emplace_back(Program::KeptStep{step}).step;
        m_program.nesting = std::max(m_program.nesting, step.level);
        if (kept.kind == Step::Kind::Fault) {
            kept.text = m_program.message = step.text;
            return Outcome::Failed;
        }
        if (kept.kind == Step::Kind::Name && m_program.variables) {
            if (const auto found = m_program.variables->find(kept.text); found != m_program.variables->end()) {
                kept.kind = Step::Kind::Variable;
                kept.variable = &found->second;
            }
        }
        return Outcome::WentOn;
    }

private:
    Program& m_program;
    Limits& m_limits;
    s_str& m_error;
};

/// Literals, symbols and operators give their value the name that was asked for; functions and constructors do not, so
/// `x = sqrt(4)` shows "2". Pinned by the transcript "statements".
Outcome Evaluator::Executor::Execute(const Step& step) {
    const s_str& name = step.isLast ? m_name : Nameless();
    switch (step.kind) {
    case Step::Kind::Fault: return Fail(m_error, step.text);
    case Step::Kind::Flat: break; // see `Accept`
    case Step::Kind::Literal: return Construct(step, name, true);
    case Step::Kind::Construct: return Construct(step, Nameless(), false);
    case Step::Kind::Name: return ReadName(step, name);
    case Step::Kind::Variable: return Push({*step.variable->type, step.variable->read(step.variable->address)});
    case Step::Kind::Call: return Call(*step.functions, step.text, step.argumentCount);
    case Step::Kind::LeftUnary: return ApplyUnary(step.op->leftUnary, {}, step.text, name);
    case Step::Kind::RightUnary: return ApplyUnary(step.op->rightUnary, step.text, {}, name);
    case Step::Kind::Index:
    case Step::Kind::Binary: return Dispatch(step, name);
    }
    return Outcome::Failed;
}

Outcome Evaluator::Executor::ReadKeptName(Program::KeptStep& kept) {
    const Operand* const value = m_evaluator.m_symbols.Read(kept.step.text);
    if (!value) return Execute(kept.step);
    m_operands.push_back(*value);
    // Any other value would be kept alive. The last result changes too often.
    if (value->GetFlatType() && kept.step.text != SymbolTable::LastResultName) {
        kept.step.type = value->GetFlatType();
        kept.step.word = value->GetWord();
        kept.bindings = m_evaluator.GetBindings();
    }
    return Outcome::WentOn;
}

Outcome Evaluator::Executor::ReadConstant(Program::KeptStep& kept, Program& program) {
    if (kept.Object() > 0) return Push(program.objects[kept.Object() - 1]);
    if (const Outcome outcome = Execute(kept.step); !outcome) return outcome;
    const Operand& value = TopOperand();
    if (value.GetFlatType()) {
        kept.step.kind = Step::Kind::Flat;
        kept.step.type = value.GetFlatType();
        kept.step.word = value.GetWord();
    } else {
        program.objects.push_back(value.ToObject());
        kept.Object() = program.objects.size();
    }
    return Outcome::WentOn;
}

/// Replaces the top operands, which are flat, with the result. False if there is no callable for flat values.
bool Evaluator::Executor::ApplyFlat(const FlatCallable& callable, std::size_t operandCount) {
    constexpr std::size_t Most = 4;
    if (!callable || operandCount > Most) return false;
    const FlatType& type = *callable.result;
    std::array<Word, Most> words;
    for (std::size_t i = operandCount; i > 0; --i) {
        words[i - 1] = TopOperand().GetWord();
        m_operands.pop_back();
    }
    m_operands.emplace_back(type, callable.call(words.data()));
    return true;
}

Outcome Evaluator::Executor::ApplyUnary(const UnaryOverloads* overloads, std::string_view before,
                                        std::string_view after, const s_str& name) {
    const Operand operand = PopOperand();
    return PushNamed(m_evaluator.m_dispatcher.ApplyUnary(overloads, operand, before, after, m_error), name);
}

/// Replaces the top two operands with the result. False if they, or the callable for them, are not flat.
inline bool Evaluator::Executor::ApplyFlatBinary(const Operator* op) {
    Operand& left = m_operands[m_operands.size() - 2];
    const Operand& right = m_operands.back();
    if (!left.GetFlatType() || !right.GetFlatType() || !op) return false;
    const BinaryOperator* const callable = op->FindBinary(*left.GetFlatType()->name, *right.GetFlatType()->name);
    if (!callable || !callable->flat) return false;
    m_evaluator.m_dispatcher.Calling(*callable);
    const std::array words{left.GetWord(), right.GetWord()};
    m_operands.pop_back();
    const FlatType& type = *callable->flat.result;
    m_operands.back() = {type, callable->flat.call(words.data())};
    return true;
}

Outcome Evaluator::Executor::Dispatch(const Step& step, const s_str& name) {
    Dispatcher& dispatcher = m_evaluator.m_dispatcher;
    const Operand right = PopOperand();
    const Operand left = PopOperand();
    return PushNamed(step.op ? dispatcher.ApplyBinary(*step.op, left, right, m_error)
                             : dispatcher.ApplyBinary(step.text, left, right, m_error),
                     name);
}

Outcome Evaluator::Executor::Construct(const Step& step, const s_str& name, bool isLiteral) {
    const struct Inner {
        Source& innermost;
        const Source outer;
        Inner(Source& current, Source source) : innermost(current), outer(std::exchange(current, source)) {}
        ~Inner() { innermost = outer; }
    } inner(m_evaluator.m_source, m_source);
    const Constructor& constructor = *step.constructor;
    s_refptr<Symbol> value = (step.isConstant ? constructor : m_evaluator.m_dispatcher.Calling(constructor))(
        m_evaluator.m_state, name, step.text, isLiteral, m_error);
    return Push(Operand::Flattened(std::move(value)));
}

Outcome Evaluator::Executor::ReadName(const Step& step, const s_str& name) {
    const std::string_view text = step.text;
    if (m_source.variables) {
        if (const auto found = m_source.variables->find(text); found != m_source.variables->end())
            return Push({*found->second.type, found->second.read(found->second.address)});
    }
    if (const Operand* value = m_evaluator.m_symbols.Read(text)) {
        if (name.IsEmpty()) {
            m_operands.push_back(*value);
            return Outcome::WentOn;
        }
        s_refptr<Symbol> object = value->ToObject();
        if (object->GetType() == Symbol::TypeName) AppendMessage(m_error, "\tWarning : 'Symbol=Symbol' does nothing");
        return Push(Symbol::Named(std::move(object), name));
    }
    if (text == SymbolTable::LastResultName)
        return Fail(m_error, "\tError : Unable to parse expression '_', no operator found");
    const Registry& registry = m_evaluator.m_language.GetRegistry();
    if (const FunctionOverloads* functions = m_evaluator.m_language.FindFunctions(text))
        return Call(*functions, text, 0);
    if (const Constructor* constructor = FindIn(registry.constructors, text))
        return Push(
            m_evaluator.m_dispatcher.Calling(*constructor)(m_evaluator.m_state, Nameless(), {}, false, m_error));
    // Only a text that is a single name makes a new symbol, and only if it gets no other name: `a = b` needs a `b`.
    if (name.IsEmpty() && m_allowNew && step.isLast && step.level == 0) return Push(make_refptr<Symbol>(text));
    return Fail(m_error, "\tError : Unknown symbol '" + s_str(text) + "'");
}

Outcome Evaluator::Executor::Call(const FunctionOverloads& functions, std::string_view name,
                                  std::size_t argumentCount) {
    const std::size_t first = m_operands.size() - argumentCount;
    std::array<const s_str*, 8> few;
    std::vector<const s_str*> many(argumentCount > few.size() ? argumentCount : 0);
    const std::span<const s_str*> types = many.empty() ? std::span(few).first(argumentCount) : std::span(many);
    bool areFlat = true;
    for (std::size_t i = 0; i < argumentCount; ++i) {
        if (Reference::In(m_operands[first + i])) {
            const Operand reference = m_operands[first + i]; // the stack may move
            Operand value = Reference::Resolve(reference, m_error);
            if (!value) return Push({});
            m_operands[first + i] = std::move(value);
        }
        const Operand& argument = m_operands[first + i];
        if (!argument.GetFlatType()) areFlat = false;
        types[i] = &Reference::TypeOfResolved(argument);
    }
    const Function* function = functions.Find(types);
    if (!function) return FailWithoutOverload(functions, name, SignatureOf(types), m_error);
    m_evaluator.m_dispatcher.Calling(*function);
    if (areFlat && ApplyFlat(function->flat, argumentCount)) return Outcome::WentOn;

    Values arguments;
    for (std::size_t i = first; i < m_operands.size(); ++i) arguments.PushBack(std::move(m_operands[i]).ToObject());
    m_operands.resize(first);
    Values results;
    if (!(*function)(m_evaluator.m_state, arguments, results, m_error)) return Push({});
    if (results.Count() != 1)
        return Fail(m_error, "\tError : Multiple return values for function is not yet supported");
    return Push(Operand::Flattened(results[0]));
}

/// Whether to parse the text on each use. A program takes about 50 bytes for each character; one that does not fit into
/// the caches runs hardly faster than its text is parsed.
bool Evaluator::IsBetterParsed(const Expression& expression) {
    constexpr std::size_t LongestProgram = std::size_t{1} << 16;
    const std::string_view text = expression.GetSharedText().view;
    return text.size() > LongestProgram && CountReferences(text) == 0;
}

Outcome Evaluator::RunOnce(Expression& expression, unsigned level, Executor& executor) {
    m_language.Refresh();
    const std::string_view text = expression.GetSharedText().view;
    m_limits.Reach(level + static_cast<unsigned>(std::min<std::size_t>(Brackets::NestingOf(text), text.size())));
    executor.Begin({&expression.GetSharedText(), nullptr}, level);
    return Parse(text, m_limits.GetDeepestNesting(), m_language, m_memory, executor);
}

/// Runs the program of a text at a level of brackets.
/// Inlined, because evaluation recurses through it: a processor predicts only so many returns, so chains of references
/// are as fast as their calls are few.
[[gnu::always_inline]] inline Outcome Evaluator::RunText(Expression& expression, unsigned level, Executor& executor) {
    const Program* const kept = expression.program.Get();
    const bool isUsable =
        kept && kept->generation == m_language.GetGeneration() && kept->deepest == m_limits.GetDeepestNesting();
    if (!isUsable) {
        if (!kept && IsBetterParsed(expression)) return RunOnce(expression, level, executor);
        if (const Outcome outcome = ParseProgram(expression, executor.GetError()); !outcome) return outcome;
    }

    Program& program = *expression.program;
    const Running running(program);
    executor.Begin({&expression.GetSharedText(), program.variables.Get()}, level);
    if (program.references > m_limits.GetRemainingLevels()) {
        Step tooDeep;
        tooDeep.level = program.references;
        return executor.Accept(tooDeep);
    }
    for (Program::KeptStep& step : program.steps)
        if (const Outcome outcome = executor.Accept(step, program); !outcome) return outcome;
    return Outcome::WentOn;
}

Operand Evaluator::Evaluate(const s_str& name, std::string_view expression, s_str& error, bool allowNew) {
    if (m_language.IsTesting()) return FailTesting(error);
    m_language.Refresh();
    Executor executor(*this, name, error, allowNew); // a text that is evaluated once needs no program
    // Only a part of the text of a formula sees its variables, not what a callable evaluates.
    const bool isPart = m_source.text && Contains(m_source.text->view, expression);
    executor.Begin(isPart ? m_source : Source(), 0); // it may be a part of this text
    if (!Parse(expression, m_limits.GetDeepestNesting(), m_language, m_memory, executor)) return {};
    return executor.PopOperand();
}

Operand Evaluator::Evaluate(Expression& expression, s_str& error) {
    if (m_language.IsTesting()) return FailTesting(error);
    if (Knows(expression, 0)) {
        if (const Outcome outcome = m_limits.Spend(1, error); !outcome) return outcome;
        m_limits.Reach(expression.known.depth);
        return Recall(expression.known);
    }
    const std::uint64_t moment = GetMoment();
    if (const Operand value = RunFlat(expression)) {
        expression.known = {moment, value.GetFlatType(), value.GetWord(), expression.program->flat.GetDepth()};
        return value;
    }
    const std::uint64_t bindings = GetBindings();
    const std::uint64_t impureCalls = m_dispatcher.GetImpureCalls();
    const std::uint64_t abandonments = m_limits.GetAbandonments();
    const std::uint64_t spent = m_limits.GetSpent();
    const Limits::Sounding sounding(m_limits);
    Executor executor(*this, Nameless(), error, false);
    const Outcome outcome =
        expression.GetOperation() ? RunParts(expression, executor, error) : RunText(expression, 0, executor);
    if (expression.program) m_limits.Reach(expression.program->nesting);
    Operand value = outcome ? executor.PopOperand() : Operand();
    if (m_dispatcher.GetImpureCalls() != impureCalls) return value;
    if (!value) {
        if (!outcome.IsAbandoned())
            expression.known = {m_dispatcher.GetChanges(), nullptr, 0, sounding.GetReached(), true};
    } else if (m_limits.GetAbandonments() == abandonments && GetMoment() == moment) {
        // If something was abandoned on the way, the value may depend on where it was.
        RememberValue(expression, value, sounding.GetReached(), m_limits.GetSpent() - spent);
        if (value.GetFlatType() && expression.program) Translate(expression, bindings);
    }
    return value;
}

/// Null for a failure, without a message: nobody would see it.
Operand Evaluator::Recall(const Expression::Known& known) const {
    if (known.isFailure) return {};
    return known.type ? Operand(*known.type, known.word) : Operand(m_limits.GetKept(known.word));
}

/// Objects are held by the limits and not by the expression, which they may lead to.
void Evaluator::RememberValue(Expression& expression, const Operand& value, unsigned depth, std::uint64_t steps) {
    Expression::Known known{GetMoment(), value.GetFlatType(), 0, depth};
    if (known.type) {
        known.word = value.GetWord();
    } else {
        const std::optional<std::size_t> number = m_limits.Keep(value.ToObject(), steps);
        if (!number) return;
        known.word = *number;
    }
    expression.known = known;
}

/// Null if there is no flat program, or if the limits must be looked at more closely.
Operand Evaluator::RunFlat(const Expression& expression) {
    const s_refptr<Program> program = expression.program;
    if (!program || !program->flat.HoldsFor(GetBindings())) return {};
    const FlatProgram& flat = program->flat;
    Word word = 0;
    if (flat.GetDepth() > m_limits.GetRemainingLevels() || !flat.Run(m_limits, GetMoment(), word)) return {};
    m_limits.Reach(flat.GetDepth());
    return {flat.GetResultType(), word};
}

/// Translates the program if it is evaluated for the second time without a change in between: then it is worth it.
void Evaluator::Translate(Expression& expression, std::uint64_t bindings) {
    Program& program = *expression.program;
    if (program.generation != m_language.GetGeneration() || GetBindings() != bindings) return;
    if (std::exchange(program.lastBindings, bindings) == bindings)
        program.flat.Translate(program, m_state, m_symbols, m_language, bindings);
}

Operand Evaluator::EvaluateFormula(Expression& expression, s_str& error) {
    if (m_language.IsTesting()) return FailTesting(error);
    if (Operand value = RunFlat(expression)) return value;
    const std::uint64_t bindings = GetBindings();
    Executor executor(*this, Nameless(), error, false);
    if (!RunText(expression, 0, executor)) return {};
    Translate(expression, bindings);
    return executor.PopOperand();
}

/// Runs an operation as its text would run: left operand, right operand, operator. Does not recurse, because operations nest without limit; their brackets count as levels, like those of a
/// text.
Outcome Evaluator::RunParts(Expression& expression, Executor& executor, s_str& error) {
    m_language.Refresh();
    expression.Update(m_language.GetOperatorsVersion());
    struct Part {
        Expression* expression; ///< null for an operator
        unsigned level;
        const s_str* op;
    };
    std::vector<Part> parts{{&expression, 0, nullptr}}; // the last one runs next
    while (!parts.empty()) {
        const auto [part, level, op] = parts.back();
        parts.pop_back();
        if (op) {
            Step step;
            step.kind = Step::Kind::Binary;
            step.text = *op;
            step.op = m_language.GetOperators().Find(*op);
            executor.Begin({}, level);
            if (const Outcome outcome = executor.Accept(step); !outcome) return outcome;
            continue;
        }
        m_limits.Reach(level);
        if (level > m_limits.GetRemainingLevels()) return m_limits.AbandonTooDeep(error);
        if (Knows(*part, level)) {
            if (const Outcome outcome = m_limits.Spend(1, error); !outcome) return outcome;
            m_limits.Reach(level + part->known.depth);
            if (part->known.isFailure) return Outcome::Failed;
            if (const Outcome outcome = executor.Push(Recall(part->known)); !outcome) return outcome;
            continue;
        }
        if (const Expression::Operation* operation = part->GetOperation()) {
            const Expression::Side& left = operation->left;
            const Expression::Side& right = operation->right;
            parts.push_back({nullptr, level, &operation->op});
            parts.push_back({right.expression.Get(), level + right.isBracketed, nullptr});
            parts.push_back({left.expression.Get(), level + left.isBracketed, nullptr});
        } else {
            const Outcome outcome = RunText(*part, level, executor);
            if (part->program) m_limits.Reach(level + part->program->nesting);
            if (!outcome) return outcome;
        }
    }
    return Outcome::WentOn;
}

/// Parses a text into a program, for the current language.
Outcome Evaluator::ParseProgram(Expression& expression, s_str& error) {
    const s_refptr<Program> program = make_refptr<Program>();
    s_refptr<Program> running = expression.program; // a running program must survive
    if (running) program->variables = running->variables;
    while (running && running->runs == 0) running = running->before;
    program->before = std::move(running);

    m_language.Refresh();
    const std::string_view text = expression.GetSharedText().view;
    program->generation = m_language.GetGeneration();
    program->deepest = m_limits.GetDeepestNesting();
    if (!program->variables) program->references = CountReferences(text);
    if (program->references <= program->deepest) {
        Recorder recorder(*program, m_limits, error);
        const Outcome outcome = Parse(text, program->deepest, m_language, m_memory, recorder);
        if (outcome.IsAbandoned()) return outcome; // any other failure is one of the steps
    }
    expression.program = program;
    return Outcome::WentOn;
}

SharedText Evaluator::ShareText(std::string_view text) const {
    // A small part would keep all of the text alive.
    const SharedText* const source = m_source.text;
    if (source && Contains(source->view, text) && text.size() >= source->whole->View().size() / 2)
        return {source->whole, text};
    const s_refptr<const s_str> copy = make_refptr<s_str>(text);
    return {copy, *copy};
}

} // namespace Quarn
