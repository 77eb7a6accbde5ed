#include "flightpath/toolbox/run_merging.h"

#include <cassert>

#include "flightpath/toolbox/detail/run_merging.h"

namespace coder::internal {
namespace {

/// The stretch of `idx` and `x` at `offset`, after a look at the preconditions.
flightpath::KeyedValues stretch(array<int, 1>& idx, array<float, 1>& x, int offset,
                                [[maybe_unused]] int n) {
  assert(offset >= 0 && n >= 0 && n <= idx.numel - offset && n <= x.numel - offset);
  return {idx.data + offset, x.data + offset};
}

template <class LeftFirst>
void mergeAdjacent(array<int, 1>& idx, array<float, 1>& x, int offset, int np, int nq,
                   array<int, 1>& iwork, array<float, 1>& xwork, LeftFirst leftFirst) {
  assert(np >= 0 && nq >= 0 && &idx != &iwork && &x != &xwork);
  flightpath::mergeRuns(stretch(idx, x, offset, np + nq), np, nq, stretch(iwork, xwork, 0, np + nq),
                        leftFirst);
}

template <class LeftFirst>
void mergePresorted(array<int, 1>& idx, array<float, 1>& x, int offset, int n, int preSortLevel,
                    array<int, 1>& iwork, array<float, 1>& xwork, LeftFirst leftFirst) {
  assert(preSortLevel >= 0 && preSortLevel <= 30 && &idx != &iwork && &x != &xwork);
  flightpath::mergeBlock(stretch(idx, x, offset, n), n, 1 << preSortLevel,
                         stretch(iwork, xwork, 0, n), leftFirst);
}

}  // namespace

void b_mergeRuns(array<int, 1>& idx, array<float, 1>& x, int offset, int np, int nq,
                 array<int, 1>& iwork, array<float, 1>& xwork) {
  mergeAdjacent(idx, x, offset, np, nq, iwork, xwork, flightpath::Ascending());
}

void mergeRuns(array<int, 1>& idx, array<float, 1>& x, int offset, int np, int nq,
               array<int, 1>& iwork, array<float, 1>& xwork) {
  mergeAdjacent(idx, x, offset, np, nq, iwork, xwork, flightpath::Descending());
}

void b_merge_block(array<int, 1>& idx, array<float, 1>& x, int offset, int n, int preSortLevel,
                   array<int, 1>& iwork, array<float, 1>& xwork) {
  mergePresorted(idx, x, offset, n, preSortLevel, iwork, xwork, flightpath::Ascending());
}

void merge_block(array<int, 1>& idx, array<float, 1>& x, int offset, int n, int preSortLevel,
                 array<int, 1>& iwork, array<float, 1>& xwork) {
  mergePresorted(idx, x, offset, n, preSortLevel, iwork, xwork, flightpath::Descending());
}

}  // namespace coder::internal
