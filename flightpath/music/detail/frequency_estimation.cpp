#include "flightpath/music/detail/frequency_estimation.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/music/detail/coarse_search.h"
#include "flightpath/music/detail/fine_search.h"
#include "flightpath/music/detail/route.h"
#include "flightpath/music/detail/subspaces.h"
#include "flightpath/music/signal_count.h"
#include "flightpath/rules/phase_slope.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/detail/steering_spectrum.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/toolbox/peaks.h"

namespace flightpath {
namespace {

using coder::array;

/// One-element values everywhere: what the closed form reports, and what a search overwrites.
void setNeutral(SearchReport report) {
  setScalar(report.peakValues, 1.0F);
  setScalar(report.freqs, 0.0F);
  setScalar(report.scannedFreqs, 0.0F);
  report.pseudoSpectrum.set_size(1);
  report.pseudoSpectrum[0] = 1.0F;
}

float countSignals(const array<creal32_T, 1>& x, const SearchSettings& settings,
                   array<creal32_T, 2>& eigenvectors) {
  array<float, 1> eigenvalues;
  const float estimated =
      determineNumSignals(x, settings.uniformlySampled ? 1 : 0, eigenvectors, eigenvalues);
  return settings.forcedCount.value_or(estimated);
}

void reportPhaseSlope(const array<creal32_T, 1>& x, SearchReport report) {
  const float f = phaseSlopeFrequency(x);
  report.freqs[0] = f;
  report.scannedFreqs[0] = f;
}

/// Without a sample there is no space to search: a spectrum that is infinite everywhere would pass
/// for peaks.
float limitPeaks(float numSignals, const array<creal32_T, 2>& eigenvectors) {
  return eigenvectors.numel == 0 ? 0.0F : numSignals;
}

/// Coarse search over the whole period by FFT, then a fine one around each peak: on even offsets,
/// or on the caller's grid points.
void searchByFFT(MUSICLib* obj, array<creal32_T, 2>& eigenvectors, float numSignals,
                 const SearchSettings& settings, bool onGrid, SearchReport report) {
  array<creal32_T, 2> noise;
  noiseSubspace(eigenvectors, numSignals, noise);
  const float maxPeaks = limitPeaks(numSignals, eigenvectors);
  keepSignalSubspace(eigenvectors, numSignals);
  array<float, 1> coarse;
  coarseFrequencies(obj, eigenvectors, maxPeaks, settings.coarseResolution, report.pseudoSpectrum,
                    coarse);
  array<float, 2> candidates;
  if (onGrid) {
    gridCandidates(coarse, settings.grid, settings.coarseResolution, candidates);
  } else {
    evenCandidates(coarse, settings.coarseResolution, settings.fineResolution, noise.size[0],
                   candidates);
  }
  refine(noise, candidates, report.pseudoSpectrum, report.freqs, report.peakValues);
  setRow(report.scannedFreqs, elements(candidates));
}

/// The tallest peaks of the steering-vector pseudo-spectrum on the caller's grid.
void searchGrid(const array<creal32_T, 2>& eigenvectors, float numSignals,
                const SearchSettings& settings, SearchReport report) {
  array<creal32_T, 2> noise;
  noiseSubspace(eigenvectors, numSignals, noise);
  steeringSpectrum(noise, settings.grid, report.pseudoSpectrum);
  array<float, 1> heights;
  array<double, 1> positions;
  coder::findpeaks(report.pseudoSpectrum, limitPeaks(numSignals, eigenvectors), heights, positions);
  report.freqs.set_size(1, positions.numel);
  report.peakValues.set_size(positions.numel, 1);
  std::ranges::copy(heights, report.peakValues.begin());
  std::ranges::transform(positions, report.freqs.begin(), [&](double position) {
    return settings.grid[static_cast<std::size_t>(position) - 1];
  });
  setRow(report.scannedFreqs, settings.grid);
}

}  // namespace

void estimateFrequencies(MUSICLib* obj, const array<creal32_T, 1>& x,
                         const SearchSettings& settings, SearchReport report) {
  setNeutral(report);
  array<creal32_T, 2> eigenvectors;
  const float numSignals = countSignals(x, settings, eigenvectors);
  switch (const Route route = chooseRoute(numSignals, eigenvectors.size[1], settings)) {
    case Route::PhaseSlope:
      reportPhaseSlope(x, report);
      break;
    case Route::Fft:
    case Route::FftOnGrid:
      searchByFFT(obj, eigenvectors, numSignals, settings, route == Route::FftOnGrid, report);
      break;
    case Route::Classic:
      searchGrid(eigenvectors, numSignals, settings, report);
      break;
  }
  report.numSignals = numSignals;
}

}  // namespace flightpath
