#include <quarn/quarn.h>

#include <iostream>

#include "types/symbol.h"

static_assert(__cplusplus > 202002L, "the language standard of the host is respected");

int main() {
    const bool isOptimised = Quarn::Limits::StackPerLevel < 4096; // as the library was compiled without a build type
    std::cout << OwnSymbol() << ' ' << isOptimised << ' ' << (Quarn::Version == QUARN_VERSION) << '\n';
}
