#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder::internal {

/// Sorts `x` in place, ascending; stable, NaNs last in their order of appearance.
FLIGHTPATH_API void sort(array<float, 1>& x);

/// Sorts `x` in place, descending, and tells where each value came from; stable, NaNs first in
/// their order of appearance.
///
/// idx  (out) one 1-based position per element: where the value now at k stood before sorting
FLIGHTPATH_API void sort(array<float, 1>& x, array<int, 1>& idx);

}  // namespace coder::internal
