#include "flightpath/ranging/detail/thread_team.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using flightpath::ThreadTeam;

TEST(ThreadTeam, EveryNumberIsCalledOnce) {
  for (const unsigned size : {1U, 2U, 3U, 8U}) {
    ThreadTeam team(size);
    ASSERT_EQ(team.size(), size);
    std::vector<int> calls(size);  // each thread steps its own element
    team.run([&](unsigned number) { ++calls.at(number); });
    EXPECT_EQ(calls, std::vector<int>(size, 1)) << size;
  }
}

TEST(ThreadTeam, TheCallerIsNumberZeroAndTheOthersAreThreadsOfTheirOwn) {
  ThreadTeam team(3);
  std::vector<std::thread::id> ids(3);
  team.run([&](unsigned number) { ids[number] = std::this_thread::get_id(); });
  EXPECT_EQ(ids[0], std::this_thread::get_id());
  EXPECT_NE(ids[1], ids[0]);
  EXPECT_NE(ids[2], ids[0]);
  EXPECT_NE(ids[1], ids[2]);
}

TEST(ThreadTeam, TheSameThreadsServeEveryRound) {
  ThreadTeam team(3);
  std::vector<std::thread::id> first(3);
  team.run([&](unsigned number) { first[number] = std::this_thread::get_id(); });
  for (int round = 0; round < 20; ++round) {
    std::vector<std::thread::id> again(3);
    team.run([&](unsigned number) { again[number] = std::this_thread::get_id(); });
    EXPECT_EQ(again, first);
  }
}

TEST(ThreadTeam, SizeZeroIsOneForEachCoreAndAtLeastOne) {
  ThreadTeam team(0);
  EXPECT_GE(team.size(), 1U);
  const unsigned cores = std::thread::hardware_concurrency();
  EXPECT_EQ(team.size(), cores > 0 ? cores : 1U);
  std::atomic<unsigned> calls = 0;
  team.run([&](unsigned) { ++calls; });
  EXPECT_EQ(calls, team.size());
}

// Unsynchronised on purpose: run() alone must order the rounds.
TEST(ThreadTeam, ManyRoundsAreComplete) {
  constexpr int rounds = 3000;
  ThreadTeam team(4);
  std::vector<int> calls(4);
  for (int round = 1; round <= rounds; ++round) {
    team.run([&](unsigned number) { ++calls[number]; });
    ASSERT_EQ(calls, std::vector<int>(4, round));
  }
}

TEST(ThreadTeam, WhatAnyThreadThrowsReachesTheCaller_TheTeamStaysUsable) {
  ThreadTeam team(4);
  for (unsigned thrower = 0; thrower < 4; ++thrower) {
    std::atomic<int> calls = 0;
    try {
      team.run([&](unsigned number) {
        ++calls;
        if (number == thrower) {
          throw std::runtime_error(std::to_string(number));
        }
      });
      FAIL() << "nothing thrown by " << thrower;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), std::to_string(thrower));
    }
    EXPECT_EQ(calls, 4) << "all are done first";
    calls = 0;
    EXPECT_NO_THROW(team.run([&](unsigned) { ++calls; })) << "the exception is not kept";
    EXPECT_EQ(calls, 4);
  }
}

TEST(ThreadTeam, OfSeveralExceptionsTheOneOfTheLowestNumberArrives) {
  ThreadTeam team(4);
  for (int round = 0; round < 50; ++round) {
    try {
      team.run([](unsigned number) {
        if (number > 0) {
          throw number;
        }
      });
      FAIL();
    } catch (unsigned number) {
      EXPECT_EQ(number, 1U);
    }
  }
  EXPECT_NO_THROW(team.run([](unsigned) {}));
}

TEST(ThreadTeam, NeverUsedEndsAtOnce) {
  for (int i = 0; i < 50; ++i) {
    const ThreadTeam team(3);
  }
}
