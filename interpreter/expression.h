#pragma once

#include <vector>

#include "interpreter/compiler.h"
#include "types/symbol.h"

namespace Quarn {

/// The steps of an expression, kept. They point into the text of the expression, into the
/// registries, and into the vocabulary.
struct Program {
    struct KeptStep {
        Step step;
        s_refptr<Symbol> constant; ///< its value, once that is known to be always the same
    };
    std::vector<KeptStep> steps;
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
