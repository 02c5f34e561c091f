#pragma once

#include <cstddef>

/// How many allocations succeed before one fails; the ones after that succeed again, until the count has run down from
/// its largest value.
extern std::size_t AllocationsLeft;

/// What all threads together have allocated, for tests that run one at a time.
extern std::size_t BytesInUse;
extern std::size_t MostBytesInUse;
