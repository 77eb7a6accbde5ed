#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"
#include "tests/support/call_counter.h"
#include "tests/support/dft_model.h"

/// Every call into FFTW and of the planning lock, in order. All checks are of the class EXACT.
namespace {

using support::CallLines;
using support::CallLog;

/// The response of n points to as many taps.
void transform(MUSICLib& estimator, int n) {
  std::vector<creal32_T> taps = support::randomTaps(static_cast<std::size_t>(n), 1);
  coder::array<creal32_T, 1> response;
  coder::firfreqz(&estimator, support::columnView(taps.data(), n), n, response);
}

}  // namespace

// One contiguous forward transform, by an estimate of the effort, that keeps its input; the lock is
// held for the planner alone.
TEST(PlanningCalls, AMissPlansUnderTheLockAndTransformsOutsideIt) {
  MUSICLib estimator;
  CallLog log;
  transform(estimator, 24);
  EXPECT_EQ(log.take(),
            (CallLines{"lock", "plan 1: 24 (1, 1) x 1 (1, 1), -1, 80", "unlock", "execute 1"}));
}

TEST(PlanningCalls, AHitTransformsAndNothingElse) {
  MUSICLib estimator;
  CallLog log;
  transform(estimator, 24);
  log.take();
  transform(estimator, 24);
  EXPECT_EQ(log.take(), (CallLines{"execute 1"}));
}

TEST(PlanningCalls, PaddedAndFoldedTapsAreTransformedTheSameWay) {
  MUSICLib estimator;
  CallLog log;
  coder::array<creal32_T, 1> response;
  std::vector<creal32_T> taps = support::randomTaps(5, 1);
  coder::firfreqz(&estimator, support::columnView(taps.data(), 5), 8.0, response);
  coder::firfreqz(&estimator, support::columnView(taps.data(), 5), 2.0, response);
  EXPECT_EQ(log.take(),
            (CallLines{"lock", "plan 1: 8 (1, 1) x 1 (1, 1), -1, 80", "unlock", "execute 1", "lock",
                       "plan 2: 2 (1, 1) x 1 (1, 1), -1, 80", "unlock", "execute 2"}));
}

// The victim is destroyed first, in a lock period of its own.
TEST(PlanningCalls, AnEvictionDestroysBeforeItPlans) {
  MUSICLib estimator;
  CallLog log;
  for (int n = 1; n <= 8; ++n) {
    transform(estimator, n);
  }
  transform(estimator, 1);  // so that the second is the oldest
  log.take();
  transform(estimator, 9);
  EXPECT_EQ(log.take(), (CallLines{"lock", "destroy 2", "unlock", "lock",
                                   "plan 9: 9 (1, 1) x 1 (1, 1), -1, 80", "unlock", "execute 9"}));
}

TEST(PlanningCalls, TheEndOfAnObjectDestroysEveryPlanInALockPeriodOfItsOwn) {
  std::optional<MUSICLib> estimator(std::in_place);
  CallLog log;
  for (const int n : {24, 7, 16}) {
    transform(*estimator, n);
  }
  log.take();
  estimator.reset();
  EXPECT_EQ(log.take(), (CallLines{"lock", "destroy 1", "unlock", "lock", "destroy 2", "unlock",
                                   "lock", "destroy 3", "unlock"}));
}

TEST(PlanningCalls, AnUnusedObjectMakesNone) {
  CallLog log;
  { const MUSICLib estimator; }
  EXPECT_EQ(log.take(), CallLines{});
}

TEST(PlanningCalls, ARefusedPlanIsNeitherRunNorDestroyed) {
  std::optional<MUSICLib> estimator(std::in_place);
  CallLog log;
  {
    const support::RefusingPlanner refusing;
    EXPECT_THROW(transform(*estimator, 24), std::bad_alloc);
  }
  estimator.reset();
  EXPECT_EQ(log.take(), (CallLines{"lock", "plan 1: 24 (1, 1) x 1 (1, 1), -1, 80", "unlock"}));
}
