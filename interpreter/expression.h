#pragma once

#include <forward_list>
#include <vector>

#include "interpreter/operators.h"

namespace Quarn {

/// One step of a compiled expression. Steps work on a stack of operands: a leaf pushes a value, an operator or a call
/// replaces its operands by its result.
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
    bool isWholeText = false; ///< a name that is all there is, and so may become a new symbol
    unsigned argumentCount = 0;
    std::string_view text; ///< part of the expression's text, or of a message of the program
    union {
        const Constructor* constructor = nullptr;
        const FunctionOverloads* functions;
        const Operator* op;
    };
};

/// A compiled expression: its steps in the order in which the language evaluates, so that a fault in the text is met
/// just when everything left of it has been evaluated. It points into the text it was compiled from and into the
/// registries.
struct Program {
    std::vector<Step> steps;
    std::forward_list<s_str> messages; ///< of the faults, the last one first
    unsigned nesting = 0;              ///< the levels of brackets that the text opens
    bool isClipped = false;            ///< ends in a `TooDeep` that a shallower place would not need

    void Clear();
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
