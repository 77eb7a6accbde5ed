#include "flightpath/music/detail/coarse_search.h"

#include <math.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "flightpath/rules/peak_threshold.h"
#include "flightpath/rules/search_grids.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fft_spectrum.h"
#include "flightpath/toolbox/detail/blas.h"
#include "flightpath/toolbox/peaks.h"
#include "flightpath/toolbox/reductions.h"
#include "flightpath/toolbox/sorting.h"

namespace flightpath {
namespace {

using coder::array;

float standardDeviation(const array<float, 1>& y, float mean) {
  if (y.numel == 0) {
    return rtNaNF;
  }
  if (y.numel == 1) {
    return std::isfinite(y[0]) ? 0.0F : rtNaNF;
  }
  array<float, 1> deviations;
  deviations.set_size(y.numel);
  std::ranges::transform(y, deviations.begin(), [mean](float v) { return std::fabs(v - mean); });
  return blas::norm2(elements(deviations)) / std::sqrt(static_cast<float>(y.numel - 1));
}

}  // namespace

void toDecibels(array<float, 1>& spectrum) {
  std::ranges::transform(spectrum, spectrum.begin(), [](float v) { return 20.0F * ::log10f(v); });
}

float spectrumThreshold(const array<float, 1>& spectrum) {
  const float mean =
      coder::blockedSummation(spectrum, spectrum.numel) / static_cast<float>(spectrum.numel);
  return peakThreshold(mean, standardDeviation(spectrum, mean));
}

void coarseFrequencies(MUSICLib* obj, array<creal32_T, 2>& signalSubspace, float numSignals,
                       float coarseResolution, array<float, 1>& work,
                       array<float, 1>& frequencies) {
  array<float, 1> axis;
  array<creal32_T, 2> energies;
  evaluatePseudoSpectrumFFT(obj, signalSubspace, work, axis, energies,
                            coarseFFTLength(coarseResolution));
  toDecibels(work);
  array<float, 1> heights;
  array<double, 1> positions;
  coder::findpeaks(work, numSignals, spectrumThreshold(work), heights, positions);
  frequencies.set_size(positions.numel);
  std::ranges::transform(positions, frequencies.begin(), [&](double position) {
    return axis[static_cast<std::int32_t>(position) - 1];
  });
  coder::internal::sort(frequencies);
}

}  // namespace flightpath
