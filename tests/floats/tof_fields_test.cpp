#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>
#include <vector>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/floats/bad_values.h"
#include "tests/floats/outcomes.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::allRoutes;
using support::infinity;
using support::largestFloat;
using support::largestSubnormal;
using support::notANumber;
using support::Outcome;
using support::sameBits;
using support::smallestSubnormal;

namespace {

constexpr int N = 40;

ToFResult estimate(const ToFEstimationParameters& p) {
  ToFResult result;
  MUSICLib().MUSICToF(support::threeTones(N), &p, &result);
  return result;
}

void expectSame(const ToFResult& a, const ToFResult& b) {
  EXPECT_TRUE(sameBits(a.Distances, b.Distances));
  EXPECT_TRUE(sameBits(a.PeakValues, b.PeakValues));
  EXPECT_TRUE(sameBits(a.NumSignals, b.NumSignals));
  EXPECT_TRUE(sameBits(a.ScannedDistances, b.ScannedDistances));
  EXPECT_TRUE(sameBits(a.PseudoSpectrum, b.PseudoSpectrum));
}

Outcome outcomeOf(const ToFEstimationParameters& p) {
  try {
    const ToFResult r = estimate(p);
    expectSame(estimate(p), r);
    EXPECT_EQ(r.PeakValues.numel, r.Distances.numel);
    EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedDistances.numel);
    return support::outcome(r.Distances, r.PseudoSpectrum.numel);
  } catch (const std::length_error&) {
    return Outcome::TooLong;
  }
}

struct Row {
  float value;
  Outcome expected;
  const char* why;
};

template <class SetField>
void check(const std::vector<Row>& table, SetField setField) {
  const support::RouteSettings& fft = allRoutes[1];
  for (const Row& row : table) {
    SCOPED_TRACE(testing::Message() << row.value << ": " << row.why);
    ToFEstimationParameters p = support::tofParametersFor(fft, N);
    setField(p, row.value);
    EXPECT_EQ(outcomeOf(p), row.expected);
  }
}

}  // namespace

// The coarse step is (c / (N df) / 30) df / c and the FFT has 2^round(log2(1 / step)) points; the steps
// that a field's value leads to are in the rows.
TEST(BadToFFields, NumSubcarriers) {
  check(
      {
          {notANumber, Outcome::Nothing, "a length of NaN has no point"},
          {-notANumber, Outcome::Nothing, "the same"},
          {infinity, Outcome::TooLong, "step 0, length infinite"},
          {-infinity, Outcome::Nothing, "step -0, 1 / step -inf, logarithm NaN"},
          {largestFloat, Outcome::TooLong, "the bandwidth overflows: step 0"},
          {-largestFloat, Outcome::Nothing, "step -0"},
          {largestSubnormal, Outcome::Nothing, "c / bandwidth overflows: step inf, length 2^-inf"},
          {-largestSubnormal, Outcome::Nothing, "step -inf"},
          {smallestSubnormal, Outcome::Nothing, "step inf"},
          {-smallestSubnormal, Outcome::Nothing, "step -inf"},
          {0.0F, Outcome::Nothing, "no bandwidth: step inf"},
          {-0.0F, Outcome::Nothing, "step -inf"},
      },
      [](ToFEstimationParameters& p, float value) { p.NumSubcarriers = value; });
}

TEST(BadToFFields, SubcarrierSpacing) {
  check(
      {
          {notANumber, Outcome::Nothing, "a length of NaN"},
          {-notANumber, Outcome::Nothing, "the same"},
          {infinity, Outcome::Nothing, "0 m times inf Hz: NaN"},
          {-infinity, Outcome::Nothing, "NaN"},
          {largestFloat, Outcome::TooLong, "the bandwidth overflows: step 0 m, and 0"},
          {-largestFloat, Outcome::TooLong, "-0 m times a negative spacing: step +0"},
          {largestSubnormal, Outcome::Nothing, "c / bandwidth overflows: step inf"},
          {-largestSubnormal, Outcome::Nothing, "-inf m times a negative spacing: step inf"},
          {smallestSubnormal, Outcome::Nothing, "step inf"},
          {-smallestSubnormal, Outcome::Nothing, "step inf"},
          {0.0F, Outcome::Nothing, "inf m times 0 Hz: NaN"},
          {-0.0F, Outcome::Nothing, "NaN"},
      },
      [](ToFEstimationParameters& p, float value) { p.SubcarrierSpacing = value; });
}

TEST(BadToFFields, CoarseResolution) {
  check(
      {
          {notANumber, Outcome::Nothing, "a length of NaN"},
          {-notANumber, Outcome::Nothing, "the same"},
          {infinity, Outcome::TooLong, "no coarse point, yet 2 inf / fine + 1 fine ones"},
          {-infinity, Outcome::Nothing, "1 / step is -0: length 2^-inf"},
          {largestFloat, Outcome::TooLong, "step overflows to inf: the same"},
          {-largestFloat, Outcome::Nothing, "step -inf"},
          {largestSubnormal, Outcome::TooLong, "step 1.2e-41, its reciprocal overflows"},
          {-largestSubnormal, Outcome::Nothing, "a negative step has no logarithm"},
          {smallestSubnormal, Outcome::TooLong, "step 0"},
          {-smallestSubnormal, Outcome::Nothing, "step -0"},
          {0.0F, Outcome::TooLong, "step 0"},
          {-0.0F, Outcome::Nothing, "step -0"},
      },
      [](ToFEstimationParameters& p, float value) { p.set_CoarseResolution(value); });
}

// 2 coarse / fine + 1 points around each of three peaks.
TEST(BadToFFields, FineResolution) {
  check(
      {
          {notANumber, Outcome::Nothing, "NaN points: none"},
          {-notANumber, Outcome::Nothing, "the same"},
          {infinity, Outcome::ThreePointsThreePaths, "one point"},
          {-infinity, Outcome::ThreePointsThreePaths, "-0 + 1 points: one"},
          {largestFloat, Outcome::ThreePointsThreePaths, "step overflows to inf: one point"},
          {-largestFloat, Outcome::ThreePointsThreePaths, "one point"},
          {largestSubnormal, Outcome::TooLong, "1e38 points"},
          {-largestSubnormal, Outcome::Nothing, "fewer than no points"},
          {smallestSubnormal, Outcome::TooLong, "step 0"},
          {-smallestSubnormal, Outcome::Nothing, "step -0"},
          {0.0F, Outcome::TooLong, "step 0"},
          {-0.0F, Outcome::Nothing, "-inf points"},
      },
      [](ToFEstimationParameters& p, float value) { p.set_FineResolution(value); });
}

// All but the resolutions' own routes take no notice of them.
TEST(BadToFFields, ResolutionsMatterToTheFftRoutesAlone) {
  for (const std::size_t route : {std::size_t{0}, std::size_t{3}}) {
    const ToFResult expected = estimate(support::tofParametersFor(allRoutes[route], N));
    for (const support::BadValue& bad : support::badValues) {
      SCOPED_TRACE(testing::Message() << allRoutes[route].name << ", " << bad.name);
      ToFEstimationParameters p = support::tofParametersFor(allRoutes[route], N);
      p.set_CoarseResolution(bad.value);
      p.set_FineResolution(bad.value);
      p.NumSubcarriers = bad.value;
      expectSame(estimate(p), expected);
    }
  }
}

// The closed form: distance = (f / df) c with |f| about 0.02, positive here.
TEST(BadToFFields, SpacingOfTheClosedForm) {
  struct SpacingRow {
    float spacing;
    float expected;
    const char* why;
  };
  const SpacingRow table[] = {
      {notANumber, notANumber, "NaN stays"},
      {infinity, 0.0F, "f / inf"},
      {-infinity, -0.0F, "f / -inf"},
      {0.0F, infinity, "f / 0"},
      {-0.0F, -infinity, "f / -0"},
      {smallestSubnormal, infinity, "overflows"},
      {-smallestSubnormal, -infinity, "overflows"},
      {largestSubnormal, infinity, "the quotient is 2e36, c times that overflows"},
      {-largestSubnormal, -infinity, "the same"},
  };
  std::mt19937_64 random(1);
  const array<creal32_T, 1> x = support::measure({{0.02}}, N, 30.0, random);
  for (const SpacingRow& row : table) {
    ToFEstimationParameters p = support::tofParametersFor(allRoutes[0], N);
    p.SubcarrierSpacing = row.spacing;
    ToFResult r;
    MUSICLib().MUSICToF(x, &p, &r);
    EXPECT_TRUE(sameBits(r.Distances, support::row({row.expected}))) << row.why;
    EXPECT_TRUE(sameBits(r.ScannedDistances, support::row({row.expected}))) << row.why;
    EXPECT_EQ(r.NumSignals, 1.0F) << row.why;
  }
}

// EXACT: nothing is checked or clamped, so every field holds what it was given.
TEST(BadToFFields, InitStoresEveryValue) {
  for (const support::BadValue& bad : support::badValues) {
    const array<float, 2> given = support::row({bad.value});
    ToFEstimationParameters p;
    p.init(bad.value, bad.value, given, given, 0, 0, 0, given, given);
    for (const float held : {p.NumSubcarriers, p.SubcarrierSpacing, p.ScanningDistances[0],
                             p.InputNumSignals[0], p.CoarseResolution[0], p.FineResolution[0]}) {
      EXPECT_TRUE(sameBits(held, bad.value)) << bad.name;
      EXPECT_EQ(std::signbit(held), std::signbit(bad.value)) << bad.name;
    }
  }
}
