#pragma once

/// Marks what a shared library exports. Everything else in it is hidden.
#if defined(_WIN32) && defined(QUARN_SHARED)
#ifdef quarn_EXPORTS
#define QUARN_API __declspec(dllexport)
#else
#define QUARN_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define QUARN_API __attribute__((visibility("default")))
#else
#define QUARN_API
#endif
