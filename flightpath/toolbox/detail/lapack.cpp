#include "flightpath/toolbox/detail/lapack.h"

#include <lapacke.h>

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

int choleskyFactor(std::int32_t n, float* A) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_spotrf_work(LAPACK_COL_MAJOR, 'L', n, A, n);
}

int symmetricEigen(std::int32_t n, double* A, double* eigenvalues, double* work) {
  const CallGuard guard = blas::guardCall();
  return LAPACKE_dsyev_work(LAPACK_COL_MAJOR, 'V', 'L', n, A, n, eigenvalues, work, 3 * n);
}

}  // namespace flightpath::lapack
