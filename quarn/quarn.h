#pragma once

// All that a program needs that embeds the calculator. docs/embedding.md shows how.

#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/formula.h"
#include "quarn/interpreter/limits/limits.h"
#include "quarn/interpreter/state.h"
#include "quarn/types/binding.h"
#include "quarn/types/reference.h"
#include "quarn/types/scalar.h"
#include "quarn/types/vector.h"
#include "quarn/version.h"
