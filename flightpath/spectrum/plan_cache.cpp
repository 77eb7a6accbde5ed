#include "flightpath/spectrum/plan_cache.h"

#include <algorithm>
#include <limits>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fftw_calls.h"

namespace coder::internal {

bool BoundedArray::isequal(BoundedArray other) const {
  const Dimension& a = data[0];
  const Dimension& b = other.data[0];
  return size[0] >= 1 && size[1] == 1 && a.n == b.n && a.is == b.is && a.os == b.os;
}

namespace fft::fftw {
namespace {

BoundedArray singleDimension(std::int32_t n) {
  BoundedArray dims;
  dims.size[0] = 1;
  dims.size[1] = 1;
  dims.data[0] = {n, 1, 1};
  return dims;
}

PlanSpec makeSpec(int n, int sign, unsigned flags, const creal32_T* in, const creal32_T* out) {
  PlanSpec spec;
  spec.rank = 1;
  spec.howmanyRank = 1;
  spec.sign = sign;
  spec.flags = flags;
  spec.inputAlignment = flightpath::fftw::alignmentOf(in);
  spec.outputAlignment = flightpath::fftw::alignmentOf(out);
  spec.specValid = true;
  spec.dims = singleDimension(n);
  spec.howmanyDims = singleDimension(1);
  return spec;
}

bool hasKey(const PlanCacheEntry& entry, const PlanSpec& query) {
  const PlanSpec& held = entry.spec;
  return !entry.isEmpty && held.rank == query.rank && held.howmanyRank == query.howmanyRank &&
         held.sign == query.sign && held.flags == query.flags &&
         held.inputAlignment == query.inputAlignment &&
         held.outputAlignment == query.outputAlignment && held.specValid &&
         held.dims.isequal(query.dims) && held.howmanyDims.isequal(query.howmanyDims);
}

/// One tick a lookup. At the top of its range the clock starts over: every plan then held counts as
/// equally old.
void advanceClock(PlanCache& cache) {
  if (cache.clock < std::numeric_limits<std::uint32_t>::max()) {
    ++cache.clock;
    return;
  }
  cache.clock = 1;
  for (PlanCacheEntry& entry : cache.entries) {
    if (!entry.isEmpty) {
      entry.lastUse = 0;
    }
  }
}

/// The first empty slot, or else the least recently used one, the lower index on equal ticks.
PlanCacheEntry& chooseVictim(PlanCache& cache) {
  const auto empty = std::find_if(std::begin(cache.entries), std::end(cache.entries),
                                  [](const PlanCacheEntry& entry) { return entry.isEmpty; });
  if (empty != std::end(cache.entries)) {
    return *empty;
  }
  return *std::min_element(
      std::begin(cache.entries), std::end(cache.entries),
      [](const PlanCacheEntry& a, const PlanCacheEntry& b) { return a.lastUse < b.lastUse; });
}

/// Gives the slot's plan back. A null handle, left by a planner that refused, is not FFTW's.
void destroyPlan(PlanCacheEntry& entry) {
  if (!entry.isEmpty && entry.plan != nullptr) {
    flightpath::fftw::destroy(entry.plan);
    entry.plan = nullptr;
  }
}

}  // namespace

void PlanCacheManager::getSingletonSingleBoundedArrayCache_init(MUSICLib* obj) {
  (*obj->getStackData())->initialised = false;
}

void PlanCacheManager::deallocateCacheManager(MUSICLib* obj) {
  PlanCache* const cache = PlanCacheTraits::getSingletonSingleBoundedArrayCache(obj);
  std::for_each(std::begin(cache->entries), std::end(cache->entries), destroyPlan);
}

PlanCache* PlanCacheTraits::getSingletonSingleBoundedArrayCache(MUSICLib* obj) {
  PlanCache* const cache = *obj->getStackData();
  if (!cache->initialised) {
    std::fill(std::begin(cache->entries), std::end(cache->entries), PlanCacheEntry());
    cache->clock = 0;
    cache->initialised = true;
  }
  return cache;
}

fftwf_plan PlanCacheTraits::getCachedPlan(MUSICLib* obj, int n, int sign, unsigned flags,
                                          const array<creal32_T, 2>& in,
                                          const array<creal32_T, 2>& out) {
  PlanCache& cache = *getSingletonSingleBoundedArrayCache(obj);
  advanceClock(cache);
  const PlanSpec spec = makeSpec(n, sign, flags, in.data, out.data);
  const auto hit = std::find_if(std::begin(cache.entries), std::end(cache.entries),
                                [&](const PlanCacheEntry& entry) { return hasKey(entry, spec); });
  const bool found = hit != std::end(cache.entries);
  if (found && hit->plan != nullptr) {
    hit->lastUse = cache.clock;
    return hit->plan;
  }
  // A plan that was refused is asked for again in its own slot, at no other plan's expense.
  PlanCacheEntry& victim = found ? *hit : chooseVictim(cache);
  destroyPlan(victim);
  victim = {false, flightpath::fftw::plan(spec, in.data, out.data), spec, cache.clock};
  return victim.plan;
}

}  // namespace fft::fftw
}  // namespace coder::internal
