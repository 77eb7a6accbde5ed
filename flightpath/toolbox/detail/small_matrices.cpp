#include "flightpath/toolbox/detail/small_matrices.h"

#include <cmath>
#include <cstddef>

#include "flightpath/toolbox/detail/blas.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "flightpath/toolbox/detail/plain_matrices.h"

namespace flightpath {
namespace {

// Up to these orders the plain loops are taken. Cholesky and Eigen of bench/tuning_bench.cpp are as fast
// there as the library, or faster. Product is not where BLAS has wide registers, up to four times: but
// its lock would be met several times per estimate, and the batch of scripts/bench on two threads was
// 1.84 times as fast as on one with BLAS, and is 1.98 times as fast with the loops.
constexpr int smallProduct = 128;
constexpr int smallFactor = 64;
constexpr int smallEigen = 12;
static_assert(smallEigen <= plain::mostEigen);

template <class Real>
std::optional<double> logOfPivots(int n, const Real* factor, double leastPivot) {
  double logs = 0.0;
  for (int i = 0; i < n; ++i) {
    const double root = factor[static_cast<std::size_t>(i) * static_cast<std::size_t>(n + 1)];
    if (!(root * root > leastPivot)) {
      return {};
    }
    logs += std::log(root);
  }
  return 2.0 * logs;
}

}  // namespace

double dot(const double* a, const double* b, int n) { return plain::dot(a, b, n); }

void multiply(int m, int n, int k, const double* A, const double* B, double* C) {
  if (m > smallProduct) {
    blas::multiplyReal(m, n, k, A, B, C);
  } else {
    plain::multiply(m, n, k, A, B, C);
  }
}

bool choleskyFactor(int n, double* A) {
  return n > smallFactor ? lapack::choleskyFactor(n, A) == 0 : plain::choleskyFactor(n, A);
}

bool choleskyFactor(int n, float* A) { return lapack::choleskyFactor(n, A) == 0; }

std::optional<double> logDeterminant(int n, const double* factor, double leastPivot) {
  return logOfPivots(n, factor, leastPivot);
}

std::optional<double> logDeterminant(int n, const float* factor, double leastPivot) {
  return logOfPivots(n, factor, leastPivot);
}

void symmetricEigen(int n, double* A, double* eigenvalues, double* work) {
  if (n > smallEigen) {
    lapack::symmetricEigen(n, A, eigenvalues, work);
  } else {
    plain::symmetricEigen(n, A, eigenvalues);
  }
}

}  // namespace flightpath
