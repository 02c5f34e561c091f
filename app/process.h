#pragma once

namespace Quarn {

/// Opens the null device on each closed standard descriptor. Otherwise a file could take its number and receive what is
/// printed. On Windows, what is read and written stays as it is, and the console shows it as UTF-8 until the program
/// ends. Call this before opening anything else. Returns whether standard output was open.
bool PrepareStreams();

/// The number of nesting levels that fit on the stack, at most `Limits::DeepestNesting`. Raises the stack limit first
/// if it is too low and may be raised.
unsigned FitNestingToStack();

} // namespace Quarn
