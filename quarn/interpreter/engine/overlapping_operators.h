#pragma once

#include <optional>

#include "quarn/interpreter/language/brackets.h"
#include "quarn/interpreter/language/operators.h"

namespace Quarn {

// An operator that the end of a text cuts off counts as a whole one. That also holds for the left side of an operator,
// which is a text of its own: with an operator `#$`, the left side of `2#*3` is `2#`, that is `2#$`. So with operators
// of several characters, the left side of an operator may have others than the whole text has there. Pinned by
// "OperatorsOfSeveralCharacters".

/// A part of a text at its top bracket level.
struct Token {
    std::size_t begin;
    std::size_t end;
    const Operator* op; ///< null for an operand
};

/// The operator that is applied last, if the left side of any operator has others than the whole text. Then the text
/// must be cut there, and its sides be read as texts of their own. An operator that begins in the last operand of a
/// left side is no such case: the parser cuts it off the operand. The brackets of the text must have their partners.
std::optional<Token> FindCuttingOperator(std::string_view text, Brackets& brackets, const Operators& operators);

} // namespace Quarn
