#include "flightpath/toolbox/detail/lapack.h"

#include <lapacke.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "flightpath/toolbox/detail/blas.h"

namespace flightpath::lapack {
namespace {

static_assert(sizeof(creal32_T) == sizeof(lapack_complex_float));

lapack_complex_float* native(creal32_T* data) {
  return reinterpret_cast<lapack_complex_float*>(data);
}

}  // namespace

int hermitianEigen(std::int32_t n, creal32_T* A, float* eigenvalues) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_cheev(LAPACK_COL_MAJOR, 'V', 'L', n, native(A), n, eigenvalues);
}

/// Work space of the size that the solver asks for: its blocks, and with them the bits, depend on it.
int hermitianEigen(std::int32_t n, std::complex<double>* A, double* eigenvalues) {
  auto* const matrix = reinterpret_cast<lapack_complex_double*>(A);
  std::vector<double> realWork(3 * static_cast<std::size_t>(n));
  const auto solve = [&](std::complex<double>* work, lapack_int size) {
    return LAPACKE_zheev_work(LAPACK_COL_MAJOR, 'V', 'L', n, matrix, n, eigenvalues,
                              reinterpret_cast<lapack_complex_double*>(work), size,
                              realWork.data());
  };
  const CallGuard guard = blas::guardCall();
  std::complex<double> wanted;
  const int info = solve(&wanted, -1);
  if (info != 0) {
    return info;
  }
  std::vector<std::complex<double>> work(static_cast<std::size_t>(wanted.real()));
  return solve(work.data(), static_cast<lapack_int>(work.size()));
}

int generalEigen(std::int32_t n, creal32_T* A, creal32_T* eigenvalues, creal32_T* eigenvectors,
                 float* scale) {
  lapack_complex_float noLeftVectors{};
  float abnrm = 0.0F;
  float rconde = 0.0F;
  float rcondv = 0.0F;
  lapack_int ilo = 0;
  lapack_int ihi = 0;
  const CallGuard guard = blas::guardCall();
  return LAPACKE_cgeevx(LAPACK_COL_MAJOR, 'B', 'N', 'V', 'N', n, native(A), n, native(eigenvalues),
                        &noLeftVectors, 1, native(eigenvectors), n, &ilo, &ihi, scale, &abnrm,
                        &rconde, &rcondv);
}

int choleskyFactor(std::int32_t n, double* A) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dpotrf_work(LAPACK_COL_MAJOR, 'L', n, A, n);
}

int symmetricEigen(std::int32_t n, double* A, double* eigenvalues, double* work) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dsyev_work(LAPACK_COL_MAJOR, 'V', 'L', n, A, n, eigenvalues, work, 3 * n);
}

int tridiagonalise(std::int32_t n, double* A, double* diagonal, double* offDiagonal, double* tau,
                   double* work) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dsytrd_work(LAPACK_COL_MAJOR, 'L', n, A, n, diagonal, offDiagonal, tau, work,
                             tridiagonalWork * n);
}

int tridiagonalEigenvalues(std::int32_t n, double* diagonal, double* offDiagonal) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dsterf_work(n, diagonal, offDiagonal);
}

int tridiagonalEigenvectors(std::int32_t n, const double* diagonal, const double* offDiagonal,
                            std::int32_t count, const double* eigenvalues, double* vectors,
                            double* work, std::int32_t* whole) {
  std::int32_t* const blocks = whole + n;  // all eigenvalues are those of one block that ends at n
  std::fill_n(blocks, n, 1);
  std::int32_t end = n;
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dstein_work(LAPACK_COL_MAJOR, n, diagonal, offDiagonal, count, eigenvalues, blocks,
                             &end, vectors, n, work, whole, whole + 2 * n);
}

int applyReflections(std::int32_t n, const double* A, const double* tau, std::int32_t count,
                     double* vectors, double* work) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dormtr_work(LAPACK_COL_MAJOR, 'L', 'L', 'N', n, count, A, n, tau, vectors, n, work,
                             tridiagonalWork * n);
}

}  // namespace flightpath::lapack
