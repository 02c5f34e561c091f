#pragma once

#include "quarn/core/s_str.h"

namespace Quarn {

/// What the statement "?" prints.
s_str HelpText();

} // namespace Quarn
