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

} // namespace
