#pragma once

#include <cstdint>

#include "flightpath/runtime/export.h"

// FFTW's own declaration of its plan handle, so that callers need not have its header.
struct fftwf_plan_s;
typedef struct fftwf_plan_s* fftwf_plan;  // NOLINT(modernize-use-using)

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

}  // namespace fft::fftw
}  // namespace coder::internal
