#pragma once

#include "flightpath/runtime/export.h"

/// u0 raised to u1 in single precision, with the edges fixed (the first matching rule wins).
///
///   NaN in either argument         NaN, also for a zero exponent
///   u1 infinite                    1 for |u0| = 1; otherwise +inf where |u0| > 1 and u1 > 0 or
///                                  |u0| < 1 and u1 < 0, and 0 in the two other cases
///   u1 = 0, 1, -1, 2               1, u0, 1 / u0, u0 * u0
///   u1 = 0.5                       sqrt(u0), NaN for u0 < 0
///   u0 < 0 and u1 not an integer   NaN
///   otherwise                      powf(u0, u1) of the platform
FLIGHTPATH_API float rt_powf_snf(float u0, float u1);

namespace coder {

/// Base-2 logarithm in single precision, exact for every power of two.
///
///   x = f * 2^e with f in [0.5, 1):
///   f = 0.5             e - 1
///   e = 1 and f < 0.75  log(2 f) / 0.6931472     (x in [1, 1.5): keeps the argument near 1)
///   otherwise           log(f) / 0.6931472 + e
///
/// Zero of either sign gives -inf, x < 0 gives NaN; +inf and NaN are returned as they are.
FLIGHTPATH_API float b_log2(float x);

}  // namespace coder
