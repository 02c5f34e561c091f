#pragma once

#include <vector>

#include "interpreter/operators.h"

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
    bool isLast = false; ///< gives the value of the expression
    unsigned level = 0;  ///< of brackets around it
    unsigned argumentCount = 0;
    std::string_view text;
    union {
        const Constructor* constructor = nullptr;
        const FunctionOverloads* functions;
        const Operator* op;
    };
};

/// The steps of an expression, kept. They point into the text of the expression and into the registries.
struct Program {
    std::vector<Step> steps;
    s_str message;          ///< of the fault that ends them
    unsigned nesting = 0;   ///< the levels of brackets that they come from
    bool isClipped = false; ///< ends in a `TooDeep` that a shallower place would not need
};

/// The text of a reference, with what makes its repeated evaluation cheap. All copies of a reference share one.
struct Expression {
    explicit Expression(std::string_view source) : text(source) {}

    const s_str text;
    Program program;
    unsigned generation = 0; ///< of the registries it was compiled for; 0 while it is not compiled
    bool isInUse = false;    ///< under evaluation: to meet it again is a circle
};

} // namespace Quarn
