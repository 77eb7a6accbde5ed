#include "tests/support/call_counter.h"

#include <cblas.h>
#include <dlfcn.h>
#include <fftw3.h>
#include <lapacke.h>

#include <atomic>
#include <optional>

namespace support {
namespace {

std::atomic<bool> plannerRefuses = false;
std::optional<int> solverInfo;

/// The function of that name behind ours.
template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

CallCounts& callCounts() {
  static CallCounts counts;
  return counts;
}

RefusingPlanner::RefusingPlanner() { plannerRefuses = true; }
RefusingPlanner::~RefusingPlanner() { plannerRefuses = false; }
FailingSolver::FailingSolver(int info) { solverInfo = info; }
FailingSolver::~FailingSolver() { solverInfo.reset(); }

}  // namespace support

using support::callCounts;
using support::real;

extern "C" {

fftwf_plan fftwf_plan_guru_dft(int rank, const fftwf_iodim* dims, int howmanyRank,
                               const fftwf_iodim* howmanyDims, fftwf_complex* in,
                               fftwf_complex* out, int sign, unsigned flags) {
  static const auto next = real<decltype(fftwf_plan_guru_dft)>("fftwf_plan_guru_dft");
  ++callCounts().fftPlans;
  if (support::plannerRefuses) {
    return nullptr;
  }
  return next(rank, dims, howmanyRank, howmanyDims, in, out, sign, flags);
}

void fftwf_destroy_plan(fftwf_plan plan) {
  static const auto next = real<decltype(fftwf_destroy_plan)>("fftwf_destroy_plan");
  ++callCounts().fftPlansDestroyed;
  next(plan);
}

void fftwf_execute_dft(const fftwf_plan plan, fftwf_complex* in, fftwf_complex* out) {
  static const auto next = real<decltype(fftwf_execute_dft)>("fftwf_execute_dft");
  ++callCounts().fftExecutions;
  next(plan, in, out);
}

void cblas_cgemm(const enum CBLAS_ORDER order, const enum CBLAS_TRANSPOSE transA,
                 const enum CBLAS_TRANSPOSE transB, const blasint m, const blasint n,
                 const blasint k, const void* alpha, const void* a, const blasint lda,
                 const void* b, const blasint ldb, const void* beta, void* c, const blasint ldc) {
  static const auto next = real<decltype(cblas_cgemm)>("cblas_cgemm");
  ++callCounts().matrixProducts;
  next(order, transA, transB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

float cblas_snrm2(const blasint n, const float* x, const blasint incX) {
  static const auto next = real<decltype(cblas_snrm2)>("cblas_snrm2");
  ++callCounts().norms;
  return next(n, x, incX);
}

void openblas_set_num_threads(int num_threads) {
  static const auto next = real<decltype(openblas_set_num_threads)>("openblas_set_num_threads");
  ++callCounts().blasThreadSettings;
  next(num_threads);
}

lapack_int LAPACKE_cheev(int layout, char jobz, char uplo, lapack_int n, lapack_complex_float* a,
                         lapack_int lda, float* w) {
  static const auto next = real<decltype(LAPACKE_cheev)>("LAPACKE_cheev");
  ++callCounts().hermitianSolves;
  if (support::solverInfo) {
    return *support::solverInfo;
  }
  return next(layout, jobz, uplo, n, a, lda, w);
}

lapack_int LAPACKE_cgeevx(int layout, char balanc, char jobvl, char jobvr, char sense, lapack_int n,
                          lapack_complex_float* a, lapack_int lda, lapack_complex_float* w,
                          lapack_complex_float* vl, lapack_int ldvl, lapack_complex_float* vr,
                          lapack_int ldvr, lapack_int* ilo, lapack_int* ihi, float* scale,
                          float* abnrm, float* rconde, float* rcondv) {
  static const auto next = real<decltype(LAPACKE_cgeevx)>("LAPACKE_cgeevx");
  ++callCounts().generalSolves;
  if (support::solverInfo) {
    return *support::solverInfo;
  }
  return next(layout, balanc, jobvl, jobvr, sense, n, a, lda, w, vl, ldvl, vr, ldvr, ilo, ihi,
              scale, abnrm, rconde, rcondv);
}

}  // extern "C"
