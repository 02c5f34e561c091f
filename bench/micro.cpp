// The cost of the parts of a statement (scanning, literals, dispatch, number to text) and of each form of statement.

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <istream>
#include <ostream>
#include <random>
#include <streambuf>
#include <vector>

#include <quarn/core/elementary.h>
#include <quarn/quarn.h>

namespace {

using namespace Quarn;

class Unread : public std::streambuf {
    int overflow(int character) override { return character; }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

struct Session {
    Unread unread;
    std::ostream output{&unread};
    std::istream input{&unread};
    State state;

    Session() {
        state.SetStreams(input, output);
        Vector::Register(state);
        state.ParseLine("a = 3;b = 0.7;v = <1, 2, 3>;r &= a+b");
    }
};

void Scanning(benchmark::State& run) {
    Session session;
    std::string text = "1";
    for (int i = 1; i < run.range(0); ++i) text += "+a*(b-2)";
    for (auto _ : run) {
        s_ctnr_t<s_str> pieces;
        s_str error;
        benchmark::DoNotOptimize(session.state.SplitOperators(pieces, text, error));
    }
    run.SetComplexityN(run.range(0));
}
BENCHMARK(Scanning)->RangeMultiplier(10)->Range(1, 100'000)->Complexity(benchmark::oN);

void Literals(benchmark::State& run) {
    Session session;
    s_str error;
    for (auto _ : run) benchmark::DoNotOptimize(session.state.ParseSymbol("", "1234.5678", error, false));
}
BENCHMARK(Literals);

void Dispatch(benchmark::State& run) {
    Session session;
    s_str error;
    const s_refptr<Symbol> a = make_refptr<Scalar>(3);
    const s_refptr<Symbol> b = make_refptr<Scalar>(4);
    for (auto _ : run) benchmark::DoNotOptimize(session.state.ApplyBinaryOperator("+", a, b, error));
}
BENCHMARK(Dispatch);

void NumberToText(benchmark::State& run) {
    const double value = run.range(0) ? 1234567 : 22.0 / 7;
    for (auto _ : run) benchmark::DoNotOptimize(PlainText(value));
}
BENCHMARK(NumberToText)->Arg(0)->Arg(1)->ArgName("whole");

/// A function, or the C library's, of numbers in a range.
void FunctionOf(benchmark::State& run, double (*function)(double), double lowest, double highest) {
    std::mt19937_64 random(1);
    std::vector<double> numbers(4096);
    for (double& number : numbers) number = std::uniform_real_distribution<>(lowest, highest)(random);
    for (auto _ : run)
        for (const double number : numbers) benchmark::DoNotOptimize(function(number));
    run.SetItemsProcessed(run.iterations() * static_cast<std::int64_t>(numbers.size()));
}
#define BENCHMARK_FUNCTION(name, own, other, lowest, highest)                                                          \
    BENCHMARK_CAPTURE(                                                                                                 \
        FunctionOf, name, [](double x) { return own; }, lowest, highest);                                              \
    BENCHMARK_CAPTURE(                                                                                                 \
        FunctionOf, name##_of_the_c_library, [](double x) { return other; }, lowest, highest)
BENCHMARK_FUNCTION(exp, Elementary::Exp(x), std::exp(x), -10, 10);
BENCHMARK_FUNCTION(log, Elementary::Log(x), std::log(x), 0.1, 100);
BENCHMARK_FUNCTION(sin, Elementary::Sin(x), std::sin(x), -10, 10);
BENCHMARK_FUNCTION(cos, Elementary::Cos(x), std::cos(x), -10, 10);
BENCHMARK_FUNCTION(tan, Elementary::Tan(x), std::tan(x), -10, 10);
BENCHMARK_FUNCTION(asin, Elementary::Asin(x), std::asin(x), -1, 1);
BENCHMARK_FUNCTION(acos, Elementary::Acos(x), std::acos(x), -1, 1);
BENCHMARK_FUNCTION(atan, Elementary::Atan(x), std::atan(x), -10, 10);
BENCHMARK_FUNCTION(square, Elementary::Pow(x, 2), std::pow(x, 2), 0.1, 100);
BENCHMARK_FUNCTION(power_of_7, Elementary::Pow(x, 7), std::pow(x, 7), 0.1, 100);
BENCHMARK_FUNCTION(power_of_16, Elementary::Pow(x, 16), std::pow(x, 16), 0.1, 100);
BENCHMARK_FUNCTION(power, Elementary::Pow(x, 2.37), std::pow(x, 2.37), 0.1, 100);

void Statement(benchmark::State& run, const char* text) {
    Session session;
    for (auto _ : run) session.state.ParseLine(text);
}
BENCHMARK_CAPTURE(Statement, expression, "a+b*2");
BENCHMARK_CAPTURE(Statement, assignment, "x = a+b*2");
BENCHMARK_CAPTURE(Statement, reference, "y &= a+b*2");
BENCHMARK_CAPTURE(Statement, definition, "z:Scalar(2.5)");
BENCHMARK_CAPTURE(Statement, inspection, "?a");
BENCHMARK_CAPTURE(Statement, call, "max(sqrt(a), b)");
BENCHMARK_CAPTURE(Statement, vector, "<a, b, 1>+v");
BENCHMARK_CAPTURE(Statement, index, "v[a]");
BENCHMARK_CAPTURE(Statement, reference_use, "r+1");
BENCHMARK_CAPTURE(Statement, error, "a+(");

// `a*x+b` with a new x each time: as a formula, as a text, and as a tree of closures that does nothing else.

void FormulaOfVariable(benchmark::State& run) {
    Session session;
    const std::atomic<bool> isCancelled = false;
    if (run.range(0)) {
        session.state.GetLimits().SetStepBudget(1'000'000);
        session.state.GetLimits().SetTimeLimit(std::chrono::seconds(10));
        session.state.GetLimits().SetCancellation(&isCancelled);
    }
    double x = 0;
    Formula formula(session.state, "a*x+b");
    formula.Bind("x", x);
    for (auto _ : run) {
        ++x;
        benchmark::DoNotOptimize(*formula.Evaluate<double>());
    }
}
BENCHMARK(FormulaOfVariable)->Arg(0)->Arg(1)->ArgName("limits");

/// A thousand values at once; an item is one of them.
void FormulaOfManyValues(benchmark::State& run) {
    Session session;
    std::vector<double> values(1000);
    for (double& value : values) value = static_cast<double>(&value - values.data());
    std::vector<double> results(values.size());
    Formula formula(session.state, "a*x+b");
    for (auto _ : run) benchmark::DoNotOptimize(formula.EvaluateEach<double>(results, {{"x", values}}));
    run.SetItemsProcessed(run.iterations() * static_cast<std::int64_t>(values.size()));
}
BENCHMARK(FormulaOfManyValues);

/// A hundred references, each to the one before, shown after the first one's symbol has changed.
void ChainAfterAChange(benchmark::State& run) {
    Session session;
    const auto name = [](int i) { return std::string(1, 'r').append(std::to_string(i)); };
    session.state.ParseLine("r0 = 1");
    for (int i = 1; i <= 100; ++i) session.state.ParseLine(name(i).append(" &= ").append(name(i - 1)).append("+1"));
    double value = 0;
    for (auto _ : run) {
        session.state.Set("r0", ++value);
        session.state.ParseLine("r100");
    }
    run.SetItemsProcessed(run.iterations() * 100);
}
BENCHMARK(ChainAfterAChange);

double Twice(double a) { return 2 * a; }

/// A callable costs the same however it is written.
void FormulaThatCalls(benchmark::State& run) {
    Session session;
    double x = 1;
    const double two = 2;
    Binding bind(session.state, Purity::Pure);
    if (run.range(0) == 0) bind.Function("f", [](double a) { return 2 * a; });
    else if (run.range(0) == 1) bind.Function("f", Twice);
    else bind.Function("f", [two](double a) { return two * a; });
    Formula formula(session.state, "f(x)+1");
    formula.Bind("x", x);
    for (auto _ : run) benchmark::DoNotOptimize(*formula.Evaluate<double>());
}
BENCHMARK(FormulaThatCalls)->DenseRange(0, 2);

void FormulaOfSymbol(benchmark::State& run) {
    Session session;
    double x = 0;
    Formula formula(session.state, "a*x+b");
    for (auto _ : run) {
        session.state.Set("x", ++x);
        benchmark::DoNotOptimize(*formula.Evaluate<double>());
    }
}
BENCHMARK(FormulaOfSymbol);

void FormulaAsText(benchmark::State& run) {
    Session session;
    double x = 0;
    for (auto _ : run) {
        session.state.Set("x", ++x);
        benchmark::DoNotOptimize(*session.state.Evaluate<double>("a*x+b"));
    }
}
BENCHMARK(FormulaAsText);

using Closure = std::function<double()>;

Closure Read(const double& variable) {
    return [&variable] { return variable; };
}
Closure Product(Closure a, Closure b) {
    return [a, b] { return a() * b(); };
}
Closure Sum(Closure a, Closure b) {
    return [a, b] { return a() + b(); };
}

void FormulaAsClosures(benchmark::State& run) {
    const double a = 3;
    const double b = 0.7;
    double x = 0;
    const Closure formula = Sum(Product(Read(a), Read(x)), Read(b));
    for (auto _ : run) {
        ++x;
        benchmark::DoNotOptimize(formula());
    }
}
BENCHMARK(FormulaAsClosures);

void FlatExpression(benchmark::State& run) {
    Session session;
    std::string text = "1";
    for (int i = 1; i < run.range(0); ++i) text += "+1";
    for (auto _ : run) session.state.ParseLine(text);
    run.SetComplexityN(run.range(0));
}
BENCHMARK(FlatExpression)->RangeMultiplier(10)->Range(1'000, 1'000'000)->Complexity(benchmark::oN);

void NestedBrackets(benchmark::State& run) {
    Session session;
    const auto levels = static_cast<std::size_t>(run.range(0));
    const std::string text = std::string(levels, '(') + "1" + std::string(levels, ')');
    for (auto _ : run) session.state.ParseLine(text);
    run.SetComplexityN(run.range(0));
}
BENCHMARK(NestedBrackets)->RangeMultiplier(10)->Range(10, Limits::DeepestNesting)->Complexity(benchmark::oN);

} // namespace
