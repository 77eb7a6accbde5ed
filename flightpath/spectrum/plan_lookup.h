#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"
#include "flightpath/spectrum/plan_cache.h"

class MUSICLib;

namespace coder::internal::fft::fftw {

/// Access to a cache.
class FLIGHTPATH_API PlanCacheTraits {
 public:
  /// The cache of `obj`, emptied when it is reached for the first time.
  static PlanCache* getSingletonSingleBoundedArrayCache(MUSICLib* obj);

  /// A plan for one transform of length n from the data of `in` to the data of `out`.
  ///
  /// A plan of equal key is taken from the cache; otherwise one is made under the planning lock and
  /// replaces an empty slot or the least recently used one. The cache owns the plan. It runs on any
  /// arrays of the same alignments. Where the planner refuses, the null plan is kept and returned like
  /// any other.
  ///
  /// Only one thread at a time may use an object; distinct objects may plan concurrently.
  static fftwf_plan getCachedPlan(MUSICLib* obj, int n, int sign, unsigned flags,
                                  const array<creal32_T, 2>& in, const array<creal32_T, 2>& out);
};

}  // namespace coder::internal::fft::fftw
