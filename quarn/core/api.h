#pragma once

/// Marks what a shared library exports. Everything else in it is hidden, and in a static library everything is, so that
/// a plugin it is linked into exports nothing of it.
#if defined(QUARN_SHARED) && defined(__GNUC__)
#define QUARN_API __attribute__((visibility("default")))
#else
#define QUARN_API
#endif
