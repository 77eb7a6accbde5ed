#include "flightpath/toolbox/detail/blas.h"

#include <cblas.h>
#include <pthread.h>

#include <mutex>

namespace flightpath::blas {
namespace {

CBLAS_TRANSPOSE code(Transpose transpose) {
  return transpose == Transpose::Conjugate ? CblasConjTrans : CblasNoTrans;
}

int threads() {
  const CallGuard guard = guardCall();
  return openblas_get_num_threads();
}

void setThreads(int count) {
  const CallGuard guard = guardCall();
  openblas_set_num_threads(count);
}

constexpr int unknown = 0;

/// What every `OneThread` shares.
struct Setting {
  std::mutex mutex;
  unsigned living = 0;
  int before = unknown;  // BLAS's threads, before the first of them
};

Setting setting;
thread_local unsigned livingHere = 0;  // of them, on this thread

// Around a fork: the child finds the locks free, and of its parent's threads the one that forked.
void hold() {
  setting.mutex.lock();
  holdCalls();
}

void release() {
  releaseCalls();
  setting.mutex.unlock();
}

void releaseInChild() {
  setting.living = livingHere;
  release();
}

[[maybe_unused]] const int forkHandlers = pthread_atfork(hold, release, releaseInChild);

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
  const std::lock_guard lock(setting.mutex);
  if (setting.before != unknown) {
    setting.before = 1;
  }
  setThreads(1);
}

OneThread::OneThread() {
  const std::lock_guard lock(setting.mutex);
  ++setting.living;
  ++livingHere;
  const int found = threads();
  if (setting.before == unknown || found != 1) {
    setting.before = found;
  }
  setThreads(1);
}

OneThread::~OneThread() {
  const std::lock_guard lock(setting.mutex);
  --livingHere;
  if (--setting.living > 0) {
    return;
  }
  if (setting.before > 1 && threads() == 1) {
    setThreads(setting.before);
  }
  setting.before = unknown;
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
