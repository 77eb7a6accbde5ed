#include "flightpath/spectrum/planning_lock.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"
#include "tests/support/call_counter.h"
#include "tests/support/dft_model.h"
#include "tests/support/forked_child.h"
#include "tests/threads/together.h"

using support::callCounts;

namespace {

std::atomic<bool> mutexInitFails = false;
std::atomic<int> mutexInits = 0;

}  // namespace

// In front of the platform's function of the same name, in this program.
extern "C" int pthread_mutex_init(pthread_mutex_t* mutex,
                                  const pthread_mutexattr_t* attributes) noexcept {
  ++mutexInits;
  if (mutexInitFails) {
    return EAGAIN;
  }
  static const auto next =
      reinterpret_cast<decltype(pthread_mutex_init)*>(dlsym(RTLD_NEXT, "pthread_mutex_init"));
  return next(mutex, attributes);
}

namespace {

/// Holds the planning lock while it lives, as a host would.
class HeldLock {
 public:
  HeldLock() { lockFFTPlanningProcess(); }
  ~HeldLock() { unlockFFTPlanningProcess(); }
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;
};

using Column = coder::array<creal32_T, 1>;

/// n random taps and their response of n points.
struct Transform {
  explicit Transform(int length, unsigned seed = 1) : n(length) {
    taps = support::randomTaps(static_cast<std::size_t>(length), seed);
  }
  Column run(MUSICLib& obj) {
    Column h;
    coder::firfreqz(&obj, support::columnView(taps.data(), n), n, h);
    return h;
  }
  int n;
  std::vector<creal32_T> taps;
};

/// Long enough for a thread that does not wait to get to its end.
void giveOthersTime() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

/// What an action writes to standard output. What others had written before, a library that was
/// loaded for one, is not part of it.
template <class Action>
std::string printedBy(const Action& action) {
  std::fflush(stdout);
  const int standardOutput = dup(STDOUT_FILENO);
  std::FILE* const file = std::tmpfile();
  dup2(fileno(file), STDOUT_FILENO);
  action();
  std::fflush(stdout);
  dup2(standardOutput, STDOUT_FILENO);
  close(standardOutput);
  std::string printed(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  printed.resize(std::fread(printed.data(), 1, printed.size(), file));
  std::fclose(file);
  return printed;
}

const std::string failureLine = "\n FFTW planner mutex init failed!!!!!!!!!!\n";

[[noreturn]] void finish(bool passed) {
  std::fflush(stdout);
  std::_Exit(passed ? 0 : 1);
}

/// The lock works in its zero-initialised state, whatever became of its initialisation.
bool lockWorks() { return lockFFTPlanningProcess() == 0 && unlockFFTPlanningProcess() == 0; }

/// The exit tests below start the program anew: the lock is then untouched.
class PlanningLockInANewProcess : public testing::Test {
 protected:
  PlanningLockInANewProcess() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

}  // namespace

TEST(PlanningLock, EveryCallReturnsZero) {
  EXPECT_EQ(lockFFTPlanningProcess(), 0);
  EXPECT_EQ(unlockFFTPlanningProcess(), 0);
  EXPECT_EQ(initFFTPlanningProcessLock(), 0);
  EXPECT_EQ(initFFTPlanningProcessLock(), 0);
}

TEST(PlanningLock, IsNotInitialisedAgainWhileInUse) {
  const HeldLock held;
  const int before = mutexInits;
  EXPECT_EQ(initFFTPlanningProcessLock(), 0);
  EXPECT_EQ(mutexInits, before);
}

TEST(PlanningLock, LetsOneInAtATime) {
  constexpr int rounds = 20000;
  int counter = 0;  // plain on purpose: the lock is what protects it
  const auto count = [&counter] {
    for (int i = 0; i < rounds; ++i) {
      const HeldLock held;
      ++counter;
    }
  };
  std::thread other(count);
  count();
  other.join();
  EXPECT_EQ(counter, 2 * rounds);
}

TEST(PlanningLock, IsHeldAroundPlanning) {
  MUSICLib obj;
  std::optional<HeldLock> held(std::in_place);
  const int before = callCounts().fftPlans;
  std::thread planner([&obj] { Transform(24).run(obj); });
  giveOthersTime();
  EXPECT_EQ(callCounts().fftPlans, before) << "planned past the lock";
  held.reset();
  planner.join();
  EXPECT_EQ(callCounts().fftPlans, before + 1);
}

TEST(PlanningLock, IsHeldAroundDestruction) {
  std::optional<MUSICLib> obj(std::in_place);
  Transform(24).run(*obj);
  std::optional<HeldLock> held(std::in_place);
  const int before = callCounts().fftPlansDestroyed;
  std::thread owner([&obj] { obj.reset(); });
  giveOthersTime();
  EXPECT_EQ(callCounts().fftPlansDestroyed, before) << "destroyed past the lock";
  held.reset();
  owner.join();
  EXPECT_EQ(callCounts().fftPlansDestroyed, before + 1);
}

// The lock is not recursive: a search or a transform that took it would never return here.
TEST(PlanningLock, IsNotTakenForASearchThatHitsNorForATransform) {
  MUSICLib obj;
  Transform transform(24);
  transform.run(obj);
  const HeldLock held;
  const int before = callCounts().fftExecutions;
  transform.run(obj);
  EXPECT_EQ(callCounts().fftExecutions, before + 1);
}

// The fork waits for the other thread, which is not there in the child to give the lock back.
TEST(PlanningLock, IsFreeInAChildThatIsForkedWhileAnotherThreadHoldsIt) {
  std::atomic<bool> isHeld = false;
  std::thread other([&] {
    const HeldLock held;
    isHeld = true;
    giveOthersTime();
  });
  while (!isHeld) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(support::holdsInChild(lockWorks));
  other.join();
  EXPECT_TRUE(lockWorks());
}

TEST(PlanningLock, IsStillHeldWhereItsHolderForks_InBothProcesses) {
  ASSERT_EQ(lockFFTPlanningProcess(), 0);
  const auto othersWait = [] {
    std::atomic<bool> isTaken = false;
    std::thread other([&] {
      const HeldLock held;
      isTaken = true;
    });
    giveOthersTime();
    const bool waits = !isTaken;
    unlockFFTPlanningProcess();
    other.join();
    return waits && lockWorks();
  };
  if (support::childrenMayStartThreads) {
    EXPECT_TRUE(support::holdsInChild(othersWait));
  }
  EXPECT_TRUE(othersWait());
}

TEST(PlanningLock, IsNotTakenByAnUnusedObject) {
  const HeldLock held;
  { const MUSICLib obj; }
  SUCCEED() << "came back";
}

TEST(PlanningLock, IsFreeAgainAfterARefusedPlan) {
  MUSICLib obj;
  {
    const support::RefusingPlanner refusing;
    EXPECT_THROW(Transform(24).run(obj), std::bad_alloc);
  }
  EXPECT_TRUE(lockWorks());
}

// BOUND: the FFT bound of the model, per value.
TEST(PlanningLock, LetsTwoThreadsPlanWithObjectsOfTheirOwn) {
  constexpr int lengths =
      60;  // many more than a cache holds: plans are made and destroyed throughout
  const auto work = [](std::vector<Column>& responses) {
    for (int round = 0; round < 3; ++round) {
      MUSICLib obj;
      responses.clear();
      for (int n = 1; n <= lengths; ++n) {
        responses.push_back(Transform(n).run(obj));
      }
    }
  };
  std::vector<Column> ours;
  std::vector<Column> theirs;
  std::thread other([&] { work(theirs); });
  work(ours);
  other.join();
  for (int n = 1; n <= lengths; ++n) {
    const Transform transform(n);
    const auto count = static_cast<std::size_t>(n);
    const std::vector<support::Complex> model = support::dft(transform.taps, count);
    const double bound = support::fftBound(transform.taps, count);
    for (const auto* responses : {&ours, &theirs}) {
      const Column& h = (*responses)[count - 1];
      ASSERT_EQ(h.numel, n);
      for (int k = 0; k < n; ++k) {
        EXPECT_LE(std::abs(support::toDouble(h[k]) - model[static_cast<std::size_t>(k)]), bound);
      }
    }
  }
}

TEST_F(PlanningLockInANewProcess, InitialisesOnceAndReturnsZero_WritesNothing) {
  const auto statement = [] {
    const int before = mutexInits;
    bool zeros = false;
    const std::string printed = printedBy(
        [&] { zeros = initFFTPlanningProcessLock() == 0 && initFFTPlanningProcessLock() == 0; });
    finish(zeros && mutexInits == before + 1 && printed.empty() && lockWorks());
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

TEST_F(PlanningLockInANewProcess, WorksWithoutInitialisation) {
  const auto statement = [] {
    const int before = mutexInits;
    finish(lockWorks() && mutexInits == before && initFFTPlanningProcessLock() == 0 &&
           mutexInits == before && lockWorks());
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

TEST_F(PlanningLockInANewProcess, SaysOnStandardOutputEachTimeThatInitialisationFails) {
  const auto statement = [] {
    mutexInitFails = true;
    const int before = mutexInits;
    int results[3] = {};
    const std::string printed = printedBy([&] {
      for (int& result : results) {
        result = initFFTPlanningProcessLock();
      }
    });
    mutexInitFails = false;
    finish(printed == failureLine + failureLine + failureLine && mutexInits == before + 3 &&
           std::ranges::all_of(results, [](int result) { return result > 0; }) && lockWorks());
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

TEST_F(PlanningLockInANewProcess, TriesAgainAfterAFailure_ASuccessIsTheLastTry) {
  const auto statement = [] {
    printedBy([] {
      mutexInitFails = true;
      initFFTPlanningProcessLock();
      mutexInitFails = false;
    });
    const int before = mutexInits;
    const bool zero = initFFTPlanningProcessLock() == 0 && mutexInits == before + 1;
    mutexInitFails = true;
    finish(zero && initFFTPlanningProcessLock() == 0 && mutexInits == before + 1 && lockWorks());
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

TEST_F(PlanningLockInANewProcess, IsLeftAloneOnceUsed_AlsoAfterAFailedInitialisation) {
  const auto statement = [] {
    mutexInitFails = true;
    const std::string printed = printedBy([] { initFFTPlanningProcessLock(); });
    mutexInitFails = false;
    const HeldLock held;
    const int before = mutexInits;
    finish(printed == failureLine && initFFTPlanningProcessLock() == 0 && mutexInits == before);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

// One initialisation, whoever of the threads makes it, and none while the lock is taken.
TEST_F(PlanningLockInANewProcess, IsInitialisedOnceByManyThreadsThatAlsoUseIt) {
  const auto statement = [] {
    const int before = mutexInits;
    std::atomic<int> failures = 0;
    support::together(8, [&](int number) {
      failures += number % 2 == 0 && initFFTPlanningProcessLock() != 0 ? 1 : 0;
      failures += lockWorks() ? 0 : 1;
      failures += initFFTPlanningProcessLock() == 0 ? 0 : 1;
    });
    finish(failures == 0 && mutexInits <= before + 1);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

// Its holder, asking again, waits for ever: a second lock that comes back is a recursive one, or one
// that checks for errors.
TEST_F(PlanningLockInANewProcess, IsADefaultMutex_ASecondLockOfItsHolderWaits) {
  for (const bool initialised : {false, true}) {
    const auto statement = [initialised] {
      if (initialised) {
        initFFTPlanningProcessLock();
      }
      std::atomic<bool> heldOnce = false;
      std::atomic<bool> cameBack = false;
      std::thread([&] {
        heldOnce = lockFFTPlanningProcess() == 0;
        lockFFTPlanningProcess();
        cameBack = true;
      }).detach();
      while (!heldOnce) {
        std::this_thread::yield();
      }
      giveOthersTime();
      finish(!cameBack);
    };
    EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "") << initialised;
  }
}

TEST_F(PlanningLockInANewProcess, ReturnsTheResultOfWritingTheMessage) {
  const auto statement = [] {
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    close(STDOUT_FILENO);  // so that the write fails
    mutexInitFails = true;
    const int result = initFFTPlanningProcessLock();
    mutexInitFails = false;
    std::_Exit(result == EOF ? 0 : 1);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}
