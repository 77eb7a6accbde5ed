#pragma once

#include <complex>
#include <optional>
#include <span>
#include <vector>

#include "flightpath/runtime/complex.h"

/// The whole estimator once more, slow and plain, in double precision: what the fast one is held
/// to. Sums are written out from their definitions: no FFT, no blocked sums, no data matrix, the
/// geometric mean through logarithms.
namespace support {

using Complex = std::complex<double>;

struct ReferenceMatrix {
  int n = 0;
  std::vector<Complex> values;  // column after column

  explicit ReferenceMatrix(int extent);
  Complex& operator()(int i, int j);
  Complex operator()(int i, int j) const;
};

/// Strongest first; vectors[k] belongs to values[k].
struct ReferenceEigenpairs {
  std::vector<double> values;
  std::vector<std::vector<Complex>> vectors;
};

struct ReferenceSettings {
  double coarseResolution = 0.0;
  double fineResolution = 0.0;
  std::optional<double> forcedCount = {};
  std::vector<double> grid = {};
  bool forceClassic = false;
  bool allowPhaseSlope = true;
  bool smooth = true;
};

/// Coarse step 1/(30 N), fine step 1/(1500 N).
ReferenceSettings referenceDefaults(int N);

struct ReferenceEstimate {
  double numSignals = 0.0;
  std::vector<double> coarse;       // coarse peaks of the FFT routes
  std::vector<double> freqs;        // the paths, cycles per sample
  std::vector<double> peaks_dB;     // their pseudo-spectrum
  double thresholdMargin_dB = 0.0;  // how far the coarse peak nearest to the threshold is from it
};

std::vector<Complex> toDouble(std::span<const creal32_T> x);

ReferenceMatrix referenceOuterProduct(const std::vector<Complex>& x);

/// Average over the forward subvectors of length round(0.75 N) and the backward ones.
ReferenceMatrix referenceSmoothing(const std::vector<Complex>& x);

ReferenceEigenpairs referenceEigen(const ReferenceMatrix& A);

/// Q(k) for k = 0 ... m - 1, from positive eigenvalues.
std::vector<double> referenceCriterion(std::span<const double> eigenvalues, bool smoothed);

double referencePhaseSlope(const std::vector<Complex>& x);

/// Energy that the eigenvectors leave of a path at frequency f, a unit a sample:
///   M - sum over k of |sum over m of u_k(m) exp(+i 2 pi m f)|^2
double referenceNoiseEnergy(std::span<const std::vector<Complex>> signal, int M, double f);

ReferenceEstimate referenceEstimate(const std::vector<Complex>& x,
                                    const ReferenceSettings& settings);

}  // namespace support
