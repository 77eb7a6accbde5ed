#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "tests/refusal/failure_points.h"
#include "tests/refusal/refused_new.h"
#include "tests/refusal/refused_plans.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"

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

}  // namespace
}  // namespace refusal
