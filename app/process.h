#pragma once

#include "quarn/core/s_str.h"

namespace Quarn {

/// Opens the null device on each closed standard descriptor. Otherwise a file could take its number and receive what is
/// printed. Has standard input and output wait even where another program left them non-blocking. On Windows, what is
/// read and written stays as it is, and the console shows it as UTF-8 until the program ends. Call this before opening
/// anything else. Returns whether standard output was open.
bool PrepareStreams();

/// Sets some memory aside for the first report that there is no more. Throwing an exception takes some, or else
/// searches long tables each time.
void PrepareForLackOfMemory();

/// Makes a file of the program's own in the current folder, or empties it, and returns a path to write to it; the empty
/// path if it may be somebody else's: if it is a link, has other names, is no regular file, or is standard input,
/// standard output or the other file.
s_str EmptyOwnFile(const s_str& name, const s_str& other);

/// The number of nesting levels that fit on the stack, at most `Limits::DeepestNesting`. Raises the stack limit first
/// if it is too low and may be raised.
unsigned FitNestingToStack();

} // namespace Quarn
