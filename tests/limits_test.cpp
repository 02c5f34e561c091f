// Depth, circles and sizes: what a user may paste must not knock the program over.

#include <gtest/gtest.h>

#include <sstream>

#include "types/scalar.h"
#include "types/vector.h"

namespace {

using namespace Quarn;

class Limits : public testing::Test {
protected:
    Limits() {
        state.SetStreams(input, output);
        Vector::Register(state);
    }

    std::string Play(std::string_view line) {
        output.str("");
        state.ParseLine(line);
        return output.str();
    }

    std::istringstream input;
    std::ostringstream output;
    State state;
};

std::string Repeat(std::string_view text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) repeated += text;
    return repeated;
}

const std::string TooDeep = "\tError : Nested more than " + std::to_string(State::DeepestNesting) + " levels deep\n";

TEST_F(Limits, LongFlatExpressionsNeedNoDepth) {
    EXPECT_EQ(Play("1" + Repeat("+1", 100'000)), "\tScalar : 100001\n");
    EXPECT_EQ(Play("1" + Repeat("-1*2/2", 100'000)), "\tScalar : -99999\n");
    EXPECT_EQ(Play("1" + Repeat("!", 100'000)), "\tError : No match for operator 'Scalar !' in :\n\t        \t1 !\n");
    EXPECT_EQ(Play("(" + Repeat("-", 100'000) + "1)"), "\tError : Operator '-' is missing its operands\n");
}

/// Something that nests `opening ... middle ... closing`, one level each time.
struct Nest {
    const char* name;
    const char* before;
    const char* opening;
    const char* middle;
    const char* closing;

    std::string Text(std::size_t levels) const {
        return before + Repeat(opening, levels) + middle + Repeat(closing, levels);
    }
};

class Nesting : public Limits, public testing::WithParamInterface<Nest> {};

TEST_P(Nesting, IsRefusedBeyondTheLimitOnly) {
    constexpr std::size_t Limit = State::DeepestNesting;
    const Nest& nest = GetParam();
    for (const std::size_t levels : {Limit - 1, Limit})
        EXPECT_EQ(Play(nest.Text(levels)).find("\tError"), std::string::npos);
    for (const std::size_t levels : {Limit + 1, std::size_t{100'000}}) EXPECT_EQ(Play(nest.Text(levels)), TooDeep);
    EXPECT_EQ(Play("1+1"), "\tScalar : 2\n");
}

INSTANTIATE_TEST_SUITE_P(, Nesting,
                         testing::Values(Nest{"Brackets", "", "(", "1", ")"}, Nest{"Sums", "", "1+(1+", "1", ")"},
                                         Nest{"Calls", "", "abs(", "1", ")"}, Nest{"Vectors", "", "<", "1", ">"},
                                         Nest{"Signs", "", "-(", "1", ")"},
                                         Nest{"Constructors", "", "Vector(", "1", ")"},
                                         Nest{"NegatedVectors", "-", "<", "1", ">"}),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

TEST_F(Limits, EveryPriorityOnEveryLevelFitsTheStack) {
    const std::string text = Repeat("<1+1*1^!", State::DeepestNesting) + "1" + Repeat(">", State::DeepestNesting);
    EXPECT_EQ(Play(text), "\tError : No match for operator '! Vector' in :\n\t        \t! <2>\n");
}

TEST_F(Limits, WhatIsKeptMayHaveBracketsWithoutEnd) {
    Play("u &= x" + Repeat("(", 200'000) + "1" + Repeat(")", 200'000) + "y"); // each pair is peeled off in turn
    EXPECT_EQ(Play("w = u+1"), "\tDefining Reference : w = 2\n");
    Play("u &= " + Repeat("x", 300'000) + "y(1)z" + Repeat(" x", 200'000)); // and so is each character around them
    EXPECT_EQ(Play("w = u+1"), "\tError : Unterminated '('\n");
}

TEST_F(Limits, MillionsOfBracketsAreRefusedAtOnce) {
    for (const char* opening : {"(", "abs(", "<", "Vector(", "-(", "1+(", "[", "<1>[", "&(", "((1)+<"})
        EXPECT_EQ(Play(Repeat(opening, 1'000'000)).substr(0, 9), "\tError : ") << opening;
    const std::string closing = Repeat("<", 1'000'000) + "1" + Repeat(">", 1'000'000);
    EXPECT_EQ(Play(closing), TooDeep);
}

TEST_F(Limits, ChainsOfReferencesCountAsLevels) {
    Play("r0 = 1");
    for (unsigned i = 1; i <= State::DeepestNesting + 2; ++i)
        Play("r" + std::to_string(i) + " &= r" + std::to_string(i - 1) + "+1");
    const auto link = [](unsigned i) { return "r" + std::to_string(i); };
    const unsigned deepest = State::DeepestNesting;
    EXPECT_EQ(Play(link(deepest) + "+0"), "\tScalar : " + std::to_string(deepest + 1) + "\n");
    EXPECT_EQ(Play(link(deepest + 1) + "+0"), TooDeep);
    EXPECT_EQ(Play("abs(" + link(deepest + 1) + ")"), TooDeep);
    // Shown, it is what it is: a reference, with its own expression.
    EXPECT_EQ(Play("?" + link(deepest + 2)), "\tReference : " + link(deepest + 2) + " = " + link(deepest + 1) + "+1\n");
}

TEST_F(Limits, ChainsToNothingAnswerInSquareTimeAtMost) {
    Play("r1 &= r0+1");
    for (unsigned i = 2; i <= 300; ++i) Play("r" + std::to_string(i) + " &= r" + std::to_string(i - 1) + "+1");
    EXPECT_EQ(Play("r300").substr(0, 16), "\tReference : (((");
    state.SetStepBudget(1'000'000); // a second evaluation of each link would double the steps with every one
    EXPECT_EQ(Play("r300*2").substr(0, 16), "\tReference : (((");
}

TEST_F(Limits, VectorsGrowOnlySoDeepAndSoLarge) {
    Play("v = <1>");
    for (unsigned i = 1; i < State::DeepestNesting; ++i) Play("v = <v>");
    EXPECT_EQ(Play("v = <v>"), TooDeep);
    EXPECT_EQ(Play("-v").substr(0, 12), "\tVector : <<");
    EXPECT_EQ(Play("v-v").substr(0, 12), "\tVector : <<");
    EXPECT_EQ(Play("~v"), "\tVector 'v' erased\n");

    std::ostringstream unread; // its text would be long
    state.SetStreams(input, unread);
    Play("w = <1>");
    for (std::size_t size = 1; size < Vector::LargestSize / 64; size *= 64)
        state.ParseLine("w = <" + Repeat("w, ", 63) + "w>");
    state.SetStreams(input, output);
    EXPECT_EQ(Play("w = <" + Repeat("w, ", 65) + "w>"),
              "\tError : Vectors of more than 16777216 numbers are not supported\n");
}

TEST_F(Limits, KeptOperationsGrowOnlySoLong) {
    Play("x = &aa");
    for (int i = 0; i < 17; ++i) Play("x = x+x");
    EXPECT_EQ(Play("x = x+x"), "\tError : Expression longer than 1048576 characters\n");
    EXPECT_EQ(Play("?x").size(), std::string("\tReference : x = \n").size() + 5 * (std::size_t{2} << 16) - 5);
}

TEST_F(Limits, StepBudgetsStopWhatIsLegalButEndless) {
    const char* const stopped = "\tError : Too many steps, the statement was stopped\n";
    // From the top down: what is not defined yet costs nothing.
    for (int i = 60; i > 0; --i) {
        const std::string below = "r" + std::to_string(i - 1);
        Play("r" + std::to_string(i) + " &= " + below + "+" + below);
    }
    Play("r0 = 1");
    state.SetStepBudget(1000);
    for (const char* line :
         {"r60+1", "r60", "?r60", "x = r60*2", "-r60", "sqrt(r60)", "<1, r60>", "<1>[r60]", "y &= r60"})
        EXPECT_EQ(Play(line), stopped) << line;
    EXPECT_EQ(Play("?x;?y;1+1;r3+0"), "\t'x' is undefined\n\t'y' is undefined\n\tScalar : 2\n\tScalar : 8\n");
    EXPECT_EQ(Play("1" + Repeat("+1", 500)), stopped);
    EXPECT_EQ(Play("1" + Repeat("+1", 499)), "\tScalar : 500\n");
    state.SetStepBudget(State::Unlimited);
    EXPECT_EQ(Play("1" + Repeat("+1", 500)), "\tScalar : 501\n");
}

} // namespace
