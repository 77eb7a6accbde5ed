#pragma once

#include "flightpath/runtime/array.h"

namespace flightpath {

/// What a peak search needs besides its results. Kept between searches, it keeps its storage.
struct PeakWork {
  coder::array<int, 1> peaks;
  coder::array<int, 1> infinite;
  coder::array<int, 1> inflections;
  coder::array<int, 1> candidates;
  coder::array<int, 1> fromPeaks;
  coder::array<int, 1> fromInfinite;
};

/// `coder::findpeaks` with a height, in work space of the caller.
void leftmostPeaks(const coder::array<float, 1>& y, float maxPeaks, float minHeight, PeakWork& work,
                   coder::array<float, 1>& pks, coder::array<double, 1>& locs);

}  // namespace flightpath
