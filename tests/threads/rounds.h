#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "tests/threads/answer_bits.h"
#include "tests/threads/together.h"

/// Threads that each do all of some jobs, and what must come out: the serial answers.
namespace support {

/// The answers of a list of jobs, each by solve(job).
template <class Job, class Solve>
std::vector<Bits> answersOf(const std::vector<Job>& jobs, const Solve& solve) {
  std::vector<Bits> answers;
  for (const Job& job : jobs) {
    answers.push_back(solve(job));
  }
  return answers;
}

/// Calls visit(k) for every job k, each thread beginning at a place of its own, so that different
/// sizes meet.
template <class Visit>
void inRotation(std::size_t jobs, int number, int threads, const Visit& visit) {
  const std::size_t first =
      jobs * static_cast<std::size_t>(number) / static_cast<std::size_t>(threads);
  for (std::size_t i = 0; i < jobs; ++i) {
    visit((first + i) % jobs);
  }
}

/// The answers of one thread beside the serial ones.
template <class Job>
void expectSerialAnswers(const std::vector<Job>& jobs, const std::vector<Bits>& serial,
                         const std::vector<Bits>& answers, int thread) {
  ASSERT_EQ(answers.size(), jobs.size());
  for (std::size_t k = 0; k < jobs.size(); ++k) {
    EXPECT_TRUE(answers[k] == serial[k]) << "thread " << thread << ": " << describe(jobs[k]);
  }
}

/// `threads` threads at once each do all jobs by solve(job, number of thread) and get the serial
/// answers.
template <class Job, class Solve>
void expectSerialAnswersTogether(int threads, const std::vector<Job>& jobs,
                                 const std::vector<Bits>& serial, const Solve& solve) {
  std::vector<std::vector<Bits>> answers(static_cast<std::size_t>(threads),
                                         std::vector<Bits>(jobs.size()));
  together(threads, [&](int number) {
    std::vector<Bits>& own = answers[static_cast<std::size_t>(number)];
    inRotation(jobs.size(), number, threads,
               [&](std::size_t k) { own[k] = solve(jobs[k], number); });
  });
  for (int number = 0; number < threads; ++number) {
    expectSerialAnswers(jobs, serial, answers[static_cast<std::size_t>(number)], number);
  }
}

}  // namespace support
