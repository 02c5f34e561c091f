// Formulas: what they remember, and when they may no longer.

#include <bit>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "expression_generator.h"
#include "state_test.h"

namespace {

using namespace Quarn;

class Formulas : public StateTest {};

/// What a host is told, to the bit.
std::string Told(const Result<double>& result) {
    if (result) return std::isnan(*result) ? "nan" : std::to_string(std::bit_cast<std::uint64_t>(*result));
    const std::string position = result.GetPosition() ? std::to_string(*result.GetPosition()) : "nowhere";
    return std::to_string(static_cast<int>(result.GetKind())) + " at " + position + ": " + result.GetError().Get();
}

/// Two states in which the same happens: one has formulas, the other evaluates their texts.
class Twins {
public:
    Twins() {
        for (State* state : {&formulas, &texts}) {
            state->SetStreams(input, output);
            Vector::Register(*state);
            Binding(*state, Purity::Pure).Function("nothing", [](double x) -> Result<double> {
                if (x < 2) return Result<double>::Error("\tError : Nothing below 2");
                return x - 2;
            });
        }
        for (const char* line : {"b = 3", "r &= b+1", "u &= r*2", "v = <1, 2, 3>", "z &= z+1", "w = 4", "s = 0.5"})
            Play(line);
    }
    void Play(const std::string& line) {
        formulas.ParseLine(line);
        texts.ParseLine(line);
    }
    template <class Change> void Both(const Change& change) {
        change(formulas);
        change(texts);
    }
    void ChangeSomething(ExpressionGenerator& random) {
        switch (random.Below(6)) {
        case 0: return Play(random.Pick({"r &= b*2", "r &= w", "u &= r+s", "z &= r-b", "u &= missing", "r &= 1%b"}));
        case 1: return Play(random.Pick({"~w", "w = <1, 2>", "w = 5", "other = 1", "~other", "s = 1/3", "new = 2"}));
        case 2: return Play("b = " + std::to_string(random.Below(7)));
        case 3: return Both([value = static_cast<double>(random.Below(9))](State& state) { state.Set("s", value); });
        case 4:
            return Both([shift = static_cast<double>(random.Below(3))](State& state) {
                Binding(state, Purity::Pure).Function("max", [shift](double x, double y) {
                    return std::fmax(x, y) + shift;
                });
            });
        default:
            return Both([priority = s_uint(1 + random.Below(4))](State& state) {
                OperatorPriorities priorities = state.GetOperatorPriorities();
                priorities["-"] = priority;
                state.SetOperatorPriorities(priorities);
            });
        }
    }

    std::istringstream input;
    std::ostringstream output;
    State formulas;
    State texts;
};

TEST(RandomFormulas, TellWhatTheirTextsTell) {
    ExpressionGenerator random(23);
    std::optional<Twins> twins;
    int values = 0;
    for (int i = 0; i < 3'000; ++i) {
        if (i % 50 == 0) twins.emplace();
        std::string text = random.Expression();
        std::erase(text, '&'); // references do not see the variable `a`
        if (text.find("Reference") != text.npos) continue;
        double a = 1;
        Formula formula(twins->formulas, text);
        ASSERT_TRUE(formula.Bind("a", a));
        for (int j = 0; j < 8; ++j) {
            if (random.Below(3) == 0) twins->ChangeSomething(random);
            a = static_cast<double>(random.Below(40)) / 8;
            twins->texts.Set("a", a);
            const Result<double> expected = twins->texts.Evaluate<double>(text);
            ASSERT_EQ(Told(formula.Evaluate<double>()), Told(expected)) << text << " with a = " << a;
            values += expected ? 1 : 0;
            // A formula never takes more steps.
            const std::uint64_t budget = random.Below(12);
            twins->Both([budget](State& state) { state.GetLimits().SetStepBudget(budget); });
            const Result<double> limited = formula.Evaluate<double>();
            const Result<double> limitedText = twins->texts.Evaluate<double>(text);
            twins->Both([](State& state) { state.GetLimits().SetStepBudget(Limits::Unlimited); });
            const bool mayDiffer = limitedText.GetKind() == FailureKind::StepLimit && Told(limited) == Told(expected);
            ASSERT_TRUE(mayDiffer || Told(limited) == Told(limitedText)) << text << " in " << budget;
        }
    }
    EXPECT_GT(values, 4'000);
}

TEST_F(Formulas, CallablesAreCalledNoMoreThanTheyMustBe) {
    int pure = 0;
    int isolated = 0;
    Binding(state, Purity::Pure).Function("p", [&](double x) { return ++pure, x; });
    Binding(state, Purity::Isolated).Function("i", [&](double x) { return ++isolated, x; });
    state.Set("k", 2.0);
    double x = 0;
    Formula formula(state, "i(1)+i(k)+i(x)+p(1)+p(k)+p(x)");
    formula.Bind("x", x);
    const auto expect = [&](int pureCalls, int isolatedCalls) {
        pure = isolated = 0;
        EXPECT_EQ(*formula.Evaluate<double>(), 2 * (1 + *state.Get<double>("k") + x));
        EXPECT_EQ(std::pair(pure, isolated), std::pair(pureCalls, isolatedCalls));
    };
    EXPECT_TRUE(formula.Evaluate<double>());
    expect(3, 2); // of the literal, the symbol, and the variable; `i(1)` is known
    x = 5;
    expect(1, 1);
    state.Set("k", 3.0);
    expect(3, 2);
    Play("unrelated = 1");
    expect(3, 2);
    expect(1, 1);
}

TEST_F(Formulas, ACallableThatLooksAtTheStateIsAskedEachTime) {
    Binding bind(state, Purity::Pure);
    bind.Function("last", [this](double x) { return state.Evaluate<double>("_+0").value_or(0) + x; });
    bind.Function("gets", [this](double x) { return state.Get<double>("_").value_or(0) + x; });
    state.SetLastResult(make_refptr<Scalar>(1));
    Play("r &= last(0)");
    Formula formula(state, "r+last(0)");
    Formula gets(state, "gets(0)+1");
    for (double value = 1; value < 5; ++value) {
        state.SetLastResult(make_refptr<Scalar>(value));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(*formula.Evaluate<double>(), 2 * value);
            EXPECT_EQ(*gets.Evaluate<double>(), value + 1);
        }
    }
}

TEST_F(Formulas, ACallableMayBindAVariableAnew) {
    double before = 1;
    double after = 10;
    Formula rebinds(state, "binds(s)+x");
    rebinds.Bind("x", before);
    Binding(state, Purity::Pure).Function("binds", [&](double a) {
        if (a > 5) rebinds.Bind("x", after);
        return a;
    });
    for (const double s : {1.0, 1.0, 1.0, 2.0, 6.0, 6.0, 6.0}) {
        state.Set("s", s);
        EXPECT_EQ(*rebinds.Evaluate<double>(), s + (s > 5 ? after : before));
    }
}

TEST_F(Formulas, PowersWithKnownExponentsAreRight) {
    double x = 0;
    Formula powers(state, "x^2*100+x^(-1)*8+x^3+2^x");
    powers.Bind("x", x);
    for (const double value : {2.0, 2.0, 4.0, 1.0}) {
        x = value;
        EXPECT_EQ(*powers.Evaluate<double>(), x * x * 100 + 8 / x + x * x * x + std::exp2(x));
    }
}

TEST_F(Formulas, AFormulaMayGoWhileItRuns) {
    std::optional<Formula> formula;
    bool destroys = false;
    double x = 1;
    Binding(state, Purity::Pure).Function("f", [&](double a) {
        if (destroys) formula.reset();
        if (destroys) Play("erased = 1; ~; r &= 2");
        return a;
    });
    Play("r &= 1");
    for (const bool later : {false, true}) {
        destroys = false;
        formula.emplace(state, "f(x)+r+x+f(x)");
        formula->Bind("x", x);
        for (int i = 0; i < 3 && later; ++i) EXPECT_EQ(*formula->Evaluate<double>(), *state.Evaluate<double>("r") + 3);
        destroys = true;
        EXPECT_TRUE(formula->Evaluate<double>());
        EXPECT_FALSE(formula);
    }
    Formula self(state, "g(x)");
    self.Bind("x", x);
    int depth = 0;
    Binding(state, Purity::Pure).Function("g", [&](double a) { // evaluates the formula that it is part of
        return ++depth > 3 ? a : self.Evaluate<double>().value_or(-1) + 1;
    });
    for (int i = 0; i < 3; ++i) {
        depth = 0;
        EXPECT_EQ(*self.Evaluate<double>(), 4);
    }
}

TEST_F(Formulas, AFailureAfterTheFormulaHasGoneIsThatOfTheFormula) {
    std::optional<Formula> formula;
    bool destroys = false;
    double x = 1;
    Binding(state, Purity::Pure).Function("f", [&](double a) -> Result<double> {
        if (!destroys) return a;
        formula.emplace(state, "1000+1");
        return Result<double>::Error("\tError : gone");
    });
    for (const char* text : {"f(x)+1", "f(2)+x"}) {
        destroys = false;
        formula.emplace(state, text);
        formula->Bind("x", x);
        for (int i = 0; i < 3; ++i) EXPECT_TRUE(formula->Evaluate<double>());
        destroys = true;
        state.Set("unrelated", ++x); // so that `f(2)` is evaluated again
        EXPECT_EQ(formula->Evaluate<double>().GetError().Get(), "\tError : gone") << text;
    }
}

TEST_F(Formulas, AReferenceThatGetsDeeperIsSeen) {
    Play("q = 3; a = 1; r &= q*2; p &= r+1");
    for (int i = 0; i < 3; ++i) Play("p+0");
    Play("q &= a+1");
    for (int i = 0; i < 3; ++i) Play("r*1");
    state.GetLimits().SetDeepestNesting(2);
    EXPECT_EQ(Play("p+0"), "\tError : Nested more than 2 levels deep\n");
}

TEST_F(Formulas, AReferenceSharedByTwoStatesHasTheFunctionsOfEach) {
    auto other = std::make_unique<State>();
    Binding(*other).Function("twice", [](double a) { return 2 * a; });
    Binding(state).Function("twice", [](double a) { return -2 * a; });
    state.ParseLine("r &= u+twice(1)");
    other->Set("r", state.Get("r"));
    other->ParseLine("k = r+1; u = 4");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(*other->Evaluate<double>("k+0"), 7);
    state.EditRegistry();
    other.reset();
    Play("u = 1");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(*state.Evaluate<double>("r+0"), -1);
}

TEST_F(Formulas, TheirLimitsAreThoseOfTexts) {
    double x = 1;
    std::string text = "x";
    for (int i = 0; i < 2'000; ++i) text += "+x"; // several chains of steps
    Formula formula(state, text);
    Formula brief(state, "x+1");
    for (Formula* each : {&formula, &brief}) {
        each->Bind("x", x);
        for (int i = 0; i < 3; ++i) EXPECT_TRUE(each->Evaluate<double>());
    }
    EXPECT_EQ(*formula.Evaluate<double>(), 2'001);
    bool isCancelled = true;
    state.GetLimits().SetCancellation(&isCancelled);
    for (Formula* each : {&formula, &brief}) EXPECT_EQ(each->Evaluate<double>().GetKind(), FailureKind::Cancelled);
    isCancelled = false;
    state.GetLimits().SetTimeLimit(std::chrono::seconds(0));
    EXPECT_EQ(formula.Evaluate<double>().GetKind(), FailureKind::TimeLimit);
    state.GetLimits().SetTimeLimit(std::nullopt);
    state.GetLimits().SetStepBudget(0);
    EXPECT_EQ(brief.Evaluate<double>().GetKind(), FailureKind::StepLimit);
    Formula reads(state, "x+a+b"); // reading a symbol that has changed is a step
    reads.Bind("x", x);
    state.Set("b", 1.0);
    for (unsigned budget : {5, 5, 5, 4, 4, 3}) {
        state.Set("a", 1.0);
        state.GetLimits().SetStepBudget(budget);
        EXPECT_EQ(reads.Evaluate<double>().value_or(0), budget > 3 ? 3 : 0);
    }
    Formula settles(state, "x+a*2*b*2"); // and so is each operation that has to be repeated
    settles.Bind("x", x);
    for (unsigned budget : {9, 9, 9, 6, 6, 5}) {
        state.Set("a", 1.0);
        state.GetLimits().SetStepBudget(budget);
        EXPECT_EQ(settles.Evaluate<double>().value_or(0), budget > 5 ? 5 : 0) << budget;
    }
    state.GetLimits().SetStepBudget(10);
    EXPECT_EQ(formula.Evaluate<double>().GetKind(), FailureKind::StepLimit);
    EXPECT_EQ(*brief.Evaluate<double>(), 2);
    // What a callable evaluates shares the budget, also in a formula that begins without one.
    Binding(state, Purity::Pure).Function("deep", [this](double a) {
        return state.Evaluate<double>("1+1+1+1").value_or(100) + a;
    });
    Formula nested(state, "deep(x)+deep(x)+deep(x)");
    nested.Bind("x", x);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(nested.Evaluate<double>().GetKind(), FailureKind::StepLimit);
    state.GetLimits().SetStepBudget(50);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(*nested.Evaluate<double>(), 15);
    state.GetLimits().SetStepBudget(10);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(nested.Evaluate<double>().GetKind(), FailureKind::StepLimit);
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    // What fails before the steps run out fails for its own reason.
    double zero = 0;
    Formula fails(state, "1%x+1+sin(x)+cos(x)");
    fails.Bind("x", x);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(fails.Evaluate<double>());
    fails.Bind("x", zero);
    state.GetLimits().SetStepBudget(4);
    EXPECT_EQ(fails.Evaluate<double>().GetKind(), FailureKind::Evaluation);
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    // A long run of slow callables is stopped on the way.
    int calls = 0;
    Binding(state, Purity::Pure).Function("stops", [&](double a) {
        if (++calls == 100) isCancelled = true;
        return a;
    });
    std::string slow = "stops(x)";
    for (int i = 0; i < 6'000; ++i) slow += "+stops(x)";
    Formula stopped(state, slow);
    stopped.Bind("x", x);
    calls = 1'000;
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(stopped.Evaluate<double>());
    calls = 0;
    EXPECT_EQ(stopped.Evaluate<double>().GetKind(), FailureKind::Cancelled);
    isCancelled = false;
    Play("r &= s; s &= 1");
    Formula levels(state, "r+x");
    levels.Bind("x", x);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(*levels.Evaluate<double>(), 2);
    state.GetLimits().SetDeepestNesting(1);
    EXPECT_EQ(levels.Evaluate<double>().GetKind(), FailureKind::NestingLimit);
}

TEST_F(Formulas, ManyValuesAreEvaluatedAtOnce) {
    std::vector<double> x;
    for (int i = 0; i < 1'000; ++i) x.push_back(i * 0.01 - 3);
    std::vector<float> y(x.begin(), x.end());
    std::vector<double> results(x.size());
    int k = 3;
    Binding bind(state, Purity::Pure);
    bind.Function("three", [k](double a, double b, double c) { return a * b + c * k; });
    bind.Function("looks", [this](double a) { return *state.Get<double>("s") + a; });
    state.Set("s", 2.5);
    Play("r &= s*2");
    for (const char* text :
         {"x", "y", "s*x+k", "x^2+y*r-1", "three(x, y, k)+three(1, 2, x)", "max(x, y)+sin(x)/k", "7", "<x, y>[0]+1",
          "looks(x)", "x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*x*y"}) {
        Formula each(state, text);
        each.Bind("k", k);
        for (int i = 0; i < 2; ++i) ASSERT_FALSE(each.EvaluateEach<double>(results, {{"x", x}, {"y", y}})) << text;
        Formula one(state, text);
        double a = 0;
        float b = 0;
        one.Bind("x", a);
        one.Bind("y", b);
        one.Bind("k", k);
        for (std::size_t i = 0; i < x.size(); ++i) {
            a = x[i];
            b = y[i];
            ASSERT_EQ(std::bit_cast<std::uint64_t>(*one.Evaluate<double>()), std::bit_cast<std::uint64_t>(results[i]))
                << text << " of " << a;
        }
        EXPECT_EQ(*each.Evaluate<double>(), results.back()) << "the last values stay";
    }

    Formula turns(state, "id(x)+first(0)"); // a callable evaluates it for another variable meanwhile
    std::vector<float> others{7, 8};
    Binding(state, Purity::Isolated).Function("id", [](double a) { return a; });
    bool isFirst = true;
    Binding(state).Function("first", [&](double a) {
        std::vector<double> unused(2);
        if (std::exchange(isFirst, false)) (void)turns.EvaluateEach<double>(unused, {{"x", others}});
        return a;
    });
    EXPECT_FALSE(turns.EvaluateEach<double>(std::span(results).first(3), {{"x", x}}));
    EXPECT_EQ(results[2], x[2]);
    EXPECT_FALSE(Formula(state, "x+1").EvaluateEach<double>(x, {{"x", x}})); // in place
    EXPECT_EQ(x[0], -2);
    for (double& value : x) value -= 1;

    Formula fails(state, "100%(x-1)"); // 1 is the divisor's 0 at index 400
    const std::optional<Failure> failure = fails.EvaluateEach<double>(results, {{"x", x}});
    EXPECT_EQ(failure->error.Get(), "\tError : The right operand of '%' must not be 0");
    std::vector<int> integers(4);
    Formula halves(state, "n/2");
    EXPECT_EQ(halves.EvaluateEach<int>(integers, {{"n", std::vector<int>{2, 4, 5, 6}}})->error.Get(),
              "\tError : '2.5' is not a whole number from -2147483648 to 2147483647");
    EXPECT_EQ(integers, (std::vector<int>{1, 2, 0, 0}));
    EXPECT_EQ(halves.EvaluateEach<int>(integers, {{"n", std::vector<int>{2}}})->error.Get(),
              "\tError : The variable 'n' has 1 values for 4 results");
    EXPECT_EQ(halves.EvaluateEach<int>(integers, {{"n n", integers}})->error.Get(),
              "\tError : Only alphanumeric names are allowed for symbols, in 'n n'");
    EXPECT_EQ(halves.EvaluateEach<int>(integers, {{"", integers}})->error.Get(), "\tError : A variable needs a name");
    Formula doubles(state, "x*2+1");
    state.GetLimits().SetStepBudget(1'900); // for all of them
    EXPECT_FALSE(doubles.EvaluateEach<double>(std::span(results).first(900), {{"x", x}}));
    const std::optional<Failure> tooMany = doubles.EvaluateEach<double>(results, {{"x", x}});
    EXPECT_TRUE(tooMany && tooMany->kind == FailureKind::StepLimit);
}

} // namespace
