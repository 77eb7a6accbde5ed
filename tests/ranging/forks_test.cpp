// A host that forks while it has Rangers: the child has none of their threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/columns.h"
#include "tests/support/forked_child.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"

using flightpath::Ranger;
using flightpath::RangingOptions;
using flightpath::ThreadTeam;
using support::everythingIn;
using support::holdsInChild;
using support::Samples;

namespace {

constexpr std::size_t N = 30;

using Threads = std::vector<std::thread::id>;

/// Which thread did the work of each number.
Threads threadsOf(ThreadTeam& team) {
  Threads threads(team.size());
  team.run([&](unsigned number) { threads[number] = std::this_thread::get_id(); });
  return threads;
}

/// The caller, and as many others as the team has.
bool serves(ThreadTeam& team) {
  Threads threads = threadsOf(team);
  const bool leads = threads[0] == std::this_thread::get_id();
  std::ranges::sort(threads);
  return leads && std::ranges::adjacent_find(threads) == threads.end() &&
         std::ranges::find(threads, std::thread::id()) == threads.end();
}

class ForkedTeam : public testing::Test {
 protected:
  void SetUp() override {
    if (!support::childrenMayStartThreads) {
      GTEST_SKIP() << support::refusedThreads;
    }
  }
};

class ForkedRanger : public ForkedTeam {};

Samples rowsOf(std::size_t count) {
  std::mt19937_64 random(5);
  Samples all;
  for (std::size_t i = 0; i < count; ++i) {
    const auto paths = support::randomPaths(static_cast<int>(i % 4), N, random);
    const Samples x = simulateChannel(paths, {N, support::spacing_Hz, 25.0}, random);
    all.insert(all.end(), x.begin(), x.end());
  }
  return all;
}

std::vector<double> answers(Ranger& ranger, const Samples& rows) {
  return everythingIn(ranger.estimate({rows, N}));
}

/// Both methods, on two threads.
std::vector<RangingOptions> everyMethod() {
  return {support::options({}, 2), support::likelihood({}, 2)};
}

}  // namespace

TEST_F(ForkedTeam, StartsThreadsAnewInTheChild_UsedBeforeOrNot) {
  for (const bool isUsedBefore : {false, true}) {
    ThreadTeam team(3);
    Threads before(3);
    if (isUsedBefore) {
      before = threadsOf(team);
    }
    EXPECT_TRUE(holdsInChild([&] { return serves(team) && serves(team); })) << isUsedBefore;
    const Threads after = threadsOf(team);
    EXPECT_TRUE(serves(team));
    EXPECT_TRUE(!isUsedBefore || after == before) << "the parent's are those from before";
  }
}

TEST_F(ForkedTeam, KeepsTheChildsThreads) {
  ThreadTeam team(3);
  EXPECT_TRUE(holdsInChild([&] {
    const Threads first = threadsOf(team);
    return threadsOf(team) == first && threadsOf(team) == first;
  }));
}

TEST_F(ForkedTeam, ServesTheChildOfAChild_WhetherTheChildUsesItOrNot) {
  for (const bool isUsedByTheChild : {false, true}) {
    ThreadTeam team(3);
    EXPECT_TRUE(holdsInChild([&] {
      const bool served = !isUsedByTheChild || serves(team);
      const bool servedBelow = static_cast<bool>(holdsInChild([&] { return serves(team); }));
      return served && servedBelow && serves(team);
    })) << isUsedByTheChild;
    EXPECT_TRUE(serves(team));
  }
}

// The threads have just finished: some are still on their way to waiting, with the lock in hand.
TEST_F(ForkedTeam, ServesTheChildRightAfterWork) {
  ThreadTeam team(4);
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(serves(team));
    ASSERT_TRUE(holdsInChild([&] { return serves(team); })) << round;
  }
}

// No thread is started in these children: also under the thread sanitizer.
TEST(ForkedTeamUnused, EndsInTheChildWithoutWaiting) {
  for (const bool isUsedBefore : {false, true}) {
    std::optional<ThreadTeam> team(std::in_place, 3U);
    if (isUsedBefore) {
      EXPECT_TRUE(serves(*team));
    }
    EXPECT_TRUE(holdsInChild([&] {
      team.reset();
      return true;
    })) << isUsedBefore;
    EXPECT_TRUE(serves(*team));
  }
}

TEST_F(ForkedTeam, EndsTheThreadsThatTheChildHasStarted) {
  std::optional<ThreadTeam> team(std::in_place, 3U);
  EXPECT_TRUE(holdsInChild([&] {
    const bool served = serves(*team);
    team.reset();
    return served;
  }));
}

// EXACT
TEST_F(ForkedRanger, GetsTheSameBitsInTheChildAndInTheParent) {
  const Samples rows = rowsOf(9);
  for (const RangingOptions& how : everyMethod()) {
    Ranger ranger(N, how);
    const std::vector<double> expected = answers(ranger, rows);
    EXPECT_TRUE(holdsInChild([&] {
      return support::sameBits(answers(ranger, rows), expected) &&
             holdsInChild([&] { return support::sameBits(answers(ranger, rows), expected); });
    }));
    EXPECT_TRUE(support::sameBits(answers(ranger, rows), expected));
  }
}

// EXACT: also where the parent has not used it yet.
TEST_F(ForkedRanger, AnswersFirstInTheChild) {
  const Samples rows = rowsOf(9);
  for (const RangingOptions& how : everyMethod()) {
    Ranger other(N, how);
    const std::vector<double> expected = answers(other, rows);
    Ranger ranger(N, how);
    EXPECT_TRUE(holdsInChild([&] { return support::sameBits(answers(ranger, rows), expected); }));
    EXPECT_TRUE(support::sameBits(answers(ranger, rows), expected));
  }
}

// EXACT: a child that is forked from the callback, between two slices, finishes the batch.
TEST_F(ForkedRanger, FinishesInTheChildABatchThatIsUnderWay) {
  const Samples rows = rowsOf(3000);
  Ranger ranger(N, support::likelihood({}, 2));
  const std::vector<double> expected = answers(ranger, rows);
  std::optional<pid_t> child;
  std::fflush(nullptr);
  const auto found = everythingIn(ranger.estimate({rows, N}, [&](std::size_t, std::size_t) {
    child = child ? *child : fork();
    return true;
  }));
  ASSERT_TRUE(child) << "the batch took less than 50 ms";
  if (*child == 0) {
    support::finishChild([&] { return support::sameBits(found, expected); });
  }
  EXPECT_TRUE(support::passed(*child));
  EXPECT_TRUE(support::sameBits(found, expected));
}

// The static one is destroyed by `exit`, the other before.
TEST(ForkedRangerUnused, EndsInTheChildWithoutWaiting) {
  static Ranger kept(N, support::likelihood({}, 2));
  std::optional<Ranger> ranger(std::in_place, N, support::likelihood({}, 2));
  const Samples rows = rowsOf(3);
  const std::vector<double> expected = answers(kept, rows);
  EXPECT_TRUE(holdsInChild([&] {
    ranger.reset();
    return true;
  }));
  EXPECT_TRUE(support::sameBits(answers(*ranger, rows), expected));
  EXPECT_TRUE(support::sameBits(answers(kept, rows), expected));
}
