// Depth, circles and sizes: nothing that a user may paste must bring the program down.

#include <atomic>
#include <chrono>
#include <thread>

#include "state_test.h"

namespace {

using namespace Quarn;

using LimitsTest = StateTest;

std::string Repeat(std::string_view text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) repeated += text;
    return repeated;
}

const std::string TooDeep = "\tError : Nested more than " + std::to_string(Limits::DeepestNesting) + " levels deep\n";

TEST_F(LimitsTest, LongFlatExpressionsNeedNoDepth) {
    EXPECT_EQ(Play("1" + Repeat("+1", 100'000)), "\tScalar : 100001\n");
    EXPECT_EQ(Play("1" + Repeat("-1*2/2", 100'000)), "\tScalar : -99999\n");
    EXPECT_EQ(Play("1" + Repeat("!", 100'000)), "\tError : No match for operator 'Scalar !' in :\n\t        \t1 !\n");
    EXPECT_EQ(Play("(" + Repeat("-", 100'000) + "1)"), "\tError : Operator '-' is missing its operands\n");
}

/// A text that nests: each level adds `opening` before the middle and `closing` after it.
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

class Nesting : public LimitsTest, public testing::WithParamInterface<Nest> {};

TEST_P(Nesting, IsRefusedBeyondTheLimitOnly) {
    constexpr std::size_t Limit = Limits::DeepestNesting;
    const Nest& nest = GetParam();
    for (const std::size_t levels : {Limit - 1, Limit})
        EXPECT_EQ(Play(nest.Text(levels)).find("\tError"), std::string::npos);
    for (const std::size_t levels : {Limit + 1, std::size_t{100'000}}) EXPECT_EQ(Play(nest.Text(levels)), TooDeep);
    EXPECT_EQ(Play("1+1"), "\tScalar : 2\n");
}

INSTANTIATE_TEST_SUITE_P(, Nesting,
                         testing::Values(Nest{"Vectors", "", "<", "1", ">"}, Nest{"References", "1+", "&", "pi", ""},
                                         Nest{"VectorsInBrackets", "", "(<(", "1", ")>)"},
                                         Nest{"Constructors", "", "Vector(", "1", ")"},
                                         Nest{"NegatedVectors", "-", "<", "1", ">"}),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

TEST_F(LimitsTest, EveryPriorityOnEveryLevelFitsTheStack) {
    const std::string text = Repeat("<1+1*1^!", Limits::DeepestNesting) + "1" + Repeat(">", Limits::DeepestNesting);
    EXPECT_EQ(Play(text), "\tError : No match for operator '! Vector' in :\n\t        \t! <2>\n");
}

TEST_F(LimitsTest, WhatIsKeptMayHaveBracketsWithoutEnd) {
    Play("u &= x" + Repeat("(", 200'000) + "1" + Repeat(")", 200'000) + "y"); // each pair is peeled off in turn
    EXPECT_EQ(Play("w = u+1"), "\tDefining Reference : w = 2\n");
    Play("u &= " + Repeat("x", 300'000) + "y(1)z" + Repeat(" x", 200'000)); // and so is each character around them
    EXPECT_EQ(Play("w = u+1"), "\tError : Unterminated '('\n");

    // Cut off from what follows, each "m" would count as the beginning of an operator.
    state.SetOperatorPriorities({{"+", 1}, {"mod", 2}});
    EXPECT_EQ(Play("mod"), "\tError : Operator 'mod' is missing its operands\n");
    const std::string many = Repeat("m", 40'000);
    Play("r &= x)" + many + "+(y");
    EXPECT_EQ(Play("r+1"), "\tReference : x" + Repeat("mod", 40'000) + "+y+1\n");
    Play("r &= " + many + "(1)n" + many);
    EXPECT_EQ(Play("r+1"), "\tReference : (" + many + "(1)n" + many + ")+1\n");
}

TEST_F(LimitsTest, MillionsOfBracketsAreRefusedAtOnce) {
    for (const char* opening : {"(", "abs(", "<", "Vector(", "-(", "1+(", "[", "<1>[", "&(", "((1)+<"})
        EXPECT_EQ(Play(Repeat(opening, 1'000'000)).substr(0, 9), "\tError : ") << opening;
    const std::string closing = Repeat("<", 1'000'000) + "1" + Repeat(">", 1'000'000);
    EXPECT_EQ(Play(closing), TooDeep);
}

TEST_F(LimitsTest, ChainsOfReferencesCountAsLevels) {
    Play("r0 = 1");
    for (unsigned i = 1; i <= Limits::DeepestNesting + 2; ++i)
        Play("r" + std::to_string(i) + " &= r" + std::to_string(i - 1) + "+1");
    const auto link = [](unsigned i) { return "r" + std::to_string(i); };
    const unsigned deepest = Limits::DeepestNesting;
    EXPECT_EQ(Play(link(deepest) + "+0"), "\tScalar : " + std::to_string(deepest + 1) + "\n");
    EXPECT_EQ(Play(link(deepest + 1) + "+0"), TooDeep);
    EXPECT_EQ(Play("abs(" + link(deepest + 1) + ")"), TooDeep);
    // Inspecting it shows the reference with its own expression.
    EXPECT_EQ(Play("?" + link(deepest + 2)), "\tReference : " + link(deepest + 2) + " = " + link(deepest + 1) + "+1\n");
}

TEST_F(LimitsTest, StatementsWithinStatementsCountAsLevels) {
    state.EditRegistry().constructors["Scalar"] = [](State& owner, const s_str&, std::string_view text, s_bool,
                                                     s_str&) {
        owner.ParseLine(text);
        return make_refptr<Scalar>(1);
    };
    const std::string played = Play(Repeat("x:Scalar(", 20'000) + "1" + Repeat(")", 20'000));
    EXPECT_TRUE(played.starts_with(TooDeep + "\tDefining Scalar : 1\n")) << played.substr(0, 200);
}

TEST_F(LimitsTest, TextsCountAsLevels) {
    const std::size_t levels = 600;
    const auto around = [&](const char* name) { return Repeat("<", levels) + name + ", 1" + Repeat(">", levels); };
    Play("a = 1; b = 1; c &= b");
    const std::string outer = Play("b = " + around("&a"));
    EXPECT_EQ(outer, "\tDefining Vector : b = " + around("1") + "\n");
    Play("a = " + around("1"));
    for (const char* line : {"b", "?b", "c", "x &= b", "b^1"}) EXPECT_EQ(Play(line), TooDeep) << line;
    EXPECT_EQ(Play("?x;~b"), "\t'x' is undefined\n\tVector 'b' erased\n");

    s_str text = "before ";
    s_str error;
    Play("v = <10, 20>");
    const TextWriter::Limit limit{7 + 3 * 2, 2, "too long"}; // one character less than three values take
    EXPECT_FALSE(TextWriter(&state.GetLimits(), text, error, limit).Write(*state.GetSymbols().at("v")));
    EXPECT_EQ(error.Get(), "too long");
}

TEST_F(LimitsTest, AVectorOfANestedVectorIsAsDeep) {
    Play("v = <1>");
    for (unsigned i = 1; i < Limits::DeepestNesting; ++i) state.ParseLine("v = <v>");
    EXPECT_EQ(Play("<v>"), TooDeep);
    EXPECT_EQ(state.Evaluate("<v>").GetKind(), FailureKind::NestingLimit); // also when the value is never shown
    EXPECT_EQ(state.Evaluate("-Vector(v)").GetKind(), FailureKind::NestingLimit);
}

TEST_F(LimitsTest, WhatIsWrittenAgainIsCopied) {
    constexpr int Levels = 12;
    const auto name = [](int level) { return "v" + std::to_string(level); };
    for (int i = 0; i <= Levels; ++i) Play(name(i) + " = 1");
    for (int i = Levels; i > 0; --i) Play(name(i) + " = <1, &" + name(i - 1) + ", &" + name(i - 1) + ">");
    for (const char* innermost : {"1", "20"}) {
        Play(name(0) + " = " + innermost);
        std::string text = innermost;
        for (int i = 0; i < Levels; ++i) text = "<1, " + text + ", " + text + ">";
        EXPECT_EQ(Play(name(Levels)), "\tVector : " + text + "\n");
    }
    Play("drawn = 1; twice = <1, &drawn, &drawn>; drawn &= <rand()" + Repeat(", rand()", 40) + ">");
    const std::string twice = Play("twice"); // what differs each time is written anew
    EXPECT_NE(twice.substr(twice.find("<0."), 20), twice.substr(twice.rfind("<0."), 20)) << twice;
    const s_refptr<Symbol> value = state.Get(name(Levels));
    state.GetLimits().SetStepBudget(1'000);
    EXPECT_EQ(state.TextOf(*value).GetKind(), FailureKind::StepLimit);
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    state.GetLimits().SetDeepestNesting(Levels);
    EXPECT_EQ(state.TextOf(*value).GetKind(), FailureKind::NestingLimit);
}

TEST_F(LimitsTest, BracketsCallsAndIndexingsNestWithoutLimit) {
    constexpr std::size_t Levels = 100'000;
    const auto nested = [](const char* opening, const char* middle, const char* closing) {
        return Repeat(opening, Levels) + middle + Repeat(closing, Levels);
    };
    Play("x = 1");
    for (const auto& [text, value] : {std::pair(nested("(", "x", ")"), 1.0),
                                      {nested("1+(", "x", ")"), Levels + 1.0},
                                      {nested("sqrt(", "x", ")"), 1.0}}) {
        Formula formula(state, text);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(*formula.Evaluate<double>(), value);
        EXPECT_EQ(*state.Evaluate<double>(text), value);
        Play("r &= " + text);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(*state.Evaluate<double>("r+0"), value);
    }
    EXPECT_EQ(Play(nested("(", "newName", ")")), "\tError : Unknown symbol 'newName'\n");
}

/// The number of steps that a line takes: the smallest budget that suffices.
std::uint64_t StepsOf(State& state, std::ostringstream& output, const std::string& line) {
    std::uint64_t enough = 1;
    std::uint64_t tooFew = 0;
    const auto suffices = [&](std::uint64_t budget) {
        state.GetLimits().SetStepBudget(budget);
        output.str("");
        state.ParseLine(line);
        return output.str().find("Too many steps") == std::string::npos;
    };
    while (!suffices(enough)) tooFew = std::exchange(enough, enough * 2);
    while (enough - tooFew > 1) {
        const std::uint64_t middle = (enough + tooFew) / 2;
        (suffices(middle) ? enough : tooFew) = middle;
    }
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    return enough;
}

TEST_F(LimitsTest, EachOperatorIsAStepToTheLast) {
    EXPECT_EQ(StepsOf(state, output, "1+2*3"), 5u);
    EXPECT_EQ(StepsOf(state, output, "abs(-1)"), 3u);
    EXPECT_EQ(StepsOf(state, output, "<1, 2>"), 7u); // the literal, two elements read, built and shown
}

TEST_F(LimitsTest, WebsOfReferencesCostTheirSize) {
    const auto defineWeb = [&](const std::string& first, const std::string& second, const std::string& op) {
        Play("w0 &= " + first);
        Play("w1 &= " + second);
        for (int i = 2; i <= 90; ++i)
            Play("w" + std::to_string(i) + " &= w" + std::to_string(i - 1) + op + "w" + std::to_string(i - 2));
    };
    for (const char* op : {"+", " + 0*pi + "}) {
        defineWeb("0+0", "1+0", op);
        for (int i = 0; i < 3; ++i) { // first step by step, then translated
            EXPECT_LT(StepsOf(state, output, "w90+0"), 1'000u);
            EXPECT_EQ(Play("w90"), "\tScalar : 2.88006719437082e+18\n");
        }
    }
    defineWeb("<0, 1>", "<1, 1>+<0, 0>", "+"); // vectors
    EXPECT_LT(StepsOf(state, output, "w90+w90"), 4'000u);
    EXPECT_EQ(Play("?w90"), "\tVector : w90 = <2.88006719437082e+18, 4.66004661037553e+18>\n");
    EXPECT_EQ(Play("w1 = <0, 0>; w90[1]"), "\tDefining Vector : w1 = <0, 0>\n\tScalar : 1.77997941600471e+18\n");
    defineWeb("unknown", "unknown", "+"); // nothing has a value
    EXPECT_EQ(Play("?w4"), "\tReference : w4 = ((unknown+unknown)+unknown)+(unknown+unknown)\n");
}

TEST_F(LimitsTest, WebsOfLargeVectorsCostTheirSize) {
    Play("v = <1" + Repeat(", 1", 999) + ">; f0 &= v; f1 &= v");
    // From the top down: undefined names cost nothing.
    for (int i = 900; i > 1; --i)
        Play("f" + std::to_string(i) + " &= f" + std::to_string(i - 1) + "+f" + std::to_string(i - 2));
    EXPECT_LT(StepsOf(state, output, "f900[0]"), 3'000'000u);
}

TEST_F(LimitsTest, LongChainsCostTheirLengthEachTime) {
    Play("r0 = 1");
    for (int i = 1; i <= 990; ++i) Play("r" + std::to_string(i) + " &= r" + std::to_string(i - 1) + "+1");
    for (int i = 0; i < 4; ++i) { // first step by step, then translated
        EXPECT_EQ(Play("r990"), "\tScalar : 991\n");
        EXPECT_LE(StepsOf(state, output, "r990"), 3'000u);
    }
}

TEST_F(LimitsTest, WhatIsKnownTakesItsDepthWhereItIsUsed) {
    Play("r0 = 1");
    for (int i = 1; i <= 600; ++i) Play("r" + std::to_string(i) + " &= r" + std::to_string(i - 1) + "+1");
    unsigned enough = 590;
    do state.GetLimits().SetDeepestNesting(++enough);
    while (Play("r600+0") != "\tScalar : 601\n");
    const std::string deeper = "(r600+0)+<r600+0, 0>[0]"; // one level, with the value from outside of it
    for (int i = 0; i < 3; ++i) {                         // first step by step, then translated
        state.GetLimits().SetDeepestNesting(enough);
        EXPECT_EQ(Play(deeper), "\tError : Nested more than " + std::to_string(enough) + " levels deep\n");
        EXPECT_EQ(Play("r600+0"), "\tScalar : 601\n");
        state.GetLimits().SetDeepestNesting(enough + 1);
        EXPECT_EQ(Play(deeper), "\tScalar : 1202\n");
    }
}

TEST_F(LimitsTest, LongReferencesAreEvaluatedLikeShortOnes) {
    for (const std::size_t terms : {20'000, 60'000}) { // with and without a program
        const std::string more = Repeat("+a", terms);
        const auto expect = [&](double a) {
            const std::string text = s_str(static_cast<double>(terms + 1) * a).Get();
            EXPECT_EQ(Play("r*1; (r+0)-r"), "\tScalar : " + text + "\n\tScalar : 0\n");
        };
        Play("a = 2; r &= a" + more);
        for (int i = 0; i < 3; ++i) expect(2);
        Play("a = 3");
        expect(3);
        const std::string nested = Repeat("(", 500) + "a" + more + Repeat(")", 500);
        Play("s &= " + nested);
        EXPECT_EQ(Play("(s+0) + s").substr(0, 10), "\tScalar : ");
    }
}

TEST_F(LimitsTest, ChainsToNothingTakeStepsInProportion) {
    Play("r1 &= r0+1");
    for (unsigned i = 2; i <= 400; ++i) Play("r" + std::to_string(i) + " &= r" + std::to_string(i - 1) + "+1");
    EXPECT_EQ(Play("r400").substr(0, 16), "\tReference : (((");
    const double shorter = static_cast<double>(StepsOf(state, output, "r200*2"));
    const double longer = static_cast<double>(StepsOf(state, output, "r400*2"));
    EXPECT_LT(longer / shorter, 2.2);
}

TEST_F(LimitsTest, WhatIsAddedToAKeptOperationCostsWhatIsAdded) {
    Play("x = &a; y = 1");
    for (int i = 0; i < 14; ++i) Play("x = x+x");
    const std::uint64_t length = 5 * (std::uint64_t{1} << 14); // of the text, which is shown once
    EXPECT_LT(StepsOf(state, output, "x" + Repeat("+1", 900)), length + 10'000);
    EXPECT_LT(StepsOf(state, output, "k = <1, 2>*x" + Repeat("+y", 900)), length + 20'000);
    Play("m = &z; k = m" + Repeat("+1", 200'000));
    EXPECT_EQ(Play("k = 1"), "\tDefining Scalar : k = 1\n"); // destroyed without recursion
    Play("r &= a" + Repeat("*1", 1'000));
    EXPECT_GT(StepsOf(state, output, "r[0]"), 2'000u); // an indexing is written anew
}

TEST_F(LimitsTest, WhatIsHeldOutsideOutlivesALargeValue) {
    Play("v = <<<1>>" + Repeat(", <<1>>", 2'000) + ">");
    const s_refptr<Symbol> element = *state.Evaluate("v[0]");
    Play("v = 1; 2");
    EXPECT_EQ(element->ToString().Get(), "<<1>>");
}

TEST_F(LimitsTest, TimeAndCancellationStopWhatIsEndless) {
    Limits& limits = state.GetLimits();
    for (int i = 60; i > 0; --i) { // from the top down: undefined names cost nothing
        const std::string below = "r" + std::to_string(i - 1);
        Play("r" + std::to_string(i) + " &= " + below + "+" + below);
    }
    Play("r0 &= rand()*0+1"); // anything pure would be evaluated once
    limits.SetTimeLimit(std::chrono::milliseconds(20));
    for (const char* line : {"r60+1", "?r60", "~r60", "x = -r60"})
        EXPECT_EQ(Play(line), "\tError : Too much time, the statement was stopped\n") << line;
    limits.SetTimeLimit(std::nullopt);

    std::atomic<bool> isCancelled = false;
    limits.SetCancellation(&isCancelled);
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        isCancelled = true;
    });
    const char* const cancelled = "\tError : Cancelled, the statement was stopped\n";
    EXPECT_EQ(Play("r60+1"), cancelled);
    other.join();
    EXPECT_EQ(Play("x = 1; ~"), cancelled); // the rest of the line is not carried out
    isCancelled = false;
    EXPECT_EQ(Play("?x; 1+1"), "\t'x' is undefined\n\tScalar : 2\n");
}

TEST_F(LimitsTest, CancelledWhileItIsPrintedAStatementIsUndone) {
    struct : std::stringbuf {
        std::streamsize xsputn(const char* text, std::streamsize size) override {
            const std::streamsize written = std::stringbuf::xsputn(text, size);
            if (str().size() > 5000) isCancelled = true;
            return written;
        }
        std::atomic<bool> isCancelled = false;
    } terminal;
    std::ostream shown(&terminal);
    state.SetStreams(input, shown);
    state.GetLimits().SetCancellation(&terminal.isCancelled);
    Play("v = <10, 20>; 5");
    for (const std::string& line : {"v = <1" + Repeat(", 1", 5'000) + ">; 6", "w = <1" + Repeat(", 1", 5'000) + ">; 6",
                                    "<1" + Repeat(", 1", 5'000) + ">; 6"}) {
        terminal.str("");
        state.ParseLine(line);
        EXPECT_TRUE(terminal.str().ends_with("\n\tError : Cancelled, the statement was stopped\n"));
        EXPECT_LT(terminal.str().size(), 9'000u);
        terminal.isCancelled = false;
    }
    terminal.str("");
    state.ParseLine("_;v;?w");
    EXPECT_EQ(terminal.str(), "\tScalar : 5\n\tVector : <10, 20>\n\t'w' is undefined\n");
}

TEST_F(LimitsTest, WhatIsRejectedIsGoneBeforeItIsReported) {
    struct : std::stringbuf {
        std::streamsize xsputn(const char* text, std::streamsize size) override {
            const std::string_view written(text, static_cast<std::size_t>(size));
            if (written.find("Too many") != std::string_view::npos) state->ParseLine("y = x");
            return std::stringbuf::xsputn(text, size);
        }
        State* state = nullptr;
    } curious;
    curious.state = &state;
    std::ostream shown(&curious);
    Play("x = 1; v = <1" + Repeat(", 1", 200) + ">");
    state.SetStreams(input, shown);
    state.GetLimits().SetStepBudget(500); // enough to build a vector, not to show it
    state.ParseLine("x = v*1");
    EXPECT_EQ(curious.str(), "\tError : Too many steps, the statement was stopped\n\tDefining Scalar : y = 1\n");
}

TEST_F(LimitsTest, CancelledAtTheQuestionNothingIsErased) {
    struct : std::stringbuf {
        int underflow() override {
            isCancelled = true;
            return traits_type::eof();
        }
        std::atomic<bool> isCancelled = false;
    } keyboard;
    std::istream typed(&keyboard);
    state.SetStreams(typed, output);
    state.SetInteractive(true);
    state.GetLimits().SetCancellation(&keyboard.isCancelled);
    Play("x = 1; 5");
    EXPECT_TRUE(Play("~; 6").ends_with("Enter]/n) \tError : Cancelled, the statement was stopped\n"));
    keyboard.isCancelled = false;
    EXPECT_EQ(Play("_;x"), "\tScalar : 5\n\tScalar : 1\n");
}

TEST_F(LimitsTest, NestingFitsTheStackThatThereIs) {
    constexpr std::size_t Stack = 400 * 1024;
    state.GetLimits().SetStackSize(Stack);
    const unsigned deepest = state.GetLimits().GetDeepestNesting();
    EXPECT_LE(deepest * Limits::StackPerLevel, Stack);
    EXPECT_GT(deepest, 40u);
    EXPECT_EQ(Play(Repeat("<", 300) + "1" + Repeat(">", 300)),
              "\tError : Nested more than " + std::to_string(deepest) + " levels deep\n");
}

TEST_F(LimitsTest, VectorsGrowOnlySoDeepAndSoLarge) {
    Play("v = <1>");
    for (unsigned i = 1; i < Limits::DeepestNesting; ++i) Play("v = <v>");
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

TEST_F(LimitsTest, KeptOperationsGrowOnlySoLong) {
    const std::string text(524'285, 'a'); // two of them, an operator, and the brackets that they could need
    Play("x = &a" + text + "; y = &" + text);
    EXPECT_EQ(Play("x+y").size(), std::string("\tReference : a+\n").size() + 2 * text.size());
    Play("y = &a" + text);
    EXPECT_EQ(Play("x+y"), "\tError : Expression longer than 1048576 characters\n");
    Play("x = &aa");
    for (int i = 0; i < 17; ++i) Play("x = x+x");
    EXPECT_EQ(Play("x = x+x"), "\tError : Expression longer than 1048576 characters\n");
    EXPECT_EQ(Play("?x").size(), std::string("\tReference : x = \n").size() + 5 * (std::size_t{2} << 16) - 5);
}

TEST_F(LimitsTest, SymbolsTakeOnlySoMuchMemory) {
    const std::string large = "<1" + Repeat(", 1", 9'999) + ">";
    const char* const refused = "\tError : The symbols would take more than 200000 bytes of memory\n";
    Play("a = " + large);
    state.GetLimits().SetMemory(200'000);
    EXPECT_EQ(Play("b = " + large).substr(0, 10), "\tDefining "); // which is the last result, too
    for (const std::string& line :
         {"c = " + large, large, "b = <<1>, " + large + ">", "c &= " + Repeat("1+", 5'000) + "1"})
        EXPECT_EQ(Play(line).substr(0, 9), "\tError : ") << line.substr(0, 40);
    EXPECT_EQ(Play("c = " + large), refused);
    EXPECT_FALSE(state.Set("c", *state.Evaluate(large)));
    EXPECT_EQ(Play("?c;b[0]"), "\t'c' is undefined\n\tScalar : 1\n");
    EXPECT_TRUE(Play("b = 1; c = " + large).starts_with("\tDefining Scalar : b = 1\n\tDefining Vector : c = <"));
    EXPECT_TRUE(Play("~c; b = " + large).starts_with("\tVector 'c' erased\n\tDefining Vector : b = <"));
    EXPECT_TRUE(Play("~; c = " + large).starts_with("\tAll symbols erased\n\tDefining Vector : c = <"));
    state.GetLimits().SetMemory(Limits::Unlimited);
    EXPECT_EQ(Play("d = " + large + "; e = d").find("Error"), std::string::npos);
}

TEST_F(LimitsTest, CancelledAnythingLongEndsSoon) {
    // What a host would do to a line of some megabytes, at any moment: nothing is changed, and nothing else is said.
    constexpr std::size_t Long = 300'000;
    std::atomic<bool> isCancelled = false;
    state.GetLimits().SetCancellation(&isCancelled);
    const std::string lines[] = {"<1" + Repeat(", &x", Long) + ">",
                                 "<<1>" + Repeat(",<1>", Long) + ">",
                                 "min(1" + Repeat(",1", Long) + ")",
                                 Repeat("(", Long),
                                 Repeat("a", Long),
                                 "x:Vector(1" + Repeat(",1", Long) + ")",
                                 "v" + Repeat("[0]", Long),
                                 "r &= " + Repeat("&", Long) + "x"};
    Play("x = 1; v = <1>");
    for (const std::string& line : lines) {
        for (const int microseconds : {0, 500, 3'000}) {
            std::thread other([&] {
                std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
                isCancelled = true;
            });
            const std::string answer = Play(line);
            other.join();
            isCancelled = false;
            EXPECT_EQ(Play("max(2, max(1, 3))"), "\tScalar : 3\n");      // not among what was left behind
            if (answer.find("Cancelled") == std::string::npos) continue; // it was done before
            EXPECT_TRUE(answer.ends_with("\tError : Cancelled, the statement was stopped\n"));
            EXPECT_EQ(answer.find("\tError"), answer.rfind("\tError")) << line.substr(0, 20);
        }
    }
}

TEST_F(LimitsTest, StepBudgetsStopWhatIsLegalButEndless) {
    const char* const stopped = "\tError : Too many steps, the statement was stopped\n";
    // From the top down: undefined names cost nothing.
    for (int i = 60; i > 0; --i) {
        const std::string below = "r" + std::to_string(i - 1);
        Play("r" + std::to_string(i) + " &= " + below + "+" + below);
    }
    Play("r0 &= rand()*0+1"); // anything pure would be evaluated once
    state.GetLimits().SetStepBudget(1000);
    for (const char* line :
         {"r60+1", "r60", "?r60", "~r60", "x = r60*2", "-r60", "sqrt(r60)", "<1, r60>", "<1>[r60]", "y &= r60"})
        EXPECT_EQ(Play(line), stopped) << line;
    EXPECT_EQ(Play("?x;?y;1+1;r3+0"), "\t'x' is undefined\n\t'y' is undefined\n\tScalar : 2\n\tScalar : 8\n");
    EXPECT_EQ(Play("1" + Repeat("+1", 500)), stopped);
    EXPECT_EQ(Play("1" + Repeat("+1", 499)), "\tScalar : 500\n");
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    EXPECT_EQ(Play("1" + Repeat("+1", 500)), "\tScalar : 501\n");
}

} // namespace
