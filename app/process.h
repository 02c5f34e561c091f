#pragma once

namespace Quarn {

/// Opens the null device in place of each standard descriptor that is closed, so that no file takes its number: what is
/// printed would go into that file. To be called before anything else is opened.
void OpenClosedDescriptors();

/// How many levels of nesting the stack of the process has room for, `State::DeepestNesting` at most. Raises the limit
/// of the stack first, where it is too low and may be raised.
unsigned FitNestingToStack();

} // namespace Quarn
