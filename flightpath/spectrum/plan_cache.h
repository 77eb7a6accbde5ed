#pragma once

#include <cstdint>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

// FFTW's own declaration of its plan handle, so that callers need not have its header.
struct fftwf_plan_s;
typedef struct fftwf_plan_s* fftwf_plan;  // NOLINT(modernize-use-using)

class MUSICLib;

namespace coder::internal {

/// Up to four FFTW dimension triples. The library uses the first one only.
class FLIGHTPATH_API BoundedArray {
 public:
  /// Transform length (or loop count), input stride and output stride, in elements.
  struct Dimension {
    std::int32_t n;
    std::int32_t is;
    std::int32_t os;
  };

  std::int32_t size[2] = {};
  Dimension data[4] = {};

  /// Whether this array holds the column n x 1, n >= 1, and the first triples of both are equal.
  /// The extents of `other` are not looked at.
  bool isequal(BoundedArray other) const;
};

namespace fft::fftw {

/// The key of a cached plan: two transforms may share one plan where all of this is equal.
///
/// sign                              direction of the transform
/// flags                             planner flags
/// inputAlignment, outputAlignment   of the two arrays, as FFTW reports it
/// dims, howmanyDims                 one contiguous transform of length n: {n, 1, 1} and {1, 1, 1}
struct PlanSpec {
  std::int32_t rank = 0;
  std::int32_t howmanyRank = 0;
  std::int32_t sign = 0;
  std::uint32_t flags = 0;
  std::int32_t inputAlignment = 0;
  std::int32_t outputAlignment = 0;
  bool specValid = false;
  BoundedArray dims;
  BoundedArray howmanyDims;
};

/// One slot. `plan` is the slot's own while `isEmpty` is false; `lastUse` is the clock at its last
/// hit or creation.
struct PlanCacheEntry {
  bool isEmpty = true;
  fftwf_plan plan = nullptr;
  PlanSpec spec;
  std::uint32_t lastUse = 0;
};

/// Eight slots, the least recently used one is replaced. `clock` counts lookups.
struct PlanCache {
  PlanCacheEntry entries[8];
  std::uint32_t clock = 0;
  bool initialised = false;
};

/// Start and end of a cache's life. Holds nothing itself.
class FLIGHTPATH_API PlanCacheManager {
 public:
  /// Marks the cache of `obj` as never reached. Plans nothing.
  static void getSingletonSingleBoundedArrayCache_init(MUSICLib* obj);

  /// Destroys every plan of `obj`, each under the planning lock, and leaves null handles in the
  /// slots.
  static void deallocateCacheManager(MUSICLib* obj);
};

/// Access to a cache.
class FLIGHTPATH_API PlanCacheTraits {
 public:
  /// The cache of `obj`, emptied when it is reached for the first time.
  static PlanCache* getSingletonSingleBoundedArrayCache(MUSICLib* obj);

  /// A plan for one transform of length n from the data of `in` to the data of `out`.
  ///
  /// A plan of equal key is taken from the cache; otherwise one is made under the planning lock and
  /// replaces an empty slot or the least recently used one. The cache owns the plan. It runs on any
  /// arrays of the same alignments. Null where the planner refuses; the next lookup asks it again.
  ///
  /// One object is used by one thread at a time; objects of their own may plan at once.
  static fftwf_plan getCachedPlan(MUSICLib* obj, int n, int sign, unsigned flags,
                                  const array<creal32_T, 2>& in, const array<creal32_T, 2>& out);
};

}  // namespace fft::fftw
}  // namespace coder::internal
