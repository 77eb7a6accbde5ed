#pragma once

#include <flightpath/flightpath.h>

#include <cstdint>
#include <vector>

namespace bench {

/// The calls into foreign libraries that one estimate cannot do without, and nothing else: what a
/// perfect implementation of the method would still cost.
///
///   covariance    one product L x K by K x L                               (cblas_cgemm)
///   eigenpairs    one Hermitian decomposition, L x L                       (LAPACKE_cheev)
///   count         a root of every eigenvalue for every candidate count     (powf)
///   coarse        one transform a signal, decibels of every bin
///                                                              (fftwf_execute_dft, log10f)
///   fine          per peak: the steering vectors, one product, decibels
///                                                              (sincosf, cblas_cgemm, log10f)
///
/// The closed form for one path needs the first three and an angle a sample (atan2f).
class Floor {
 public:
  /// Prepares the arguments of the calls for this measurement, by a real estimate.
  explicit Floor(const coder::array<creal32_T, 1>& x);

  /// Makes the calls.
  void run();

  /// What the estimate of this measurement found: the floor is that of the same work.
  int numSignals() const { return numSignals_; }
  int numPeaks() const { return numPeaks_; }

 private:
  void prepareCount(const coder::array<float, 1>& eigenvalues);
  void prepareCoarse(coder::array<creal32_T, 2> eigenvectors);
  void prepareFine(const ToFResult& result);
  void runCount();
  void runCoarse();
  void runFine();
  void runPhaseSlope();

  MUSICLib plans_;
  coder::array<creal32_T, 1> x_;
  coder::array<creal32_T, 2> hankel_;
  coder::array<creal32_T, 2> product_;
  coder::array<creal32_T, 2> hermitian_;
  coder::array<creal32_T, 2> solved_;
  coder::array<float, 1> eigenvalues_;
  std::vector<float> roots_;
  std::vector<float> rootedValues_;
  coder::array<creal32_T, 1> taps_;
  coder::array<creal32_T, 1> response_;
  coder::array<creal32_T, 2> noise_;
  std::vector<float> exponents_;
  coder::array<creal32_T, 2> steering_;
  coder::array<creal32_T, 2> projection_;
  std::vector<float> decibels_;
  int numSignals_ = 0;
  int numPeaks_ = 0;
};

}  // namespace bench
