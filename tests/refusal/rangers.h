#pragma once

#include <cstddef>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <tuple>
#include <utility>

#include "tests/refusal/scenario.h"
#include "tests/support/ranging.h"

/// Rangers being made and at work, on measurements that the cases of both methods share.
namespace refusal {

using support::PathSet;
using support::Ranger;
using support::RangingOptions;

constexpr unsigned N = 24;

/// Measurements that take every way through the engine: none to four paths, noisy and noise-free, all
/// zero, not finite.
inline support::Samples batch() {
  std::mt19937_64 random(78);
  support::Samples all;
  for (const double snr_dB : {15.0, 40.0, std::numeric_limits<double>::infinity()}) {
    for (int numPaths = 0; numPaths <= 4; ++numPaths) {
      const auto paths = support::randomPaths(numPaths, N, random);
      const support::Samples x = simulateChannel(paths, {N, support::spacing_Hz, snr_dB}, random);
      all.insert(all.end(), x.begin(), x.end());
    }
  }
  all.resize(all.size() + N);
  all.resize(all.size() + N, {std::numeric_limits<float>::quiet_NaN(), 1.0F});
  return all;
}

/// Some of them.
inline support::Samples rowsOfBatch(std::initializer_list<std::ptrdiff_t> rows) {
  const support::Samples all = batch();
  support::Samples some;
  for (const std::ptrdiff_t row : rows) {
    some.insert(some.end(), all.begin() + row * N, all.begin() + (row + 1) * N);
  }
  return some;
}

/// An engine as its constructor leaves it; what it is, its answers show.
struct Built {
  std::optional<Ranger> ranger;
  unsigned numSubcarriers = N;
  unsigned rowsPerEstimate = 1;
  PathSet answers;

  std::tuple<const PathSet&> parts() {
    const support::Samples x(std::size_t{numSubcarriers} * rowsPerEstimate, {1.0F, 0.5F});
    if (ranger) {
      answers = ranger->estimate({x, numSubcarriers});
    }
    return std::tie(answers);
  }
};

inline std::unique_ptr<Scenario> constructing(unsigned numSubcarriers, RangingOptions how) {
  return filling<Built>(Nothing(), [numSubcarriers, how](auto&, Built& b) {
    b.numSubcarriers = numSubcarriers;
    b.rowsPerEstimate = how.SnapshotsPerEstimate;
    b.ranger.reset();
    b.ranger.emplace(numSubcarriers, how);
  });
}

struct Working {
  Ranger ranger;
  PathSet answers = {};

  auto parts() const { return std::tie(answers); }
};

inline std::unique_ptr<Scenario> estimating(support::Samples batch, const RangingOptions& how) {
  return changing(std::move(batch), Working{Ranger(N, how)},
                  [](const support::Samples& x, Working& w) {
                    w.ranger.estimate({x, N}, w.answers);
                  });
}

/// The same where engine and answers have served the estimates behind the first `skipped` rows.
inline std::unique_ptr<Scenario> estimatingAgain(const support::Samples& batch,
                                                 const RangingOptions& how, std::size_t skipped) {
  Working used = {Ranger(N, how)};
  used.ranger.estimate({batch.data() + skipped * N, batch.size() - skipped * N, N}, used.answers);
  return changing(batch, std::move(used), [](const support::Samples& x, Working& w) {
    w.ranger.estimate({x, N}, w.answers);
  });
}

}  // namespace refusal
