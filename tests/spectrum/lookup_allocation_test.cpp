#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/plan_lookup.h"
#include "tests/support/call_counter.h"
#include "tests/support/replaced_new.h"

// The global allocation of this program, replaced by one that counts.

namespace {

std::atomic<int> allocations = 0;

}  // namespace

void* support::takeBlock(std::size_t bytes, std::size_t alignment, WhenRefused) noexcept {
  ++allocations;
  return mallocBlock(bytes, alignment);
}

void support::giveBlockBack(void* block) noexcept { std::free(block); }

namespace {

using coder::internal::fft::fftw::PlanCacheTraits;

class LookupAllocation : public testing::Test {
 protected:
  LookupAllocation() {
    in_.set_size(64, 1);
    out_.set_size(64, 1);
  }

  /// What the library allocates in a lookup of each length; what FFTW takes for its plans is its own.
  int allocationsOfLookups(int first, int last) {
    const int before = allocations;
    for (int n = first; n <= last; ++n) {
      PlanCacheTraits::getCachedPlan(&estimator_, n, -1, 80, in_, out_);
    }
    return allocations - before;
  }

  MUSICLib estimator_;

 private:
  coder::array<creal32_T, 2> in_;
  coder::array<creal32_T, 2> out_;
};

}  // namespace

// EXACT: the counter counts, or the zeros below would say nothing.
TEST(LookupAllocationCounter, SeesWhatAVectorTakes) {
  const int before = allocations;
  const std::vector<double> some(100, 1.0);
  EXPECT_EQ(allocations - before, 1);
  EXPECT_EQ(some.back(), 1.0);
}

// EXACT
TEST_F(LookupAllocation, HitsMakeNone) {
  allocationsOfLookups(1, 8);
  const int plans = support::callCounts().fftPlans;
  EXPECT_EQ(allocationsOfLookups(1, 8), 0);
  EXPECT_EQ(support::callCounts().fftPlans, plans) << "all hits";
}

// EXACT
TEST_F(LookupAllocation, MissesMakeNone_NeitherIntoEmptySlotsNorInPlaceOfOldPlans) {
  EXPECT_EQ(allocationsOfLookups(1, 8), 0);
  const int destroyed = support::callCounts().fftPlansDestroyed;
  EXPECT_EQ(allocationsOfLookups(9, 40), 0);
  EXPECT_EQ(support::callCounts().fftPlansDestroyed, destroyed + 32) << "all misses";
}

// EXACT
TEST(LookupAllocationOfAnObject, MakingAndEndingAnUnusedOneMakesNone) {
  const int before = allocations;
  { const MUSICLib unused; }
  EXPECT_EQ(allocations - before, 0);
}
