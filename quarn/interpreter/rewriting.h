#pragma once

#include "quarn/interpreter/expression.h"

namespace Quarn {

/// Appends the text of a kept operation to `output`. In `text` both operands are in brackets; brackets around a single
/// operand are removed. Takes time linear in the text.
Outcome RewriteOperation(std::string_view text, const Operators& operators, s_str& output, s_str& error);

/// What the rewriting does to an operand with this text.
Expression::Shape ShapeOf(std::string_view text, const Operators& operators);

} // namespace Quarn
