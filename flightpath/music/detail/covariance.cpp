#include "flightpath/music/detail/covariance.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/music/detail/mirrored_pairs.h"
#include "flightpath/music/smoothing.h"
#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/view.h"

namespace flightpath {
namespace {

using coder::array;

/// R := x x^H
void outerProduct(const array<creal32_T, 1>& x, array<creal32_T, 2>& R) {
  R.set_size(x.numel, x.numel);
  for (std::int32_t j = 0; j < x.numel; ++j) {
    std::ranges::transform(x, column(R, j).begin(),
                           [b = x[j]](creal32_T a) { return timesConjugate(a, b); });
  }
}

/// R := (R + R^H) / 2, each pair of mirrored elements at once.
void makeHermitian(array<creal32_T, 2>& R) {
  allMirroredPairs(R.size[1], [&R](std::int32_t i, std::int32_t j) {
    const creal32_T upper = R(i, j);
    const creal32_T lower = R(j, i);
    R(i, j) = halve(add(upper, conjugate(lower)));
    R(j, i) = halve(add(lower, conjugate(upper)));
    return true;
  });
}

}  // namespace

void sampleCovariance(const array<creal32_T, 1>& x, bool uniformlySampled, array<creal32_T, 2>& A) {
  if (uniformlySampled) {
    measurementSmoothing(x, A);
  } else {
    outerProduct(x, A);
  }
  makeHermitian(A);
}

}  // namespace flightpath
