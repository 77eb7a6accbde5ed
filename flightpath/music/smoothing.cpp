#include "flightpath/music/smoothing.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/rules/subvector_length.h"
#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/toolbox/detail/blas.h"

namespace {

using coder::array;
using flightpath::blas::Transpose;

/// X := the subvectors of x as columns, a Hankel matrix.
void fillHankel(const array<creal32_T, 1>& x, array<creal32_T, 2>& X) {
  for (std::int32_t j = 0; j < X.size[1]; ++j) {
    std::copy_n(x.data + j, X.size[0], flightpath::column(X, j).begin());
  }
}

/// R := (R + J conj(R) J) / 2.
///
/// In storage order J conj(R) J is R backwards: element k meets element n - 1 - k. Both are read
/// before either is written, so one pass in place will do.
void averageWithReversed(array<creal32_T, 2>& R) {
  const auto average = [](creal32_T a, creal32_T reversed) {
    return flightpath::halve(flightpath::add(a, flightpath::conjugate(reversed)));
  };
  for (std::int32_t front = 0, back = R.numel - 1; front <= back; ++front, --back) {
    const creal32_T a = R[front];
    const creal32_T b = R[back];
    R[front] = average(a, b);
    R[back] = average(b, a);
  }
}

}  // namespace

void measurementSmoothing(const array<creal32_T, 1>& x, array<creal32_T, 2>& R) {
  const std::int32_t N = x.numel;
  const std::int32_t L = flightpath::subvectorLength(N);
  const std::int32_t K = N - L + 1;
  R.set_size(L, L);
  if (L == 0) {
    return;
  }
  array<creal32_T, 2> X;
  X.set_size(L, K);
  fillHankel(x, X);
  flightpath::blas::multiply(L, L, K, {X.data, L, Transpose::None},
                             {X.data, L, Transpose::Conjugate}, R.data);
  const float numSubvectors = static_cast<float>(N - L) + 1.0F;
  std::ranges::transform(R, R.begin(),
                         [=](creal32_T r) { return flightpath::divideByReal(r, numSubvectors); });
  averageWithReversed(R);
}
