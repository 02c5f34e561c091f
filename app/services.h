#pragma once

namespace Quarn {

/// Makes the process-wide services and registers the program's callbacks: log lines go to standard output and to
/// "orbel.log", which every start empties; time is the processor time of the run.
void StartServices();

/// Ends them again, the `TimeManager` first.
void StopServices();

} // namespace Quarn
