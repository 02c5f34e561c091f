// Random expressions, good and broken, evaluated by the state and by the slow evaluator: values, names and error texts
// must be the same.

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "slow_evaluator.h"
#include "types/vector.h"

namespace {

using namespace Quarn;

class Generator {
public:
    std::string Expression() {
        std::string text = Nested(3);
        // A broken one in three: characters lost, doubled or put in anywhere.
        while (Below(3) == 0 && !text.empty()) {
            const std::size_t position = Below(text.size());
            switch (Below(3)) {
            case 0: text.erase(position, 1 + Below(2)); break;
            case 1: text.insert(position, 1, text[Below(text.size())]); break;
            default:
                text.insert(position, Pick({"(", ")", "<", ">", "[", "]", ",", "+", "-", "!", " ", "_", "&", "."}));
            }
        }
        return text;
    }

private:
    std::size_t Below(std::size_t bound) { return m_random() % bound; }
    std::string Pick(std::initializer_list<const char*> texts) { return texts.begin()[Below(texts.size())]; }
    std::string Gap() { return Below(6) == 0 ? " " : ""; }

    std::string Nested(unsigned depth) {
        std::string text = Operand(depth);
        while (Below(2) == 0) {
            text += Gap() + Pick({"+", "-", "*", "/", "%", "^", "!", "+", "-", "*"}) + Gap();
            if (Below(12) != 0) text += Operand(depth);
        }
        return text;
    }

    std::string Operand(unsigned depth) {
        const std::string leaf = Pick({"1", "2",  "0.5", "3",  "a",  "v",  "w",  "r",      "u",  "z",   "s",
                                       "_", "pi", "new", "&a", "&u", "e5", "5x", "Scalar", "<>", "1e2", "."});
        if (depth == 0 || Below(2) == 0) return leaf;
        const std::string inner = Nested(depth - 1);
        switch (Below(9)) {
        case 0: return "(" + Gap() + inner + Gap() + ")";
        case 1: return Pick({"-", "+", "!"}) + inner;
        case 2: return Pick({"abs", "sqrt", "max", "nothing"}) + Gap() + "(" + inner + ")";
        case 3: return "max(" + inner + "," + Gap() + Nested(depth - 1) + ")" + Pick({"", "", "2"});
        case 4: return "<" + inner + "," + Gap() + Nested(depth - 1) + ">";
        case 5: return Pick({"v", "w", "<1, 2, 3>", "a", "u"}) + "[" + Operand(depth - 1) + "]" + Pick({"", "", "x"});
        case 6: return Pick({"Vector", "Scalar", "Reference"}) + "(" + inner + ")";
        case 7: return "&" + leaf;
        default: return inner;
        }
    }

    std::mt19937 m_random{20};
};

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
    Generator generator;
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
    // Both kinds must be there for the comparison to mean something.
    EXPECT_GT(successes, 15'000);
    EXPECT_LT(successes, 50'000);
}

} // namespace
