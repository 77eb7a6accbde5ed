#include "flightpath/spectrum/plan_lookup.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

#include "flightpath/spectrum/detail/fftw_calls.h"
#include "flightpath/spectrum/detail/plan_cache.h"
#include "flightpath/spectrum/estimator.h"

namespace coder::internal::fft::fftw {
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

}  // namespace

PlanCache* PlanCacheTraits::getSingletonSingleBoundedArrayCache(MUSICLib* obj) {
  return &flightpath::reach(**obj->getStackData());
}

fftwf_plan PlanCacheTraits::getCachedPlan(MUSICLib* obj, int n, int sign, unsigned flags,
                                          const array<creal32_T, 2>& in,
                                          const array<creal32_T, 2>& out) {
  PlanCache& cache = *getSingletonSingleBoundedArrayCache(obj);
  advanceClock(cache);
  const PlanSpec spec = makeSpec(n, sign, flags, in.data, out.data);
  const auto hit = std::find_if(std::begin(cache.entries), std::end(cache.entries),
                                [&](const PlanCacheEntry& entry) { return hasKey(entry, spec); });
  if (hit != std::end(cache.entries)) {
    hit->lastUse = cache.clock;
    return hit->plan;
  }
  PlanCacheEntry& victim = chooseVictim(cache);
  flightpath::fftw::destroyHeld(victim);
  victim = {false, flightpath::fftw::plan(spec, in.data, out.data), spec, cache.clock};
  return victim.plan;
}

}  // namespace coder::internal::fft::fftw
