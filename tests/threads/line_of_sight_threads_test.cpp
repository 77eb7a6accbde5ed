// LineOfSight on many threads at once, of which each is a team itself, beside Rangers. Class EXACT: every
// answer has the bits of the serial one.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "flightpath/line_of_sight/line_of_sight.h"
#include "tests/support/direct_paths.h"
#include "tests/threads/batch_jobs.h"
#include "tests/threads/host_transforms.h"
#include "tests/threads/rounds.h"

using flightpath::LineOfSight;
using flightpath::LineOfSightOptions;
using support::BatchJob;
using support::Bits;

namespace {

LineOfSight makeLineOfSight(const BatchJob& job, unsigned threads) {
  LineOfSightOptions how;
  how.SubcarrierSpacing = support::spacing_Hz;
  how.Threads = threads;
  return LineOfSight(static_cast<std::uint32_t>(job.N), how);
}

Bits look(LineOfSight& lineOfSight, const BatchJob& job) {
  return support::bitsOf(
      support::everythingIn(lineOfSight.estimate({job.batch, static_cast<std::size_t>(job.N)})));
}

Bits lookAlone(const BatchJob& job) {
  LineOfSight lineOfSight = makeLineOfSight(job, 1);
  return look(lineOfSight, job);
}

Bits rangeAlone(const BatchJob& job) {
  flightpath::Ranger ranger = makeRanger(job, 1);
  return solve(ranger, job);
}

/// Lengths that share transforms and lengths that do not.
std::vector<BatchJob> fewJobs() {
  std::vector<BatchJob> few;
  for (const BatchJob& job : support::batchJobs()) {
    if (job.forced && job.N <= 64) {
      few.push_back(job);
    }
  }
  return few;
}

}  // namespace

TEST(LinesOfSightOnThreads, OfOneToFourThreadsGetTheSerialBitsBesideAHostThatPlans) {
  const std::vector<BatchJob> jobs = fewJobs();
  const std::vector<Bits> serial = support::answersOf(jobs, lookAlone);
  support::TransformingHost host;
  support::expectSerialAnswersTogether(4, jobs, serial, [](const BatchJob& job, int number) {
    LineOfSight lineOfSight = makeLineOfSight(job, 1 + static_cast<unsigned>(number));
    look(lineOfSight, job);
    return look(lineOfSight, job);  // the second call reuses plans, work space and threads
  });
  host.finish();
  EXPECT_GT(host.transforms(), 0);
  EXPECT_EQ(host.wrong(), 0) << "of " << host.transforms() << " transforms of the host's own";
}

TEST(LinesOfSightOnThreads, MoveFromThreadToThread) {
  for (const BatchJob& job : fewJobs()) {
    const Bits serial = lookAlone(job);
    std::optional<LineOfSight> first;
    std::optional<LineOfSight> second;
    support::elsewhere([&] { first = makeLineOfSight(job, 3); });
    support::elsewhere([&] { EXPECT_TRUE(look(*first, job) == serial) << describe(job); });
    support::elsewhere([&] { second = std::move(first); });
    support::elsewhere([&] { EXPECT_TRUE(look(*second, job) == serial) << describe(job); });
    support::elsewhere([&] { first = makeLineOfSight(job, 2); });
    support::elsewhere([&] { *first = std::move(*second); });
    support::elsewhere([&] { EXPECT_TRUE(look(*first, job) == serial) << describe(job); });
  }
}

TEST(LinesOfSightOnThreads, GetTheSerialBitsBesideRangers) {
  const std::vector<BatchJob> jobs = fewJobs();
  const std::vector<Bits> sights = support::answersOf(jobs, lookAlone);
  const std::vector<Bits> ranges = support::answersOf(jobs, rangeAlone);
  support::together(2, [&](int engine) {
    support::expectSerialAnswersTogether(2, jobs, engine == 0 ? sights : ranges,
                                         [engine](const BatchJob& job, int) {
                                           return engine == 0 ? lookAlone(job) : rangeAlone(job);
                                         });
  });
}
