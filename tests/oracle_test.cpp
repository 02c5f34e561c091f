// Random expressions, good and broken, evaluated by the state and by the slow evaluator: values, names and error texts
// must be the same.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include <quarn/quarn.h>

#include "expression_generator.h"
#include "quarn/interpreter/language/names.h"
#include "slow_evaluator.h"

namespace {

using namespace Quarn;

std::string Outcome(const s_refptr<Symbol>& value, const s_str& error) {
    if (!value) return error.Get();
    return error.Get() + value->GetRealType().Get() + "|" + value->GetType().Get() + "|" + value->GetName().Get() +
           "|" + value->ToString().Get();
}

TEST(Oracle, FastAndSlowEvaluationAreTheSameLanguage) {
    State state;
    std::ostringstream output;
    state.SetStreams(std::cin, output);
    Vector::Register(state);
    for (const char* line : {"a = 3", "v = <10, 20, 30>", "w = <<1, 2>, <3, 4>>", "r &= a+1", "u &= missing*2",
                             "z &= z+1", "s:Symbol", "e5 = 7", "5x = 2", "8"})
        state.ParseLine(line);
    SlowEvaluator slow(state);
    ExpressionGenerator generator(20);
    int successes = 0;
    for (int i = 0; i < 60'000; ++i) {
        const std::string text = generator.Expression();
        const s_str name = i % 3 == 0 ? "n" : "";
        const bool allowNew = i % 2 == 0;
        s_str fastError;
        s_str slowError;
        const s_refptr<Symbol> fastValue = state.ParseSymbol(name, text, fastError, allowNew);
        const s_refptr<Symbol> slowValue = slow.ParseSymbol(name, text, slowError, allowNew);
        ASSERT_EQ(Outcome(fastValue, fastError), Outcome(slowValue, slowError)) << text;
        successes += fastValue ? 1 : 0;
    }
    // The comparison needs enough of both kinds to mean something.
    EXPECT_GT(successes, 15'000);
    EXPECT_LT(successes, 50'000);
}

/// Operators of several characters, of which one may begin like another, or end a side.
TEST(Oracle, LongOperatorsAreFoundAsTheRulesSay) {
    std::mt19937 random(22);
    const auto below = [&](std::size_t bound) { return random() % bound; };
    int successes = 0;
    for (int i = 0; i < 2'000; ++i) {
        State state;
        OperatorPriorities table;
        Binding bind(state);
        for (std::size_t count = 2 + below(4); table.size() < count;) {
            std::string op;
            for (std::size_t length = 1 + below(3); op.size() < length;) op += "#$*!"[below(4)];
            table[op] = 1 + below(3);
            bind.Binary(op, [](double a, double b) { return a * 3 + b; });
            bind.LeftUnary(op, [](double a) { return a + 100; });
            if (below(2)) bind.RightUnary(op, [](double a) { return a - 0.5; });
        }
        ASSERT_TRUE(state.SetOperatorPriorities(table));
        std::string operators;
        for (const auto& [op, priority] : table) operators += " " + op.Get() + ":" + s_str(priority).Get();
        SlowEvaluator slow(state);
        for (int text = 0; text < 30; ++text) {
            std::string expression;
            for (std::size_t length = 1 + below(10); expression.size() < length;)
                expression += "##$$**!!1234x ()"[below(16)];
            s_str fastError;
            s_str slowError;
            const s_refptr<Symbol> fastValue = state.ParseSymbol("", expression, fastError, true);
            const s_refptr<Symbol> slowValue = slow.ParseSymbol("", expression, slowError, true);
            ASSERT_EQ(Outcome(fastValue, fastError), Outcome(slowValue, slowError)) << expression << operators;
            successes += fastValue ? 1 : 0;
        }
    }
    EXPECT_GT(successes, 4'000);
}

/// Texts of references that stay references, as operands of operators of one character and of several.
TEST(Oracle, OperationsAreKeptAsTheirRewrittenTexts) {
    std::mt19937 random(21);
    const auto below = [&](std::size_t bound) { return random() % bound; };
    const std::vector<OperatorPriorities> tables = {
        {{"[]", 5}, {"*", 2}, {"+", 1}}, {{"mod", 2}, {"+", 1}, {"*", 2}}, {{"mm", 3}, {"xy", 1}, {"+", 1}, {"=>", 2}}};
    int kept = 0;
    int evaluations = 0;
    std::ostringstream reports;
    for (int i = 0; i < 60'000; ++i) {
        const OperatorPriorities& table = tables[below(tables.size())];
        State state;
        state.SetStreams(std::cin, reports);
        ASSERT_TRUE(state.SetOperatorPriorities(table));
        for (const auto& [op, priority] : table)
            Binding(state).Binary(op, [](double a, double b) { return a * 3 + b; });
        const auto operand = [&]() -> std::string {
            const char* const good[] = {"x", "y+1", "(x)", "x*2", "(x+d)", "om", "((x))", "x+(y*(d+1))", "1*x"};
            if (below(2)) return good[below(std::size(good))];
            const std::string_view letters = "((()))xxxxmmmmoody+*=>1 <[";
            std::string text;
            for (std::size_t length = below(12); text.size() < length;) text += letters[below(letters.size())];
            return text + (below(3) ? "" : "m");
        };
        const auto reference = [&]() -> s_refptr<Symbol> { return make_refptr<Reference>("", operand(), state); };
        s_str error;
        s_refptr<Symbol> value = reference();
        std::string text = value->ToString().Get();
        const auto isKept = [&] { return value && value->GetType() == "Reference"; };
        for (int operators = 0; operators < 3 && isKept(); ++operators) {
            auto op = table.begin();
            std::advance(op, below(table.size()));
            const s_refptr<Symbol> other = below(3) ? reference() : make_refptr<Scalar>(2);
            const bool isLeft = below(2);
            const std::string otherText = other->ToString().Get();
            const std::string left = isLeft ? text : otherText;
            const std::string right = isLeft ? otherText : text;
            s_str slowError;
            s_str slowText;
            const bool isRewritten = SlowEvaluator(state).Rewrite(
                "(" + left + ")" + op->first.Get() + "(" + right + ")", slowText, slowError);
            value = state.ApplyBinaryOperator(op->first, isLeft ? value : other, isLeft ? other : value, error);
            if (!isRewritten) {
                ASSERT_FALSE(value) << left << op->first.Get() << right;
                ASSERT_EQ(error.Get(), slowError.Get()) << left << op->first.Get() << right;
            } else if (isKept()) {
                text = slowText.Get();
                ASSERT_EQ(value->ToString().Get(), text) << left << op->first.Get() << right;
                ++kept;
            }
        }
        if (!isKept()) continue;
        // The kept expression means the same as its text, even when its names are defined.
        for (auto name = text.begin(); name != text.end();) {
            const auto end = std::find_if_not(name, text.end(), IsLetter);
            if (end != name) state.ParseLine(std::string(name, end) + " = " + std::to_string(end - name));
            name = end == text.end() ? end : end + 1;
        }
        s_str unseen;
        const s_refptr<Symbol> evaluated = state.ParseSymbol("", text, unseen, false);
        ASSERT_EQ(value->ToString().Get(), evaluated ? evaluated->ToString().Get() : text) << text;
        evaluations += evaluated ? 1 : 0;
    }
    EXPECT_GT(evaluations, 1'000);
    EXPECT_GT(kept, 10'000);
}

} // namespace
