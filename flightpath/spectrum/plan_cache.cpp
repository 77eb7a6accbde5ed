#include "flightpath/spectrum/plan_cache.h"

#include <algorithm>
#include <iterator>

#include "flightpath/spectrum/detail/plan_cache.h"

namespace coder::internal {

bool BoundedArray::isequal(BoundedArray other) const {
  const Dimension& a = data[0];
  const Dimension& b = other.data[0];
  return size[0] >= 1 && size[1] == 1 && a.n == b.n && a.is == b.is && a.os == b.os;
}

}  // namespace coder::internal

namespace flightpath {

using coder::internal::fft::fftw::PlanCache;
using coder::internal::fft::fftw::PlanCacheEntry;

PlanCache& reach(PlanCache& cache) {
  if (!cache.initialised) {
    std::fill(std::begin(cache.entries), std::end(cache.entries), PlanCacheEntry());
    cache.clock = 0;
    cache.initialised = true;
  }
  return cache;
}

void forgetRefusedPlan(PlanCache& cache) {
  std::replace_if(
      std::begin(cache.entries), std::end(cache.entries),
      [&](const PlanCacheEntry& entry) {
        return entry.lastUse == cache.clock && entry.plan == nullptr;
      },
      PlanCacheEntry());
}

}  // namespace flightpath
