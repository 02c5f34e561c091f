#pragma once

#include "quarn/interpreter/language.h"

namespace Quarn {

/// One step of the evaluation of an expression. Steps work on a stack of operands: a leaf pushes a value, an operator
/// or a call replaces its operands by its result.
struct Step {
    enum class Kind : unsigned char {
        Fault,      ///< fails with the message `text`
        Literal,    ///< `constructor` reads the literal `text`
        Construct,  ///< `constructor` reads the argument text `text`
        Name,       ///< the symbol, function or constructor called `text`
        Variable,   ///< the plain C++ variable bound to the name `text`; no text means one, see `Formula`
        Call,       ///< `functions`, called `text`, applied to the top `argumentCount` operands
        Binary,     ///< `op` applied to the top two operands
        LeftUnary,  ///< `op`, written after its operand
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
        const struct BoundVariable* variable;
    };
};

/// Receives the steps of an expression as they are found, in the order of evaluation. The texts of faults last for the
/// call only, all others as long as the expression.
class StepSink {
public:
    /// Anything but `WentOn` ends the parsing. After a fault nothing follows.
    virtual Outcome Accept(const Step& step) = 0;

protected:
    ~StepSink() = default;
};

/// The working memory of parsing, kept between expressions. Its lists are stacks, as the receiver of a step may parse
/// an expression of its own.
struct ParserMemory {
    /// An operator whose right operand is not complete yet.
    struct WaitingOperator {
        const Operator* op;
        bool hasLeftOperand;
    };
    /// A text within brackets, or around them, that is not complete yet.
    struct Open;

    ParserMemory();
    ~ParserMemory();

    std::vector<WaitingOperator> waiting;
    std::vector<Open> open;
    Brackets::Memory brackets;
};

/// Gives the steps of the expression `text` to the sink, and returns what ended that. Brackets that stand deeper than
/// `deepest` levels are not parsed: a fault on their level stands for them. Takes time linear in the text and does not
/// recurse.
Outcome Parse(std::string_view text, unsigned deepest, const Language& language, ParserMemory& memory, StepSink& sink);

} // namespace Quarn
