// The C interface: each function turns what a `State` or a `Formula` gives into a status.

#include "quarn/c.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <iostream>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <streambuf>
#include <utility>

#include "quarn/quarn.h"

using namespace Quarn;

namespace {

std::string_view View(const char* text) { return text ? text : ""; }

/// Hands on what is printed.
class Output : public std::streambuf {
public:
    struct Taker {
        quarn_write write = nullptr;
        void* host = nullptr;
    };
    Taker taker;

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        if (taker.write && size > 0) taker.write(taker.host, text, static_cast<std::size_t>(size));
        return size;
    }
    int_type overflow(int_type character) override {
        const char text = traits_type::to_char_type(character);
        xsputn(&text, 1);
        return traits_type::not_eof(character);
    }
};

constexpr quarn_status StatusOf(FailureKind kind) {
    return static_cast<quarn_status>(static_cast<int>(kind) + static_cast<int>(QUARN_TEXT));
}
static_assert(StatusOf(FailureKind::Text) == QUARN_TEXT && StatusOf(FailureKind::OutOfMemory) == QUARN_OUT_OF_MEMORY);

} // namespace

struct quarn_state {
    State state;
    Output output;
    std::ostream stream{&output};
    std::atomic<bool> isCancelled = false;
    std::size_t userCount = 1; ///< the host, and formulas

    // What was handed out last.
    Failure failure;
    const char* message = "";
    s_str messageText;
    s_str text;
    std::vector<double> numbers;

    quarn_status Fail(Failure reason) {
        failure = std::move(reason);
        messageText = MessageOf(failure.error);
        message = messageText.Get().c_str();
        return StatusOf(failure.kind);
    }
    quarn_status FailFromLackOfMemory() {
        failure.error.Clear();
        failure.position.reset();
        message = "Out of memory";
        return QUARN_OUT_OF_MEMORY;
    }
    quarn_status Fail(std::string_view reason) { return Fail(Failure{"\tError : " + s_str(reason)}); }

    /// Keeps the value of a result, or its failure.
    template <class T, class Value> quarn_status Put(Result<T> result, Value& value) {
        if (!result) return Fail(result.GetFailure());
        value = *std::move(result);
        return QUARN_OK;
    }
    template <class T> quarn_status Accept(const Result<T>& result) {
        return result ? QUARN_OK : Fail(result.GetFailure());
    }
    quarn_status Accept(const std::optional<Failure>& failed) { return failed ? Fail(*failed) : QUARN_OK; }

    quarn_status HandOut(Result<s_str> result, const char** to) {
        const quarn_status status = Put(std::move(result), text);
        if (status == QUARN_OK) *to = text.Get().c_str();
        return status;
    }

    /// Does some work. No exception leaves it.
    template <class Work> quarn_status Do(const Work& work) noexcept {
        try {
            try {
                return work();
            } catch (const std::bad_alloc&) {
            } catch (const std::length_error&) { // a container larger than any memory
            } catch (const std::exception& exception) {
                return Fail(exception.what());
            } catch (...) {
                return Fail("An exception");
            }
        } catch (const std::bad_alloc&) { // for the message
        }
        return FailFromLackOfMemory();
    }
};

namespace {

void Release(quarn_state* state) {
    if (state && --state->userCount == 0) delete state;
}

} // namespace

struct quarn_formula {
    quarn_formula(quarn_state& state, std::string_view text) : owner(state), formula(state.state, text) {
        ++owner.userCount;
    }

    quarn_state& owner;
    Formula formula;
};

namespace {

/// Copies the texts first: the state may change meanwhile.
template <class Texts> quarn_status HandEach(const Texts& texts, quarn_take take, void* host) {
    const std::vector<s_str> copies(texts.begin(), texts.end());
    for (const s_str& text : copies) take(host, text.Get().c_str());
    return QUARN_OK;
}

template <std::size_t> using Number = double;

template <std::size_t... Parameters> void Define(quarn_state& state, const s_str& name, Purity purity,
                                                 quarn_function function, void* host,
                                                 std::index_sequence<Parameters...>) {
    const auto call = [&state, function, host](Number<Parameters>... arguments) -> Result<double> {
        const std::array<double, sizeof...(Parameters) + 1> list{arguments...}; // never empty
        double result = 0;
        state.failure.error.Clear();
        const quarn_status status = function(&state, host, list.data(), sizeof...(Parameters), &result);
        if (status == QUARN_OK) return result;
        if (state.failure.error.IsEmpty()) state.Fail("The function has failed");
        return Result<double>::Error(state.failure.error, state.failure.kind);
    };
    Binding(state.state, purity).Function(name, call);
}

/// Defines a function of `parameters` numbers, one of those that are counted.
template <std::size_t... Counts, class... More>
void DefineOneOf(std::index_sequence<Counts...>, std::size_t parameters, More&... more) {
    ((Counts == parameters ? Define(more..., std::make_index_sequence<Counts>()) : void()), ...);
}

/// Rounds down, to at most the largest number of the type.
template <class Whole> Whole Clamped(double number) {
    return number < static_cast<double>(std::numeric_limits<Whole>::max()) ? static_cast<Whole>(number)
                                                                           : std::numeric_limits<Whole>::max();
}

} // namespace

unsigned quarn_c_version() { return QUARN_C_VERSION; }

quarn_status quarn_new(quarn_state** state) {
    try {
        auto made = std::make_unique<quarn_state>();
        Vector::Register(made->state);
        made->state.SetStreams(std::cin, made->stream);
        made->state.GetLimits().SetCancellation(&made->isCancelled);
        *state = made.release();
        return QUARN_OK;
    } catch (...) {
        return QUARN_OUT_OF_MEMORY;
    }
}

void quarn_free(quarn_state* state) { Release(state); }

const char* quarn_error(const quarn_state* state) { return state->message; }

size_t quarn_error_position(const quarn_state* state) { return state->failure.position.value_or(QUARN_NOWHERE); }

quarn_status quarn_run(quarn_state* state, const char* line, quarn_write write, void* host) {
    struct Redirected {
        Output& output;
        const Output::Taker before;
        Redirected(Output& from, Output::Taker to) : output(from), before(std::exchange(from.taker, to)) {}
        ~Redirected() { output.taker = before; }
    };
    return state->Do([&] {
        const Redirected redirected(state->output, {write, host});
        if (state->state.ParseLine(View(line))) return QUARN_OK;
        state->Fail("A statement has failed");
        return QUARN_REPORTED;
    });
}

quarn_status quarn_evaluate(quarn_state* state, const char* expression, double* number) {
    return state->Do([&] { return state->Put(state->state.Evaluate<double>(View(expression)), *number); });
}

quarn_status quarn_evaluate_vector(quarn_state* state, const char* expression, const double** numbers, size_t* count) {
    return state->Do([&] {
        const quarn_status status =
            state->Put(state->state.Evaluate<std::vector<double>>(View(expression)), state->numbers);
        if (status != QUARN_OK) return status;
        *numbers = state->numbers.data();
        *count = state->numbers.size();
        return QUARN_OK;
    });
}

quarn_status quarn_evaluate_text(quarn_state* state, const char* expression, const char** text) {
    return state->Do([&] {
        const Result<s_refptr<Symbol>> value = state->state.Evaluate(View(expression));
        return value ? state->HandOut(state->state.TextOf(**value), text) : state->Accept(value);
    });
}

quarn_status quarn_set(quarn_state* state, const char* name, double number) {
    return state->Do([&] { return state->Accept(state->state.Set(View(name), number)); });
}

quarn_status quarn_set_vector(quarn_state* state, const char* name, const double* numbers, size_t count) {
    return state->Do(
        [&] { return state->Accept(state->state.Set(View(name), std::vector<double>(numbers, numbers + count))); });
}

quarn_status quarn_get(quarn_state* state, const char* name, double* number) {
    return state->Do([&] { return state->Put(state->state.Get<double>(View(name)), *number); });
}

quarn_status quarn_erase(quarn_state* state, const char* name) {
    return state->Do([&] {
        if (state->state.Erase(View(name))) return QUARN_OK;
        return state->Fail({"\tError : Unknown symbol '" + s_str(View(name)) + "'", FailureKind::UnknownName});
    });
}

quarn_status quarn_names(quarn_state* state, quarn_take take, void* host) {
    return state->Do([&] {
        std::vector<std::string_view> names;
        for (const auto& [name, value] : state->state.GetSymbols()) names.push_back(name.View());
        return HandEach(names, take, host);
    });
}

quarn_status quarn_complete(quarn_state* state, const char* line, size_t position, size_t* begin, quarn_take take,
                            void* host) {
    return state->Do([&] {
        const std::string_view text = View(line);
        const Completions completions = state->state.Complete(text, std::min(position, text.size()));
        *begin = completions.begin;
        return HandEach(completions.candidates, take, host);
    });
}

quarn_status quarn_preview(quarn_state* state, const char* line, double seconds, const char** text) {
    return state->Do([&] {
        if (!(seconds >= 0)) return state->Fail("No limit can be " + s_str(seconds));
        return state->HandOut(state->state.Preview(View(line), std::chrono::duration<double>(seconds)), text);
    });
}

quarn_status quarn_define(quarn_state* state, const char* name, size_t parameters, quarn_purity purity,
                          quarn_function function, void* host) {
    return state->Do([&] {
        s_str error;
        const s_str key = View(name);
        if (key.IsEmpty()) return state->Fail("A function needs a name");
        if (!function) return state->Fail("No function for the name '" + key + "'");
        if (!state->state.CheckSymbolName(key, error)) return state->Fail(Failure{error});
        if (parameters > QUARN_MOST_PARAMETERS) return state->Fail("A function has at most 8 parameters");
        const Purity kind = purity == QUARN_PURE ? Purity::Pure : Purity::Impure;
        DefineOneOf(std::make_index_sequence<QUARN_MOST_PARAMETERS + 1>(), parameters, *state, key, kind, function,
                    host);
        return QUARN_OK;
    });
}

quarn_status quarn_fail(quarn_state* state, const char* message) {
    return state->Do([&] { return state->Fail(View(message)); });
}

quarn_status quarn_limit(quarn_state* state, quarn_limited limited, double most) {
    return state->Do([&] {
        if (!(most >= 0) || (limited == QUARN_LEVELS && !std::isfinite(most)))
            return state->Fail("No limit can be " + s_str(most));
        Limits& limits = state->state.GetLimits();
        switch (limited) {
        case QUARN_STEPS: limits.SetStepBudget(Clamped<std::uint64_t>(most)); break;
        case QUARN_SECONDS: limits.SetTimeLimit(std::chrono::duration<double>(most)); break;
        case QUARN_LEVELS: limits.SetDeepestNesting(Clamped<unsigned>(most)); break;
        case QUARN_STACK: limits.SetStackSize(Clamped<std::size_t>(most)); break;
        case QUARN_MEMORY: limits.SetMemory(Clamped<std::uint64_t>(most)); break;
        }
        return QUARN_OK;
    });
}

void quarn_cancel(quarn_state* state, int isCancelled) { state->isCancelled = isCancelled != 0; }

quarn_status quarn_formula_new(quarn_state* state, const char* expression, quarn_formula** formula) {
    return state->Do([&] {
        *formula = new quarn_formula(*state, View(expression));
        return QUARN_OK;
    });
}

void quarn_formula_free(quarn_formula* formula) {
    quarn_state* const owner = formula ? &formula->owner : nullptr;
    delete formula;
    Release(owner);
}

quarn_status quarn_formula_check(quarn_formula* formula) {
    return formula->owner.Do([&] { return formula->owner.Accept(formula->formula.Check()); });
}

quarn_status quarn_formula_names(quarn_formula* formula, quarn_named named, quarn_take take, void* host) {
    return formula->owner.Do([&] {
        const Formula::Names names = formula->formula.GetNames();
        return HandEach(named == QUARN_FUNCTIONS ? names.functions : names.symbols, take, host);
    });
}

quarn_status quarn_formula_bind(quarn_formula* formula, const char* name, const double* number) {
    return formula->owner.Do([&] {
        if (number && formula->formula.Bind(View(name), *number)) return QUARN_OK;
        return formula->owner.Fail("No variable can have the name '" + s_str(View(name)) + "'");
    });
}

quarn_status quarn_formula_evaluate(quarn_formula* formula, double* number) {
    return formula->owner.Do([&] { return formula->owner.Put(formula->formula.Evaluate<double>(), *number); });
}

quarn_status quarn_formula_evaluate_each(quarn_formula* formula, double* numbers, size_t count,
                                         const quarn_values* variables, size_t variableCount) {
    return formula->owner.Do([&] {
        std::vector<Formula::Values> values;
        for (const quarn_values& variable : std::span(variables, variableCount))
            values.emplace_back(View(variable.name), std::span(variable.numbers, count));
        return formula->owner.Accept(
            formula->formula.EvaluateEach(std::span(numbers, count), std::span<const Formula::Values>(values)));
    });
}
