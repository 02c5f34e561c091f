#pragma once

#include <map>
#include <memory>
#include <vector>

#include "quarn/interpreter/engine/flat_program.h"
#include "quarn/interpreter/engine/parser.h"

namespace Quarn {

/// A plain C++ variable that a name stands for in the expression of a formula. The variable is not owned, except for
/// `current`.
struct BoundVariable {
    const FlatType* type;
    const void* address;
    Word (*read)(const void* address); ///< null if the variable holds the word itself
    Word current = 0;                  ///< the value, if the variable takes many, see `Formula::EvaluateEach`

    Word Read() const { return read ? read(address) : ReadAt<Word>(address); }
};
using BoundVariables = std::map<s_str, BoundVariable, s_text_order>;

/// The parsed steps of a text. They point into the text, the registries, the operators, and the bound variables.
struct Program {
    /// A constant literal is read once. If its value is flat, its step becomes `Flat`; otherwise its object is kept,
    /// and `argumentCount` is its position in `objects`, from 1.
    std::vector<Step> steps;
    std::vector<s_refptr<Symbol>> objects;
    s_str message;                            ///< of the fault that ends them
    s_refptr<const BoundVariables> variables; ///< of a formula; null for a reference
    bool isForMany = false;                   ///< its flat program will run in blocks, see `FlatBlocks`
    std::uint64_t language = 0;               ///< the `Clock::language` that it was parsed in; 0 if it must be parsed
    unsigned references = 0;                  ///< how many levels of references it certainly evaluates
    unsigned runs = 0;                        ///< how many evaluations of it are under way
    std::unique_ptr<FlatProgram> flat;        ///< null while there is none; that of a formula replaces the steps
    std::uint64_t lastMeanings = 0;           ///< the `Clock::Meanings` of the last evaluation
    std::uint64_t notFlat = 0;                ///< the `Clock::Meanings` for which there is no flat program
    s_refptr<Program> before;                 ///< a program that this one replaced while it was running

    bool IsRunning() const { return runs > 0 || (flat && flat->IsRunning()); }
};

} // namespace Quarn
