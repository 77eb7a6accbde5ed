#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder {

/// Sum of the first `vlen` elements of `x`, in blocks of 1024.
///
///   each block is added left to right; block totals are added in order, first block first
///
/// x     column of n floats
/// vlen  how many leading elements take part, limited to 0 ... n
/// returns the sum in float; 0 for an empty column or vlen = 0; NaN passes through
///
/// The grouping is part of the result: the same input gives the same bits on every build.
FLIGHTPATH_API float blockedSummation(const array<float, 1>& x, int vlen);

/// Row sums of a matrix: y(i) = sum over j of x(i, j).
///
///   the columns are added in blocks of 1024, grouped as in `blockedSummation`
///
/// x  rows x columns
/// y  (out) one sum per row; zeros where x has no columns
FLIGHTPATH_API void sum(const array<float, 2>& x, array<float, 1>& y);

namespace internal {

/// Largest element of `x` and its position. NaNs are ignored as long as there is a number; of equal
/// maxima the first wins.
///
/// idx  (out) 1-based position; 1 where every element is NaN
/// returns NaN with idx = 1 for a column that is empty or all NaN
FLIGHTPATH_API float maximum(const array<float, 1>& x, int& idx);

/// Smallest element of `x`, ignoring NaNs as long as there is a number.
///
/// returns NaN for a column that is empty or all NaN
FLIGHTPATH_API double minimum(const array<double, 1>& x);

}  // namespace internal
}  // namespace coder
