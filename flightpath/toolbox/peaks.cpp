#include "flightpath/toolbox/peaks.h"

#include <math.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>

#include "flightpath/runtime/conversion.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/peak_scan.h"
#include "flightpath/toolbox/sets.h"

namespace {

using coder::array;

/// Whether the sample at 1-based position p stands above its neighbours by at least zero. A scanned
/// peak always has both neighbours, and always does.
bool standsAboveNeighbours(const array<float, 1>& y, int p) {
  return y[p - 1] - ::fmaxf(y[p - 2], y[p]) >= 0.0F;
}

/// Positions of the finite peaks higher than `minHeight` and of every +Inf sample, ascending.
void candidatesAbove(const array<float, 1>& y, float minHeight, array<int, 1>& candidates) {
  array<int, 1> peaks;
  array<int, 1> infinite;
  array<int, 1> inflections;
  coder::scanPeaks(y, peaks, infinite, inflections);
  const auto end = std::remove_if(peaks.begin(), peaks.end(), [&](int p) {
    return !(y[p - 1] > minHeight) || !standsAboveNeighbours(y, p);
  });
  peaks.set_size(static_cast<int>(end - peaks.begin()));
  array<int, 1> fromPeaks;
  array<int, 1> fromInfinite;
  coder::do_vectors(peaks, infinite, candidates, fromPeaks, fromInfinite);
}

int limitedCount(int found, float maxPeaks) {
  return std::isnan(maxPeaks) ? found : flightpath::truncateWithin(maxPeaks, 0, found);
}

/// Orders candidate positions by height, tallest first, equal heights by position.
///
/// A NaN height would come before every number; no candidate has one.
void sortByHeight(const array<float, 1>& y, array<int, 1>& candidates) {
  std::stable_sort(candidates.begin(), candidates.end(),
                   [&](int left, int right) { return y[left - 1] > y[right - 1]; });
}

void report(const array<float, 1>& y, const array<int, 1>& candidates, float maxPeaks,
            array<float, 1>& pks, array<double, 1>& locs) {
  assert(&pks != &y);
  const int n = limitedCount(candidates.numel, maxPeaks);
  pks.set_size(n);
  locs.set_size(n);
  for (int k = 0; k < n; ++k) {
    pks[k] = y[candidates[k] - 1];
    locs[k] = candidates[k];
  }
}

}  // namespace

namespace coder {

void findpeaks(const array<float, 1>& y, float maxPeaks, array<float, 1>& pks,
               array<double, 1>& locs) {
  array<int, 1> candidates;
  candidatesAbove(y, rtMinusInfF, candidates);
  sortByHeight(y, candidates);
  report(y, candidates, maxPeaks, pks, locs);
}

void findpeaks(const array<float, 1>& y, float maxPeaks, float minHeight, array<float, 1>& pks,
               array<double, 1>& locs) {
  array<int, 1> candidates;
  candidatesAbove(y, minHeight, candidates);
  report(y, candidates, maxPeaks, pks, locs);
}

}  // namespace coder
