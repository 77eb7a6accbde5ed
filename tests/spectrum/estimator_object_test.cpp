#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <type_traits>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"
#include "flightpath/spectrum/plan_lookup.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/same_bits.h"

using coder::internal::fft::fftw::PlanCache;
using coder::internal::fft::fftw::PlanCacheEntry;
using coder::internal::fft::fftw::PlanCacheManager;
using coder::internal::fft::fftw::PlanCacheTraits;
using support::callCounts;

namespace {

using Column = coder::array<creal32_T, 1>;

PlanCache& cacheOf(MUSICLib& obj) { return **obj.getStackData(); }

Column responseOf(MUSICLib& obj, double n) {
  Column h;
  coder::firfreqz(&obj, support::column({creal32_T{1.0F, 0.0F}}), n, h);
  return h;
}

}  // namespace

static_assert(!std::is_copy_constructible_v<MUSICLib> && !std::is_copy_assignable_v<MUSICLib>);
static_assert(!std::is_move_constructible_v<MUSICLib> && !std::is_move_assignable_v<MUSICLib>);
static_assert(!std::is_polymorphic_v<MUSICLib>);
static_assert(std::is_empty_v<PlanCacheManager>);

TEST(EstimatorObject, LivesAndDiesWithoutFFTW) {
  const support::CallCounts before = callCounts();
  { const MUSICLib obj; }
  EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
  EXPECT_EQ(callCounts().fftPlansDestroyed, before.fftPlansDestroyed);
  EXPECT_EQ(callCounts().fftExecutions, before.fftExecutions);
}

TEST(EstimatorObject, StackDataPointsToItsOwnCacheAtItsStart) {
  MUSICLib obj;
  EXPECT_EQ(static_cast<void*>(*obj.getStackData()), static_cast<void*>(&obj));
  EXPECT_EQ(obj.getStackData(), obj.getStackData()) << "the address of one pointer";
  EXPECT_FALSE(cacheOf(obj).initialised);
}

TEST(EstimatorObject, CacheIsReachedThroughTheStackDataPointer) {
  MUSICLib obj;
  PlanCache elsewhere;
  PlanCache* const own = *obj.getStackData();
  *obj.getStackData() = &elsewhere;
  responseOf(obj, 8.0);
  EXPECT_FALSE(own->initialised);
  EXPECT_FALSE(elsewhere.entries[0].isEmpty);
  PlanCacheManager::deallocateCacheManager(&obj);
  *obj.getStackData() = own;
}

TEST(EstimatorObject, DestructionDestroysEveryPlan) {
  std::optional<MUSICLib> obj;
  obj.emplace();
  for (const double n : {4.0, 8.0, 16.0}) {
    responseOf(*obj, n);
  }
  const int before = callCounts().fftPlansDestroyed;
  obj.reset();
  EXPECT_EQ(callCounts().fftPlansDestroyed, before + 3);
}

TEST(EstimatorObject, EveryPlanMadeIsDestroyedOnce) {
  const support::CallCounts before = callCounts();
  {
    MUSICLib obj;
    for (int n = 1; n <= 20; ++n) {
      responseOf(obj, n);
    }
  }
  EXPECT_EQ(callCounts().fftPlans - before.fftPlans, 20);
  EXPECT_EQ(callCounts().fftPlansDestroyed - before.fftPlansDestroyed, 20);
}

TEST(EstimatorObject, SharesNoPlanWithAnother) {
  MUSICLib first;
  MUSICLib second;
  responseOf(first, 8.0);
  const int before = callCounts().fftPlans;
  responseOf(second, 8.0);
  EXPECT_EQ(callCounts().fftPlans, before + 1);
  EXPECT_NE(cacheOf(first).entries[0].plan, cacheOf(second).entries[0].plan);
}

TEST(EstimatorObject, DestructionWithANullPlanDestroysNothing) {
  std::optional<MUSICLib> obj;
  obj.emplace();
  {
    const support::RefusingPlanner refusing;
    EXPECT_THROW(responseOf(*obj, 8.0), std::bad_alloc);
  }
  const int before = callCounts().fftPlansDestroyed;
  obj.reset();
  EXPECT_EQ(callCounts().fftPlansDestroyed, before);
}

TEST(DeallocateCacheManager, OfAFreshObjectCallsNothing) {
  MUSICLib obj;
  const support::CallCounts before = callCounts();
  PlanCacheManager::deallocateCacheManager(&obj);
  EXPECT_EQ(callCounts().fftPlansDestroyed, before.fftPlansDestroyed);
  EXPECT_TRUE(cacheOf(obj).initialised);
}

TEST(DeallocateCacheManager, LeavesNullPlansThatAreAskedForAgainAndNotDestroyedAgain) {
  std::optional<MUSICLib> obj;
  obj.emplace();
  const Column expected = responseOf(*obj, 8.0);
  responseOf(*obj, 16.0);
  const int before = callCounts().fftPlansDestroyed;
  PlanCacheManager::deallocateCacheManager(&*obj);
  EXPECT_EQ(callCounts().fftPlansDestroyed, before + 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(cacheOf(*obj).entries[i].isEmpty) << "not marked empty";
    EXPECT_EQ(cacheOf(*obj).entries[i].plan, nullptr);
  }

  const int plansBefore = callCounts().fftPlans;
  EXPECT_THROW(responseOf(*obj, 8.0), std::bad_alloc) << "the null plan is found, and forgotten";
  EXPECT_EQ(callCounts().fftPlans, plansBefore);
  EXPECT_TRUE(support::sameBits(responseOf(*obj, 8.0), expected));
  EXPECT_EQ(callCounts().fftPlans, plansBefore + 1);

  obj.reset();
  EXPECT_EQ(callCounts().fftPlansDestroyed, before + 3) << "only the plan made since";
}

TEST(PlanCacheManagerInit, MarksTheCacheAsNeverReached) {
  MUSICLib obj;
  PlanCacheTraits::getSingletonSingleBoundedArrayCache(&obj);
  ASSERT_TRUE(cacheOf(obj).initialised);
  PlanCacheManager::getSingletonSingleBoundedArrayCache_init(&obj);
  EXPECT_FALSE(cacheOf(obj).initialised);
}
