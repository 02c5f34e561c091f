#include <gtest/gtest.h>

#include <quarn/quarn.h>

namespace {

using namespace Quarn;

std::string Joined(const s_ctnr<s_str>& pieces) {
    std::string text;
    for (const s_str& piece : pieces) text += "[" + piece.Get() + "]";
    return text;
}

struct Row {
    const char* text;
    const char* pieces; ///< each in square brackets, or the message after "Error : "
};

TEST(Scanner, CutsAtOperatorsOfTheTopBracketLevel) {
    const State state;
    const Row rows[] = {
        {"", ""},
        {"a+b*c", "[a][+][b][*][c]"},
        {" a + b ", "[ a ][+][ b ]"},
        {"(a+b)*c", "[(a+b)][*][c]"},
        {"f(a,b)+1", "[f(a,b)][+][1]"},
        {"v[1]+2", "[v[1]][+][2]"},
        {"<1,2>+<3,4>", "[<1,2>][+][<3,4>]"},
        {"-a", "[-][a]"},
        {"a-", "[a][-]"},
        {"a--b", "[a][-][-][b]"},
        {"((a))-(b)", "[((a))][-][(b)]"},
        {"(a])", "[(a])]"},
        {"(<)+[(]", "[(<)][+][[(]]"},
        {"<(>+1", "[<(>][+][1]"},
        {"<[>x", "[<[>x]"},
        {"[]", "[[]]"},
        {"a)", "Too many closing ')'"},
        {"a>", "Too many closing '>'"},
        {"a]+(", "Too many closing ']'"},
        {"(a", "Unterminated '('"},
        {"((a)", "Unterminated '('"},
        {"(a]", "Unterminated '('"},
        {"<a<>", "Unterminated '<'"},
        {"[a[]", "Unterminated '['"},
        {"(a)+<b", "Unterminated '<'"},
    };
    for (const Row& row : rows) {
        s_ctnr_t<s_str> pieces;
        s_str error;
        const bool isCut = static_cast<bool>(state.SplitOperators(pieces, row.text, error));
        EXPECT_EQ(isCut ? Joined(pieces) : error.Get().substr(sizeof "\tError : " - 1), row.pieces) << row.text;
        EXPECT_EQ(isCut, static_cast<bool>(error.IsEmpty()));
    }
}

TEST(Scanner, SeparatorsAreKeptOnlyWhenAskedForAndEmptyPiecesNever) {
    const State state;
    const State::Matcher comma = [](std::size_t position, const s_str& text, s_str& matched) {
        matched = ",";
        return text.View()[position] == ',';
    };
    const auto split = [&](const char* text, bool keep) {
        s_ctnr_t<s_str> pieces;
        s_str error;
        EXPECT_TRUE(state.SplitExpression(pieces, text, comma, error, keep));
        return Joined(pieces);
    };
    EXPECT_EQ(split(",a,,(b,c), ", false), "[a][(b,c)][ ]");
    EXPECT_EQ(split("a,,b", true), "[a][,][,][b]");
}

TEST(Scanner, MessagesStandOnePerLine) {
    const State state;
    s_ctnr_t<s_str> pieces;
    s_str error = "first";
    EXPECT_FALSE(state.SplitOperators(pieces, "(", error));
    EXPECT_EQ(error.Get(), "first\n\tError : Unterminated '('");
}

TEST(Scanner, OperatorsOfSeveralCharacters) {
    State state;
    s_str error;
    EXPECT_TRUE(state.SetOperatorPriorities({{"*", 1}, {"=>", 1}}, error));
    const auto split = [&](const char* text) {
        s_ctnr_t<s_str> pieces;
        EXPECT_TRUE(state.SplitOperators(pieces, text, error));
        return Joined(pieces);
    };
    EXPECT_EQ(split("a=>b=c"), "[a][=>][b=c]");
    EXPECT_EQ(split("a="), "[a][=>]"); // a text that ends within an operator
    s_str matched;
    EXPECT_TRUE(state.MatchOperator(1, "=", matched)); // at the end every operator counts as cut off
    EXPECT_EQ(matched.Get(), "*");
    EXPECT_EQ(state.GetOperatorPriority("=>").Get(), 1u);

    const std::pair<OperatorPriorities, const char*> refused[] = {
        {{{"", 1}, {"+", 1}}, "\tError : An operator needs a text"},
        {{{"a(", 1}, {"+", 1}}, "\tError : Operator 'a(' contains a bracket"},
        {{{"a<b", 1}, {"+", 1}}, "\tError : Operator 'a<b' contains a bracket"},
        {{{"]", 1}, {"+", 1}}, "\tError : Operator ']' contains a bracket"},
    };
    for (const auto& [priorities, message] : refused) {
        error.Clear();
        EXPECT_FALSE(state.SetOperatorPriorities(priorities, error));
        EXPECT_EQ(error.Get(), message);
    }
    EXPECT_FALSE(state.GetOperatorPriority("+").IsValid()); // nothing was replaced

    EXPECT_TRUE(state.SetOperatorPriorities({{"*", 2}, {"**", 3}, {"#$", 1}, {"##", 3}, {"+", 1}}));
    EXPECT_EQ(split("2**3"), "[2][*][*][3]"); // the longer one is never found
    Binding bind(state);
    bind.LeftUnary("#$", [](double a) { return a + 100; });
    bind.LeftUnary("##", [](double a) { return -a; });
    bind.LeftUnary("+", [](double a) { return a + 0.5; });
    // The left side of an operator is a text of its own, and may end within another operator.
    const std::pair<const char*, double> rows[] = {
        {"2#*3", -6},  {"2 # *3", -6}, {"1+2#*3", -5},         {"(1+2)#*3", -9}, {"2#$*3", 0},
        {"2#+3", 1},   {"1+2#+3", 2},  {"2*3#+1", -5},         {"2#", -2},       {"2 # #", 2},
        {"2# #*3", 6}, {"1+#+2", 0},   {"(2#)*(3#$+1)", -208}, {"2*(3#", 0},     {"#*3", 0},
    };
    for (const auto& [text, value] : rows) {
        const Result<double> result = state.Evaluate<double>(text);
        if (value != 0) EXPECT_EQ(result ? *result : 0, value) << text << result.GetError().Get();
        else EXPECT_FALSE(result) << text;
    }
    EXPECT_EQ(state.Evaluate("#*3").GetError().Get(), "\tError : Operator '##' is missing its operands");
}

TEST(Scanner, LiteralsAndNearMisses) {
    State state;
    Vector::Register(state);
    const auto& tests = state.GetRegistry().literalTests;
    const auto accepted = [&](const char* text) {
        std::string types;
        for (const auto& [type, test] : tests)
            if (test(text)) types += type.Get().front();
        return types;
    };
    const Row rows[] = {
        {"1", "S"},       {"1.5", "S"},   {".5", "S"}, {"5.", "S"},   {" 5 ", "S"},  {"1e3", "S"},
        {"-2.5e-3", "S"}, {"+1e+3", "S"}, {".", "S"},  {"", "S"},     {"-", "S"},    {"e5", "S"},
        {"1E3", ""},      {"1e", ""},     {"1e+", ""}, {"1.2.3", ""}, {"1e3.5", ""}, {"1 2", ""},
        {"--1", ""},      {"\t1", ""},    {"inf", ""}, {"0x1", ""},   {"<>", "V"},   {"<1>x<2>", "V"},
        {"<1>x", ""},     {" <1>", ""},   {"&a", "R"}, {"&", "R"},    {" &a", ""},
    };
    for (const Row& row : rows) EXPECT_EQ(accepted(row.text), row.pieces) << row.text;
}

} // namespace
