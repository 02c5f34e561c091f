#pragma once

#include "quarn/interpreter/expression.h"

namespace Quarn {

/// The text of an operation that is to be kept, given with brackets around both operands, without those that stand
/// around a single operand. Appends it to `output`. Takes time linear in the text.
Outcome RewriteOperation(std::string_view text, const Operators& operators, s_str& output, s_str& error);

/// What the rewriting does to an operand with this text.
Expression::Shape ShapeOf(std::string_view text, const Operators& operators);

} // namespace Quarn
