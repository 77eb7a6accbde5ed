#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder {

/// The tallest peaks of `y`, tallest first.
///
/// y         column of samples; see `scanPeaks` for what a peak is. A run at -Inf is none; every
///           +Inf sample is one
/// maxPeaks  how many at most, truncated toward zero; below 1: none; NaN: all
/// pks       (out) peak heights; equal heights keep ascending position
/// locs      (out) their 1-based positions, pks(k) = y(locs(k))
///
/// pks and y are different arrays.
FLIGHTPATH_API void findpeaks(const array<float, 1>& y, float maxPeaks, array<float, 1>& pks,
                              array<double, 1>& locs);

/// The leftmost peaks of `y` above a height, in ascending position.
///
/// minHeight  a finite peak counts only if it is strictly higher; NaN lets none pass. Every +Inf
///            sample counts whatever the height
/// The other arguments are those of the overload above.
FLIGHTPATH_API void findpeaks(const array<float, 1>& y, float maxPeaks, float minHeight,
                              array<float, 1>& pks, array<double, 1>& locs);

}  // namespace coder
