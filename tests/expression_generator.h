#pragma once

#include <initializer_list>
#include <random>
#include <string>

/// Random expressions over a few names, good and broken ones.
class ExpressionGenerator {
public:
    explicit ExpressionGenerator(unsigned seed) : m_random(seed) {}

    std::size_t Below(std::size_t bound) { return m_random() % bound; }
    std::string Pick(std::initializer_list<const char*> texts) { return texts.begin()[Below(texts.size())]; }

    std::string Expression() {
        std::string text = Nested(3);
        // One in three is broken: characters are deleted, doubled or inserted anywhere.
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
        const std::string leaf = Pick({"1",  "2",   "0.5", "3",  "a",  "v",  "w",      "r",  "u",   "z", "s",   "_",
                                       "pi", "new", "&a",  "&u", "e5", "5x", "Scalar", "<>", "1e2", ".", "1.05"});
        if (depth == 0 || Below(2) == 0) return leaf;
        const std::string inner = Nested(depth - 1);
        switch (Below(9)) {
        case 0: return "(" + Gap() + inner + Gap() + ")";
        case 1: return Pick({"-", "+", "!"}) + inner;
        case 2:
            return Pick({"abs", "sqrt", "max", "nothing", "exp", "log", "sin", "cos", "tan", "asin", "acos", "atan",
                         "round", "round_up", "round_down"}) +
                   Gap() + "(" + inner + ")";
        case 3:
            return Pick({"max", "atan"}) + "(" + inner + "," + Gap() + Nested(depth - 1) + ")" + Pick({"", "", "2"});
        case 4: return "<" + inner + "," + Gap() + Nested(depth - 1) + ">";
        case 5: return Pick({"v", "w", "<1, 2, 3>", "a", "u"}) + "[" + Operand(depth - 1) + "]" + Pick({"", "", "x"});
        case 6: return Pick({"Vector", "Scalar", "Reference"}) + "(" + inner + ")";
        case 7: return "&" + leaf;
        default: return inner;
        }
    }

    std::mt19937 m_random;
};
