#include "quarn/version.h"

namespace Quarn {

const unsigned Version = QUARN_VERSION;

} // namespace Quarn
