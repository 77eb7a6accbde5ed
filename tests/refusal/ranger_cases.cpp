#include <cstddef>
#include <limits>
#include <optional>
#include <random>

#include "tests/refusal/failure_points.h"
#include "tests/support/ranging.h"

namespace refusal {
namespace {

using support::options;
using support::PathSet;
using support::Ranger;
using support::RangingOptions;
using support::Samples;

constexpr unsigned N = 24;

/// Measurements that take every way through the engine: none to four paths, noisy and noise-free, all
/// zero, not finite.
Samples batch() {
  std::mt19937_64 random(78);
  Samples all;
  for (const double snr_dB : {15.0, 40.0, std::numeric_limits<double>::infinity()}) {
    for (int numPaths = 0; numPaths <= 4; ++numPaths) {
      const auto paths = support::randomPaths(numPaths, N, random);
      const Samples x = simulateChannel(paths, {N, support::spacing_Hz, snr_dB}, random);
      all.insert(all.end(), x.begin(), x.end());
    }
  }
  all.resize(all.size() + N);
  all.resize(all.size() + N, {std::numeric_limits<float>::quiet_NaN(), 1.0F});
  return all;
}

/// An engine as its constructor leaves it; what it is, its answers show.
struct Built {
  std::optional<Ranger> ranger;
  unsigned numSubcarriers = N;
  PathSet answers;

  std::tuple<const PathSet&> parts() {
    const Samples x(numSubcarriers, {1.0F, 0.5F});
    if (ranger) {
      answers = ranger->estimate(x);
    }
    return std::tie(answers);
  }
};

std::unique_ptr<Scenario> constructing(unsigned numSubcarriers, RangingOptions how) {
  return filling<Built>(Nothing(), [numSubcarriers, how](auto&, Built& b) {
    b.numSubcarriers = numSubcarriers;
    b.ranger.reset();
    b.ranger.emplace(numSubcarriers, how);
  });
}

struct Working {
  Ranger ranger;
  PathSet answers = {};

  auto parts() const { return std::tie(answers); }
};

std::unique_ptr<Scenario> estimating(RangingOptions how) {
  return changing(batch(), Working{Ranger(N, how)}, [](const Samples& x, Working& w) {
    w.ranger.estimate({x, N}, w.answers);
  });
}

/// The same where engine and answers have served a smaller batch.
std::unique_ptr<Scenario> estimatingAgain(RangingOptions how) {
  const Samples x = batch();
  Working used = {Ranger(N, how)};
  used.ranger.estimate({x.data() + std::size_t{4} * N, N, N}, used.answers);
  return changing(x, std::move(used), [](const Samples& all, Working& w) {
    w.ranger.estimate({all, N}, w.answers);
  });
}

RangingOptions tinySpacing() { return support::withSpacing(1e-44); }

const Case rangerCases[] = {
    {"constructor", [] { return constructing(N, options()); }},
    {"constructor for one subcarrier", [] { return constructing(1, options()); }},
    {"constructor for an order with the rough factor",
     [] { return constructing(520, options(1)); }},
    {"constructor with four threads", [] { return constructing(N, options({}, 4)); }},
    {"constructor for no subcarrier", [] { return constructing(0, options()); },
     Outcome::InvalidArgument},
    {"constructor with too many threads", [] { return constructing(N, options({}, 5000)); },
     Outcome::InvalidArgument},
    {"constructor without a spacing", [] { return constructing(N, RangingOptions()); },
     Outcome::InvalidArgument},
    {"constructor with a spacing out of range", [] { return constructing(N, tinySpacing()); },
     Outcome::InvalidArgument},
    {"estimate", [] { return estimating(options()); }},
    {"estimate of a forced one", [] { return estimating(options(1)); }},
    {"estimate of a forced three", [] { return estimating(options(3)); }},
    {"estimate of a forced count above the order", [] { return estimating(options(255)); }},
    {"estimate with four threads", [] { return estimating(options({}, 4)); }},
    {"estimate again", [] { return estimatingAgain(options()); }},
    {"estimate again with four threads", [] { return estimatingAgain(options({}, 4)); }},
    {"estimate that returns its paths",
     [] {
       return changing(batch(), Working{Ranger(N, options())}, [](const Samples& x, Working& w) {
         w.answers = w.ranger.estimate({x, N});
       });
     }},
    {"estimate of a null pointer",
     [] {
       return changing(Nothing(), Working{Ranger(N, options())}, [](auto&, Working& w) {
         w.ranger.estimate({static_cast<const creal32_T*>(nullptr), N, N}, w.answers);
       });
     },
     Outcome::InvalidArgument},
    {"estimate of a Ranger that was moved from",
     [] {
       Working w = {Ranger(N, options())};
       const Ranger taken = std::move(w.ranger);
       return changing(Nothing(), std::move(w), [](auto&, Working& empty) {
         const creal32_T sample = {};
         empty.ranger.estimate({&sample, 1, 1}, empty.answers);
       });
     },
     Outcome::LogicError, true},
};

const Case quietRangerCases[] = {
    {"move of a Ranger",
     [] {
       return changing(Nothing(), Working{Ranger(N, options())}, [](auto&, Working& w) {
         Ranger taken(std::move(w.ranger));
         w.ranger = std::move(taken);
       });
     }},
    {"estimate of a batch of known size",
     [] {
       const Samples x = batch();
       Working used = {Ranger(N, options())};
       used.ranger.estimate({x, N}, used.answers);
       return changing(x, std::move(used), [](const Samples& all, Working& w) {
         w.ranger.estimate({all, N}, w.answers);
       });
     }},
};

INSTANTIATE_TEST_SUITE_P(Ranger, Allocating, testing::ValuesIn(rangerCases), testName);
INSTANTIATE_TEST_SUITE_P(Ranger, NotAllocating, testing::ValuesIn(quietRangerCases), testName);

}  // namespace
}  // namespace refusal
