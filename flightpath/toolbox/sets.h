#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder {

/// Sorted union of two ascending integer vectors, each value once.
///
/// a, b    ascending; values may repeat
/// c       (out) the union, ascending
/// ia, ib  (out) the 1-based position of every value of c in a, or in b where a has it not: the
///         first one of a run of equal values
///
/// All five are different arrays.
///
/// Errors: std::length_error where a and b together have more than 2147483647 elements.
FLIGHTPATH_API void do_vectors(const array<int, 1>& a, const array<int, 1>& b, array<int, 1>& c,
                               array<int, 1>& ia, array<int, 1>& ib);

/// First flag that is set in a row.
///
/// x       1 x N flags; any non-zero byte counts as set
/// i       (out) its 1-based position; left as it was where there is none
/// i_size  (out) {1, 1} when found, {1, 0} when not
FLIGHTPATH_API void eml_find(const array<unsigned char, 2>& x, int* i, int i_size[2]);

}  // namespace coder
