// What a host can tell about a line that is being typed, without a terminal.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <sstream>

#include <quarn/quarn.h>

namespace {

using namespace Quarn;

class Completion : public testing::Test {
protected:
    Completion() {
        state.SetStreams(input, output);
        Vector::Register(state);
        state.ParseLine("rate = 2; radius = 3; 2x = 4; pa &= pi");
    }

    /// The candidates at the "|" of the line, behind the text that stays.
    std::string At(std::string line) {
        const std::size_t position = line.find('|');
        line.erase(position, 1);
        const Completions completions = state.Complete(line, position);
        std::string shown = line.substr(0, completions.begin) + "|";
        for (const s_str& candidate : completions.candidates) shown += " " + candidate.Get();
        return completions.candidates.empty() ? "" : shown;
    }

    /// The unknown names of the line.
    std::string UnknownIn(std::string_view line) {
        std::string shown;
        for (const std::string_view name : state.FindUnknownNames(line)) (shown += name) += ' ';
        return shown;
    }

    /// What the line would give, or why that is not known; its position is not part of a preview.
    std::string Preview(std::string_view line) {
        const Result<s_str> preview = state.Preview(line, std::chrono::seconds(10));
        return preview ? preview->Get() : preview.GetMessage().Get();
    }

    std::istringstream input;
    std::ostringstream output;
    State state;
};

TEST_F(Completion, OperandsAreSymbolsFunctionsAndConstructors) {
    EXPECT_EQ(At("ra|"), "| radius rand( rate");
    EXPECT_EQ(At("1+2*ra|"), "1+2*| radius rand( rate");
    EXPECT_EQ(At("y = r|x"), "y = | radius rand( rate round( round_down( round_up(");
    EXPECT_EQ(At("y &= round_|"), "y &= | round_down( round_up(");
    EXPECT_EQ(At("1;max(2, S|"), "1;max(2, | Scalar(");
    EXPECT_EQ(At("<1, rat|>"), "<1, | rate");
    EXPECT_EQ(At("v[p|]"), "v[| pa pi()"); // nothing to write between the brackets
    EXPECT_EQ(At("sq|(4)"), "| sqrt");     // the bracket is there
    EXPECT_EQ(At("_|"), "| _");
    EXPECT_EQ(At("=ra|"), "=| radius rand( rate");
    EXPECT_EQ(At("x:Vector(ra|"), "x:Vector(| radius rand( rate");
    EXPECT_EQ(At("|").substr(0, 24), "| 2x Reference( Scalar( ");
}

TEST_F(Completion, StatementsSayWhatElseIsMeant) {
    EXPECT_EQ(At("x:|"), "x:| Reference Scalar Symbol Vector");
    EXPECT_EQ(At("1;x : S|"), "1;x : | Scalar Symbol");
    EXPECT_EQ(At("~r|"), "~| radius rate");
    EXPECT_EQ(At("?|"), "?| 2x _ pa radius rate");
    EXPECT_EQ(At("? r|"), ""); // the blank belongs to the name
    EXPECT_EQ(At("// r|"), "");
    EXPECT_EQ(At("x := r|"), "");
}

TEST_F(Completion, NothingIsOfferedWhereNothingCanBeMeant) {
    for (const char* line : {"2|", "2.|", "1.5e|", "x = .5|", "rate |", "rate r|", "(1) r|", "<1>|", "v[1]|", "zz|"})
        EXPECT_EQ(At(line), "") << line;
    EXPECT_EQ(At("2x|"), "| 2x"); // a name, as it is no number
    EXPECT_EQ(state.Complete("ra", 100).candidates.size(), 3u);
}

TEST_F(Completion, HostsAreCompletedToo) {
    state.SetOperatorPriorities({{"+", 1}, {"mod", 2}});
    Binding(state).Function("twice", [](double a) { return 2 * a; });
    EXPECT_EQ(At("rate mod tw|"), "rate mod | twice(");
    state.Set("twin", 1.0);
    EXPECT_EQ(At("tw|"), "| twice( twin");
}

TEST_F(Completion, NamesThatStandForNothingAreFound) {
    const struct {
        const char* line;
        const char* unknown;
    } rows[] = {
        {"rate*raduis", "raduis "},
        {"2*pi+atan(1, y)+_+1.5e3", "y "},
        {"1e-3+Scalar(1e-3)+x", "1e x "}, // the constructor reads the text itself
        {"Vector(a, 2)", "a "},
        {"y = rate+z", "z "},
        {"y &= y", "y "},
        {"a = 1; b &= a; c:Scalar; a+b+c+d", "d "},
        {"y:Scalr", "Scalr "},
        {"y:Vector(z)", "z "},
        {"y := z", ""},
        {"// a remark;?z;~z", ""},
        {"2*(z", "z "},
    };
    for (const auto& row : rows) EXPECT_EQ(UnknownIn(row.line), row.unknown) << row.line;
}

TEST_F(Completion, APreviewIsWhatTheLineWouldGive) {
    const struct {
        const char* line;
        const char* value;
    } rows[] = {
        {"12*1.19", "14.28"},
        {"area = pi*radius^2", "28.2743338823081"},
        {"v = <1, rate>", "<1, 2>"},
        {"rate = 5; rate*radius", "15"},
        {"y &= rate+z", "rate+z"},
        {"rate &= rate+1", "rate+1"}, // it leads to itself once it is stored
        {"y:Scalar(1e-3)", "0.001"},
        {"?pa", "3.14159265358979"},
        {"y := 2", ""},
        {"1;// a remark", "1"},
        {"", ""},
        {"1+", "No match for operator 'Scalar +' in :\n1 +"},
        {"rate*z; 1", "Unknown symbol 'z'"},
        {"_ = 1", "Reference to last result '_' is not assignable"},
    };
    const auto before = state.GetSymbols();
    for (const auto& row : rows) EXPECT_EQ(Preview(row.line), row.value) << row.line;
    EXPECT_EQ(state.GetSymbols(), before);
    EXPECT_EQ(output.str(), "\tDefining Scalar : rate = 2\n\tDefining Scalar : radius = 3\n"
                            "\tDefining Scalar : 2x = 4\n\tDefining Reference : pa = 3.14159265358979\n");
}

TEST_F(Completion, APreviewCallsOnlyWhatIsPure) {
    int calls = 0;
    const auto call = [&calls](double a) {
        ++calls;
        return a;
    };
    Binding bind(state);
    bind.Function("impure", call);
    bind.Operator("#", 9);
    bind.Binary("#", [&calls](double a, double) {
        ++calls;
        return a;
    });
    state.ParseLine("drawn &= rand()*0; called &= impure(1)");
    calls = 0;
    State other;
    other.Set("x", 1.0);
    state.Set("foreign", make_refptr<Reference>("foreign", "x", other));
    std::srand(1);
    const char* const refused = "A preview calls only what is pure";
    for (const char* line : {"rand()", "rand(1, 2)", "drawn", "drawn+1", "y = called", "<1, called>", "impure(1)",
                             "min(1, impure(2))", "1 # 2", "foreign+1", "1; impure(2); 3"})
        EXPECT_EQ(Preview(line), refused) << line;
    for (const char* line : {"~", "~rate"}) EXPECT_EQ(Preview(line), "A preview erases nothing") << line;
    EXPECT_EQ(Preview("y:Scalar"), "");
    EXPECT_EQ(calls, 0);
    const double next = *state.Evaluate<double>("rand()");
    std::srand(1);
    EXPECT_EQ(*state.Evaluate<double>("rand()"), next) << "something was drawn";
}

TEST_F(Completion, APreviewEndsWhenItsTimeIsOver) {
    std::string sum = "1";
    for (int i = 0; i < 100'000; ++i) sum += "+1";
    const Result<s_str> preview = state.Preview(sum, std::chrono::microseconds(1));
    ASSERT_FALSE(preview);
    EXPECT_EQ(preview.GetKind(), FailureKind::TimeLimit);
    state.GetLimits().SetStepBudget(3);
    EXPECT_EQ(state.Preview("1+1+1", std::chrono::seconds(1)).GetKind(), FailureKind::StepLimit);
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    EXPECT_EQ(Preview("1+1+1"), "3");
}

} // namespace
