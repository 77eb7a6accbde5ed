#pragma once

#include <complex>
#include <vector>

#include "flightpath/spectrum/detail/fftw_calls.h"

namespace flightpath {

/// Transforms of n complex values in double precision, to and fro, between two arrays of its own:
///
///   spectrum(j) = sum over k of values(k) exp(-i 2 pi j k / n)
///   values(k)   = sum over j of spectrum(j) exp(i 2 pi j k / n)
///
/// One after the other multiplies by n.
class DoubleTransform {
 public:
  /// Errors: std::bad_alloc.
  explicit DoubleTransform(int n);
  ~DoubleTransform();
  DoubleTransform(const DoubleTransform&) = delete;
  DoubleTransform& operator=(const DoubleTransform&) = delete;

  int size() const { return static_cast<int>(values_.size()); }
  std::vector<std::complex<double>>& values() { return values_; }
  std::vector<std::complex<double>>& spectrum() { return spectrum_; }

  /// Each leaves the array that it reads as it is.
  void toSpectrum() { fftw::execute(forward_); }
  void toValues() { fftw::execute(backward_); }

 private:
  void destroyPlans();

  std::vector<std::complex<double>> values_, spectrum_;
  fftw_plan forward_ = nullptr;
  fftw_plan backward_ = nullptr;
};

/// The least length from `least` on whose only prime factors are 2, 3, 5 and 7, for which transforms are
/// quick: at 10,001 itself, 73 x 137, one takes twelve times what it takes at 10,080.
int fastTransformLength(int least);

}  // namespace flightpath
