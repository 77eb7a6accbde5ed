#include "flightpath/spectrum/steering.h"

#include <math.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "flightpath/runtime/detail/conversion.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/detail/steering.h"
#include "flightpath/toolbox/grids.h"

namespace {

using coder::array;

/// What multiplies a frequency to give the exponents of its steering vector: 0 m + i 2 pi m for the
/// element indices m, the products in double.
void exponentFactors(double numElements, array<creal32_T, 1>& factors) {
  constexpr double twoPi = 6.283185307179586;
  array<double, 2> m;
  coder::linspace(numElements - 1.0, numElements, m);
  factors.set_size(m.numel);
  std::ranges::transform(m, factors.begin(), [](double index) {
    return creal32_T{static_cast<float>(0.0 * index), static_cast<float>(twoPi * index)};
  });
}

/// (a + i b)(f + i 0), the full complex product: it carries a non-finite f over to both parts.
creal32_T timesFrequency(creal32_T factor, float f) {
  return {f * factor.re - 0.0F * factor.im, factor.im * f + factor.re * 0.0F};
}

creal32_T expOf(creal32_T z) {
  float sine = 0.0F;
  float cosine = 0.0F;
  if (z.re == 0.0F) {
    ::sincosf(z.im, &sine, &cosine);
    return {cosine, sine};
  }
  if (z.im == 0.0F) {
    return {::expf(z.re), 0.0F};
  }
  if (std::isinf(z.im) && z.re == rtMinusInfF) {
    return {0.0F, 0.0F};
  }
  const float e = ::expf(0.5F * z.re);
  ::sincosf(z.im, &sine, &cosine);
  return {cosine * e * e, sine * e * e};
}

}  // namespace

namespace flightpath {

void steeringVectors(double numElements, std::span<const float> freqs, array<creal32_T, 2>& A) {
  array<creal32_T, 1> factors;
  exponentFactors(numElements, factors);
  A.set_size(factors.numel, toElementCount(static_cast<double>(freqs.size()), "steering vectors"));
  std::int32_t j = 0;
  for (const float f : freqs) {
    std::ranges::transform(factors, column(A, j++).begin(),
                           [f](creal32_T factor) { return timesFrequency(factor, f); });
  }
  coder::b_exp(A);
}

}  // namespace flightpath

void makeUniformSteeringVectors(double numElements, const array<float, 2>& freqs,
                                array<creal32_T, 2>& A) {
  flightpath::steeringVectors(numElements, flightpath::asRow(freqs), A);
}

void makeUniformSteeringVectors(double numElements, const array<float, 1>& freqs,
                                array<creal32_T, 2>& A) {
  flightpath::steeringVectors(numElements, flightpath::elements(freqs), A);
}

namespace coder {

void b_exp(array<creal32_T, 2>& x) { std::ranges::transform(x, x.begin(), expOf); }

}  // namespace coder
