#include "quarn/interpreter/engine/evaluator.h"

#include <algorithm>

#include "quarn/interpreter/language/names.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

Outcome FailTesting(s_str& error) { return Fail(error, "\tError : A literal test must not evaluate anything"); }

/// The number of nested references in a text of the form "&&...&name"; 0 for any other. Each is evaluated on its own
/// and parses the rest of the text, so too many are refused beforehand.
unsigned CountReferences(std::string_view text) {
    unsigned count = 0;
    const auto isBeforeName = [&](char c) {
        if (c == Reference::Marker) ++count;
        return c == Reference::Marker || c == ' ';
    };
    const auto name = std::ranges::find_if_not(text, isBeforeName);
    return std::all_of(name, text.end(), IsNameCharacter) ? count : 0;
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

/// Stores the steps in a program.
class Evaluator::Recorder final : public StepSink {
public:
    Recorder(Program& program, EngineLimits& limits, s_str& error)
        : m_program(program), m_limits(limits), m_error(error) {}

    Outcome Accept(const Step& step) override {
        constexpr std::size_t StepsBetweenPolls = 1024;
        if (m_program.steps.size() % StepsBetweenPolls == StepsBetweenPolls - 1)
            if (const Outcome outcome = m_limits.Poll(m_error); !outcome) return outcome;
        Step& kept = m_program.steps.emplace_back(step);
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
    EngineLimits& m_limits;
    s_str& m_error;
};

/// Whether to parse the text without keeping a program. A program is worth its memory from the second use on: of a
/// vector of references, each may be used only once. A text of the form "&&...&name" needs a program: it is refused if
/// it nests too deeply, before each level parses the rest. A formula always has one.
bool Evaluator::IsBetterParsed(Expression& expression) {
    const std::string_view text = expression.GetSharedText().view;
    const bool isFirst = !std::exchange(expression.wasRun, true);
    return (isFirst || text.size() > Expression::LongestWithProgram) && CountReferences(text) == 0;
}

Outcome Evaluator::RunOnce(Expression& expression, Executor& executor) {
    m_work.language.Refresh();
    executor.Begin({&expression.GetSharedText(), nullptr});
    return Parse(expression.GetSharedText().view, m_work.language, m_memory, executor);
}

/// Runs the program of a text.
/// Inlined, because evaluation recurses through it: a processor predicts only so many returns, so chains of references
/// are as fast as their calls are few.
[[gnu::always_inline]] inline Outcome Evaluator::RunText(Expression& expression, Executor& executor) {
    const Program* const kept = expression.program.Get();
    if (!kept || kept->language != m_work.limits.GetClock().language) {
        if (m_work.limits.MustStopBefore(expression.GetLength())) return Outcome::Failed;
        if (!kept && IsBetterParsed(expression)) return RunOnce(expression, executor);
        if (const Outcome outcome = ParseProgram(expression, executor.GetError()); !outcome) return outcome;
    }

    Program& program = *expression.program;
    const Running running(program);
    if (program.references > m_work.limits.GetRemainingLevels())
        return m_work.limits.AbandonTooDeep(executor.GetError());
    executor.Begin({&expression.GetSharedText(), program.variables.Get()});
    for (Step& step : program.steps)
        if (const Outcome outcome = executor.Accept(step, program); !outcome) return outcome;
    return Outcome::WentOn;
}

Operand Evaluator::Evaluate(const s_str& name, std::string_view expression, s_str& error, bool allowNew) {
    if (m_work.language.IsTesting()) return FailTesting(error);
    m_work.language.Refresh();
    Executor executor(m_work, name, error, allowNew); // a text that is evaluated once needs no program
    // Only a part of the text of a formula sees its variables, not what a callable evaluates.
    const bool isPart = m_work.source.text && Contains(m_work.source.text->view, expression);
    executor.Begin(isPart ? m_work.source : Source()); // it may be a part of this text
    if (!Parse(expression, m_work.language, m_memory, executor)) return {};
    return executor.PopOperand();
}

/// Evaluates an expression, and remembers nothing.
[[gnu::always_inline]] inline Operand Evaluator::Run(Expression& expression, s_str& error) {
    Operand value;
    if (const Outcome outcome = RunFlat(expression, value, error); outcome || outcome.IsAbandoned()) return value;
    const Clock& clock = m_work.limits.GetClock();
    const std::uint64_t names = clock.Names();
    const std::uint64_t deeds = clock.deeds;
    Executor executor(m_work, Nameless(), error, false);
    if (!(expression.GetOperation() ? RunOperation(expression, executor) : RunText(expression, executor))) return {};
    value = executor.PopOperand();
    if (value.GetFlatType() && expression.program && clock.deeds == deeds) Translate(expression, names);
    return value;
}

Operand Evaluator::Evaluate(Expression& expression, s_str& error) {
    if (m_work.language.IsTesting()) return FailTesting(error);
    Operand value;
    if (expression.memo.Holds(m_work.limits)) {
        (void)expression.memo.Recall(m_work.limits, value, error);
        return value;
    }
    const Recording recording(m_work.limits);
    value = Run(expression, error);
    expression.memo.Remember(value, recording, m_work.limits);
    return value;
}

Operand Evaluator::EvaluateAnew(Expression& expression, s_str& error) {
    return m_work.language.IsTesting() ? FailTesting(error) : Run(expression, error);
}

/// Fails, without a message, if there is no flat program, or if it takes too many levels.
Outcome Evaluator::RunFlat(const Expression& expression, Operand& value, s_str& error) {
    const s_refptr<Program> program = expression.program;
    const Clock& clock = m_work.limits.GetClock();
    if (!program || !program->flat.HoldsFor(clock.Names())) return Outcome::Failed;
    const FlatProgram& flat = program->flat;
    if (flat.GetDepth() > m_work.limits.GetRemainingLevels()) return Outcome::Failed;
    Word word = 0;
    if (const Outcome outcome = flat.Run(m_work.limits, clock.Moment(), word, error); !outcome) return outcome;
    m_work.limits.Reach(flat.GetDepth());
    value = {flat.GetResultType(), word};
    return Outcome::WentOn;
}

/// Translates the program if it is evaluated for the second time without a change in between: then it is worth it.
void Evaluator::Translate(Expression& expression, std::uint64_t names) {
    Program& program = *expression.program;
    const Clock& clock = m_work.limits.GetClock();
    if (program.language != clock.language || clock.Names() != names) return;
    if (std::exchange(program.lastNames, names) == names)
        program.flat.Translate(program, m_work.state, m_work.symbols, m_work.language, names);
}

/// What is left to run of a kept operation.
struct Evaluator::Part {
    Expression* expression; ///< null for an operator
    const s_str* op;
};

/// Runs an operation as its text would run: left operand, right operand, operator.
Outcome Evaluator::RunOperation(Expression& expression, Executor& executor) {
    m_work.language.Refresh();
    expression.Update(m_work.language.GetOperatorsVersion());
    std::vector<Part> parts{{&expression, nullptr}}; // the last one runs next
    while (!parts.empty()) {
        const Part part = parts.back();
        parts.pop_back();
        if (part.op) executor.Begin({});
        const Outcome outcome = part.op ? executor.Apply(*part.op) : RunPart(*part.expression, executor, parts);
        if (!outcome) return outcome;
    }
    return Outcome::WentOn;
}

Outcome Evaluator::RunPart(Expression& expression, Executor& executor, std::vector<Part>& parts) {
    if (expression.memo.Holds(m_work.limits)) {
        Operand value;
        const Outcome outcome = expression.memo.Recall(m_work.limits, value, executor.GetError());
        return outcome ? executor.Push(std::move(value)) : outcome;
    }
    const KeptOperation* const operation = expression.GetOperation();
    if (!operation) return RunText(expression, executor);
    parts.push_back({nullptr, &operation->op});
    parts.push_back({operation->right.expression.Get(), nullptr});
    parts.push_back({operation->left.expression.Get(), nullptr});
    return Outcome::WentOn;
}

/// Parses a text into a program, for the current language.
Outcome Evaluator::ParseProgram(Expression& expression, s_str& error) {
    const s_refptr<Program> program = make_refptr<Program>();
    s_refptr<Program> running = expression.program; // a running program must survive
    if (running) program->variables = running->variables;
    while (running && running->runs == 0) running = running->before;
    program->before = std::move(running);

    m_work.language.Refresh();
    const std::string_view text = expression.GetSharedText().view;
    program->language = m_work.limits.GetClock().language;
    if (!program->variables) program->references = CountReferences(text);
    if (m_work.limits.MustStopBefore(text.size())) return m_work.limits.CheckStopped(error);
    Recorder recorder(*program, m_work.limits, error);
    const Outcome outcome = Parse(text, m_work.language, m_memory, recorder);
    if (outcome.IsAbandoned()) return outcome;                               // any other failure is one of the steps
    if (m_work.limits.IsStopped()) return m_work.limits.CheckStopped(error); // then steps may be missing
    expression.program = program;
    return Outcome::WentOn;
}

Operand Evaluator::ApplyBinary(std::string_view op, const Operand& left, const Operand& right, s_str& error) {
    const EngineLimits::Entry entry(m_work.limits);
    const Outcome outcome = m_work.limits.Spend(1, error);
    return outcome ? m_work.dispatcher.ApplyBinary(op, left, right, error) : outcome;
}

Operand Evaluator::ApplyUnary(const Table<UnaryOverloads>& operators, const Operand& operand, std::string_view before,
                              std::string_view after, s_str& error) {
    const EngineLimits::Entry entry(m_work.limits);
    if (const Outcome outcome = m_work.limits.Spend(1, error); !outcome) return outcome;
    const UnaryOverloads* const overloads = FindIn(operators, before.empty() ? after : before);
    return m_work.dispatcher.ApplyUnary(overloads, operand, before, after, error);
}

Operand Evaluator::ApplyLeftUnary(std::string_view op, const Operand& operand, s_str& error) {
    return ApplyUnary(m_work.language.GetRegistry().leftUnaryOperators, operand, {}, op, error);
}

Operand Evaluator::ApplyRightUnary(std::string_view op, const Operand& operand, s_str& error) {
    return ApplyUnary(m_work.language.GetRegistry().rightUnaryOperators, operand, op, {}, error);
}

Outcome Evaluator::PassSteps(std::string_view text, StepSink& sink, s_str& error) {
    if (m_work.language.IsTesting()) return FailTesting(error);
    m_work.language.Refresh();
    return Parse(text, m_work.language, m_memory, sink);
}

void Evaluator::Explain(Failure& failure, std::string_view text) const {
    const Fault& fault = m_work.fault;
    if (m_work.limits.OutcomeOf(false, failure.error).IsAbandoned()) {
        failure.kind = m_work.limits.GetAbandonment()->kind;
    } else if (fault.Ends(failure.error)) {
        failure.kind = fault.kind;
        if (fault.at && Contains(text, fault.at)) failure.position = static_cast<std::size_t>(fault.at - text.data());
    }
}

SharedText Evaluator::ShareText(std::string_view text) const {
    // A small part would keep all of the text alive.
    const SharedText* const source = m_work.source.text;
    if (source && Contains(source->view, text) && text.size() >= source->whole->View().size() / 2)
        return {source->whole, text};
    const s_refptr<const s_str> copy = make_refptr<s_str>(text);
    return {copy, *copy};
}

} // namespace Quarn
