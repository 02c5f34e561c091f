// Memory that runs out at any allocation of any statement: the statement is undone, and the next one runs. Also checks
// that memory is proportional to the input and given back.

#include <gtest/gtest.h>

#include <cctype>
#include <streambuf>
#include <string>
#include <thread>

#include "failing_allocation.h"
#include <quarn/c.h>
#include <quarn/quarn.h>

namespace {

using namespace Quarn;

/// A fixed buffer, so that printing allocates nothing.
class FixedBuffer : public std::streambuf {
public:
    FixedBuffer() { Clear(); }
    void Clear() { setp(m_characters, m_characters + sizeof m_characters); }
    std::string_view Text() const { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }

private:
    char m_characters[1 << 16];
};

std::string Snapshot(const State& state) {
    std::string text;
    for (const auto& [name, value] : state.GetSymbols())
        text += name.Get() + ":" + value->GetRealType().Get() + ":" + value->ToString().Get() + "\n";
    return text;
}

class Memory : public testing::TestWithParam<const char*> {};

TEST_P(Memory, RunningOutUndoesTheStatement) {
    const char* const outOfMemory = "\tError : Out of memory\n";
    FixedBuffer buffer;
    std::ostream output(&buffer);
    std::istream input(nullptr);
    std::size_t failures = 0;
    for (std::size_t allowed = 0;; ++allowed) {
        State state;
        state.SetStreams(input, output);
        Vector::Register(state);
        for (const char* line : {"a = 3; b = 1.23456789012345; v = <1, 2, 3>; n = <<1, 2>, <3, 4>>",
                                 "longerNameThanFitsInPlace = 4; r &= a+longerNameThanFitsInPlace; u &= undefined1+1",
                                 "z &= z+1; s:Symbol; 8"})
            state.ParseLine(line);
        const std::string before = Snapshot(state);
        buffer.Clear();
        AllocationsLeft = allowed;
        state.ParseLine(GetParam());
        const bool ranOut = AllocationsLeft > allowed;
        AllocationsLeft = ~std::size_t{0};
        if (!ranOut) break;
        ++failures;
        ASSERT_TRUE(buffer.Text().ends_with(outOfMemory)) << buffer.Text();
        ASSERT_EQ(Snapshot(state), before) << "after " << allowed << " allocations";
        buffer.Clear();
        state.ParseLine("r+1");
        ASSERT_EQ(buffer.Text(), "\tScalar : 8\n");
    }
    EXPECT_GT(failures, 0u);
}

/// The letters and digits of the statement, after a number that makes the name unique.
std::string NameOf(const testing::TestParamInfo<const char*>& parameter) {
    std::string name = std::to_string(parameter.index);
    bool isWord = false;
    for (const char* character = parameter.param; *character; ++character) {
        const bool continues = std::isalnum(static_cast<unsigned char>(*character)) != 0;
        if (continues && !isWord) name += '_';
        if (continues) name += *character;
        isWord = continues;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Statements, Memory,
                         testing::Values("x = 1.23456789012345+a*(b-2)", "a = <a, 2, 3>",
                                         "anotherNameOfSomeLength &= a+b*2", "a &= a+undefined1", "x:Scalar(2.5)",
                                         "x:Vector(1, 2, 3)", "x:Vector", "~a", "~_", "~", "?r", "?n", "?undefined1",
                                         "?", "newSymbolOfSomeLengthToStore", "-n+2*n", "v^v", "n[1]",
                                         "sqrt(abs(-a)+max(a, b))", "u*2", "u+u*(a+1)", "r*v", "z+1", "s = s", "x = s",
                                         "v+n", "sqrt(a, b)", "a+", "unknownNameOfSomeLength+1", "((((a))))*v",
                                         "<1, r, a+1>", "Reference(a+undefined1)", "<1, <2>>", "a:Unknown(1)",
                                         "1 2 3 4 5 6 7 8 9 10"),
                         NameOf);

TEST(CInterface, ReportsThatMemoryRanOut) {
    const auto doAll = [](quarn_state* state) {
        quarn_formula* formula = nullptr;
        const char* text = nullptr;
        const double* numbers = nullptr;
        std::size_t count = 0;
        double number = 0;
        const auto twice = [](quarn_state*, void*, const double* arguments, std::size_t, double* result) {
            *result = 2 * *arguments;
            return QUARN_OK;
        };
        const quarn_status statuses[]{
            quarn_set(state, "x", 2.5),
            quarn_evaluate(state, "sqrt(x)*(x+1)", &number),
            quarn_evaluate_vector(state, "<1, 2, x>*2", &numbers, &count),
            quarn_evaluate_text(state, "<1, 2, 0.1234567890123>", &text),
            quarn_preview(state, "longerNameThanFitsInPlace = 4", 1, &text),
            quarn_names(
                state, [](void*, const char*) {}, nullptr),
            quarn_complete(
                state, "s", 1, &count, [](void*, const char*) {}, nullptr),
            quarn_define(state, "twice", 1, QUARN_PURE, twice, nullptr),
            quarn_run(state, "y = 2*x", nullptr, nullptr),
            quarn_formula_new(state, "twice(z)+1", &formula),
        };
        bool haveSucceeded = true;
        for (const quarn_status status : statuses) haveSucceeded = haveSucceeded && status == QUARN_OK;
        if (formula)
            haveSucceeded = quarn_formula_bind(formula, "z", &number) == QUARN_OK &&
                            quarn_formula_evaluate(formula, &number) == QUARN_OK && haveSucceeded;
        quarn_formula_free(formula);
        return haveSucceeded;
    };
    for (std::size_t allowed = 0;; ++allowed) {
        AllocationsLeft = allowed;
        quarn_state* state = nullptr;
        const bool haveSucceeded = quarn_new(&state) == QUARN_OK && doAll(state);
        const bool ranOut = AllocationsLeft > allowed;
        AllocationsLeft = ~std::size_t{0};
        if (state) {
            EXPECT_TRUE(doAll(state)) << quarn_error(state);
        }
        quarn_free(state);
        if (!ranOut) break;
        ASSERT_FALSE(haveSucceeded) << "after " << allowed << " allocations";
    }
}

TEST(Pools, TakeBackWhatAnotherThreadMade) {
    if (!s_pools_keep) GTEST_SKIP() << "no pools under the address sanitizer";
    const auto allocationsOfARound = [] {
        const std::size_t before = AllocationsLeft;
        std::vector<s_refptr<Symbol>> values;
        std::thread([&] {
            for (int i = 0; i < 20'000; ++i) values.push_back(make_refptr<Scalar>(i));
        }).join();
        values.clear(); // in this thread
        return before - AllocationsLeft;
    };
    allocationsOfARound();
    EXPECT_LT(allocationsOfARound(), 200u); // fewer than 20,000 values need at 40 blocks per chunk
}

/// A line, its peak memory in bytes per character, and the bytes it may leave allocated.
struct Weight {
    const char* name;
    std::string line;
    double perCharacter;
    std::size_t left;
};

std::string Repeat(std::string_view text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) repeated += text;
    return repeated;
}

TEST(Lines, TakeLittleMemoryForTheirLength) {
    const Weight weights[] = {
        {"ampersands", Repeat("&", 200'000) + "a", 30, 1'000'000},
        {"constructors", Repeat("Reference(", 999) + Repeat("a", 20'000) + Repeat(")", 999), 40, 1'000'000},
        {"vectors", Repeat("<&", 499) + Repeat("a", 100'000) + Repeat(">", 499), 60, 1'000'000},
        {"brackets", "(" + Repeat("1+", 500'000) + "1)", 20, 20'000},
        {"pairs", "<" + Repeat("<1,2>,", 50'000) + "<1,2>>", 100, 30'000'000},
    };
    for (const Weight& weight : weights) {
        FixedBuffer buffer;
        std::ostream output(&buffer);
        std::istream input(nullptr);
        State state;
        state.SetStreams(input, output);
        Vector::Register(state);
        state.ParseLine("1+(2*<1, 2>[1])");
        const std::size_t before = MostBytesInUse = BytesInUse;
        state.ParseLine(weight.line);
        EXPECT_LT(static_cast<double>(MostBytesInUse - before),
                  weight.perCharacter * static_cast<double>(weight.line.size()))
            << weight.name;
        EXPECT_LT(BytesInUse, before + weight.left) << weight.name;
    }
}

} // namespace
