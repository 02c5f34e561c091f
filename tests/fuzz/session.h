#pragma once

#include <string_view>

/// Plays a whole script, line by line, with a bounded number of steps for each statement, and checks what must hold
/// after any input. A breach ends the process.
void PlayAnything(std::string_view script);
