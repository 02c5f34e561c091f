#pragma once

/// The version of these headers, 10000 for each major, 100 for each minor version.
#define QUARN_VERSION 20000

#include "quarn/core/api.h"

namespace Quarn {

/// The version of the library that is linked, in the same form.
QUARN_API extern const unsigned Version;

} // namespace Quarn
