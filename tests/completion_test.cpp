// What can be completed, without a terminal.

#include <gtest/gtest.h>

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

} // namespace
