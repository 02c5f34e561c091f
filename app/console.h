#pragma once

#include "quarn/core/file.h"
#include "quarn/interpreter/state.h"

namespace Quarn {

/// Opens a script. The file is closed when the path names none: nothing that can be read, or a folder.
File OpenScript(const s_str& path);

/// Carries out the lines of a script. Stops at its end, or when nothing can be written any more.
void RunScript(State& state, File script);

/// Reads lines from standard input after a prompt and carries them out, until one of them is "q" or "exit".
void RunInteractive(State& state);

} // namespace Quarn
