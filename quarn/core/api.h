#pragma once

/// Marks what a shared library exports. Everything else in it is hidden.
#ifdef __GNUC__
#define QUARN_API __attribute__((visibility("default")))
#else
#define QUARN_API
#endif
