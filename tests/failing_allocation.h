#pragma once

#include <cstddef>

/// How many allocations succeed before one fails. The count then wraps, so later ones succeed until it runs down from
/// its largest value.
extern std::size_t AllocationsLeft;

/// What all threads together have allocated, in bytes, for tests that run one at a time.
extern std::size_t BytesInUse;
extern std::size_t MostBytesInUse;
