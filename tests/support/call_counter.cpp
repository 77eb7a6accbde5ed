#include "tests/support/call_counter.h"

#include <cblas.h>
#include <dlfcn.h>
#include <fftw3.h>
#include <lapacke.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>
#include <utility>

namespace support {
namespace {

std::atomic<bool> plannerRefuses = false;
std::optional<int> solverInfo;

/// The function of that name behind ours.
template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::atomic<CallLog*> currentLog = nullptr;

std::string text(char c) { return {c}; }
std::string text(const char* words) { return words; }
std::string text(auto number) { return std::to_string(number); }
std::string text(CBLAS_TRANSPOSE transpose) {
  return transpose == CblasNoTrans ? "N" : transpose == CblasTrans ? "T" : "C";
}

/// Writes the words down as a line where a log is kept.
void note(const auto&... words) {
  if (CallLog* const log = currentLog) {
    std::string line;
    ((line += (line.empty() ? "" : " ") + text(words)), ...);
    log->write(line);
  }
}

std::size_t numberOf(const void* plan) {
  const CallLog* const log = currentLog;
  return log == nullptr ? 0 : log->numberOf(plan);
}

std::string describe(const fftwf_iodim& d) {
  return std::to_string(d.n) + " (" + std::to_string(d.is) + ", " + std::to_string(d.os) + ")";
}

void notePlan(int rank, const fftwf_iodim* dims, int howmanyRank, const fftwf_iodim* howmanyDims,
              int sign, unsigned flags) {
  if (CallLog* const log = currentLog) {
    const std::string ranks = rank == 1 && howmanyRank == 1 ? "" : "of other ranks ";
    log->write(ranks + "plan " + std::to_string(log->numberOfNextPlan()) + ": " + describe(*dims) +
               " x " + describe(*howmanyDims) + ", " + std::to_string(sign) + ", " +
               std::to_string(flags));
  }
}

std::atomic<bool> countsCallsAtOnce = false;
std::atomic<int> foreignCalls = 0;
std::atomic<int> mostForeignCalls = 0;

/// Lives as long as a call into BLAS or LAPACK.
class InForeignCall {
 public:
  InForeignCall() {
    const int now = ++foreignCalls;
    int most = mostForeignCalls;
    while (now > most && !mostForeignCalls.compare_exchange_weak(most, now)) {
    }
    if (countsCallsAtOnce) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  ~InForeignCall() { --foreignCalls; }
  InForeignCall(const InForeignCall&) = delete;
  InForeignCall& operator=(const InForeignCall&) = delete;
};

}  // namespace

CallLog::CallLog(std::function<void(const std::string&)> watcher) : watcher_(std::move(watcher)) {
  currentLog = this;
}

CallLog::~CallLog() { currentLog = nullptr; }

CallLines CallLog::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(lines_, {});
}

void CallLog::write(const std::string& line) {
  const std::lock_guard lock(mutex_);
  lines_.push_back(line);
  if (watcher_) {
    watcher_(line);
  }
}

void CallLog::nameNextPlan(const void* plan) {
  const std::lock_guard lock(mutex_);
  plans_.push_back(plan);
}

std::size_t CallLog::numberOf(const void* plan) const {
  const std::lock_guard lock(mutex_);
  // The latest of that address: FFTW may give out a freed one again.
  const auto found = std::find(plans_.rbegin(), plans_.rend(), plan);
  return static_cast<std::size_t>(plans_.rend() - found);
}

CallsAtOnce::CallsAtOnce() {
  mostForeignCalls = 0;
  countsCallsAtOnce = true;
}
CallsAtOnce::~CallsAtOnce() { countsCallsAtOnce = false; }
int CallsAtOnce::most() const { return mostForeignCalls; }

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
using support::InForeignCall;
using support::note;
using support::real;

// The library's own lock: the linker is told to lead its callers here (--wrap).
int realLock() asm("__real__Z22lockFFTPlanningProcessv");
int realUnlock() asm("__real__Z24unlockFFTPlanningProcessv");
int notedLock() asm("__wrap__Z22lockFFTPlanningProcessv");
int notedUnlock() asm("__wrap__Z24unlockFFTPlanningProcessv");

int notedLock() {
  const int result = realLock();
  note("lock");
  return result;
}

int notedUnlock() {
  note("unlock");
  return realUnlock();
}

extern "C" {

fftwf_plan fftwf_plan_guru_dft(int rank, const fftwf_iodim* dims, int howmanyRank,
                               const fftwf_iodim* howmanyDims, fftwf_complex* in,
                               fftwf_complex* out, int sign, unsigned flags) {
  static const auto next = real<decltype(fftwf_plan_guru_dft)>("fftwf_plan_guru_dft");
  ++callCounts().fftPlans;
  support::notePlan(rank, dims, howmanyRank, howmanyDims, sign, flags);
  fftwf_plan const plan = support::plannerRefuses
                              ? nullptr
                              : next(rank, dims, howmanyRank, howmanyDims, in, out, sign, flags);
  if (support::CallLog* const log = support::currentLog) {
    log->nameNextPlan(plan);
  }
  return plan;
}

void fftwf_destroy_plan(fftwf_plan plan) {
  static const auto next = real<decltype(fftwf_destroy_plan)>("fftwf_destroy_plan");
  ++callCounts().fftPlansDestroyed;
  note("destroy", support::numberOf(plan));
  next(plan);
}

void fftwf_execute_dft(const fftwf_plan plan, fftwf_complex* in, fftwf_complex* out) {
  static const auto next = real<decltype(fftwf_execute_dft)>("fftwf_execute_dft");
  ++callCounts().fftExecutions;
  note("execute", support::numberOf(plan));
  next(plan, in, out);
}

void cblas_cgemm(const enum CBLAS_ORDER order, const enum CBLAS_TRANSPOSE transA,
                 const enum CBLAS_TRANSPOSE transB, const blasint m, const blasint n,
                 const blasint k, const void* alpha, const void* a, const blasint lda,
                 const void* b, const blasint ldb, const void* beta, void* c, const blasint ldc) {
  static const auto next = real<decltype(cblas_cgemm)>("cblas_cgemm");
  ++callCounts().matrixProducts;
  note("cgemm", transA, transB, m, n, k);
  const InForeignCall inside;
  next(order, transA, transB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

float cblas_snrm2(const blasint n, const float* x, const blasint incX) {
  static const auto next = real<decltype(cblas_snrm2)>("cblas_snrm2");
  ++callCounts().norms;
  note("snrm2", n);
  const InForeignCall inside;
  return next(n, x, incX);
}

void openblas_set_num_threads(int num_threads) {
  static const auto next = real<decltype(openblas_set_num_threads)>("openblas_set_num_threads");
  ++callCounts().blasThreadSettings;
  note("blas threads", num_threads);
  const InForeignCall inside;
  next(num_threads);
}

int openblas_get_parallel() {
  static const auto next = real<decltype(openblas_get_parallel)>("openblas_get_parallel");
  const char* const pretended = std::getenv(support::pretendedOpenBLAS);
  return pretended != nullptr ? static_cast<int>(std::strtol(pretended, nullptr, 10)) : next();
}

void cblas_dgemm(const enum CBLAS_ORDER order, const enum CBLAS_TRANSPOSE transA,
                 const enum CBLAS_TRANSPOSE transB, const blasint m, const blasint n,
                 const blasint k, const double alpha, const double* a, const blasint lda,
                 const double* b, const blasint ldb, const double beta, double* c,
                 const blasint ldc) {
  static const auto next = real<decltype(cblas_dgemm)>("cblas_dgemm");
  const InForeignCall inside;
  next(order, transA, transB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

lapack_int LAPACKE_dpotrf_work(int layout, char uplo, lapack_int n, double* a, lapack_int lda) {
  static const auto next = real<decltype(LAPACKE_dpotrf_work)>("LAPACKE_dpotrf_work");
  const InForeignCall inside;
  return next(layout, uplo, n, a, lda);
}

lapack_int LAPACKE_dsytrd_work(int layout, char uplo, lapack_int n, double* a, lapack_int lda,
                               double* d, double* e, double* tau, double* work, lapack_int lwork) {
  static const auto next = real<decltype(LAPACKE_dsytrd_work)>("LAPACKE_dsytrd_work");
  const InForeignCall inside;
  return next(layout, uplo, n, a, lda, d, e, tau, work, lwork);
}

lapack_int LAPACKE_dsterf_work(lapack_int n, double* d, double* e) {
  static const auto next = real<decltype(LAPACKE_dsterf_work)>("LAPACKE_dsterf_work");
  const InForeignCall inside;
  return next(n, d, e);
}

lapack_int LAPACKE_dstein_work(int layout, lapack_int n, const double* d, const double* e,
                               lapack_int m, const double* w, const lapack_int* iblock,
                               const lapack_int* isplit, double* z, lapack_int ldz, double* work,
                               lapack_int* iwork, lapack_int* ifailv) {
  static const auto next = real<decltype(LAPACKE_dstein_work)>("LAPACKE_dstein_work");
  const InForeignCall inside;
  return next(layout, n, d, e, m, w, iblock, isplit, z, ldz, work, iwork, ifailv);
}

lapack_int LAPACKE_dormtr_work(int layout, char side, char uplo, char trans, lapack_int m,
                               lapack_int n, const double* a, lapack_int lda, const double* tau,
                               double* c, lapack_int ldc, double* work, lapack_int lwork) {
  static const auto next = real<decltype(LAPACKE_dormtr_work)>("LAPACKE_dormtr_work");
  const InForeignCall inside;
  return next(layout, side, uplo, trans, m, n, a, lda, tau, c, ldc, work, lwork);
}

lapack_int LAPACKE_dsyev_work(int layout, char jobz, char uplo, lapack_int n, double* a,
                              lapack_int lda, double* w, double* work, lapack_int lwork) {
  static const auto next = real<decltype(LAPACKE_dsyev_work)>("LAPACKE_dsyev_work");
  const InForeignCall inside;
  return next(layout, jobz, uplo, n, a, lda, w, work, lwork);
}

lapack_int LAPACKE_cheev(int layout, char jobz, char uplo, lapack_int n, lapack_complex_float* a,
                         lapack_int lda, float* w) {
  static const auto next = real<decltype(LAPACKE_cheev)>("LAPACKE_cheev");
  ++callCounts().hermitianSolves;
  note("cheev", jobz, uplo, n);
  const InForeignCall inside;
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
  note("cgeevx", balanc, jobvl, jobvr, sense, n);
  const InForeignCall inside;
  if (support::solverInfo) {
    return *support::solverInfo;
  }
  return next(layout, balanc, jobvl, jobvr, sense, n, a, lda, w, vl, ldvl, vr, ldvr, ilo, ihi,
              scale, abnrm, rconde, rcondv);
}

}  // extern "C"
