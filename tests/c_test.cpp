// The C interface, for what the samples of the documents and the examples do not show.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <quarn/c.h>

namespace {

class CInterface : public testing::Test {
protected:
    CInterface() { quarn_new(&state); }
    ~CInterface() override { quarn_free(state); }

    static void Append(void* text, const char* more, size_t size) {
        static_cast<std::string*>(text)->append(more, size);
    }
    static void Take(void* texts, const char* text) { *static_cast<std::string*>(texts) += std::string(text) + " "; }

    std::string Run(const char* line) {
        std::string reports;
        status = quarn_run(state, line, Append, &reports);
        return reports;
    }
    /// The kind, message and position of a failure to evaluate.
    std::string Fault(const char* expression) {
        double number = 0;
        status = quarn_evaluate(state, expression, &number);
        const size_t position = quarn_error_position(state);
        return std::to_string(status) + " " + quarn_error(state) +
               (position == QUARN_NOWHERE ? "" : " at " + std::to_string(position));
    }

    quarn_state* state = nullptr;
    quarn_status status = QUARN_OK;
};

TEST_F(CInterface, SaysWhyACallFailed) {
    EXPECT_STREQ(quarn_error(state), "");
    EXPECT_EQ(quarn_error_position(state), QUARN_NOWHERE);
    EXPECT_EQ(Fault("2*(3"), std::to_string(QUARN_TEXT) + " Unterminated '(' at 2");
    EXPECT_EQ(Fault("1+rate"), std::to_string(QUARN_UNKNOWN_NAME) + " Unknown symbol 'rate' at 2");
    EXPECT_EQ(Fault("<1, 2>[0]*<1>"), std::to_string(QUARN_EVALUATION) + " The value is a Vector, not a Scalar");
    EXPECT_EQ(Fault(nullptr), Fault(""));
    EXPECT_EQ(quarn_set(state, "sin", 1), QUARN_EVALUATION);
    EXPECT_STREQ(quarn_error(state), "Cannot assign a value to the function 'sin'");
    EXPECT_EQ(quarn_erase(state, "x"), QUARN_UNKNOWN_NAME);
    EXPECT_EQ(quarn_limit(state, QUARN_STEPS, std::nan("")), QUARN_EVALUATION);
    EXPECT_EQ(quarn_limit(state, QUARN_LEVELS, INFINITY), QUARN_EVALUATION);
}

TEST_F(CInterface, LeavesResultsOfFailedCallsAsTheyWere) {
    double number = 4;
    const char* text = "before";
    const double* numbers = nullptr;
    size_t count = 7;
    EXPECT_NE(quarn_evaluate(state, "1+", &number), QUARN_OK);
    EXPECT_NE(quarn_evaluate_text(state, "1+", &text), QUARN_OK);
    EXPECT_NE(quarn_preview(state, "rand()", 1, &text), QUARN_OK);
    EXPECT_NE(quarn_evaluate_vector(state, "1", &numbers, &count), QUARN_OK);
    EXPECT_EQ(number, 4);
    EXPECT_STREQ(text, "before");
    EXPECT_EQ(count, 7u);
}

TEST_F(CInterface, SetsAndErasesSymbols) {
    const double values[] = {3, 4};
    EXPECT_EQ(quarn_set_vector(state, "v", values, 2), QUARN_OK);
    const char* text = "";
    EXPECT_EQ(quarn_evaluate_text(state, "v*2", &text), QUARN_OK);
    EXPECT_STREQ(text, "<6, 8>");
    EXPECT_EQ(quarn_erase(state, "v"), QUARN_OK);
    EXPECT_EQ(quarn_erase(state, "v"), QUARN_UNKNOWN_NAME);
}

TEST_F(CInterface, LimitsAndStops) {
    quarn_limit(state, QUARN_STEPS, 100);
    EXPECT_NE(
        Run("v = <1, 2, 3>; <v*2, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v>*2").find("steps"),
        std::string::npos);
    EXPECT_EQ(status, QUARN_REPORTED);
    quarn_limit(state, QUARN_STEPS, INFINITY);
    quarn_limit(state, QUARN_LEVELS, 3);
    Fault("<<<<1>>>>");
    EXPECT_EQ(status, QUARN_NESTING_LIMIT);
    quarn_limit(state, QUARN_STACK, 1 << 20);
    quarn_limit(state, QUARN_MEMORY, 10);
    EXPECT_EQ(quarn_set(state, "x", 1), QUARN_MEMORY_LIMIT);
    quarn_limit(state, QUARN_MEMORY, INFINITY);
    std::string sum = "1";
    for (int i = 0; i < 10'000; ++i) sum += "+1";
    for (const auto& [limited, kind] : {std::pair(QUARN_STEPS, QUARN_STEP_LIMIT), {QUARN_SECONDS, QUARN_TIME_LIMIT}}) {
        EXPECT_EQ(quarn_limit(state, limited, 0), QUARN_OK);
        Fault(sum.c_str());
        EXPECT_EQ(status, kind);
        quarn_limit(state, limited, INFINITY);
    }
    std::thread([&] { quarn_cancel(state, true); }).join();
    EXPECT_EQ(Fault("1+1"), std::to_string(QUARN_CANCELLED) + " Cancelled, the statement was stopped");
    quarn_cancel(state, false);
    double number = 0;
    EXPECT_EQ(quarn_evaluate(state, "1+1", &number), QUARN_OK);
}

quarn_status Nested(quarn_state* state, void* expression, const double*, size_t, double* result) {
    return quarn_evaluate(state, static_cast<const char*>(expression), result);
}
quarn_status Sum(quarn_state*, void* calls, const double* arguments, size_t count, double* result) {
    ++*static_cast<int*>(calls);
    for (*result = 0; count > 0; --count) *result += arguments[count - 1];
    return QUARN_OK;
}
quarn_status Failing(quarn_state* state, void*, const double*, size_t, double*) {
    return quarn_fail(state, "Too cold");
}
quarn_status Silent(quarn_state*, void*, const double*, size_t, double*) { return QUARN_EVALUATION; }
quarn_status Throwing(quarn_state*, void*, const double*, size_t, double*) { throw 1; }

TEST_F(CInterface, CallsFunctionsOfTheHost) {
    int pureCalls = 0;
    int impureCalls = 0;
    char missing[] = "2*missing";
    EXPECT_EQ(quarn_define(state, "pure", 8, QUARN_PURE, Sum, &pureCalls), QUARN_OK);
    EXPECT_EQ(quarn_define(state, "impure", 0, QUARN_IMPURE, Sum, &impureCalls), QUARN_OK);
    EXPECT_EQ(quarn_define(state, "nested", 0, QUARN_IMPURE, Nested, missing), QUARN_OK);
    EXPECT_EQ(quarn_define(state, "failing", 0, QUARN_IMPURE, Failing, nullptr), QUARN_OK);
    EXPECT_EQ(quarn_define(state, "silent", 1, QUARN_PURE, Silent, nullptr), QUARN_OK);
    EXPECT_EQ(quarn_define(state, "throwing", 1, QUARN_PURE, Throwing, nullptr), QUARN_OK);
    EXPECT_NE(quarn_define(state, "many", 9, QUARN_PURE, Sum, nullptr), QUARN_OK);
    EXPECT_NE(quarn_define(state, "none", 1, QUARN_PURE, nullptr, nullptr), QUARN_OK);
    EXPECT_NE(quarn_define(state, "", 1, QUARN_PURE, Sum, nullptr), QUARN_OK);
    EXPECT_NE(quarn_define(state, "a b", 1, QUARN_PURE, Sum, nullptr), QUARN_OK);

    EXPECT_EQ(Run("impure(); p &= pure(1,2,3,4,5,6,7,8); p; nested(); failing(); silent(1)"),
              "\tScalar : 0\n\tDefining Reference : p = 36\n\tScalar : 36\n"
              "\tError : Unknown symbol 'missing'\n\tError : Too cold\n\tError : The function has failed\n");
    EXPECT_GT(pureCalls, 0);
    EXPECT_EQ(impureCalls, 1);
    double number = 0;
    EXPECT_EQ(quarn_evaluate(state, "throwing(1)", &number), QUARN_EVALUATION);
    EXPECT_STREQ(quarn_error(state), "An exception");
    EXPECT_EQ(Run("1+1"), "\tScalar : 2\n");
}

/// Runs a line from within a report.
void RunAnother(void* state, const char*, size_t) {
    static bool isNested = false;
    if (!std::exchange(isNested, true)) quarn_run(static_cast<quarn_state*>(state), "x = 2", nullptr, nullptr);
}

TEST_F(CInterface, RunsLinesFromWithinReports) {
    EXPECT_EQ(quarn_run(state, "1; 2", RunAnother, state), QUARN_OK);
    double number = 0;
    EXPECT_EQ(quarn_get(state, "x", &number), QUARN_OK);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(Run("3"), "\tScalar : 3\n");
}

TEST_F(CInterface, TellsWhatALineBeingTypedCouldBe) {
    quarn_set(state, "total", 3);
    std::string texts;
    size_t begin = 0;
    EXPECT_EQ(quarn_complete(state, "2*to", 4, &begin, Take, &texts), QUARN_OK);
    EXPECT_EQ(texts + std::to_string(begin), "total 2");
    texts.clear();
    EXPECT_EQ(quarn_complete(state, "2*to", 400, &begin, Take, &texts), QUARN_OK);
    EXPECT_EQ(texts, "total ");
    const char* text = nullptr;
    EXPECT_EQ(quarn_preview(state, "total = 4; total*2", 1, &text), QUARN_OK);
    EXPECT_STREQ(text, "8");
    EXPECT_NE(quarn_preview(state, "rand()", 1, &text), QUARN_OK);
    EXPECT_NE(quarn_preview(state, "~total", 1, &text), QUARN_OK);
    EXPECT_STREQ(quarn_error(state), "A preview erases nothing");
    EXPECT_NE(quarn_preview(state, "1", std::nan(""), &text), QUARN_OK);
    texts.clear();
    EXPECT_EQ(quarn_names(state, Take, &texts), QUARN_OK);
    EXPECT_EQ(texts, "_ total ");
}

TEST_F(CInterface, EvaluatesFormulasAlsoAfterTheStateWasFreed) {
    quarn_formula* formula = nullptr;
    ASSERT_EQ(quarn_formula_new(state, "a*x+sqrt(b)", &formula), QUARN_OK);
    EXPECT_EQ(quarn_formula_check(formula), QUARN_OK);
    std::string names;
    EXPECT_EQ(quarn_formula_names(formula, QUARN_SYMBOLS, Take, &names), QUARN_OK);
    EXPECT_EQ(quarn_formula_names(formula, QUARN_FUNCTIONS, Take, &names), QUARN_OK);
    EXPECT_EQ(names, "a b x sqrt ");
    const double a = 2;
    double x = 3;
    EXPECT_EQ(quarn_formula_bind(formula, "a", &a), QUARN_OK);
    EXPECT_EQ(quarn_formula_bind(formula, "x", &x), QUARN_OK);
    EXPECT_EQ(quarn_formula_bind(formula, "my x", &x), QUARN_EVALUATION);
    EXPECT_EQ(quarn_formula_bind(formula, "x", nullptr), QUARN_EVALUATION);
    double value = 0;
    EXPECT_EQ(quarn_formula_evaluate(formula, &value), QUARN_UNKNOWN_NAME);
    quarn_set(state, "b", 16);
    quarn_free(std::exchange(state, nullptr));
    EXPECT_EQ(quarn_formula_evaluate(formula, &value), QUARN_OK);
    EXPECT_EQ(value, 10);

    std::array<double, 3> xs{1, 2, 3};
    const std::array<double, 3> as{10, 20, 30};
    const std::array<quarn_values, 2> values{{{"x", xs.data()}, {"a", as.data()}}};
    EXPECT_EQ(quarn_formula_evaluate_each(formula, xs.data(), xs.size(), values.data(), values.size()), QUARN_OK);
    EXPECT_EQ(xs, (std::array<double, 3>{14, 44, 94}));
    quarn_formula_free(formula);
    quarn_formula_free(nullptr);
}

} // namespace
