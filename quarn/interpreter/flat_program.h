#pragma once

#include <array>
#include <vector>

#include "quarn/interpreter/flat.h"

namespace Quarn {

struct Program;

/// A program in which every operand is flat: it works on words, without look-ups or objects. It is translated from a
/// program that has run, and holds until a symbol or a registry changes.
class FlatProgram {
public:
    /// Translates the program. False if it needs an object, or more than `MostOperands` operands at once.
    bool Translate(const Program& program);
    Word Run() const;

    const FlatType& GetResultType() const { return *m_result; }
    std::size_t GetStepCount() const { return m_steps.size(); }

private:
    struct Step {
        Word (*call)(const Word* operands); ///< null for a value
        unsigned operandCount;
        const struct BoundVariable* variable; ///< null for a known value
        Word value;
    };
    static constexpr std::size_t MostOperands = 32;

    std::vector<Step> m_steps;
    const FlatType* m_result = nullptr;
};

} // namespace Quarn
