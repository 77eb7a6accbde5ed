#include "tests/refusal/refused_plans.h"

#include <dlfcn.h>
#include <fftw3.h>

#include <atomic>

#include "tests/support/call_counter.h"

namespace {

std::atomic<int> realPlansMade = 0;
std::atomic<int> doublePlansAlive = 0;
std::atomic<int> requestsLeft = -1;        // until the refusal; negative: none is due
std::atomic<int> doubleRequestsLeft = -1;  // the same for plans in double precision

}  // namespace

namespace refusal {

int livePlans() {
  const support::CallCounts& counts = support::callCounts();
  return counts.fftPlans + realPlansMade + doublePlansAlive - counts.fftPlansDestroyed;
}

RefusingRealPlanner::RefusingRealPlanner(int k) { requestsLeft = k; }
RefusingRealPlanner::~RefusingRealPlanner() { requestsLeft = -1; }

bool RefusingRealPlanner::refused() { return requestsLeft <= 0; }

RefusingDoublePlanner::RefusingDoublePlanner(int k) { doubleRequestsLeft = k; }
RefusingDoublePlanner::~RefusingDoublePlanner() { doubleRequestsLeft = -1; }

bool RefusingDoublePlanner::refused() { return doubleRequestsLeft <= 0; }

}  // namespace refusal

/// In front of the FFT library's own, as those of the call counter are.
extern "C" fftwf_plan fftwf_plan_dft_c2r_1d(int n, fftwf_complex* in, float* out, unsigned flags) {
  static const auto next =
      reinterpret_cast<decltype(fftwf_plan_dft_c2r_1d)*>(dlsym(RTLD_NEXT, "fftwf_plan_dft_c2r_1d"));
  if (requestsLeft > 0 && --requestsLeft == 0) {
    return nullptr;
  }
  const fftwf_plan plan = next(n, in, out, flags);
  realPlansMade += plan != nullptr ? 1 : 0;
  return plan;
}

extern "C" fftw_plan fftw_plan_dft_1d(int n, fftw_complex* in, fftw_complex* out, int sign,
                                      unsigned flags) {
  static const auto next =
      reinterpret_cast<decltype(fftw_plan_dft_1d)*>(dlsym(RTLD_NEXT, "fftw_plan_dft_1d"));
  if (doubleRequestsLeft > 0 && --doubleRequestsLeft == 0) {
    return nullptr;
  }
  const fftw_plan plan = next(n, in, out, sign, flags);
  doublePlansAlive += plan != nullptr ? 1 : 0;
  return plan;
}

extern "C" void fftw_destroy_plan(fftw_plan plan) {
  static const auto next =
      reinterpret_cast<decltype(fftw_destroy_plan)*>(dlsym(RTLD_NEXT, "fftw_destroy_plan"));
  doublePlansAlive -= plan != nullptr ? 1 : 0;
  next(plan);
}
