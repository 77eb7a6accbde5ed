// The first uses of the planning lock in a process, all at the same moment.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/planning_lock.h"
#include "tests/threads/dense_jobs.h"
#include "tests/threads/host_transforms.h"
#include "tests/threads/together.h"

namespace {

constexpr int threads = 8;
constexpr int rounds = 500;

/// Every second thread initialises the lock that the others use already. Returns what went wrong.
int initialiseWhileOthersUseIt() {
  std::atomic<int> wrong = 0;
  int counter = 0;  // plain on purpose: the lock is what protects it
  support::together(threads, [&](int number) {
    if (number % 2 == 0 && initFFTPlanningProcessLock() != 0) {
      ++wrong;
    }
    for (int i = 0; i < rounds; ++i) {
      const support::HeldPlanningLock held;
      ++counter;
    }
  });
  return wrong + (counter == threads * rounds ? 0 : 1);
}

/// Nothing was planned or decomposed before. Returns how many answers differ.
int estimateFirstOnEveryThread() {
  const support::EntryJob job{64, {}};
  std::vector<support::Bits> answers(threads);
  support::together(threads,
                    [&](int number) { answers[static_cast<std::size_t>(number)] = solve(job); });
  int wrong = 0;
  for (const support::Bits& answer : answers) {
    wrong += answer == solve(job) ? 0 : 1;
  }
  return wrong;
}

/// The tests below start the program anew. `exit` and not `_exit`, so that a checker in the process
/// has its say.
class InANewProcess : public testing::Test {
 protected:
  InANewProcess() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

using FirstUseOfThePlanningLock = InANewProcess;
using FirstEstimates = InANewProcess;

}  // namespace

TEST_F(FirstUseOfThePlanningLock, MayBeInitialisationOnSomeThreadsAndLockingOnOthers) {
  EXPECT_EXIT(std::exit(initialiseWhileOthersUseIt()), testing::ExitedWithCode(0), "");
}

TEST_F(FirstEstimates, MayBeMadeOnEveryThreadAtOnce) {
  EXPECT_EXIT(std::exit(estimateFirstOnEveryThread()), testing::ExitedWithCode(0), "");
}
