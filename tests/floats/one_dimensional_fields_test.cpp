#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "flightpath/api/music_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/floats/bad_values.h"
#include "tests/floats/outcomes.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"
#include "tests/support/same_bits.h"

using support::allRoutes;
using support::infinity;
using support::largestFloat;
using support::largestSubnormal;
using support::notANumber;
using support::Outcome;
using support::parametersFor;
using support::sameBits;
using support::smallestSubnormal;

namespace {

constexpr int N = 40;

constexpr const support::RouteSettings& fft = allRoutes[1];
constexpr const support::RouteSettings& onGrid = allRoutes[2];
constexpr const support::RouteSettings& classic = allRoutes[3];

MUSICResult estimate(const MUSICParameters& p) {
  MUSICResult result;
  MUSICLib().MUSIC1D(support::threeTones(N), &p, &result);
  return result;
}

void expectSame(const MUSICResult& a, const MUSICResult& b) {
  EXPECT_TRUE(sameBits(a.NormalizedFreqs, b.NormalizedFreqs));
  EXPECT_TRUE(sameBits(a.PeakValues, b.PeakValues));
  EXPECT_TRUE(sameBits(a.NumSignals, b.NumSignals));
  EXPECT_TRUE(sameBits(a.ScannedFreqs, b.ScannedFreqs));
  EXPECT_TRUE(sameBits(a.PseudoSpectrum, b.PseudoSpectrum));
}

Outcome outcomeOf(const MUSICParameters& p) {
  try {
    const MUSICResult r = estimate(p);
    expectSame(estimate(p), r);
    EXPECT_EQ(r.PeakValues.numel, r.NormalizedFreqs.numel);
    EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedFreqs.numel);
    return support::outcome(r.NormalizedFreqs, r.PseudoSpectrum.numel);
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
  for (const Row& row : table) {
    SCOPED_TRACE(testing::Message() << row.value << ": " << row.why);
    MUSICParameters p = parametersFor(fft, N);
    setField(p, row.value);
    EXPECT_EQ(outcomeOf(p), row.expected);
  }
}

MUSICParameters withGrid(const support::RouteSettings& route, float first) {
  MUSICParameters p = parametersFor(route, N);
  p.NormalizedScanningFreqs[0] = first;
  return p;
}

}  // namespace

// The FFT has 2^round(log2(1 / step)) points.
TEST(BadOneDimensionalFields, CoarseResolution) {
  check(
      {
          {notANumber, Outcome::Nothing, "a length of NaN has no point"},
          {-notANumber, Outcome::Nothing, "the same"},
          {infinity, Outcome::TooLong, "no coarse point, yet 2 inf / fine + 1 fine ones"},
          {-infinity, Outcome::Nothing, "1 / step is -0: length 2^-inf"},
          {largestFloat, Outcome::TooLong, "length 2^-128, but the fine points overflow"},
          {-largestFloat, Outcome::Nothing, "a negative step has no logarithm"},
          {largestSubnormal, Outcome::TooLong, "length 2^126"},
          {-largestSubnormal, Outcome::Nothing, "no logarithm"},
          {smallestSubnormal, Outcome::TooLong, "the reciprocal overflows"},
          {-smallestSubnormal, Outcome::Nothing, "no logarithm"},
          {0.0F, Outcome::TooLong, "length infinite"},
          {-0.0F, Outcome::Nothing, "no logarithm of -inf"},
      },
      [](MUSICParameters& p, float value) { p.CoarseResolution = value; });
}

// 2 coarse / fine + 1 points around each of three peaks.
TEST(BadOneDimensionalFields, FineResolution) {
  check(
      {
          {notANumber, Outcome::Nothing, "NaN points: none"},
          {-notANumber, Outcome::Nothing, "the same"},
          {infinity, Outcome::ThreePointsThreePaths, "one point"},
          {-infinity, Outcome::ThreePointsThreePaths, "-0 + 1 points: one"},
          {largestFloat, Outcome::ThreePointsThreePaths, "1 and a little: one"},
          {-largestFloat, Outcome::ThreePointsThreePaths, "1 less a subnormal rounds to one"},
          {largestSubnormal, Outcome::TooLong, "1e35 points"},
          {-largestSubnormal, Outcome::Nothing, "fewer than no points"},
          {smallestSubnormal, Outcome::TooLong, "the quotient overflows"},
          {-smallestSubnormal, Outcome::Nothing, "-inf points"},
          {0.0F, Outcome::TooLong, "infinitely many"},
          {-0.0F, Outcome::Nothing, "-inf points"},
      },
      [](MUSICParameters& p, float value) { p.FineResolution = value; });
}

// Below one signal there is no signal space: a flat spectrum has no peak. From M on no noise space is
// left, every value of the fine search is infinite, and where the paths lie is rounding.
TEST(BadOneDimensionalFields, ForcedCount) {
  struct CountRow {
    float count;
    bool searches;
    const char* why;
  };
  const CountRow table[] = {
      {notANumber, false, "truncates to no signal"},
      {-notANumber, false, "the same"},
      {infinity, true, "no noise space"},
      {-infinity, false, "no signal space"},
      {largestFloat, true, "no noise space"},
      {-largestFloat, false, "no signal space"},
      {largestSubnormal, false, "truncates to 0"},
      {-largestSubnormal, false, "truncates to 0"},
      {smallestSubnormal, false, "truncates to 0"},
      {-smallestSubnormal, false, "truncates to 0"},
      {0.0F, false, "none asked for"},
      {-0.0F, false, "none asked for"},
  };
  for (const CountRow& row : table) {
    MUSICParameters p = parametersFor(fft, N);
    p.InputNumSignals.data = row.count;
    const MUSICResult r = estimate(p);
    EXPECT_TRUE(sameBits(r.NumSignals, row.count)) << "used as it is: " << row.why;
    if (row.searches) {
      EXPECT_TRUE(std::ranges::all_of(r.PeakValues, [](float v) { return v == infinity; }));
      EXPECT_TRUE(std::ranges::all_of(r.NormalizedFreqs, [](float f) {
        return std::fabs(f) < 0.501F;
      })) << row.why;
    } else {
      EXPECT_EQ(r.NormalizedFreqs.numel, 0) << row.why;
      EXPECT_EQ(r.PseudoSpectrum.numel, 0) << row.why;
    }
  }
}

// EXACT: a grid point that is not a frequency is not near any peak, and one at zero neither: each is
// passed over like a point far off.
TEST(BadOneDimensionalFields, GridPointsFarFromEveryPeakArePassedOver) {
  const MUSICResult expected = estimate(withGrid(onGrid, 0.45F));
  ASSERT_EQ(expected.NormalizedFreqs.numel, 3);
  for (const support::BadValue& bad : support::badValues) {
    SCOPED_TRACE(bad.name);
    expectSame(estimate(withGrid(onGrid, bad.value)), expected);
  }
}

// EXACT: the point's own value alone is NaN, or the one at frequency zero; 2 pi times the largest float
// overflows.
TEST(BadOneDimensionalFields, ClassicGridPointsSpoilTheirOwnValueAlone) {
  const MUSICResult expected = estimate(withGrid(classic, 0.0F));
  ASSERT_EQ(expected.NormalizedFreqs.numel, 3);
  for (const support::BadValue& bad : support::badValues) {
    SCOPED_TRACE(bad.name);
    const MUSICResult r = estimate(withGrid(classic, bad.value));
    EXPECT_TRUE(sameBits(r.NormalizedFreqs, expected.NormalizedFreqs));
    EXPECT_TRUE(sameBits(r.PeakValues, expected.PeakValues));
    EXPECT_TRUE(sameBits(r.ScannedFreqs[0], bad.value));
    EXPECT_TRUE(sameBits(r.PseudoSpectrum[0],
                         support::vanishes(bad.value) ? expected.PseudoSpectrum[0] : notANumber));
    for (int k = 1; k < r.PseudoSpectrum.numel; ++k) {
      ASSERT_TRUE(sameBits(r.PseudoSpectrum[k], expected.PseudoSpectrum[k])) << k;
    }
  }
}

// EXACT
TEST(BadOneDimensionalFields, InitStoresEveryValue) {
  const int given[] = {1, 1};
  for (const support::BadValue& bad : support::badValues) {
    MUSICParameters p;
    p.init(support::row({bad.value}), &bad.value, given, 0, 0, 0, bad.value, bad.value);
    for (const float held : {p.NormalizedScanningFreqs[0], p.InputNumSignals.data,
                             p.CoarseResolution, p.FineResolution}) {
      EXPECT_TRUE(sameBits(held, bad.value)) << bad.name;
      EXPECT_EQ(std::signbit(held), std::signbit(bad.value)) << bad.name;
    }
  }
}
