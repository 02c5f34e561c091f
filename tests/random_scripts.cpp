// Writes random scripts, which two builds of the program can be compared with.
// usage: random_scripts COUNT FOLDER

#include <cstdlib>
#include <fstream>

#include "expression_generator.h"

namespace {

/// A number of any size that fits, with digits enough to fill a double.
std::string Number(ExpressionGenerator& generator) {
    std::string text =
        std::to_string(generator.Below(1'000'000'000)) + "." + std::to_string(generator.Below(1'000'000'000));
    switch (generator.Below(4)) {
    case 0: return text + "e" + std::to_string(generator.Below(280));
    case 1: return "Scalar(" + text + "e-" + std::to_string(generator.Below(300)) + ")";
    case 2: return "(" + text + "/1000000000)";
    default: return text + "/" + std::to_string(1 + generator.Below(1'000'000'000));
    }
}

/// Statements that show the first eight digits of a result, and then the others, down to its last bit.
std::string Calculation(ExpressionGenerator& generator) {
    const std::string function =
        generator.Pick({"exp", "log", "sqrt", "sin", "cos", "tan", "asin", "acos", "atan", "round", "-", "", "!"});
    std::string text = "y = " + function + "(" + Number(generator) + ")";
    switch (generator.Below(4)) {
    case 0: text = "y = (" + Number(generator) + ")^(" + Number(generator) + "/100000000)"; break;
    case 1: text += generator.Pick({"+", "-", "*", "/"}) + Number(generator); break;
    case 2: text = "y = (1+1/(" + Number(generator) + "))^" + std::to_string(generator.Below(500)); break;
    default: break;
    }
    return text + "; m = y/10^round_down(log(abs(y))/log(10)); m-round(m*100000000)/100000000";
}

} // namespace

int main(int count, char** words) {
    if (count != 3) return 1;
    for (int script = 0; script < std::atoi(words[1]); ++script) {
        std::ofstream file(std::string(words[2]) + "/random" + std::to_string(script), std::ios::binary);
        ExpressionGenerator generator(static_cast<unsigned>(script));
        file << "a = 3; v = <10, 20, 30>; w = <<1, 2>, <3, 4>>; r &= a+1; u &= missing*2; s:Symbol; z = 2.75\n";
        for (int line = 0; line < 20; ++line) file << Calculation(generator) << "\n";
        for (int line = 0; line < 30; ++line) {
            const std::string name = generator.Pick({"a", "v", "w", "r", "u", "z", "s", "5x", "e5"});
            const std::string expression = generator.Expression();
            switch (generator.Below(10)) {
            case 0: file << name << " &= " << expression; break;
            case 1: file << "?" << name; break;
            case 2: file << "~" << name << "; " << expression << "; _"; break;
            case 3:
                file << name << ":" << generator.Pick({"Scalar", "Vector", "Reference"}) << "(" << expression << ")";
                break;
            case 4:
            case 5: file << name << " = " << expression; break;
            default: file << expression; break;
            }
            file << generator.Pick({"\n", "\n", "\r\n", ";\n"});
        }
        if (!file.flush()) return 1;
    }
}
