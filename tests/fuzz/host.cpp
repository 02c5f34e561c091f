// The fuzzer's second target: the library used by a host that does everything a host may do. It has random tables of
// operators, callables that throw, define, erase, register and evaluate during an evaluation, a stream that carries out
// statements, two states, and budgets and allocations that run out.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <istream>
#include <ostream>
#include <random>
#include <stdexcept>
#include <streambuf>

#include "../failing_allocation.h"
#include "../slow_evaluator.h"
#include "require.h"
#include <quarn/quarn.h>

namespace {

using namespace Quarn;

/// The first bytes of the input seed all choices; the rest is played.
class Choices {
public:
    explicit Choices(std::string_view input) {
        std::uint32_t seed = 0;
        for (int i = 0; i < 4 && !input.empty(); ++i, input.remove_prefix(1))
            seed = seed << 8 | static_cast<unsigned char>(input.front());
        m_random.seed(seed);
        m_rest = input;
    }

    unsigned Below(unsigned bound) { return static_cast<unsigned>(m_random() % bound); }
    std::string_view Rest() const { return m_rest; }

private:
    std::minstd_rand m_random;
    std::string_view m_rest;
};

/// Keeps the last text written, in fixed memory, and carries out statements while it is written to.
class Stream : public std::streambuf {
public:
    State* interrupted = nullptr;
    std::string_view lastText() const { return {m_last.data(), m_size}; }

private:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        m_size = std::string_view(text, static_cast<std::size_t>(count)).copy(m_last.data(), m_last.size());
        if (interrupted && m_interruptions < 20) {
            ++m_interruptions;
            interrupted->ParseLine("i = i+1; ?x");
        }
        return count;
    }
    int overflow(int character) override { return character; }

    std::array<char, 64> m_last{};
    std::size_t m_size = 0;
    int m_interruptions = 0;
};

class Host {
public:
    Host(Choices& choices, Host* other, bool hasPlainOperators) : m_other(other) {
        m_state.SetStreams(m_input, m_output);
        m_state.SetInteractive(choices.Below(2) == 1);
        Vector::Register(m_state);
        SetOperators(choices, hasPlainOperators);
    }

    State& GetState() { return m_state; }
    Stream& GetStream() { return m_stream; }

    void RegisterCallables() {
        Binding bind(m_state);
        bind.Function("throws", []() -> double { throw std::runtime_error("mine"); });
        bind.Function("fails", [](s_str& error) -> s_refptr<Symbol> { return Fail(error, "mine"); });
        bind.Function("named", []() -> s_refptr<Symbol> { return make_refptr<Scalar>("n", 3); });
        bind.Function("defines", [](State& state, double a) {
            state.ParseLine("x = " + std::to_string(a) + "; r &= x+r; v = <1, &x>");
            return a;
        });
        bind.Function("erases", [](State& state) {
            state.ParseLine("~x;~r;~v;~z");
            return 1.0;
        });
        bind.Function("registers", [](State& state, double a) {
            Binding later(state);
            later.Function("late", [a](double b) { return a + b; });
            later.Binary("+", [](const Scalar& b, const Vector&) { return b.GetValue(); });
            later.LeftUnary("!", [](double b) { return -b; });
            s_str error;
            state.SetOperatorPriorities({{"+", 2}}, error);
            Require(!error.Get().empty(), "operators were replaced during an evaluation");
            return a;
        });
        bind.Function("evaluates", [](State& state) -> s_refptr<Symbol> {
            s_str swallowed;
            s_refptr<Symbol> value = state.ParseSymbol("", "r+z", swallowed, false);
            return value ? value : make_refptr<Scalar>(2);
        });
        bind.Function("elsewhere", [other = m_other](double a) {
            if (other) other->m_state.ParseLine("x = x+1; r; u*2; ?v");
            return a;
        });
        m_state.EditRegistry().constructors["Do"] = [](State& state, const s_str& name, std::string_view text, s_bool,
                                                       s_str&) {
            state.ParseLine(text);
            return make_refptr<Scalar>(name, 1);
        };
        m_state.EditRegistry().types["Do"] = [](const s_str& name) { return make_refptr<Scalar>(name); };
    }

    void Play(std::string_view line) {
        try {
            m_state.ParseLine(line);
        } catch (const std::runtime_error&) {
        } catch (const std::bad_alloc&) { // for the report of a line that the stream carried out
        }
        Require(m_state.GetSymbols().contains("_"), "there is no last result");
    }

    void CheckThatItWorks() {
        AllocationsLeft = ~std::size_t{0};
        m_stream.interrupted = nullptr;
        m_output.clear();
        m_state.GetLimits().SetStepBudget(Limits::Unlimited);
        m_state.ParseLine("sound = abs(3)");
        Require(m_stream.lastText() == "\tDefining Scalar : 3\n", "a simple statement fails");
    }

private:
    void SetOperators(Choices& choices, bool hasPlainOperators) {
        constexpr std::array plain{"+", "-", "*", "/", "%", "^", "!", "#", "k"};
        constexpr std::array others{"mod", "and", "=>", "**", "..", "xm", "or", "xx", "-->"};
        // If "[]" binds less tightly than another operator, " []" may become that operator when an operand is trimmed.
        OperatorPriorities priorities{{"[]", hasPlainOperators ? 9 : choices.Below(6)}};
        for (const char* op : plain)
            if (choices.Below(4)) priorities[op] = choices.Below(6);
        for (const char* op : others)
            if (!hasPlainOperators && !choices.Below(3)) priorities[op] = choices.Below(6);
        s_str error;
        m_state.SetOperatorPriorities(priorities, error); // fails if one begins with another
        Binding bind(m_state, Purity::Pure);
        for (const auto& [op, priority] : m_state.GetOperatorPriorities()) {
            if (choices.Below(2)) bind.Binary(op, [](double a, double b) { return a * 2 - b; });
            if (choices.Below(3) == 0) bind.RightUnary(op, [](double a) { return a + 1; });
            if (choices.Below(3) == 0) bind.LeftUnary(op, [](double a) { return a - 1; });
        }
    }

    Host* m_other;
    Stream m_stream;
    std::ostream m_output{&m_stream};
    std::istream m_input{nullptr};
    State m_state;
};

std::string OutcomeOf(State& state, const s_refptr<Symbol>& value, const s_str& error) {
    if (!value) return error.Get();
    s_str text = error + "|" + value->GetRealType() + "|" + value->GetType() + "|" + value->GetName() + "|";
    const Result<s_str> shown = state.TextOf(*value);
    return shown ? (text + *shown).Get() : shown.GetError().Get();
}

template <class Take> void ForEachLine(std::string_view script, const Take& take) {
    while (!script.empty()) {
        const std::size_t end = std::min(script.find('\n'), script.size());
        take(script.substr(0, end));
        script.remove_prefix(std::min(end + 1, script.size()));
    }
}

/// Short inputs end without a budget: every doubling needs another name.
constexpr std::size_t ShortInput = 120;

void PlayAsHost(Choices choices) {
    const bool isLimited = choices.Below(4) != 0;
    const std::uint64_t budget = std::uint64_t{1} << choices.Below(15);
    const unsigned nesting = choices.Below(2) ? Limits::DeepestNesting : choices.Below(20);
    const bool isInterrupted = choices.Below(4) == 0;
    const std::size_t allocations = choices.Below(3) ? ~std::size_t{0} : choices.Below(256) * 4;
    Host first(choices, nullptr, false);
    Host second(choices, &first, false);
    for (Host* host : {&first, &second}) {
        host->RegisterCallables();
        State& state = host->GetState();
        state.GetLimits().SetDeepestNesting(nesting);
        if (isLimited || choices.Rest().size() > ShortInput) state.GetLimits().SetStepBudget(budget);
        if (isInterrupted) host->GetStream().interrupted = &state;
    }
    AllocationsLeft = allocations;
    ForEachLine(choices.Rest(), [&](std::string_view line) {
        if (line.starts_with('@')) first.Play(line.substr(1));
        else second.Play(line);
    });
    first.GetState().GetLimits().SetDeepestNesting(Limits::DeepestNesting);
    second.GetState().GetLimits().SetDeepestNesting(Limits::DeepestNesting);
    first.CheckThatItWorks();
    second.CheckThatItWorks();
}

/// Carries out the lines as statements; those that are expressions are also compared with the slow evaluator.
void Compare(Choices choices) {
    Host host(choices, nullptr, true);
    State& state = host.GetState();
    SlowEvaluator slow(state);
    constexpr std::uint64_t Budget = 20'000;
    ForEachLine(choices.Rest(), [&](std::string_view line) {
        if (line.find("rand") != line.npos) return;
        state.GetLimits().SetStepBudget(Budget);
        host.Play(line);
        if (line.find_first_of(";=:~?") != line.npos) return;
        s_str fastError;
        s_str slowError;
        state.GetLimits().SetStepBudget(Budget);
        const s_refptr<Symbol> fast = state.ParseSymbol("", line, fastError, false);
        const std::string fastOutcome = OutcomeOf(state, fast, fastError);
        state.GetLimits().SetStepBudget(Budget);
        const s_refptr<Symbol> slowValue = slow.ParseSymbol("", s_str(line), slowError, false);
        const std::string slowOutcome = OutcomeOf(state, slowValue, slowError);
        // The slow evaluator spends its steps differently.
        for (const std::string& outcome : {fastOutcome, slowOutcome})
            if (outcome.find("Too many steps") != outcome.npos || outcome.find("levels deep") != outcome.npos) return;
        if (fastOutcome != slowOutcome)
            std::fprintf(stderr, "%s\nfast: %s\nslow: %s\n", std::string(line).c_str(), fastOutcome.c_str(),
                         slowOutcome.c_str());
        Require(fastOutcome == slowOutcome, "fast and slow evaluation differ");
        Formula formula(state, line);
        for (int i = 0; i < 3; ++i) { // first with objects, then with words
            const Result<s_refptr<Symbol>> value = formula.Evaluate();
            const std::string outcome = OutcomeOf(state, value ? *value : nullptr, value.GetError());
            Require(outcome == fastOutcome || outcome.find("Too many steps") != outcome.npos,
                    "a formula and its text differ");
            // What is found without an evaluation is what it fails with, if it gets there.
            const std::optional<Failure> fault = formula.Check();
            Require(!value || !fault, "a formula with a fault has a value");
            if (value || value.GetKind() != FailureKind::Text || !value.GetPosition()) continue;
            Require(fault && fault->position == value.GetPosition() && fault->error == value.GetError(),
                    "a fault differs from that of the evaluation");
        }
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t LongestCompared = 400; // the slow evaluator recurses for each operator
    Choices choices({reinterpret_cast<const char*>(data), size});
    AllocationsLeft = ~std::size_t{0};
    if (choices.Below(3) == 0 && size < LongestCompared) Compare(choices);
    else PlayAsHost(choices);
    AllocationsLeft = ~std::size_t{0};
    return 0;
}
