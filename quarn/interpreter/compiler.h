#pragma once

#include <string_view>
#include <vector>

#include "quarn/interpreter/scanner.h"
#include "quarn/interpreter/vocabulary.h"

namespace Quarn {

/// One step of the evaluation of an expression. Steps work on a stack of operands: a leaf pushes a value, an operator
/// or a call replaces its operands by its result.
struct Step {
    enum class Kind : unsigned char {
        Fault,      ///< fails with the message `text`
        TooDeep,    ///< fails: nested deeper than there is room for
        Literal,    ///< `constructor` reads the literal `text`
        Construct,  ///< `constructor` reads the argument text `text`
        Name,       ///< the symbol, function or constructor called `text`
        Call,       ///< `functions`, called `text`, applied to the top `argumentCount` operands
        Binary,     ///< `op` applied to the top two operands
        LeftUnary,  ///< `op`, written behind its operand
        RightUnary, ///< `op`, written before its operand
        Index,      ///< "[]" applied to the top two operands
    };
    Kind kind = Kind::Fault;
    bool isLast = false;     ///< gives the value of the expression
    bool isConstant = false; ///< a literal that depends on nothing but its text
    unsigned level = 0;      ///< of brackets around it
    unsigned argumentCount = 0;
    std::string_view text;
    union {
        const Constructor* constructor = nullptr;
        const FunctionOverloads* functions;
        const Operator* op;
    };
};

/// Takes the steps of an expression as they are found, in the order of evaluation. The texts of faults last for the
/// call only, all others as long as the expression.
class StepSink {
public:
    /// False to end it: no more steps are wanted. After a `Fault` or a `TooDeep` none are.
    virtual bool Take(const Step& step) = 0;

protected:
    ~StepSink() = default;
};

/// The working memory of compilation, kept between expressions. Both lists are stacks: who takes a step may compile an
/// expression of its own.
struct CompilerMemory {
    /// An operator whose right operand is not complete yet.
    struct WaitingOperator {
        const Operator* op;
        bool hasLeftOperand;
    };
    std::vector<WaitingOperator> waiting;
    std::vector<std::size_t> partners; ///< of brackets, see `FindPartners`
    /// The text under compilation whose partners were found last. A part of it, such as an element of a vector that is
    /// compiled meanwhile, needs none of its own.
    PairedText paired = {};
};

/// Gives the steps of the expression `text` to the sink; false when that ended it. `room` is how many levels of
/// brackets the text may open; what lies deeper becomes a `TooDeep`. Takes time linear in the text.
bool Compile(std::string_view text, unsigned room, const Registry& registry, const Vocabulary& vocabulary,
             CompilerMemory& memory, StepSink& sink);

} // namespace Quarn
