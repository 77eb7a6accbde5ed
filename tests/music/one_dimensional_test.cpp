#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/api/music_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/music/signal_count.h"
#include "flightpath/rules/phase_slope.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/channels.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::allRoutes;
using support::parametersFor;
using support::RouteSettings;
using support::sameBits;

namespace {

constexpr int N = 40;  // 30 dimensions

constexpr const RouteSettings& phaseSlope = allRoutes[0];
constexpr const RouteSettings& fft = allRoutes[1];
constexpr const RouteSettings& onGrid = allRoutes[2];
constexpr const RouteSettings& classic = allRoutes[3];

MUSICResult estimate(const array<creal32_T, 1>& x, const MUSICParameters& p) {
  MUSICLib obj;
  MUSICResult result;
  obj.MUSIC1D(x, &p, &result);
  return result;
}

void expectShape(const array<float, 2>& a, int rows, int cols, const char* what) {
  EXPECT_EQ(a.size[0], rows) << what;
  EXPECT_EQ(a.size[1], cols) << what;
}

void expectSame(const MUSICResult& a, const MUSICResult& b, const char* why) {
  EXPECT_TRUE(sameBits(a.PeakValues, b.PeakValues)) << why;
  EXPECT_TRUE(sameBits(a.NormalizedFreqs, b.NormalizedFreqs)) << why;
  EXPECT_TRUE(sameBits(a.NumSignals, b.NumSignals)) << why;
  EXPECT_TRUE(sameBits(a.ScannedFreqs, b.ScannedFreqs)) << why;
  EXPECT_TRUE(sameBits(a.PseudoSpectrum, b.PseudoSpectrum)) << why;
}

/// A record that has been through something larger.
MUSICResult usedResult() {
  MUSICResult r;
  r.PeakValues = support::matrix<float>(3, 2, {9, 9, 9, 9, 9, 9});
  r.NormalizedFreqs = support::evenGrid(7.0F, 1.0F, 40);
  r.NumSignals = 77.0F;
  r.ScannedFreqs = support::evenGrid(7.0F, 1.0F, 2000);
  r.PseudoSpectrum.set_size(3000);
  return r;
}

}  // namespace

// EXACT: the closed form of the same samples, beside neutral values.
TEST(MUSIC1D, PhaseSlopeRoute_OneFrequencyAndNeutralValues) {
  const array<creal32_T, 1> x = support::threeTones(N);
  const MUSICResult r = estimate(x, parametersFor(phaseSlope, N));
  const float f = flightpath::phaseSlopeFrequency(x);
  EXPECT_TRUE(sameBits(r.NormalizedFreqs, support::row({f})));
  EXPECT_TRUE(sameBits(r.ScannedFreqs, support::row({f})));
  EXPECT_TRUE(sameBits(r.PeakValues, support::row({1.0F})));
  EXPECT_TRUE(sameBits(r.PseudoSpectrum, support::column({1.0F})));
  EXPECT_EQ(r.NumSignals, 1.0F);
}

// BOUND: rounding of 39 steps.
TEST(MUSIC1D, PhaseSlopeRoute_FindsOneTone) {
  std::mt19937_64 random(1);
  const array<creal32_T, 1> x = support::measure({{0.1}}, N, support::noNoise, random);
  EXPECT_NEAR(estimate(x, parametersFor(phaseSlope, N)).NormalizedFreqs[0], 0.1, (N + 8) * 0x1p-24);
}

TEST(MUSIC1D, PhaseSlopeRoute_FewerThanTwoSamplesGiveOneNaN) {
  for (const int n : {0, 1}) {
    const MUSICResult r = estimate(support::threeTones(n), parametersFor(phaseSlope, N));
    expectShape(r.NormalizedFreqs, 1, 1, "frequencies");
    EXPECT_TRUE(std::isnan(r.NormalizedFreqs[0])) << n;
    EXPECT_TRUE(sameBits(r.PeakValues, support::row({1.0F}))) << n;
    EXPECT_EQ(r.NumSignals, 1.0F) << n;
  }
}

TEST(MUSIC1D, FftRoute_RowsOfOnePathAColumn) {
  const MUSICResult r = estimate(support::threeTones(N), parametersFor(fft, N));
  expectShape(r.NormalizedFreqs, 1, 3, "frequencies");
  expectShape(r.PeakValues, 1, 3, "peak values");
  EXPECT_EQ(r.ScannedFreqs.size[0], 1);
  EXPECT_EQ(r.ScannedFreqs.size[1] % 3, 0);
  EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedFreqs.size[1]);
  EXPECT_EQ(r.NumSignals, 3.0F);
  const int rows = r.ScannedFreqs.size[1] / 3;
  for (int k = 0; k < 3; ++k) {
    const float* const column = r.PseudoSpectrum.data + static_cast<std::ptrdiff_t>(k) * rows;
    const auto best = static_cast<int>(std::max_element(column, column + rows) - column);
    EXPECT_TRUE(sameBits(r.PeakValues[k], column[best])) << "the largest of its column";
    EXPECT_TRUE(sameBits(r.NormalizedFreqs[k], r.ScannedFreqs[k * rows + best])) << "and its place";
  }
}

TEST(MUSIC1D, FftRouteOnGrid_ReportsGridPointsOnly) {
  const MUSICParameters p = parametersFor(onGrid, N);
  const MUSICResult r = estimate(support::threeTones(N), p);
  expectShape(r.NormalizedFreqs, 1, 3, "frequencies");
  expectShape(r.PeakValues, 1, 3, "peak values");
  const std::vector<float> grid = support::toVector(p.NormalizedScanningFreqs);
  for (const array<float, 2>& list : {r.NormalizedFreqs, r.ScannedFreqs}) {
    for (const float f : list) {
      EXPECT_NE(std::ranges::find(grid, f), grid.end()) << f;
    }
  }
  EXPECT_EQ(r.ScannedFreqs.size[1] % 3, 0) << "equally many for every peak";
  EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedFreqs.size[1]);
}

TEST(MUSIC1D, ClassicRoute_PeakValuesAreAColumn_TallestFirst) {
  const MUSICParameters p = parametersFor(classic, N);
  const MUSICResult r = estimate(support::threeTones(N), p);
  expectShape(r.NormalizedFreqs, 1, 3, "frequencies");
  expectShape(r.PeakValues, 3, 1, "peak values");
  EXPECT_TRUE(sameBits(r.ScannedFreqs, p.NormalizedScanningFreqs));
  EXPECT_EQ(r.PseudoSpectrum.numel, 1001);
  EXPECT_GE(r.PeakValues[0], r.PeakValues[1]);
  EXPECT_GE(r.PeakValues[1], r.PeakValues[2]);
  for (int k = 0; k < 3; ++k) {
    const auto at =
        std::ranges::find(r.ScannedFreqs, r.NormalizedFreqs[k]) - r.ScannedFreqs.begin();
    EXPECT_TRUE(sameBits(r.PseudoSpectrum[static_cast<int>(at)], r.PeakValues[k]));
  }
}

TEST(MUSIC1D, HalfTheSpaceSignalTakesTheClassicRouteUnasked) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const float s : {14.0F, 14.9F, 15.0F, 29.0F}) {
    MUSICParameters p = parametersFor(onGrid, N);
    p.InputNumSignals.data = s;
    const MUSICResult r = estimate(x, p);
    const bool isClassic = sameBits(r.ScannedFreqs, p.NormalizedScanningFreqs);
    EXPECT_EQ(isClassic, s >= 15.0F) << s << " of 30 dimensions";
    EXPECT_EQ(r.PeakValues.size[isClassic ? 1 : 0], 1) << s;
  }
}

TEST(MUSIC1D, WithoutAGridForceClassicChangesNothing_ButTheShortcut) {
  const array<creal32_T, 1> x = support::threeTones(N);
  MUSICParameters p = parametersFor(fft, N);
  const MUSICResult free = estimate(x, p);
  p.ForceClassic = 1;
  expectSame(estimate(x, p), free, "three signals");
  p.InputNumSignals.data = 1.0F;
  EXPECT_GT(estimate(x, p).PseudoSpectrum.numel, 1) << "one signal: searched all the same";
}

TEST(MUSIC1D, CountIsEstimatedWhereNoneIsGiven) {
  const array<creal32_T, 1> x = support::threeTones(N);
  array<creal32_T, 2> eigenvectors;
  array<float, 1> eigenvalues;
  for (const unsigned char smooth : {false, true}) {
    const float estimated = determineNumSignals(x, smooth, eigenvectors, eigenvalues);
    for (const auto& [rows, cols] :
         {std::pair(0, 0), std::pair(1, 0), std::pair(0, 1), std::pair(-1, 0), std::pair(0, -1)}) {
      MUSICParameters p = parametersFor(fft, N);
      p.MeasurementContinual = smooth;
      p.InputNumSignals.size[0] = rows;
      p.InputNumSignals.size[1] = cols;
      EXPECT_EQ(estimate(x, p).NumSignals, estimated) << rows << " x " << cols;
    }
  }
}

// Which no estimate gives for these samples: what comes back is what was forced.
TEST(MUSIC1D, CountIsGivenWhereBothItsExtentsAreNonZero) {
  constexpr float forced = 7.0F;
  for (const auto& [rows, cols] :
       {std::pair(1, 1), std::pair(2, 3), std::pair(-1, -1), std::pair(-1, 1), std::pair(1, -1)}) {
    MUSICParameters p = parametersFor(fft, N);
    p.InputNumSignals = {forced, {rows, cols}};
    EXPECT_EQ(estimate(support::threeTones(N), p).NumSignals, forced) << rows << " x " << cols;
  }
}

// A coarse peak with no grid point near it: no path, but the count stands.
TEST(MUSIC1D, FftRouteOnGrid_WithoutANearPointReportsNoPath) {
  MUSICParameters p = parametersFor(onGrid, N);
  p.NormalizedScanningFreqs = support::row({-0.4F, 0.0F, 0.2F});
  const MUSICResult r = estimate(support::threeTones(N), p);
  expectShape(r.NormalizedFreqs, 1, 0, "frequencies");
  expectShape(r.PeakValues, 1, 0, "peak values");
  expectShape(r.ScannedFreqs, 1, 0, "scanned");
  EXPECT_EQ(r.PseudoSpectrum.numel, 0);
  EXPECT_EQ(r.NumSignals, 3.0F);
}

TEST(MUSIC1D, NoSampleGivesNoPathOnTheSearchRoutes) {
  for (const RouteSettings* route : {&fft, &onGrid, &classic}) {
    const int before = support::callCounts().matrixProducts;
    const MUSICResult r = estimate({}, parametersFor(*route, N));
    expectShape(r.NormalizedFreqs, 1, 0, route->name);
    EXPECT_EQ(r.PeakValues.numel, 0) << route->name;
    EXPECT_EQ(r.NumSignals, 3.0F) << route->name;
    EXPECT_EQ(support::callCounts().matrixProducts, before) << route->name;
  }
}

TEST(MUSIC1D, NonFiniteSamplesCountNoSignal_NothingIsFound) {
  array<creal32_T, 1> x = support::threeTones(N);
  x[3].re = rtInfF;
  for (const RouteSettings* route : {&fft, &onGrid, &classic}) {
    MUSICParameters p = parametersFor(*route, N);
    p.InputNumSignals.size[0] = 0;
    const MUSICResult r = estimate(x, p);
    EXPECT_EQ(r.NumSignals, 0.0F) << route->name;
    expectShape(r.NormalizedFreqs, 1, 0, route->name);
  }
}

TEST(MUSIC1D, ForcedCountIsUsedAsItIs) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const RouteSettings& route : allRoutes) {
    for (int s = 0; s <= 255; ++s) {
      MUSICParameters p = parametersFor(route, N);
      p.InputNumSignals.data = static_cast<float>(s);
      const MUSICResult r = estimate(x, p);
      EXPECT_EQ(r.NumSignals, static_cast<float>(s)) << route.name;
      EXPECT_EQ(r.NormalizedFreqs.size[0], 1) << route.name << ", " << s;
      EXPECT_LE(r.NormalizedFreqs.size[1], s) << route.name;
      EXPECT_EQ(r.PeakValues.numel, r.NormalizedFreqs.numel) << route.name << ", " << s;
      EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedFreqs.numel) << route.name << ", " << s;
    }
  }
}

// The noise subspace is empty: every value is +inf, and on the classic route every point a peak.
TEST(MUSIC1D, WithoutANoiseSubspaceEveryPointIsInfinite) {
  MUSICParameters p = parametersFor(classic, N);
  p.InputNumSignals.data = 30.0F;
  const MUSICResult r = estimate(support::threeTones(N), p);
  for (const float v : r.PseudoSpectrum) {
    EXPECT_EQ(v, rtInfF);
  }
  ASSERT_EQ(r.NormalizedFreqs.size[1], 30);
  EXPECT_EQ(r.NormalizedFreqs[0], p.NormalizedScanningFreqs[0]) << "equal heights keep their order";
  EXPECT_EQ(r.NormalizedFreqs[29], p.NormalizedScanningFreqs[29]);
}

TEST(MUSIC1D, OddForcedCountsAreDefined) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const RouteSettings& route : allRoutes) {
    for (const float s : {rtNaNF, rtInfF, rtMinusInfF, -3.0F, 0.5F, 2.9F, 1e10F}) {
      MUSICParameters p = parametersFor(route, N);
      p.InputNumSignals.data = s;
      const MUSICResult r = estimate(x, p);
      EXPECT_TRUE(sameBits(r.NumSignals, s)) << route.name;
      EXPECT_EQ(r.PeakValues.numel, r.NormalizedFreqs.numel) << route.name << ", " << s;
      if (s < 1.0F) {
        EXPECT_EQ(r.NormalizedFreqs.numel, 0) << route.name << ", " << s;
      }
    }
  }
}

TEST(MUSIC1D, ResultDoesNotDependOnWhatItHeld) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const RouteSettings& route : allRoutes) {
    const MUSICParameters p = parametersFor(route, N);
    MUSICResult used = usedResult();
    MUSICLib().MUSIC1D(x, &p, &used);
    expectSame(used, estimate(x, p), route.name);
  }
}

TEST(MUSIC1D, SameObjectTwice_SameBits_NoNewPlan) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const RouteSettings& route : allRoutes) {
    const MUSICParameters p = parametersFor(route, N);
    MUSICLib obj;
    MUSICResult first;
    obj.MUSIC1D(x, &p, &first);
    const support::CallCounts before = support::callCounts();
    MUSICResult second;
    obj.MUSIC1D(x, &p, &second);
    expectSame(second, first, route.name);
    EXPECT_EQ(support::callCounts().fftPlans, before.fftPlans) << route.name;
    EXPECT_EQ(support::callCounts().fftExecutions - before.fftExecutions,
              route.forceClassic || route.forcedCount == 1.0F ? 0 : 3)
        << route.name << ": one for every signal";
  }
}

TEST(MUSIC1D, SamplesAndParametersStayAsTheyWere) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const RouteSettings& route : allRoutes) {
    const MUSICParameters p = parametersFor(route, N);
    estimate(x, p);
    EXPECT_TRUE(sameBits(x, support::threeTones(N))) << route.name;
    EXPECT_TRUE(
        sameBits(p.NormalizedScanningFreqs, parametersFor(route, N).NormalizedScanningFreqs))
        << route.name;
    EXPECT_EQ(p.InputNumSignals.data, route.forcedCount) << route.name;
    EXPECT_EQ(p.CoarseResolution, parametersFor(route, N).CoarseResolution) << route.name;
    EXPECT_EQ(p.FineResolution, parametersFor(route, N).FineResolution) << route.name;
  }
}

TEST(MUSIC1D, ResolutionsThatAskForTooMuchAreRefused_NamingThem) {
  const array<creal32_T, 1> x = support::threeTones(N);
  const auto message = [&x](float coarse, float fine) -> std::string {
    MUSICParameters p = parametersFor(fft, N);
    p.CoarseResolution = coarse;
    p.FineResolution = fine;
    try {
      estimate(x, p);
    } catch (const std::length_error& error) {
      return error.what();
    }
    return "nothing thrown";
  };
  EXPECT_NE(message(1e-9F, 1e-9F).find("CoarseResolution"), std::string::npos);
  EXPECT_NE(message(0.001F, 0.0F).find("FineResolution"), std::string::npos);
  EXPECT_NE(message(rtInfF, 0.1F).find("FineResolution"), std::string::npos)
      << "also where no coarse peak would use the grid";
}

TEST(MUSIC1D, RefusedCallLeavesTheObjectUsable) {
  const array<creal32_T, 1> x = support::threeTones(N);
  MUSICParameters bad = parametersFor(fft, N);
  bad.CoarseResolution = 0.0F;
  const MUSICParameters good = parametersFor(fft, N);
  MUSICLib obj;
  MUSICResult r;
  EXPECT_THROW(obj.MUSIC1D(x, &bad, &r), std::length_error);
  obj.MUSIC1D(x, &good, &r);
  expectSame(r, estimate(x, good), "after a refusal");
}

TEST(MUSIC1D, RefusingPlannerIsBadAlloc) {
  const support::RefusingPlanner refusing;
  EXPECT_THROW(estimate(support::threeTones(N), parametersFor(fft, N)), std::bad_alloc);
}

// Every numeric field in turn: a result, or one of the two errors that are documented.
TEST(MUSIC1D, NoValueOfAnyFieldIsOutOfBounds) {
  const array<creal32_T, 1> x = support::threeTones(12);
  const std::vector<std::function<void(MUSICParameters&, float)>> fields = {
      [](MUSICParameters& p, float v) { p.CoarseResolution = v; },
      [](MUSICParameters& p, float v) { p.FineResolution = v; },
      [](MUSICParameters& p, float v) { p.InputNumSignals.data = v; },
      [](MUSICParameters& p, float v) { p.NormalizedScanningFreqs = support::row({v}); },
      [](MUSICParameters& p, float v) {
        p.NormalizedScanningFreqs = support::row({0.1F, v, 0.2F});
      },
  };
  for (const RouteSettings& route : allRoutes) {
    for (std::size_t field = 0; field < fields.size(); ++field) {
      for (const float v : {rtNaNF, rtInfF, rtMinusInfF, 0.0F, -0.0F, -1.0F, 1.0F, 1e30F, -1e30F,
                            1e-30F, 1e-45F, 3e38F, 0.999F, 2147483648.0F}) {
        MUSICParameters p = parametersFor(route, 12);
        fields[field](p, v);
        MUSICResult r = usedResult();
        try {
          MUSICLib().MUSIC1D(x, &p, &r);
          EXPECT_EQ(r.PeakValues.numel, r.NormalizedFreqs.numel) << route.name << field << ' ' << v;
          EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedFreqs.numel)
              << route.name << field << ' ' << v;
        } catch (const std::length_error&) {
          EXPECT_LE(field, 1U) << "only a resolution can ask for too much: " << v;
        }
      }
    }
  }
}

TEST(MUSIC1D, GridThatHoldsNoElementIsNone) {
  const array<creal32_T, 1> x = support::threeTones(N);
  MUSICParameters p = parametersFor(fft, N);
  const MUSICResult without = estimate(x, p);
  p.NormalizedScanningFreqs.set_size(0, 5);
  expectSame(estimate(x, p), without, "0 x 5");
}
