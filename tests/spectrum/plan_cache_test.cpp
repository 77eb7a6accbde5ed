#include "flightpath/spectrum/detail/plan_cache.h"

#include <fftw3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/plan_lookup.h"
#include "tests/support/call_counter.h"

using coder::internal::BoundedArray;
using coder::internal::fft::fftw::PlanCache;
using coder::internal::fft::fftw::PlanCacheEntry;
using coder::internal::fft::fftw::PlanCacheTraits;
using coder::internal::fft::fftw::PlanSpec;
using support::callCounts;

namespace {

constexpr std::uint32_t lastTick = 4294967295U;

/// An object and buffers that are long enough for every length asked for here.
class PlanCacheTest : public testing::Test {
 protected:
  static constexpr int longest = 64;
  static constexpr int forward = -1;
  static constexpr unsigned flags = 80;  // FFTW_ESTIMATE | FFTW_PRESERVE_INPUT

  PlanCacheTest() {
    // One element more than a transform takes, for views that start at the second.
    in_.set_size(longest + 1, 1);
    out_.set_size(longest + 1, 1);
  }

  fftwf_plan lookup(int n) {
    return PlanCacheTraits::getCachedPlan(&obj_, n, forward, flags, in_, out_);
  }

  void lookupLengths(int first, int last) {
    for (int n = first; n <= last; ++n) {
      lookup(n);
    }
  }

  /// Whether a lookup makes a new plan.
  bool plans(const std::function<void()>& action) const {
    const int before = callCounts().fftPlans;
    action();
    return callCounts().fftPlans > before;
  }
  bool misses(int n) {
    return plans([&] { lookup(n); });
  }

  PlanCache& cache() { return **obj_.getStackData(); }
  PlanCacheEntry& entry(int i) { return cache().entries[i]; }

  /// The lengths that the slots hold.
  std::array<int, 8> heldLengths() {
    std::array<int, 8> lengths;
    std::ranges::transform(cache().entries, lengths.begin(),
                           [](const PlanCacheEntry& e) { return e.spec.dims.data[0].n; });
    return lengths;
  }

  MUSICLib obj_;
  coder::array<creal32_T, 2> in_;
  coder::array<creal32_T, 2> out_;
};

using Lengths = std::array<int, 8>;

coder::array<creal32_T, 2> viewFromSecond(coder::array<creal32_T, 2>& a) {
  coder::array<creal32_T, 2> view;
  view.data = a.data + 1;
  view.numel = view.capacity = view.size[0] = a.numel - 1;
  view.size[1] = 1;
  return view;
}

BoundedArray bounded(int rows, int cols, BoundedArray::Dimension first) {
  BoundedArray a;
  a.size[0] = rows;
  a.size[1] = cols;
  a.data[0] = first;
  return a;
}

}  // namespace

TEST(BoundedArrayIsEqual, ComparesTheFirstTripleAndItsOwnExtents) {
  BoundedArray otherTail = bounded(1, 1, {8, 1, 1});
  otherTail.data[1] = {5, 5, 5};
  struct Row {
    BoundedArray held;
    BoundedArray query;
    bool equal;
    const char* why;
  };
  const Row rows[] = {
      {bounded(1, 1, {8, 1, 1}), bounded(1, 1, {8, 1, 1}), true, "the same"},
      {bounded(1, 1, {8, 1, 1}), bounded(1, 1, {9, 1, 1}), false, "length"},
      {bounded(1, 1, {8, 1, 1}), bounded(1, 1, {8, 2, 1}), false, "input stride"},
      {bounded(1, 1, {8, 1, 1}), bounded(1, 1, {8, 1, 2}), false, "output stride"},
      {bounded(4, 1, {8, 1, 1}), bounded(1, 1, {8, 1, 1}), true, "more rows are fine"},
      {bounded(0, 1, {8, 1, 1}), bounded(1, 1, {8, 1, 1}), false, "no row"},
      {bounded(-1, 1, {8, 1, 1}), bounded(1, 1, {8, 1, 1}), false, "negative rows"},
      {bounded(1, 0, {8, 1, 1}), bounded(1, 1, {8, 1, 1}), false, "no column"},
      {bounded(1, 2, {8, 1, 1}), bounded(1, 2, {8, 1, 1}), false, "two columns"},
      {bounded(1, 1, {8, 1, 1}), bounded(0, 0, {8, 1, 1}), true, "extents of the argument: none"},
      {bounded(1, 1, {8, 1, 1}), bounded(9, 7, {8, 1, 1}), true, "extents of the argument: large"},
      {otherTail, bounded(1, 1, {8, 1, 1}), true, "later triples"},
      {BoundedArray(), BoundedArray(), false, "nothing equals nothing"},
  };
  for (const Row& r : rows) {
    EXPECT_EQ(r.held.isequal(r.query), r.equal) << r.why;
  }
}

TEST_F(PlanCacheTest, FirstUseEmptiesWhateverTheStorageHeld) {
  EXPECT_FALSE(cache().initialised);
  entry(3).isEmpty = false;
  entry(3).lastUse = 7;
  entry(3).spec.rank = 1;
  cache().clock = 99;
  const PlanCache* const reached = PlanCacheTraits::getSingletonSingleBoundedArrayCache(&obj_);
  EXPECT_EQ(reached, *obj_.getStackData());
  EXPECT_TRUE(cache().initialised);
  EXPECT_EQ(cache().clock, 0U);
  for (const PlanCacheEntry& e : cache().entries) {
    EXPECT_TRUE(e.isEmpty);
    EXPECT_EQ(e.plan, nullptr);
    EXPECT_EQ(e.lastUse, 0U);
  }
}

TEST_F(PlanCacheTest, LaterUsesLeaveTheCacheAlone) {
  lookup(8);
  PlanCacheTraits::getSingletonSingleBoundedArrayCache(&obj_);
  EXPECT_EQ(cache().clock, 1U);
  EXPECT_FALSE(entry(0).isEmpty);
}

TEST_F(PlanCacheTest, MissStoresPlanKeyAndTick) {
  const fftwf_plan plan = lookup(8);
  ASSERT_NE(plan, nullptr);
  const PlanCacheEntry& e = entry(0);
  EXPECT_FALSE(e.isEmpty);
  EXPECT_EQ(e.plan, plan);
  EXPECT_EQ(e.lastUse, 1U);
  EXPECT_EQ(e.spec.rank, 1);
  EXPECT_EQ(e.spec.howmanyRank, 1);
  EXPECT_EQ(e.spec.sign, forward);
  EXPECT_EQ(e.spec.flags, flags);
  EXPECT_TRUE(e.spec.specValid);
  EXPECT_TRUE(e.spec.dims.isequal(bounded(1, 1, {8, 1, 1})));
  EXPECT_TRUE(e.spec.howmanyDims.isequal(bounded(1, 1, {1, 1, 1})));
  EXPECT_EQ(e.spec.inputAlignment, fftwf_alignment_of(&in_.data->re));
  EXPECT_EQ(e.spec.outputAlignment, fftwf_alignment_of(&out_.data->re));
  EXPECT_TRUE(entry(1).isEmpty);
}

TEST_F(PlanCacheTest, HitReturnsThePlanWithoutPlanning) {
  const fftwf_plan plan = lookup(8);
  const support::CallCounts before = callCounts();
  EXPECT_EQ(lookup(8), plan);
  EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
  EXPECT_EQ(callCounts().fftPlansDestroyed, before.fftPlansDestroyed);
  EXPECT_EQ(cache().clock, 2U) << "hits count too";
  EXPECT_EQ(entry(0).lastUse, 2U);
  EXPECT_TRUE(entry(1).isEmpty);
}

TEST_F(PlanCacheTest, LookupNeverRunsATransformNorTouchesTheArrays) {
  std::ranges::fill(in_, creal32_T{1.0F, 2.0F});
  std::ranges::fill(out_, creal32_T{3.0F, 4.0F});
  const int before = callCounts().fftExecutions;
  lookup(48);
  EXPECT_EQ(callCounts().fftExecutions, before);
  EXPECT_TRUE(std::ranges::all_of(in_, [](creal32_T z) { return z.re == 1.0F && z.im == 2.0F; }));
  EXPECT_TRUE(std::ranges::all_of(out_, [](creal32_T z) { return z.re == 3.0F && z.im == 4.0F; }));
}

TEST_F(PlanCacheTest, EightLengthsFitSideBySide) {
  lookupLengths(1, 8);
  const int before = callCounts().fftPlans;
  lookupLengths(1, 8);
  EXPECT_EQ(callCounts().fftPlans, before);
  EXPECT_EQ(heldLengths(), (Lengths{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(PlanCacheTest, NinthLengthEvictsTheOldest) {
  lookupLengths(1, 8);
  const int before = callCounts().fftPlansDestroyed;
  EXPECT_TRUE(misses(9));
  EXPECT_EQ(callCounts().fftPlansDestroyed, before + 1);
  EXPECT_EQ(heldLengths(), (Lengths{9, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_TRUE(misses(1)) << "the first length is gone";
  EXPECT_EQ(heldLengths(), (Lengths{9, 1, 3, 4, 5, 6, 7, 8}));
}

TEST_F(PlanCacheTest, HitsKeepAPlanYoung) {
  lookupLengths(1, 8);
  lookup(1);
  lookup(2);
  lookup(9);
  EXPECT_EQ(heldLengths(), (Lengths{1, 2, 9, 4, 5, 6, 7, 8})) << "3 is the least recently used";
  lookup(4);
  lookup(10);
  EXPECT_EQ(heldLengths(), (Lengths{1, 2, 9, 4, 10, 6, 7, 8})) << "then 5";
}

TEST_F(PlanCacheTest, OfEqualTicksTheLowestIndexIsEvicted) {
  struct Row {
    std::array<std::uint32_t, 8> lastUse;
    int victim;
    const char* why;
  };
  const Row rows[] = {
      {{5, 5, 5, 5, 5, 5, 5, 5}, 0, "all equal"},
      {{9, 9, 9, 1, 9, 1, 9, 9}, 3, "two smallest"},
      {{9, 8, 7, 6, 5, 4, 3, 2}, 7, "the last one"},
      {{0x80000000U, 0x7FFFFFFFU, lastTick, lastTick, lastTick, lastTick, lastTick, lastTick},
       1,
       "ticks are unsigned"},
  };
  lookupLengths(1, 8);
  int n = 20;
  for (const Row& r : rows) {
    for (int i = 0; i < 8; ++i) {
      entry(i).lastUse = r.lastUse[static_cast<std::size_t>(i)];
    }
    lookup(++n);
    EXPECT_EQ(entry(r.victim).spec.dims.data[0].n, n) << r.why;
  }
}

TEST_F(PlanCacheTest, EmptySlotComesBeforeAnyEviction) {
  lookupLengths(1, 3);
  entry(0).lastUse = 0;
  const int before = callCounts().fftPlansDestroyed;
  lookup(4);
  EXPECT_EQ(entry(3).spec.dims.data[0].n, 4);
  EXPECT_EQ(callCounts().fftPlansDestroyed, before);
}

TEST_F(PlanCacheTest, ClockStopsShortOfItsTop) {
  lookup(8);
  cache().clock = lastTick - 1;
  lookup(8);
  EXPECT_EQ(cache().clock, lastTick);
  EXPECT_EQ(entry(0).lastUse, lastTick);
}

TEST_F(PlanCacheTest, ClockAtItsTopStartsOverAndAgesHeldPlansOnly) {
  lookupLengths(1, 3);
  entry(5).lastUse = 77;
  cache().clock = lastTick;
  EXPECT_FALSE(misses(2));
  EXPECT_EQ(cache().clock, 1U) << "not incremented further in the same lookup";
  EXPECT_EQ(entry(0).lastUse, 0U);
  EXPECT_EQ(entry(1).lastUse, 1U) << "the one that was hit";
  EXPECT_EQ(entry(2).lastUse, 0U);
  EXPECT_EQ(entry(5).lastUse, 77U) << "empty slots keep theirs";
  lookup(2);
  EXPECT_EQ(cache().clock, 2U);
}

TEST_F(PlanCacheTest, AfterTheClockStartedOverTheLowestAgedSlotIsEvicted) {
  lookupLengths(1, 8);
  cache().clock = lastTick;
  lookup(1);
  lookup(20);
  EXPECT_EQ(heldLengths(), (Lengths{1, 20, 3, 4, 5, 6, 7, 8}));
}

TEST_F(PlanCacheTest, ClockStartingOverOnAMissStampsTheNewPlan) {
  lookupLengths(1, 8);
  entry(4).lastUse = 0;  // the oldest before the clock starts over, not after
  cache().clock = lastTick;
  lookup(20);
  EXPECT_EQ(heldLengths(), (Lengths{20, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(entry(0).lastUse, 1U);
  EXPECT_EQ(entry(4).lastUse, 0U);
}

TEST_F(PlanCacheTest, AlignmentOfEitherArrayIsPartOfTheKey) {
  const coder::array<creal32_T, 2> shiftedIn = viewFromSecond(in_);
  const coder::array<creal32_T, 2> shiftedOut = viewFromSecond(out_);
  ASSERT_NE(fftwf_alignment_of(&shiftedIn.data->re), fftwf_alignment_of(&in_.data->re));
  const auto use = [this](const auto& in, const auto& out) {
    return plans([&] { PlanCacheTraits::getCachedPlan(&obj_, 8, forward, flags, in, out); });
  };
  EXPECT_TRUE(use(in_, out_));
  EXPECT_TRUE(use(in_, shiftedOut)) << "output";
  EXPECT_TRUE(use(shiftedIn, out_)) << "input";
  EXPECT_TRUE(use(shiftedIn, shiftedOut)) << "both";
  EXPECT_EQ(entry(1).spec.outputAlignment, fftwf_alignment_of(&shiftedOut.data->re));
  EXPECT_EQ(entry(2).spec.inputAlignment, fftwf_alignment_of(&shiftedIn.data->re));
  EXPECT_FALSE(use(in_, shiftedOut));
  EXPECT_FALSE(use(shiftedIn, out_));

  const coder::array<creal32_T, 2> otherIn = in_;
  const coder::array<creal32_T, 2> otherOut = out_;
  EXPECT_FALSE(use(otherIn, otherOut)) << "other arrays of the same alignment share the plan";
}

TEST_F(PlanCacheTest, DirectionAndFlagsArePartOfTheKey) {
  const auto use = [this](int sign, unsigned f) {
    return plans([&] { PlanCacheTraits::getCachedPlan(&obj_, 8, sign, f, in_, out_); });
  };
  EXPECT_TRUE(use(-1, 80U));
  EXPECT_TRUE(use(1, 80U));
  EXPECT_TRUE(use(-1, 64U));
  EXPECT_FALSE(use(-1, 80U));
  EXPECT_FALSE(use(1, 80U));
  EXPECT_FALSE(use(-1, 64U));
}

TEST_F(PlanCacheTest, EveryMemberOfAHeldKeyDecides) {
  struct Row {
    void (*edit)(PlanSpec&);
    bool hit;
    const char* why;
  };
  const Row rows[] = {
      {[](PlanSpec& s) { s.rank = 2; }, false, "rank"},
      {[](PlanSpec& s) { s.howmanyRank = 0; }, false, "loop rank"},
      {[](PlanSpec& s) { s.sign = 1; }, false, "direction"},
      {[](PlanSpec& s) { s.flags = 64; }, false, "flags"},
      {[](PlanSpec& s) { s.inputAlignment += 4; }, false, "input alignment"},
      {[](PlanSpec& s) { s.outputAlignment += 4; }, false, "output alignment"},
      {[](PlanSpec& s) { s.specValid = false; }, false, "validity"},
      {[](PlanSpec& s) { s.dims.data[0].n = 9; }, false, "length"},
      {[](PlanSpec& s) { s.dims.size[1] = 2; }, false, "dims with two columns"},
      {[](PlanSpec& s) { s.howmanyDims.data[0].n = 2; }, false, "loop count"},
      {[](PlanSpec& s) { s.howmanyDims.data[0].os = 2; }, false, "loop stride"},
      {[](PlanSpec& s) { s.howmanyDims.size[0] = 0; }, false, "loop dims without a row"},
      {[](PlanSpec& s) { s.dims.size[0] = 3; }, true, "dims with more rows still match"},
      {[](PlanSpec& s) { s.dims.data[1].n = 3; }, true, "later triples are not looked at"},
  };
  for (const Row& r : rows) {
    MUSICLib obj;
    PlanCacheTraits::getCachedPlan(&obj, 8, forward, flags, in_, out_);
    r.edit((*obj.getStackData())->entries[0].spec);
    const bool planned =
        plans([&] { PlanCacheTraits::getCachedPlan(&obj, 8, forward, flags, in_, out_); });
    EXPECT_EQ(planned, !r.hit) << r.why;
  }
}

TEST_F(PlanCacheTest, EmptySlotTakesPartInNoMatch) {
  const fftwf_plan plan = lookup(8);
  entry(0).isEmpty = true;
  EXPECT_TRUE(misses(8)) << "though the key is equal";
  fftwf_destroy_plan(plan);  // an empty slot does not own what it names
}

TEST_F(PlanCacheTest, FirstOfTwoMatchingSlotsWins) {
  lookupLengths(1, 2);
  entry(1).spec = entry(0).spec;
  EXPECT_EQ(lookup(1), entry(0).plan);
  EXPECT_EQ(entry(0).lastUse, 3U);
  EXPECT_EQ(entry(1).lastUse, 2U);
}

TEST_F(PlanCacheTest, RefusedPlanIsStoredAsNullAndReturnedLikeAnyOther) {
  {
    const support::RefusingPlanner refusing;
    EXPECT_EQ(lookup(8), nullptr);
    EXPECT_FALSE(entry(0).isEmpty);
    EXPECT_EQ(entry(0).plan, nullptr);
    EXPECT_EQ(entry(0).lastUse, 1U);
    EXPECT_EQ(entry(0).spec.dims.data[0].n, 8);
  }
  EXPECT_FALSE(misses(8));
  EXPECT_EQ(lookup(8), nullptr);
  EXPECT_EQ(entry(0).lastUse, 3U);
}

// What the filter response does where it is handed a null plan.
TEST_F(PlanCacheTest, ForgettingARefusedPlanEmptiesTheSlotOfTheLastLookupAlone) {
  {
    const support::RefusingPlanner refusing;
    lookup(8);
    lookup(9);
  }
  lookup(10);
  flightpath::forgetRefusedPlan(cache());
  EXPECT_FALSE(entry(2).isEmpty) << "its plan was not refused";
  lookup(9);
  flightpath::forgetRefusedPlan(cache());
  EXPECT_FALSE(entry(0).isEmpty);
  EXPECT_TRUE(entry(1).isEmpty);
  EXPECT_FALSE(entry(2).isEmpty);
  EXPECT_NE(lookup(9), nullptr) << "asked for again";
  EXPECT_EQ(lookup(8), nullptr) << "still the null plan";
}

TEST_F(PlanCacheTest, EvictedNullPlanIsNotDestroyed) {
  {
    const support::RefusingPlanner refusing;
    lookup(1);
  }
  lookupLengths(2, 8);
  const int before = callCounts().fftPlansDestroyed;
  lookup(9);
  EXPECT_EQ(entry(0).spec.dims.data[0].n, 9);
  EXPECT_EQ(callCounts().fftPlansDestroyed, before);
}
