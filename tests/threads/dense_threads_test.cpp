// The dense engine on many threads at once. Class EXACT: every answer has the bits of the serial one.

#include <cblas.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "flightpath/spectrum/estimator.h"
#include "tests/support/call_counter.h"
#include "tests/threads/dense_jobs.h"
#include "tests/threads/host_transforms.h"
#include "tests/threads/rounds.h"

using support::Bits;
using support::callCounts;
using support::EntryJob;
using support::EstimatorJob;

namespace {

constexpr int threads = 8;

std::vector<Bits> serialAnswers(const std::vector<EstimatorJob>& jobs) {
  MUSICLib estimator;
  return support::answersOf(jobs, [&](const EstimatorJob& job) { return solve(estimator, job); });
}

/// One object's life, every step on a thread of its own; the answers come in the order of the jobs.
std::vector<Bits> liveOnManyThreads(const std::vector<EstimatorJob>& jobs) {
  std::unique_ptr<MUSICLib> estimator;
  std::vector<Bits> answers;
  support::elsewhere([&] { estimator = std::make_unique<MUSICLib>(); });
  for (const EstimatorJob& job : jobs) {
    support::elsewhere([&] { answers.push_back(solve(*estimator, job)); });
  }
  support::elsewhere([&] { estimator.reset(); });
  return answers;
}

}  // namespace

TEST(EstimatorsOnThreads, GetTheSerialBitsBesideAHostThatPlans) {
  const std::vector<EstimatorJob> jobs = support::estimatorJobs();
  const std::vector<Bits> serial = serialAnswers(jobs);
  support::TransformingHost host;
  std::vector<MUSICLib> estimators(threads);
  support::expectSerialAnswersTogether(
      threads, jobs, serial, [&](const EstimatorJob& job, int number) {
        return solve(estimators[static_cast<std::size_t>(number)], job);
      });
  host.finish();
  EXPECT_GT(host.transforms(), 0);
  EXPECT_EQ(host.wrong(), 0) << "of " << host.transforms() << " transforms of the host's own";
}

TEST(EstimatorsOnThreads, AreMadeOnOneUsedOnOthersAndDestroyedOnAnother) {
  const std::vector<EstimatorJob> jobs = support::estimatorJobs();
  const std::vector<Bits> serial = serialAnswers(jobs);
  const int made = callCounts().fftPlans;
  const int destroyed = callCounts().fftPlansDestroyed;
  constexpr int lives = 4;
  std::vector<std::vector<Bits>> answers(lives);
  support::together(lives, [&](int number) {
    answers[static_cast<std::size_t>(number)] = liveOnManyThreads(jobs);
  });
  for (int number = 0; number < lives; ++number) {
    support::expectSerialAnswers(jobs, serial, answers[static_cast<std::size_t>(number)], number);
  }
  EXPECT_GT(callCounts().fftPlans, made);
  EXPECT_EQ(callCounts().fftPlansDestroyed - destroyed, callCounts().fftPlans - made);
}

TEST(EntryPointOnThreads, GetsTheSerialBitsBesideAHostThatPlans) {
  const std::vector<EntryJob> jobs = support::entryJobs();
  const std::vector<Bits> serial =
      support::answersOf(jobs, [](const EntryJob& job) { return solve(job); });
  support::TransformingHost host;
  support::expectSerialAnswersTogether(2 * threads, jobs, serial,
                                       [](const EntryJob& job, int) { return solve(job); });
  host.finish();
  EXPECT_GT(host.transforms(), 0);
  EXPECT_EQ(host.wrong(), 0) << "of " << host.transforms() << " transforms of the host's own";
}

// The setting is the process's. Few and small estimates: threads of two libraries that wait for each
// other on few cores are slow, which is why the entry point sets one.
TEST(EstimatorsOnThreads, GetTheSerialBitsWhereBlasHasThreadsToo) {
  openblas_set_num_threads(2);
  std::vector<EstimatorJob> jobs = support::estimatorJobs();
  std::erase_if(jobs, [](const EstimatorJob& job) { return job.N != 37 && job.N != 64; });
  const std::vector<Bits> serial = serialAnswers(jobs);
  constexpr int few = 3;
  std::vector<MUSICLib> estimators(few);
  support::expectSerialAnswersTogether(few, jobs, serial, [&](const EstimatorJob& job, int number) {
    return solve(estimators[static_cast<std::size_t>(number)], job);
  });
  openblas_set_num_threads(1);
}
