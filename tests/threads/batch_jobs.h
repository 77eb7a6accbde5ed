#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "tests/support/channels.h"
#include "tests/threads/answer_bits.h"

/// The batches that Rangers work on at once.
namespace support {

struct BatchJob {
  int N;
  flightpath::RangingMethod method;
  std::optional<unsigned char> forced;
  std::vector<creal32_T> batch;
  static constexpr std::size_t count = 9;  // no multiple of any number of threads but 1 and 3
};

inline std::vector<creal32_T> drawBatch(int N, std::mt19937_64& random) {
  const std::vector<Tone> tones = {{0.06, 1.0, 0.4}, {0.19, 0.9, 2.0}, {0.33, 1.1, -1.0}};
  std::vector<creal32_T> batch;
  for (std::size_t i = 0; i < BatchJob::count; ++i) {
    const std::vector<Tone> some(tones.begin(), tones.begin() + static_cast<std::ptrdiff_t>(i % 4));
    const coder::array<creal32_T, 1> row = measure(some, N, 25.0, random);
    batch.insert(batch.end(), row.begin(), row.end());
  }
  return batch;
}

inline std::vector<BatchJob> batchJobs() {
  std::vector<BatchJob> jobs;
  std::mt19937_64 random(7);
  for (const int N : {16, 21, 30, 37, 56, 64, 100, 114, 242}) {
    for (const auto method :
         {flightpath::RangingMethod::Music, flightpath::RangingMethod::MaximumLikelihood}) {
      jobs.push_back({N, method, {}, drawBatch(N, random)});
      jobs.push_back({N, method, 2, drawBatch(N, random)});
    }
  }
  return jobs;
}

inline flightpath::Ranger makeRanger(const BatchJob& job, unsigned threads) {
  flightpath::RangingOptions how;
  how.Method = job.method;
  how.SubcarrierSpacing = spacing_Hz;
  how.NumPaths = job.forced;
  how.Threads = threads;
  if (job.method == flightpath::RangingMethod::MaximumLikelihood) {
    how.IntervalLevel = 0.9;
  }
  return flightpath::Ranger(static_cast<std::uint32_t>(job.N), how);
}

inline Bits solve(flightpath::Ranger& ranger, const BatchJob& job) {
  return bitsOf(ranger.estimate({job.batch, static_cast<std::size_t>(job.N)}));
}

inline std::string describe(const BatchJob& job) {
  return std::to_string(job.N) + " subcarriers, method " +
         std::to_string(static_cast<int>(job.method)) + ", " +
         (job.forced ? std::to_string(*job.forced) + " forced" : "estimated count");
}

}  // namespace support
