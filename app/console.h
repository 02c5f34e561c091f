#pragma once

#include "interpreter/state.h"

namespace Quarn {

/// Whether the path names a script: a file that exists, and is no folder.
bool IsScript(const s_str& path);

/// Carries out the lines of a script. Stops at its end, or when nothing can be written any more.
void RunScript(State& state, const s_str& path);

/// Reads lines from standard input after a prompt and carries them out, until one of them is "q" or "exit".
void RunInteractive(State& state);

} // namespace Quarn
