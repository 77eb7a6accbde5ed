#include "tests/refusal/refused_plans.h"

#include <dlfcn.h>
#include <fftw3.h>

#include <atomic>

#include "tests/support/call_counter.h"

namespace {

std::atomic<int> realPlansMade = 0;
std::atomic<int> requestsLeft = -1;  // until the refusal; negative: none is due

}  // namespace

namespace refusal {

int livePlans() {
  const support::CallCounts& counts = support::callCounts();
  return counts.fftPlans + realPlansMade - counts.fftPlansDestroyed;
}

RefusingRealPlanner::RefusingRealPlanner(int k) { requestsLeft = k; }
RefusingRealPlanner::~RefusingRealPlanner() { requestsLeft = -1; }

bool RefusingRealPlanner::refused() { return requestsLeft <= 0; }

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
