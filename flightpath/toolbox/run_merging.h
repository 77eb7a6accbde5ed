#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

/// Merging of sorted runs, the bottom-up part of the stable merge sorts.
///
/// Every routine moves `idx` along with `x` and merges through the scratch arrays `iwork` and
/// `xwork`. The order is x ascending in the routines with the prefix `b_`, x descending in the
/// others; of two equal values the left one comes first.
///
/// Preconditions (asserted in debug builds): offset and counts are not negative, offset + count is at
/// most the numel of idx and x, and iwork and xwork are arrays of their own that hold at least count
/// elements. No element is NaN (not asserted).
namespace coder::internal {

/// Merges the run of `np` elements at `offset` with the run of `nq` elements behind it.
FLIGHTPATH_API void b_mergeRuns(array<int, 1>& idx, array<float, 1>& x, int offset, int np, int nq,
                                array<int, 1>& iwork, array<float, 1>& xwork);
FLIGHTPATH_API void mergeRuns(array<int, 1>& idx, array<float, 1>& x, int offset, int np, int nq,
                              array<int, 1>& iwork, array<float, 1>& xwork);

/// Merges the n elements at `offset`, sorted runs of 2^preSortLevel of them (the last one may be
/// shorter), into one run.
///
/// preSortLevel  0 ... 30
FLIGHTPATH_API void b_merge_block(array<int, 1>& idx, array<float, 1>& x, int offset, int n,
                                  int preSortLevel, array<int, 1>& iwork, array<float, 1>& xwork);
FLIGHTPATH_API void merge_block(array<int, 1>& idx, array<float, 1>& x, int offset, int n,
                                int preSortLevel, array<int, 1>& iwork, array<float, 1>& xwork);

}  // namespace coder::internal
