#pragma once

#include "quarn/core/api.h"

/// Elementary functions, the same on every platform. C++ leaves their accuracy to the platform. The libraries of two
/// platforms differ in the last digit, and some far before it: they answer sin(1e22) with 1e22.
///
/// The result is the double nearest to the exact value (IEEE 754: correctly rounded), and special values are those of
/// the C library (C17, annex F). The functions expect the usual rounding, to the nearest; the exception flags that they
/// leave mean nothing. docs/elementary.md derives their errors.
namespace Quarn::Elementary {

QUARN_API double Exp(double a);
QUARN_API double Log(double a); ///< to the base e
QUARN_API double Pow(double a, double b);
QUARN_API double Sin(double a); ///< of radians, as `Cos` and `Tan`
QUARN_API double Cos(double a);
QUARN_API double Tan(double a);
QUARN_API double Asin(double a);
QUARN_API double Acos(double a);
QUARN_API double Atan(double a);
QUARN_API double Atan2(double y, double x);

/// The nearest integer, halves away from zero. Some libraries add a half first, which makes 0.49999999999999994 a 1.
QUARN_API double Round(double a);

} // namespace Quarn::Elementary
