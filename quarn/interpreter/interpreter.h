#pragma once

#include "quarn/interpreter/state.h"
#include "quarn/interpreter/statements.h"

namespace Quarn {

/// The parts of a `State`. Each uses only those above it.
struct Interpreter {
    explicit Interpreter(State& state)
        : dispatcher(state, limits, language, symbols), evaluator(state, limits, language, symbols, dispatcher),
          statements(state, limits, language, symbols, evaluator) {}

    ~Interpreter() { limits.DestroyDiscarded(); } // they may use what is below
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    static Interpreter& Of(State& state) { return *state.m_interpreter; }

    Limits limits;
    Language language;
    SymbolTable symbols;
    Dispatcher dispatcher;
    Evaluator evaluator;
    Statements statements;
};

} // namespace Quarn
