#include "flightpath/ranging/detail/path_search.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <new>
#include <numeric>

#include "flightpath/ranging/detail/fast_decibels.h"
#include "flightpath/rules/peak_threshold.h"
#include "flightpath/rules/search_grids.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/detail/wide_vectors.h"
#include "flightpath/spectrum/detail/decibels.h"
#include "flightpath/spectrum/detail/fft_axis.h"
#include "flightpath/spectrum/detail/fftw_calls.h"

namespace flightpath {
namespace {

std::vector<float> offsetsOfFineGrid(Resolutions resolutions) {
  coder::array<float, 2> offsets;
  fineOffsets(resolutions.coarse, resolutions.fine, 1, offsets);
  return {offsets.begin(), offsets.end()};
}

/// The sum of term(v) over a coarse grid, in sums side by side: one alone would wait for itself at
/// every addition. A coarse grid has a power of two of points, at least 32.
template <class Term>
double sumOf(std::span<const float> y, Term term) {
  constexpr std::size_t lanes = 8;
  assert(y.size() % lanes == 0);
  double sums[lanes] = {};
  for (std::size_t i = 0; i < y.size(); i += lanes) {
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      sums[lane] += term(y[i + lane]);
    }
  }
  return std::accumulate(std::begin(sums), std::end(sums), 0.0);
}

/// The threshold of this spectrum.
float spectrumThreshold(std::span<const float> y) {
  const auto n = static_cast<double>(y.size());
  const double mean = sumOf(y, [](float v) { return double{v}; }) / n;
  const double squares = sumOf(y, [mean](float v) { return (v - mean) * (v - mean); });
  return static_cast<float>(peakThreshold(mean, std::sqrt(squares / (n - 1.0))));
}

/// The inverse of the noise energy M - captured, in dB. What rounding leaves of one that vanishes keeps the
/// spectrum finite.
FLIGHTPATH_WIDE_VECTORS void pseudoSpectrum(float M, const float* captured, int n,
                                            float* spectrum) {
  const float least = std::numeric_limits<float>::epsilon() * M;
  for (int i = 0; i < n; ++i) {
    const float energy = std::fabs(M - captured[i]);
    spectrum[i] = -fastDecibels(energy > least ? energy : least);
  }
}

}  // namespace

PathSearch::PathSearch(int L, Resolutions resolutions, Autocorrelation autocorrelation)
    : L_(L), offsets_(offsetsOfFineGrid(resolutions)), polynomial_(L, offsets_, autocorrelation) {
  const auto n = static_cast<int>(coarseFFTLength(resolutions.coarse));
  half_.set_size(n / 2 + 1);
  energies_.set_size(n);
  spectrum_.set_size(n);
  fftFrequencies(n, axis_);
  plan_ = fftw::planRealInverse(n, half_.data, energies_.data);
  if (plan_ == nullptr) {
    throw std::bad_alloc();
  }
}

PathSearch::~PathSearch() { fftw::destroy(plan_); }

void PathSearch::search(int maxPaths, std::vector<FoundPath>& paths) {
  evaluateCoarse();
  leftmostPeaks(spectrum_, static_cast<float>(maxPaths), spectrumThreshold(elements(spectrum_)),
                peakWork_, heights_, positions_);
  for (const double position : positions_) {
    paths.push_back(bestOnFineGrid(axis_[static_cast<int>(position) - 1]));
  }
}

void PathSearch::evaluateCoarse() {
  polynomial_.toSpectrum(elements(half_));
  fftw::executeRealInverse(plan_, half_.data, energies_.data);
  const auto M = static_cast<float>(L_);
  const int middle = energies_.numel / 2;
  pseudoSpectrum(M, energies_.data, middle, spectrum_.data + middle);
  pseudoSpectrum(M, energies_.data + middle, middle, spectrum_.data);
}

/// The best of the fine grid around a coarse peak: the first candidate of the smallest noise energy.
FoundPath PathSearch::bestOnFineGrid(float coarse) {
  const std::span<const double> noiseEnergy = polynomial_.noiseEnergy(coarse);
  const auto best = std::ranges::min_element(noiseEnergy);
  const double least = std::numeric_limits<double>::epsilon() * L_;
  const auto energy = static_cast<float>(std::max(*best, least));
  const float offset = offsets_[static_cast<std::size_t>(best - noiseEnergy.begin())];
  return {offset + coarse, pseudoSpectrumDecibels(energy)};
}

}  // namespace flightpath
