#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "tests/refusal/failure_points.h"
#include "tests/refusal/refused_new.h"
#include "tests/refusal/refused_plans.h"
#include "tests/support/call_counter.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"

namespace refusal {
namespace {

/// One real plan for each thread: each in turn is refused.
TEST(RefusedRealPlan, EndsTheConstructorOfARangerAndLeavesNothing) {
  constexpr int threads = 4;
  const support::Samples x(24, {1.0F, 0.5F});
  const std::vector<double> expected =
      support::columnsOf(support::estimateAlone(x, support::options())).distances_m;
  for (int k = 1; k <= threads; ++k) {
    const long blocks = liveBlocks();
    const int plans = livePlans();
    {
      const RefusingRealPlanner refusing(k);
      EXPECT_THROW(support::Ranger(24, support::options({}, threads)), std::bad_alloc) << k;
      EXPECT_TRUE(RefusingRealPlanner::refused());
    }
    EXPECT_EQ(liveBlocks(), blocks) << k;
    EXPECT_EQ(livePlans(), plans) << k;
    const support::PathSet found = support::estimateAlone(x, support::options({}, threads));
    EXPECT_EQ(support::toVector(found.distances_m()), expected);
  }
  countVisited("real FFT plans", threads);
}

/// Maximum likelihood has a complex plan besides, per thread: the first one is refused.
TEST(RefusedComplexPlan, EndsTheConstructorOfARangerAndLeavesNothing) {
  const support::Samples x(24, {1.0F, 0.5F});
  for (const unsigned threads : {1U, 4U}) {
    const support::RangingOptions how = support::likelihood({}, threads);
    const std::vector<double> expected = support::everythingIn(support::estimateAlone(x, how));
    const long blocks = liveBlocks();
    const int plans = livePlans();
    {
      const support::RefusingPlanner refusing;
      EXPECT_THROW(support::Ranger(24, how), std::bad_alloc) << threads;
    }
    EXPECT_EQ(liveBlocks(), blocks) << threads;
    const int refused = 1;  // which is counted as if it had been made
    EXPECT_EQ(livePlans(), plans + refused) << threads;
    EXPECT_TRUE(support::sameBits(support::everythingIn(support::estimateAlone(x, how)), expected));
  }
  countVisited("complex FFT plans", 2);
}

/// From N = 320 on a Ranger has four plans in double precision, per thread: two for products with the
/// covariance, two for autocorrelations.
TEST(RefusedDoublePlan, EndsTheConstructorOfARangerAndLeavesNothing) {
  constexpr int plansPerThread = 4;
  const support::Samples x(320, {1.0F, 0.5F});
  for (const unsigned threads : {1U, 2U}) {
    const support::RangingOptions how = support::options(2, threads);
    const std::vector<double> expected = support::everythingIn(support::estimateAlone(x, how));
    for (int k = 1; k <= plansPerThread; ++k) {
      const long blocks = liveBlocks();
      const int plans = livePlans();
      {
        const RefusingDoublePlanner refusing(k);
        EXPECT_THROW(support::Ranger(320, how), std::bad_alloc) << k;
        EXPECT_TRUE(RefusingDoublePlanner::refused());
      }
      EXPECT_EQ(liveBlocks(), blocks) << k;
      EXPECT_EQ(livePlans(), plans) << k;
    }
    EXPECT_TRUE(support::sameBits(support::everythingIn(support::estimateAlone(x, how)), expected));
  }
  countVisited("double FFT plans", plansPerThread);
}

}  // namespace
}  // namespace refusal
