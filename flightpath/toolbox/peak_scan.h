#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder {

/// Finds the peak candidates of `y` in one pass.
///
/// y            column of n samples
/// peaks        (out) runs of equal values that are entered rising and left falling, each at its
///              first sample; the ends of y and the neighbours of a NaN or +Inf are never peaks
/// infinite     (out) every +Inf sample
/// inflections  (out) every sample at which the direction changes, a non-finite run begins or ends,
///              or y ends
///
/// The three lists hold ascending 1-based positions. They are three different arrays.
FLIGHTPATH_API void scanPeaks(const array<float, 1>& y, array<int, 1>& peaks,
                              array<int, 1>& infinite, array<int, 1>& inflections);

}  // namespace coder
