#pragma once

#include "quarn/core/api.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// Sends a line to the `UtilsManager`. Creates one if there is none; a new one drops the line.
QUARN_API void Log(const s_str& text, s_bool flag = true, s_uint prefixLength = 0u);

/// Logs "# Error # : ", the location and " : " (both omitted if the location is empty), and the message.
QUARN_API void Error(const s_str& location, const s_str& message);

/// The same with "# Warning # : ".
QUARN_API void Warning(const s_str& location, const s_str& message);

} // namespace Quarn
