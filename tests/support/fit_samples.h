#pragma once

#include <complex>
#include <span>
#include <vector>

#include "flightpath/likelihood/likelihood_fit.h"
#include "flightpath/runtime/complex.h"

namespace support {

inline double realPart(std::complex<double> z) { return z.real(); }
inline double imaginaryPart(std::complex<double> z) { return z.imag(); }
inline double realPart(creal32_T z) { return static_cast<double>(z.re); }
inline double imaginaryPart(creal32_T z) { return static_cast<double>(z.im); }

/// Fits complex samples, which the library hands over as parts.
template <class Sample>
void fitSamples(flightpath::LikelihoodFit& fit, const std::vector<Sample>& samples,
                std::span<const double> start) {
  std::vector<double> re;
  std::vector<double> im;
  for (const Sample& z : samples) {
    re.push_back(realPart(z));
    im.push_back(imaginaryPart(z));
  }
  fit.fit(re, im, start);
}

}  // namespace support
