#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/music/signal_count.h"
#include "flightpath/rules/phase_slope.h"
#include "tests/floats/records.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using support::estimateRecord;
using support::Record;
using support::sameBits;

namespace {

constexpr double noNoise = std::numeric_limits<double>::infinity();

struct NamedRecord {
  Record x;
  const char* name;
};

std::vector<NamedRecord> recordsOf(int N) {
  const auto n = static_cast<std::size_t>(N);
  Record alternating(n, {1.0F, 0.0F});
  for (std::size_t k = 1; k < n; k += 2) {
    alternating[k].re = -1.0F;
  }
  return {
      {Record(n), "all zero"},
      {Record(n, {0.5F, -2.0F}), "constant"},
      {Record(n, {1e-20F, 0.0F}), "constant, its square subnormal"},
      {Record(n, {1e19F, 0.0F}), "constant, its square near the largest float"},
      {alternating, "alternating signs: the end of the period"},
      {support::ordinaryRecord(N, 2, 30.0, 6), "two paths"},
      {support::ordinaryRecord(N, 2, noNoise, 6), "two paths without noise"},
      {support::ordinaryRecord(N, 0, 0.0, 6), "noise"},
  };
}

}  // namespace

// EXACT
TEST(RecordLengths, EveryShortOneGivesAConsistentAnswerTwice) {
  for (int N = 0; N <= 40; ++N) {
    for (const NamedRecord& record : recordsOf(N)) {
      for (const int forced : {-1, 0, 1, 3, 40}) {  // 40 leaves no noise space
        SCOPED_TRACE(testing::Message() << record.name << ", N " << N << ", forced " << forced);
        const ToFEstimate found = estimateRecord(record.x, forced);
        ASSERT_EQ(found.Distances.size(), found.TimesOfFlight.size());
        if (forced >= 0) {
          EXPECT_LE(found.Distances.size(), static_cast<std::size_t>(forced));
        }
        const ToFEstimate again = estimateRecord(record.x, forced);
        ASSERT_EQ(again.Distances.size(), found.Distances.size());
        for (std::size_t k = 0; k < found.Distances.size(); ++k) {
          EXPECT_TRUE(sameBits(again.Distances[k], found.Distances[k]));
          EXPECT_EQ(std::isfinite(found.Distances[k]), N >= 2 || forced != 1)
              << "NaN only from the closed form without a phase step";
        }
      }
    }
  }
}

// EXACT: no eigenvalue is left to count.
TEST(RecordLengths, AllZeroHasNoSignalAndNoPath) {
  for (int N = 0; N <= 40; ++N) {
    const Record zero(static_cast<std::size_t>(N));
    EXPECT_TRUE(estimateRecord(zero, -1).Distances.empty()) << N;
    for (const bool smoothed : {false, true}) {
      coder::array<creal32_T, 2> eigenvectors;
      coder::array<float, 1> eigenvalues;
      EXPECT_EQ(
          determineNumSignals(support::column(zero), smoothed ? 1 : 0, eigenvectors, eigenvalues),
          0.0F);
      EXPECT_EQ(eigenvalues.numel, 0) << N;
    }
  }
}

// EXACT: the phase does not move, so both products of the imaginary part cancel.
TEST(RecordLengths, AConstantForcedToOnePathLiesAtZero) {
  for (int N = 2; N <= 40; ++N) {
    for (const creal32_T value : {creal32_T{0.5F, -2.0F}, creal32_T{0.0F, 0.0F}}) {
      const ToFEstimate found = estimateRecord(Record(static_cast<std::size_t>(N), value), 1);
      ASSERT_EQ(found.Distances.size(), 1U) << N;
      EXPECT_EQ(found.Distances[0], 0.0) << N;
      EXPECT_EQ(found.TimesOfFlight[0], 0.0) << N;
    }
  }
}

// BOUND: the steps are a quarter turn to a unit of the last place each, and so is their mean; the
// sum in blocks of 1024 adds a unit for each of the 1024 + 64 additions at most.
TEST(RecordLengths, TheClosedFormTakesTheLongestRecord) {
  constexpr std::size_t N = 65535;
  const creal32_T turning[] = {{1.0F, 0.0F}, {0.0F, -1.0F}, {-1.0F, 0.0F}, {0.0F, 1.0F}};
  Record x(N);
  for (std::size_t k = 0; k < N; ++k) {
    x[k] = turning[k % 4];
  }
  EXPECT_NEAR(flightpath::phaseSlopeFrequency(support::column(x)), 0.25,
              1100 * 0.25 * std::numeric_limits<float>::epsilon());
}
