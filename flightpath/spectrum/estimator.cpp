#include "flightpath/spectrum/estimator.h"

#include <algorithm>
#include <iterator>

#include "flightpath/spectrum/detail/fftw_calls.h"
#include "flightpath/spectrum/detail/plan_cache.h"

namespace coder::internal::fft::fftw {

void PlanCacheManager::getSingletonSingleBoundedArrayCache_init(MUSICLib* obj) {
  (*obj->getStackData())->initialised = false;
}

void PlanCacheManager::deallocateCacheManager(MUSICLib* obj) {
  PlanCache& cache = flightpath::reach(**obj->getStackData());
  std::for_each(std::begin(cache.entries), std::end(cache.entries), flightpath::fftw::destroyHeld);
}

}  // namespace coder::internal::fft::fftw

using coder::internal::fft::fftw::PlanCache;
using coder::internal::fft::fftw::PlanCacheManager;

MUSICLib::MUSICLib() : stackData_(&planCache_) {
  PlanCacheManager::getSingletonSingleBoundedArrayCache_init(this);
}

MUSICLib::~MUSICLib() { PlanCacheManager::deallocateCacheManager(this); }

PlanCache** MUSICLib::getStackData() { return &stackData_; }
