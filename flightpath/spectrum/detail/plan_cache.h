#pragma once

#include "flightpath/spectrum/plan_cache.h"

namespace flightpath {

/// The cache, emptied when it is reached for the first time.
coder::internal::fft::fftw::PlanCache& reach(coder::internal::fft::fftw::PlanCache& cache);

/// Empties the slot that the last lookup returned, where the planner refused its plan: the next lookup
/// asks it again.
void forgetRefusedPlan(coder::internal::fft::fftw::PlanCache& cache);

}  // namespace flightpath
