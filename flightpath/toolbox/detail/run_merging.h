#pragma once

#include <algorithm>
#include <functional>

/// The merge steps over plain pointers, for any order relation.
///
/// `LeftFirst` says whether the left of two elements may come first: `std::less_equal` ascending,
/// `std::greater_equal` descending. Equal elements satisfy both, which is what keeps merging
/// stable.
namespace flightpath {

using Ascending = std::less_equal<float>;
using Descending = std::greater_equal<float>;

/// A stretch of values with the positions that travel along.
struct KeyedValues {
  int* idx;
  float* x;

  KeyedValues from(int offset) const { return {idx + offset, x + offset}; }
};

/// Merges the run of np elements at `v` with the run of nq behind it, through `work`.
template <class LeftFirst>
void mergeRuns(KeyedValues v, int np, int nq, KeyedValues work, LeftFirst leftFirst) {
  if (nq == 0) {
    return;
  }
  std::copy_n(v.idx, np + nq, work.idx);
  std::copy_n(v.x, np + nq, work.x);
  int p = 0;
  int q = np;
  int out = 0;
  while (p < np && q < np + nq) {
    int& taken = leftFirst(work.x[p], work.x[q]) ? p : q;
    v.idx[out] = work.idx[taken];
    v.x[out] = work.x[taken];
    ++taken;
    ++out;
  }
  // What is left of the right run already stands in its place.
  std::copy(work.idx + p, work.idx + np, v.idx + out);
  std::copy(work.x + p, work.x + np, v.x + out);
}

/// Merges n elements that stand in sorted runs of `run` into one run, pair by pair.
template <class LeftFirst>
void mergeBlock(KeyedValues v, int n, int run, KeyedValues work, LeftFirst leftFirst) {
  int numRuns = n / run;
  while (numRuns > 1) {
    if (numRuns % 2 == 1) {
      --numRuns;
      const int tail = run * numRuns;
      if (n - tail > run) {
        mergeRuns(v.from(tail), run, n - tail - run, work, leftFirst);
      }
    }
    numRuns /= 2;
    for (int pair = 0; pair < numRuns; ++pair) {
      mergeRuns(v.from(pair * 2 * run), run, run, work, leftFirst);
    }
    run *= 2;
  }
  if (n > run) {
    mergeRuns(v, run, n - run, work, leftFirst);
  }
}

}  // namespace flightpath
