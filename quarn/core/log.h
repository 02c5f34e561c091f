#pragma once

#include "quarn/core/s_str.h"

namespace Quarn {

/// Sends a line to the `UtilsManager`, which is made when there is none (and then drops it).
void Log(const s_str& text, s_bool flag = true, s_uint prefixLength = 0u);

/// Logs "# Error # : ", the location and " : " (both left out when it is empty), and the message.
void Error(const s_str& location, const s_str& message);

/// The same with "# Warning # : ".
void Warning(const s_str& location, const s_str& message);

} // namespace Quarn
