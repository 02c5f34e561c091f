#pragma once

#include <memory>

#include "app/line_input.h"

namespace Quarn {

class State;

/// Lines that are edited at a terminal, with a history and with completion; null if the program was built without a
/// line editor, or standard input and output are no terminal that can be edited on.
std::unique_ptr<LineInput> OpenLineEditor(State& state);

} // namespace Quarn
