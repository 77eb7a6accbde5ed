#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/count_search.h"
#include "flightpath/ranging/detail/leading_eigenpairs.h"
#include "flightpath/ranging/detail/real_gram.h"
#include "flightpath/ranging/detail/signal_polynomial.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/spectrum/plan_cache.h"
#include "flightpath/toolbox/detail/peaks.h"

namespace flightpath {

/// One path of one measurement.
struct FoundPath {
  float frequency;  // normalised
  float peakValue;  // decibels
};

/// Of the two searches, in normalised frequency.
struct Resolutions {
  float coarse;
  float fine;
};

/// Estimates one measurement after another, in work space of its own: what each thread of a Ranger
/// has one of.
class MeasurementRanger {
 public:
  MeasurementRanger(int N, const RangingOptions& options);
  ~MeasurementRanger();
  MeasurementRanger(const MeasurementRanger&) = delete;
  MeasurementRanger& operator=(const MeasurementRanger&) = delete;

  /// Estimates N samples. Returns the signal count; the paths stand in `paths()` until the next call.
  float estimate(const creal32_T* samples);

  std::span<const FoundPath> paths() const { return paths_; }

 private:
  /// All eigenvalues' sums, from a Cholesky factor; empty where the matrix has no such factor.
  std::optional<EigenvalueSums> sumsByCholesky();
  template <class Real>
  std::optional<double> logDeterminant(std::vector<Real>& factor, double smallestPivot);
  void decomposeFully();
  int countAndSolve();
  int solveFully();
  int iterate(const std::optional<EigenvalueSums>& sums);
  std::optional<int> currentCount(const std::optional<EigenvalueSums>& sums);
  bool converged(int numPairs, double tolerance) const;

  void formPolynomial(int numSignals);
  void searchCoarse(int numSignals);
  void refine(float coarse);
  void reportPhaseSlope(const creal32_T* samples);

  int N_;
  RangingOptions options_;
  Resolutions resolutions_;
  std::vector<float> offsets_;  // of the fine grid around a coarse peak
  RealGram gram_;
  LeadingEigenpairs pairs_;
  SignalPolynomial polynomial_;

  std::vector<float> roughFactor_;   // Cholesky factor in single precision
  std::vector<double> factor_;       // Cholesky factor, or all eigenvectors
  std::vector<double> eigenvalues_;  // all of them, ascending, where they were needed
  std::vector<double> lapackWork_;
  bool solvedFully_ = false;
  std::vector<double> leading_;
  std::vector<double> re_, im_;  // one eigenvector of the covariance

  coder::array<creal32_T, 1> half_;
  coder::array<float, 1> energies_;
  fftwf_plan plan_ = nullptr;
  coder::array<float, 1> axis_;      // frequencies of the coarse grid, centred
  coder::array<float, 1> spectrum_;  // decibels there
  PeakWork peakWork_;
  coder::array<float, 1> heights_;
  coder::array<double, 1> positions_;
  std::vector<creal32_T> scaled_;  // samples for the phase slope
  coder::array<float, 1> phaseSteps_;
  std::vector<FoundPath> paths_;
};

}  // namespace flightpath
