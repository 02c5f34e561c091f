#include "quarn/interpreter/engine/evaluator.h"

#include <algorithm>

#include "quarn/core/ranges.h"
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
    const auto name = FindIfNot(text, isBeforeName);
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
            kept.SetText(m_program.message = step.GetText());
            return Outcome::Failed;
        }
        if (kept.kind == Step::Kind::Name && m_program.variables) {
            if (const auto found = m_program.variables->find(kept.GetText()); found != m_program.variables->end()) {
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
/// it nests too deeply, before each level parses the rest. A formula has one from the beginning.
bool Evaluator::IsBetterParsed(Expression& expression) {
    const std::string_view text = expression.GetSharedText().view;
    const bool isFirst = !expression.program && !std::exchange(expression.wasRun, true);
    return (isFirst || text.size() > Expression::LongestWithProgram) && CountReferences(text) == 0;
}

Outcome Evaluator::RunOnce(Expression& expression, Executor& executor) {
    m_work.language.Refresh();
    executor.Begin({&expression.GetSharedText(), expression.program ? expression.program->variables.Get() : nullptr});
    return Parse(expression.GetSharedText().view, m_work.language, m_memory, executor);
}

/// Runs the program of a text.
/// Inlined, because evaluation recurses through it: a processor predicts only so many returns, so chains of references
/// are as fast as their calls are few.
[[gnu::always_inline]] inline Outcome Evaluator::RunText(Expression& expression, Executor& executor) {
    const Program* const kept = expression.program.Get();
    if (!kept || kept->language != m_work.limits.GetClock().language) {
        if (m_work.limits.MustStopBefore(expression.GetLength())) return Outcome::Failed;
        if (IsBetterParsed(expression)) return RunOnce(expression, executor);
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
    if (Operand value = RunFlat(expression)) return value;
    const Clock& clock = m_work.limits.GetClock();
    const std::uint64_t meanings = clock.Meanings();
    const std::uint64_t deeds = clock.deeds;
    Executor executor(m_work, Nameless(), error, false);
    if (!(expression.GetOperation() ? RunOperation(expression, executor) : RunText(expression, executor))) return {};
    Operand value = executor.PopOperand();
    if (expression.program && clock.deeds == deeds) {
        if (value.GetFlatType()) Translate(*expression.program, meanings);
        else expression.program->notFlat = meanings;
    }
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

/// Null, without a message, if there is no flat program, if it takes too many levels, or if it fails: then the text
/// itself must run, which will say why.
Operand Evaluator::RunFlat(const Expression& expression) {
    const s_refptr<Program> program = expression.program;
    if (!program || !program->flat) return {};
    FlatProgram& flat = *program->flat;
    EngineLimits& limits = m_work.limits;
    if (flat.GetDepth() > limits.GetRemainingLevels() || !flat.Holds(m_work)) return {};
    const std::uint64_t spent = limits.GetSpent();
    Word word = 0;
    if (!limits.SpendIfLeft(flat.GetSteps(limits.GetClock())) || !flat.Run(m_work, word)) {
        if (!limits.IsStopped()) limits.TakeBack(limits.GetSpent() - spent);
        return {};
    }
    limits.Reach(flat.GetDepth());
    return {flat.GetResultType(), word};
}

bool Evaluator::RunIsolated(FlatProgram& flat, Word& result) {
    const EngineLimits& limits = m_work.limits;
    return limits.AllowBrief(flat.GetSteps(limits.GetClock()), flat.GetDepth()) && flat.Holds(m_work) &&
           flat.Refresh(m_work) && flat.RunVarying(result);
}

bool Evaluator::RunBriefly(FlatProgram& flat, Word& result) {
    EngineLimits& limits = m_work.limits;
    const std::size_t steps = flat.GetSteps(limits.GetClock());
    if (!limits.AllowBrief(steps, flat.GetDepth()) || !flat.Holds(m_work)) return false;
    const EngineLimits::Brief level(limits, steps);
    return flat.Run(m_work, result) && !level.IsStopped();
}

/// Translates a program that has run, if that is worth it: the one of a formula always, that of a reference when it is
/// evaluated for the second time.
void Evaluator::Translate(Program& program, std::uint64_t meanings) {
    const Clock& clock = m_work.limits.GetClock();
    if (program.IsRunning() || program.language != clock.language || clock.Meanings() != meanings) return;
    if (program.flat && program.flat->IsUnfit()) program.notFlat = meanings;
    if (program.notFlat == meanings) return;
    const bool isAgain = std::exchange(program.lastMeanings, meanings) == meanings;
    if (!isAgain && !program.variables) return;
    auto flat = std::make_unique<FlatProgram>(program, m_work);
    if (flat->IsEmpty()) {
        if (!flat->IsWaiting()) program.notFlat = meanings;
        return;
    }
    program.flat = std::move(flat);
    if (!program.variables) return;
    std::vector<Step>().swap(program.steps); // they are seldom needed again, and take more memory
    program.language = 0;
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
    if (running) {
        program->variables = running->variables;
        program->isForMany = running->isForMany;
        const bool isUnfit = running->flat && running->flat->IsUnfit();
        program->notFlat = isUnfit ? m_work.limits.GetClock().Meanings() : running->notFlat;
    }
    while (running && !running->IsRunning()) running = running->before;
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
    program->steps.shrink_to_fit();
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
