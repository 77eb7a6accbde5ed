// Rangers on many threads at once, alone and beside the dense engine. Class EXACT: every answer has
// the bits of the serial one.

#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/threads/batch_jobs.h"
#include "tests/threads/dense_jobs.h"
#include "tests/threads/host_transforms.h"
#include "tests/threads/rounds.h"

using flightpath::Ranger;
using support::BatchJob;
using support::Bits;

namespace {

Bits solveAlone(const BatchJob& job) {
  Ranger ranger = makeRanger(job, 1);
  return solve(ranger, job);
}

/// A Ranger with threads that goes from thread to thread, by construction and by assignment over one
/// that has threads too.
std::vector<Bits> travel(const BatchJob& job, unsigned rangerThreads) {
  std::optional<Ranger> first;
  std::optional<Ranger> second;
  std::vector<Bits> answers;
  support::elsewhere([&] { first = makeRanger(job, rangerThreads); });
  support::elsewhere([&] { answers.push_back(solve(*first, job)); });
  support::elsewhere([&] { second = std::move(first); });
  support::elsewhere([&] { answers.push_back(solve(*second, job)); });
  support::elsewhere([&] { first = makeRanger(job, 5 - rangerThreads); });
  support::elsewhere([&] { *first = std::move(*second); });
  support::elsewhere([&] { answers.push_back(solve(*first, job)); });
  support::elsewhere([&] { second.reset(); });
  support::elsewhere([&] { first.reset(); });
  return answers;
}

}  // namespace

TEST(RangersOnThreads, OfOneToFourThreadsGetTheSerialBitsBesideAHostThatPlans) {
  const std::vector<BatchJob> jobs = support::batchJobs();
  const std::vector<Bits> serial = support::answersOf(jobs, solveAlone);
  support::TransformingHost host;
  constexpr int hostThreads = 6;
  support::expectSerialAnswersTogether(
      hostThreads, jobs, serial, [](const BatchJob& job, int number) {
        Ranger ranger = makeRanger(job, 1 + static_cast<unsigned>(number) % 4);
        solve(ranger, job);
        return solve(ranger, job);  // the second call reuses plans, work space and threads
      });
  host.finish();
  EXPECT_GT(host.transforms(), 0);
  EXPECT_EQ(host.wrong(), 0) << "of " << host.transforms() << " transforms of the host's own";
}

TEST(RangersOnThreads, MoveFromThreadToThread) {
  const std::vector<BatchJob> jobs = support::batchJobs();
  const std::vector<Bits> serial = support::answersOf(jobs, solveAlone);
  constexpr int travellers = 4;
  std::vector<std::vector<std::vector<Bits>>> answers(travellers);
  support::together(travellers, [&](int number) {
    for (const BatchJob& job : jobs) {
      answers[static_cast<std::size_t>(number)].push_back(
          travel(job, 1 + static_cast<unsigned>(number)));
    }
  });
  for (std::size_t number = 0; number < answers.size(); ++number) {
    for (std::size_t k = 0; k < jobs.size(); ++k) {
      EXPECT_TRUE(answers[number][k] == std::vector<Bits>(3, serial[k]))
          << "a Ranger of " << number + 1 << " threads: " << describe(jobs[k]);
    }
  }
}

TEST(BothEngines, GetTheSerialBitsAtTheSameTime) {
  const std::vector<BatchJob> batches = support::batchJobs();
  const std::vector<support::EntryJob> entries = support::entryJobs();
  const std::vector<Bits> serialBatches = support::answersOf(batches, solveAlone);
  const std::vector<Bits> serialEntries =
      support::answersOf(entries, [](const support::EntryJob& job) { return solve(job); });
  support::together(2, [&](int engine) {
    if (engine == 0) {
      support::expectSerialAnswersTogether(
          4, batches, serialBatches, [](const BatchJob& job, int number) {
            Ranger ranger = makeRanger(job, 1 + static_cast<unsigned>(number) % 2);
            return solve(ranger, job);
          });
    } else {
      support::expectSerialAnswersTogether(
          4, entries, serialEntries, [](const support::EntryJob& job, int) { return solve(job); });
    }
  });
}
