#pragma once

// A header of the host with the path that a header of the library has within its folder.
inline const char* OwnSymbol() { return "own"; }
