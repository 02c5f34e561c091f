#pragma once

#include "quarn/core/s_str.h"

namespace Quarn {

/// Creates the process-wide services and registers the program's callbacks. Log lines go to standard output and to
/// "orbel.log" in the current folder, which is emptied. Time is the processor time of the run.
///
/// There is no log file if it cannot be created, or if what has its name may be somebody else's (`EmptyOwnFile`), as
/// the script to run is.
void StartServices(const s_str& script);

/// Destroys them, the `TimeManager` first.
void StopServices();

} // namespace Quarn
