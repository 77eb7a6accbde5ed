#include "flightpath/toolbox/detail/blas.h"

#include <cblas.h>

namespace flightpath::blas {
namespace {

CBLAS_TRANSPOSE code(Transpose transpose) {
  return transpose == Transpose::Conjugate ? CblasConjTrans : CblasNoTrans;
}

}  // namespace

CallGuard guardCall() {
  static const int build = openblas_get_parallel();
  CallGuard guard(callsTakeTurns(build));
  if (build == openMPOpenBLAS) {
    // The count of threads that the process has set, for calls from this thread too.
    openblas_set_num_threads(openblas_get_num_threads());
  }
  return guard;
}

void useOneThread() {
  const CallGuard guard = guardCall();
  openblas_set_num_threads(1);
}

void multiply(std::int32_t m, std::int32_t n, std::int32_t k, Operand a, Operand b, creal32_T* c) {
  constexpr creal32_T one = {1.0F, 0.0F};
  constexpr creal32_T zero = {0.0F, 0.0F};
  const CallGuard guard = guardCall();
  cblas_cgemm(CblasColMajor, code(a.transpose), code(b.transpose), m, n, k, &one, a.data, a.rows,
              b.data, b.rows, &zero, c, m);
}

void multiplyReal(std::int32_t m, std::int32_t n, std::int32_t k, const double* a, const double* b,
                  double* c) {
  const CallGuard guard = guardCall();
  cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, m, n, k, 1.0, a, m, b, k, 0.0, c, m);
}

float norm2(std::span<const float> x) {
  const CallGuard guard = guardCall();
  return cblas_snrm2(static_cast<blasint>(x.size()), x.data(), 1);
}

}  // namespace flightpath::blas
