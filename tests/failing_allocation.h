#pragma once

#include <cstddef>

/// How many allocations succeed before one fails; the ones after that succeed again, until the count has run down from
/// its largest value.
extern std::size_t AllocationsLeft;
