#include "flightpath/spectrum/estimator.h"

using coder::internal::fft::fftw::PlanCache;
using coder::internal::fft::fftw::PlanCacheManager;

MUSICLib::MUSICLib() : stackData_(&planCache_) {
  PlanCacheManager::getSingletonSingleBoundedArrayCache_init(this);
}

MUSICLib::~MUSICLib() { PlanCacheManager::deallocateCacheManager(this); }

PlanCache** MUSICLib::getStackData() { return &stackData_; }
