#include <cblas.h>
#include <gtest/gtest.h>

#include <barrier>
#include <optional>
#include <stdexcept>
#include <thread>

#include "flightpath/toolbox/detail/blas.h"
#include "tests/support/blas_threads.h"
#include "tests/support/forked_child.h"
#include "tests/threads/together.h"

/// Who sets BLAS's count of threads, and who gives it back. All checks are of the class EXACT.
namespace {

using flightpath::blas::OneThread;
using flightpath::blas::useOneThread;
using support::BlasThreads;

int threads() { return openblas_get_num_threads(); }

/// BLAS starts its own threads there.
class OneThreadOfAForkedProcess : public testing::Test {
 protected:
  void SetUp() override {
    if (!support::childrenMayStartThreads) {
      GTEST_SKIP() << support::refusedThreads;
    }
  }
};

}  // namespace

TEST(OneThread, GivesBackWhatItFound) {
  for (const int count : {1, 2, 3}) {
    const BlasThreads host(count);
    {
      const OneThread one;
      EXPECT_EQ(threads(), 1);
    }
    EXPECT_EQ(threads(), count);
  }
}

TEST(OneThread, FindsWhatTheHostHasSetSinceTheLastOne) {
  const BlasThreads host(3);
  for (const int count : {2, 1}) {
    { const OneThread one; }
    openblas_set_num_threads(count);
    { const OneThread one; }
    EXPECT_EQ(threads(), count);
  }
}

TEST(OneThread, WithinAnotherLeavesItToThatOne) {
  const BlasThreads host(2);
  {
    const OneThread outer;
    { const OneThread inner; }
    EXPECT_EQ(threads(), 1);
  }
  EXPECT_EQ(threads(), 2);
}

TEST(OneThread, GivesBackWhereAnExceptionEndsIt) {
  const BlasThreads host(2);
  try {
    const OneThread one;
    throw std::runtime_error("ended");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(threads(), 2);
}

// The first to begin ends first, on another thread.
TEST(OneThread, OfSeveralThreadsTheLastToEndGivesBackWhatTheFirstFound) {
  const BlasThreads host(2);
  std::barrier<> step(2);
  std::thread other([&] {
    {
      const OneThread first;
      step.arrive_and_wait();  // one lives
      step.arrive_and_wait();  // two live
    }
    step.arrive_and_wait();
  });
  {
    step.arrive_and_wait();
    const OneThread second;
    step.arrive_and_wait();
    step.arrive_and_wait();  // the first has ended
    EXPECT_EQ(threads(), 1);
  }
  EXPECT_EQ(threads(), 2);
  other.join();
}

TEST(OneThread, OfManyThreadsAtOnceLeavesTheHostsCount) {
  const BlasThreads host(2);
  support::together(4, [](int) {
    for (int round = 0; round < 2000; ++round) {
      const OneThread one;
      if (threads() != 1) {
        throw std::logic_error("more than one thread");
      }
    }
  });
  EXPECT_EQ(threads(), 2);
}

TEST(OneThread, LeavesACountThatIsSetMeanwhile) {
  const BlasThreads host(2);
  {
    const OneThread one;
    openblas_set_num_threads(3);
  }
  EXPECT_EQ(threads(), 3);
  {
    const OneThread outer;
    openblas_set_num_threads(2);
    const OneThread inner;
    EXPECT_EQ(threads(), 1);
  }
  EXPECT_EQ(threads(), 2);
}

// Whoever wants one thread for good is not overruled by another thread's call that ends later.
TEST(UseOneThread, StaysAlsoWhereACallThatBeganBeforeEndsLater) {
  const BlasThreads host(2);
  {
    const OneThread one;
    useOneThread();
  }
  EXPECT_EQ(threads(), 1);
}

TEST(UseOneThread, StaysThroughLaterCalls) {
  const BlasThreads host(2);
  useOneThread();
  { const OneThread one; }
  EXPECT_EQ(threads(), 1);
}

TEST_F(OneThreadOfAForkedProcess, GivesBackWhatTheParentFound) {
  const BlasThreads host(2);
  std::optional<OneThread> one(std::in_place);
  EXPECT_TRUE(support::holdsInChild([&] {
    { const OneThread inner; }
    const bool isStillOne = threads() == 1;
    one.reset();
    return isStillOne && threads() == 2;
  }));
  one.reset();
  EXPECT_EQ(threads(), 2);
}

// Those of other threads are not there to end: the next one does for them.
TEST_F(OneThreadOfAForkedProcess, DoesNotWaitForThoseOfTheParentsOtherThreads) {
  const BlasThreads host(2);
  std::barrier<> step(2);
  std::thread other([&] {
    const OneThread one;
    step.arrive_and_wait();
    step.arrive_and_wait();
  });
  step.arrive_and_wait();
  EXPECT_TRUE(support::holdsInChild([] {
    { const OneThread one; }
    return threads() == 2;
  }));
  step.arrive_and_wait();
  other.join();
  EXPECT_EQ(threads(), 2);
}
