#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process unless it holds.
inline void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "breach: %s\n", what);
    std::abort();
}
