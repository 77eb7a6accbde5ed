#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

class MUSICLib;

namespace coder {

/// Frequency response of a complex FIR filter on a uniform grid around the unit circle.
///
///   h(k) = sum over m = 0 ... L - 1 of b(m) exp(-i 2 pi k m / n),   k = 0 ... n - 1
///
/// Fewer taps than points are padded with zeros. More taps than points are folded modulo n first:
/// the incomplete last block of taps is the first addend, then the complete blocks in order.
///
/// obj  supplies the FFT plans
/// b    column of L taps; not the array h
/// N    number of points, n = N truncated; below 1 or NaN: an empty response
/// h    (out) column of n values
///
/// Errors: std::length_error for more points than an array can hold, std::bad_alloc also where the
/// FFT library refuses to plan.
FLIGHTPATH_API void firfreqz(MUSICLib* obj, const array<creal32_T, 1>& b, double N,
                             array<creal32_T, 1>& h);

/// Moves the zero-frequency element of `x` to the middle, in place: a right rotation by floor(n/2),
/// so that [1 2 3 4 5] becomes [4 5 1 2 3] and [1 2 3 4] becomes [3 4 1 2].
FLIGHTPATH_API void fftshift(array<float, 1>& x);

}  // namespace coder
