#include "flightpath/music/signal_count.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/music/detail/covariance.h"
#include "flightpath/music/detail/criterion.h"
#include "flightpath/music/eigen.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/toolbox/sorting.h"

namespace {

using coder::array;

/// Eigenvectors and the real parts of the eigenvalues, strongest first.
void orderedEigenpairs(const array<creal32_T, 2>& A, array<creal32_T, 2>& eigenvectors,
                       array<float, 1>& eigenvalues) {
  array<creal32_T, 2> V;
  array<creal32_T, 1> d;
  coder::eig(A, V, d);
  eigenvalues.set_size(d.numel);
  std::ranges::transform(d, eigenvalues.begin(), &creal32_T::re);
  array<int, 1> order;
  coder::internal::sort(eigenvalues, order);
  eigenvectors.set_size(V.size[0], V.size[1]);
  for (std::int32_t k = 0; k < order.numel; ++k) {
    std::ranges::copy(flightpath::column(V, order[k] - 1),
                      flightpath::column(eigenvectors, k).begin());
  }
}

}  // namespace

float determineNumSignals(const array<creal32_T, 1>& x, unsigned char measurementContinual,
                          array<creal32_T, 2>& eigenvectors, array<float, 1>& eigenvalues) {
  const bool smoothed = measurementContinual != 0;
  array<creal32_T, 2> A;
  flightpath::sampleCovariance(x, smoothed, A);
  orderedEigenpairs(A, eigenvectors, eigenvalues);
  flightpath::dropNonPositive(eigenvalues);
  array<double, 1> Q;
  flightpath::criterion(eigenvalues, smoothed, Q);
  return flightpath::countAtMinimum(Q);
}
