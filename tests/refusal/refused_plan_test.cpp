#include <gtest/gtest.h>

#include <vector>

#include "tests/refusal/estimates.h"
#include "tests/refusal/failure_points.h"
#include "tests/refusal/refused_new.h"
#include "tests/support/call_counter.h"

// A planner that refuses is reported as std::bad_alloc, like any other want of memory.

namespace refusal {
namespace {

std::vector<Case> plannedCases() {
  std::vector<Case> rows;
  for (const std::size_t route : {1U, 2U}) {
    const RouteSettings& settings = support::allRoutes[route];
    rows.push_back({settings.name, [&settings] {
                      return estimating(support::threeTones(numSamples),
                                        metres(settings, true, numSamples));
                    }});
  }
  rows.push_back({"entry point", [] { return enteringAt(support::threeTones(numSamples), 3); }});
  return rows;
}

class RefusedPlan : public testing::TestWithParam<Case> {};

TEST_P(RefusedPlan, ReachesTheCallerAndTheNextCallIsRight) {
  const auto reference = GetParam().make();
  ASSERT_EQ(outcomeOf(*reference), Outcome::Succeeded);
  const long before = liveBlocks();
  const support::CallCounts counts = support::callCounts();
  {
    const auto scenario = GetParam().make();
    const std::string inputs = scenario->inputs();
    {
      const support::RefusingPlanner refusing;
      EXPECT_EQ(outcomeOf(*scenario), Outcome::BadAlloc);
    }
    EXPECT_TRUE(scenario->inputs() == inputs) << "an input changed";
    EXPECT_EQ(outcomeOf(*scenario), Outcome::Succeeded);
    EXPECT_TRUE(scenario->results() == reference->results()) << "the call after the refusal";
  }
  EXPECT_EQ(liveBlocks(), before);
  const int refusedPlans = 1;  // the search gives up at its first one
  EXPECT_EQ(support::callCounts().fftPlans - counts.fftPlans - refusedPlans,
            support::callCounts().fftPlansDestroyed - counts.fftPlansDestroyed);
}

INSTANTIATE_TEST_SUITE_P(Planner, RefusedPlan, testing::ValuesIn(plannedCases()), testName);

}  // namespace
}  // namespace refusal
