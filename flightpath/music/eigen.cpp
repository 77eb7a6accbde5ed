#include "flightpath/music/eigen.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>

#include "flightpath/music/detail/mirrored_pairs.h"
#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/detail/lapack.h"

namespace {

using coder::array;

bool isEmpty(const array<creal32_T, 2>& A) { return A.size[0] == 0 || A.size[1] == 0; }

bool isSquare(const array<creal32_T, 2>& A) { return A.size[0] == A.size[1]; }

template <int N>
void fillNaN(array<creal32_T, N>& a) {
  std::fill(a.begin(), a.end(), creal32_T{rtNaNF, 0.0F});
}

bool isFinite(creal32_T z) { return std::isfinite(z.re) && std::isfinite(z.im); }

bool equal(creal32_T a, creal32_T b) { return a.re == b.re && a.im == b.im; }

/// Whether A(i, j) equals mirrored(A(j, i)) exactly for every pair i <= j.
template <class Mirrored>
bool hasSymmetry(const array<creal32_T, 2>& A, Mirrored mirrored) {
  return flightpath::allMirroredPairs(
      A.size[1], [&](std::int32_t i, std::int32_t j) { return equal(A(i, j), mirrored(A(j, i))); });
}

creal32_T negatedConjugate(creal32_T z) { return {-z.re, z.im}; }

/// i z, as the full complex product (0 + 1i)(re + i im).
creal32_T timesImaginaryUnit(creal32_T z) { return {0.0F * z.re - z.im, 0.0F * z.im + z.re}; }

/// Solves the Hermitian matrix in V, which its eigenvectors replace.
template <class ToEigenvalue>
void solveHermitian(array<creal32_T, 2>& V, array<creal32_T, 1>& d, ToEigenvalue toEigenvalue) {
  array<float, 1> W;
  coder::internal::lapack::xsyheev(V, W);
  std::transform(W.begin(), W.end(), d.begin(), toEigenvalue);
}

void solveGeneral(const array<creal32_T, 2>& A, array<creal32_T, 2>& V, array<creal32_T, 1>& d) {
  const std::int32_t n = A.size[0];
  array<creal32_T, 2> work(A);
  array<float, 1> scale;
  scale.set_size(n);
  const int info = flightpath::lapack::generalEigen(n, work.data, d.data, V.data, scale.data);
  if (info < 0) {
    fillNaN(V);
    fillNaN(d);
  }
}

}  // namespace

namespace coder {

void eig(const array<creal32_T, 2>& A, array<creal32_T, 2>& V, array<creal32_T, 1>& d) {
  assert(&A != &V);
  const std::int32_t n = isEmpty(A) ? 0 : A.size[0];
  V.set_size(n, n);
  d.set_size(n);
  if (!isSquare(A) || !std::all_of(A.begin(), A.end(), isFinite)) {
    fillNaN(V);
    fillNaN(d);
  } else if (hasSymmetry(A, flightpath::conjugate)) {
    V = A;
    solveHermitian(V, d, [](float w) { return creal32_T{w, 0.0F}; });
  } else if (hasSymmetry(A, negatedConjugate)) {
    std::transform(A.begin(), A.end(), V.begin(), timesImaginaryUnit);
    solveHermitian(V, d, [](float w) { return creal32_T{0.0F, -w}; });
  } else {
    solveGeneral(A, V, d);
  }
}

namespace internal::lapack {

int xsyheev(array<creal32_T, 2>& A, array<float, 1>& W) {
  const std::int32_t n = A.size[0];
  W.set_size(n);
  if (isEmpty(A)) {
    return 0;
  }
  const int info = isSquare(A) ? flightpath::lapack::hermitianEigen(n, A.data, W.data) : -1;
  if (info < 0) {
    std::fill(W.begin(), W.end(), rtNaNF);
    fillNaN(A);
  }
  return info;
}

}  // namespace internal::lapack
}  // namespace coder
