#pragma once

#include <span>
#include <vector>

#include "flightpath/ranging/detail/signal_polynomial.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/spectrum/plan_cache.h"
#include "flightpath/toolbox/detail/peaks.h"

namespace flightpath {

/// One path of one estimate.
struct FoundPath {
  float frequency;  // normalised
  float peakValue;  // decibels
};

/// Steps of the two searches, in normalised frequency.
struct Resolutions {
  float coarse;
  float fine;
};

/// The search for paths in a signal space: the peaks of its pseudo-spectrum on a coarse grid, by one
/// FFT, each moved to the best point of a fine grid around it.
class PathSearch {
 public:
  /// For eigenvectors of length L; `autocorrelation` as in `SignalPolynomial`.
  ///
  /// Errors: std::bad_alloc, also where the FFT library refuses to plan.
  PathSearch(int L, Resolutions resolutions,
             Autocorrelation autocorrelation = Autocorrelation::Direct);
  ~PathSearch();
  PathSearch(const PathSearch&) = delete;
  PathSearch& operator=(const PathSearch&) = delete;

  /// Empties the signal space, and adds a unit eigenvector of the covariance to it.
  void clear() { polynomial_.clear(); }
  void add(std::span<const double> re, std::span<const double> im) { polynomial_.add(re, im); }

  /// Appends the leftmost peaks above the threshold, at most maxPaths.
  void search(int maxPaths, std::vector<FoundPath>& paths);

 private:
  void evaluateCoarse();
  FoundPath bestOnFineGrid(float coarse);

  int L_;
  std::vector<float> offsets_;  // of the fine grid around a coarse peak
  SignalPolynomial polynomial_;
  coder::array<creal32_T, 1> half_;
  coder::array<float, 1> energies_;
  fftwf_plan plan_ = nullptr;
  coder::array<float, 1> axis_;      // frequencies of the coarse grid, centred
  coder::array<float, 1> spectrum_;  // decibels there
  PeakWork peakWork_;
  coder::array<float, 1> heights_;
  coder::array<double, 1> positions_;
};

}  // namespace flightpath
