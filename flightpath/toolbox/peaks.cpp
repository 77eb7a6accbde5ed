#include "flightpath/toolbox/peaks.h"

#include <math.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>

#include "flightpath/runtime/detail/conversion.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/detail/peaks.h"
#include "flightpath/toolbox/peak_scan.h"
#include "flightpath/toolbox/sets.h"

namespace {

using coder::array;
using flightpath::PeakWork;

/// Whether the sample at 1-based position p stands above its neighbours by at least zero. A scanned
/// peak always has both neighbours, and always does.
bool standsAboveNeighbours(const array<float, 1>& y, int p) {
  return y[p - 1] - ::fmaxf(y[p - 2], y[p]) >= 0.0F;
}

/// Positions of the finite peaks higher than `minHeight` and of every +Inf sample, ascending.
const array<int, 1>& candidatesAbove(const array<float, 1>& y, float minHeight, PeakWork& work) {
  array<int, 1>& peaks = work.peaks;
  coder::scanPeaks(y, peaks, work.infinite, work.inflections);
  const auto end = std::remove_if(peaks.begin(), peaks.end(), [&](int p) {
    return !(y[p - 1] > minHeight) || !standsAboveNeighbours(y, p);
  });
  peaks.set_size(static_cast<int>(end - peaks.begin()));
  coder::do_vectors(peaks, work.infinite, work.candidates, work.fromPeaks, work.fromInfinite);
  return work.candidates;
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

namespace flightpath {

void leftmostPeaks(const array<float, 1>& y, float maxPeaks, float minHeight, PeakWork& work,
                   array<float, 1>& pks, array<double, 1>& locs) {
  report(y, candidatesAbove(y, minHeight, work), maxPeaks, pks, locs);
}

}  // namespace flightpath

namespace coder {

void findpeaks(const array<float, 1>& y, float maxPeaks, array<float, 1>& pks,
               array<double, 1>& locs) {
  flightpath::PeakWork work;
  candidatesAbove(y, rtMinusInfF, work);
  sortByHeight(y, work.candidates);
  report(y, work.candidates, maxPeaks, pks, locs);
}

void findpeaks(const array<float, 1>& y, float maxPeaks, float minHeight, array<float, 1>& pks,
               array<double, 1>& locs) {
  flightpath::PeakWork work;
  flightpath::leftmostPeaks(y, maxPeaks, minHeight, work, pks, locs);
}

}  // namespace coder
