#pragma once

#include "quarn/core/s_str.h"

namespace Quarn {

/// Makes the process-wide services and registers the program's callbacks: log lines go to standard output and to
/// "orbel.log" in the current folder, which is emptied; time is the processor time of the run.
///
/// There is no log file when it cannot be created, when a pipe has its name (opening one would wait for a reader), or
/// when it is the script that is to be run, which must not be emptied.
void StartServices(const s_str& script);

/// Destroys them, the `TimeManager` first.
void StopServices();

} // namespace Quarn
