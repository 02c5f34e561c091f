#pragma once

#include "interpreter/expression.h"
#include "interpreter/scanner.h"
#include "interpreter/vocabulary.h"

namespace Quarn {

/// Takes the steps of an expression as they are found, in the order of evaluation. The texts of faults last for the
/// call only, all others as long as the expression.
class StepSink {
public:
    /// False to end it: no more steps are wanted. After a `Fault` or a `TooDeep` none are.
    virtual bool Take(const Step& step) = 0;

protected:
    ~StepSink() = default;
};

/// The working memory of compilation, kept between expressions. Both are stacks: who takes a step may compile an
/// expression of its own.
struct CompilerMemory {
    /// An operator whose right operand is not complete yet.
    struct WaitingOperator {
        const Operator* op;
        bool hasLeftOperand;
    };
    std::vector<WaitingOperator> waiting;
    std::vector<std::size_t> partners;
};

/// Gives the steps of the expression `text` to the sink; false when that ended it. `room` is how many levels of brackets
/// the text may open; what lies deeper becomes a `TooDeep`. Takes time linear in the text.
bool Compile(std::string_view text, unsigned room, const Registry& registry, const Vocabulary& vocabulary,
             CompilerMemory& memory, StepSink& sink);

} // namespace Quarn
