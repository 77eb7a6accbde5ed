#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

/// Path distance in metres <-> normalised frequency in cycles per subcarrier step.
///
///   a path of length d delays by d / c and so turns by df * d / c cycles from one subcarrier to
///   the next
///
/// d   metres
/// df  subcarrier spacing in hertz; nothing is checked: df = 0 gives infinities or NaN
/// c   299792458 m/s as a float, which rounds to 299792448
///
/// All operations are in float, in the order written. Input and output may be the same array; they
/// must not overlap otherwise.

/// (d * df) / c
FLIGHTPATH_API float distance2NF(float d, float df);

/// nf(i) = (d(i) * df) / c for the first n elements of `d`, n its second extent; nf becomes 1 x n.
FLIGHTPATH_API void distance2NF(const coder::array<float, 2>& d, float df,
                                coder::array<float, 2>& nf);

/// d(i) = (nf(i) / df) * c for the first n elements of `nf`, n its second extent; d becomes 1 x n.
FLIGHTPATH_API void nf2Distance(const coder::array<float, 2>& nf, float df,
                                coder::array<float, 2>& d);

/// d(i) = (nf(i) / df) * c for every element; d takes the shape of `nf`.
FLIGHTPATH_API void b_nf2Distance(const coder::array<float, 2>& nf, float df,
                                  coder::array<float, 2>& d);
