#include "flightpath/spectrum/steering.h"

#include <math.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "flightpath/runtime/conversion.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/runtime/view.h"
#include "flightpath/spectrum/steering_span.h"
#include "flightpath/toolbox/grids.h"

namespace {

using coder::array;

/// The exponents of one steering vector: (a + i b)(f + i 0) with a = 0 m and b = 2 pi m, the
/// products with the element index m in double. The full complex product carries a non-finite f
/// over.
void exponents(const array<double, 2>& m, float f, std::span<creal32_T> column) {
  constexpr double twoPi = 6.283185307179586;
  std::ranges::transform(m, column.begin(), [f](double index) {
    const auto a = static_cast<float>(0.0 * index);
    const auto b = static_cast<float>(twoPi * index);
    return creal32_T{f * a - 0.0F * b, b * f + a * 0.0F};
  });
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
  array<double, 2> m;
  coder::linspace(numElements - 1.0, numElements, m);
  A.set_size(m.numel, toElementCount(static_cast<double>(freqs.size()), "steering vectors"));
  std::int32_t j = 0;
  for (const float f : freqs) {
    exponents(m, f, column(A, j++));
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
