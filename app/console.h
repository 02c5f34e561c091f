#pragma once

#include "app/line_input.h"
#include "quarn/core/file.h"
#include "quarn/interpreter/state.h"

namespace Quarn {

/// A line that ends as on Windows, without the rest of its line end.
inline std::string_view WithoutCarriageReturn(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

/// Opens a script. The file is closed if the path is a folder or cannot be read.
File OpenScript(const s_str& path);

/// Runs the lines of a script. Stops at its end, or when the output can no longer be written.
void RunScript(State& state, File script);

/// Prompts for lines and runs them until one is "q" or "exit". Also stops when the output can no longer be written.
void RunInteractive(State& state, LineInput& input);

} // namespace Quarn
