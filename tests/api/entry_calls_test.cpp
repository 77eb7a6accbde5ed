#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "simulated_channel.h"
#include "tests/support/call_counter.h"

/// Every call of the entry point into foreign libraries, in order. All checks are of the class EXACT.
namespace {

using support::CallLines;
using support::CallLog;

std::vector<creal32_T> twoPaths() {
  std::mt19937_64 random(3);
  return simulateChannel({{0.4e-6, 1.0, 0.4}, {1.5e-6, 1.0, 2.0}}, {8, 312500.0, 40.0}, random);
}

CallLines callsOfEstimateToF(std::optional<unsigned char> forced) {
  const std::vector<creal32_T> samples = twoPaths();
  CallLog log;
  MUSIC::estimateToF({312500, 8, samples.data()}, forced);
  return log.take();
}

}  // namespace

// BLAS on one thread first; the object's plan is gone at the end.
TEST(EntryCalls, SearchingForTwoPaths) {
  EXPECT_EQ(callsOfEstimateToF(2),
            (CallLines{"blas threads 1", "cgemm N C 6 6 3", "cheev V L 6", "lock",
                       "plan 1: 256 (1, 1) x 1 (1, 1), -1, 80", "unlock", "execute 1", "execute 1",
                       "snrm2 256", "cgemm C N 101 4 6", "cgemm C N 101 4 6", "lock", "destroy 1",
                       "unlock"}));
}

TEST(EntryCalls, OnePathByTheClosedForm) {
  EXPECT_EQ(callsOfEstimateToF(1), (CallLines{"blas threads 1", "cgemm N C 6 6 3", "cheev V L 6"}));
}

TEST(EntryCalls, NothingMeasured_BlasIsSetAllTheSame) {
  CallLog log;
  MUSIC::estimateToF({312500, 0, nullptr}, 1);
  EXPECT_EQ(log.take(), CallLines{"blas threads 1"});
}
