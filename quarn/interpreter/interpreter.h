#pragma once

#include <new>
#include <stdexcept>

#include "quarn/interpreter/state.h"
#include "quarn/interpreter/statements.h"

namespace Quarn {

/// The parts of a `State`. Each uses only those above it.
struct Interpreter {
    explicit Interpreter(State& state)
        : dispatcher(state, limits, language), evaluator(state, limits, language, symbols, dispatcher),
          statements(state, limits, language, symbols, evaluator) {}

    ~Interpreter() { limits.DestroyDiscarded(); } // they may use what is below
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    static Interpreter& Of(State& state) { return *state.m_interpreter; }

    /// The value that `evaluate` gives for a caller outside of the engine, one level deeper. Null, with a message, if
    /// that is too deep, or if the statement was stopped meanwhile.
    template <class Evaluate> Operand Enter(s_str& error, const Evaluate& evaluate) {
        const std::size_t position = error.View().size();
        ++clock.entered;
        const Limits::Level level(limits);
        if (!level) return limits.AbandonTooDeep(error);
        Operand value = evaluate();
        const Outcome outcome = limits.CheckStopped(error, position);
        if (outcome) return value;
        limits.Destroy(std::move(value).ToObject());
        return outcome;
    }

    /// The same for the evaluation of a text, by `evaluate(failure.error)`. If it fails, so does this.
    template <class Evaluate> Operand Answer(std::string_view text, Failure& failure, const Evaluate& evaluate) {
        evaluator.ForgetFault();
        try {
            Operand value = Enter(failure.error, [&] { return evaluate(failure.error); });
            if (!value) evaluator.Explain(failure, text);
            return value;
        } catch (const std::bad_alloc&) {
        } catch (const std::length_error&) { // a container larger than any memory
        }
        failure = {"\tError : Out of memory", FailureKind::OutOfMemory};
        return {};
    }

    Clock clock;
    EngineLimits limits{clock};
    Language language{clock};
    SymbolTable symbols{clock};
    Dispatcher dispatcher;
    Evaluator evaluator;
    Statements statements;
};

} // namespace Quarn
