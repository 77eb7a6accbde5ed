#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/plan_cache.h"

/// The order of members in the plan cache's records, which programs reach through an estimator object.
namespace {

using coder::internal::BoundedArray;
using coder::internal::fft::fftw::PlanCache;
using coder::internal::fft::fftw::PlanCacheEntry;
using coder::internal::fft::fftw::PlanSpec;

static_assert(std::is_standard_layout_v<BoundedArray>);
static_assert(offsetof(BoundedArray, size) == 0);
static_assert(offsetof(BoundedArray, data) == 8);
static_assert(offsetof(BoundedArray::Dimension, n) == 0);
static_assert(offsetof(BoundedArray::Dimension, is) == 4);
static_assert(offsetof(BoundedArray::Dimension, os) == 8);
static_assert(sizeof(BoundedArray) == 8 + 4 * 12, "two extents, four triples");

static_assert(std::is_standard_layout_v<PlanSpec>);
static_assert(offsetof(PlanSpec, rank) == 0);
static_assert(offsetof(PlanSpec, howmanyRank) == 4);
static_assert(offsetof(PlanSpec, sign) == 8);
static_assert(offsetof(PlanSpec, flags) == 12);
static_assert(offsetof(PlanSpec, inputAlignment) == 16);
static_assert(offsetof(PlanSpec, outputAlignment) == 20);
static_assert(offsetof(PlanSpec, specValid) == 24);
static_assert(offsetof(PlanSpec, dims) == 28);
static_assert(offsetof(PlanSpec, howmanyDims) == 28 + sizeof(BoundedArray));
static_assert(sizeof(PlanSpec) == 28 + 2 * sizeof(BoundedArray));
static_assert(sizeof(PlanSpec::specValid) == 1);
static_assert(std::is_same_v<decltype(PlanSpec::sign), std::int32_t>);
static_assert(std::is_same_v<decltype(PlanSpec::flags), std::uint32_t>);

static_assert(std::is_standard_layout_v<PlanCacheEntry>);
static_assert(offsetof(PlanCacheEntry, isEmpty) == 0);
static_assert(offsetof(PlanCacheEntry, plan) == 8);
static_assert(offsetof(PlanCacheEntry, spec) == 16);
static_assert(offsetof(PlanCacheEntry, lastUse) == 16 + sizeof(PlanSpec));
static_assert(sizeof(PlanCacheEntry) == 160);
static_assert(sizeof(PlanCacheEntry::isEmpty) == 1);
static_assert(std::is_same_v<decltype(PlanCacheEntry::lastUse), std::uint32_t>);

static_assert(std::is_standard_layout_v<PlanCache>);
static_assert(std::extent_v<decltype(PlanCache::entries)> == 8);
static_assert(offsetof(PlanCache, entries) == 0);
static_assert(offsetof(PlanCache, clock) == 8 * sizeof(PlanCacheEntry));
static_assert(offsetof(PlanCache, initialised) == 8 * sizeof(PlanCacheEntry) + 4);
static_assert(sizeof(PlanCache::initialised) == 1);
static_assert(std::is_same_v<decltype(PlanCache::clock), std::uint32_t>);

std::ptrdiff_t bytesBetween(const void* from, const void* to) {
  return static_cast<const char*>(to) - static_cast<const char*>(from);
}

}  // namespace

// The cache, an empty manager, the pointer: the manager's one byte moves the pointer to the next place
// that suits it.
TEST(CacheLayout, AnEstimatorIsItsCacheThenItsManagerThenThePointerToTheCache) {
  MUSICLib estimator;
  EXPECT_EQ(bytesBetween(&estimator, *estimator.getStackData()), 0);
  EXPECT_EQ(bytesBetween(&estimator, estimator.getStackData()),
            static_cast<std::ptrdiff_t>(sizeof(PlanCache) + sizeof(void*)));
  EXPECT_EQ(sizeof(MUSICLib), sizeof(PlanCache) + 2 * sizeof(void*));
}
