#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/api/distance.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/channels.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::allRoutes;
using support::RouteSettings;
using support::sameBits;
using support::spacing_Hz;
using support::tofParametersFor;

namespace {

constexpr int N = 40;

constexpr const RouteSettings& phaseSlope = allRoutes[0];
constexpr const RouteSettings& fft = allRoutes[1];
constexpr const RouteSettings& onGrid = allRoutes[2];

ToFResult estimate(const array<creal32_T, 1>& x, const ToFEstimationParameters& p) {
  MUSICLib obj;
  ToFResult result;
  obj.MUSICToF(x, &p, &result);
  return result;
}

void expectSame(const ToFResult& a, const ToFResult& b, const char* why) {
  EXPECT_TRUE(sameBits(a.Distances, b.Distances)) << why;
  EXPECT_TRUE(sameBits(a.PeakValues, b.PeakValues)) << why;
  EXPECT_TRUE(sameBits(a.NumSignals, b.NumSignals)) << why;
  EXPECT_TRUE(sameBits(a.ScannedDistances, b.ScannedDistances)) << why;
  EXPECT_TRUE(sameBits(a.PseudoSpectrum, b.PseudoSpectrum)) << why;
}

void expectSame(const ToFEstimationParameters& a, const ToFEstimationParameters& b,
                const char* why) {
  EXPECT_TRUE(sameBits(a.NumSubcarriers, b.NumSubcarriers)) << why;
  EXPECT_TRUE(sameBits(a.SubcarrierSpacing, b.SubcarrierSpacing)) << why;
  EXPECT_TRUE(sameBits(a.ScanningDistances, b.ScanningDistances)) << why;
  EXPECT_TRUE(sameBits(a.InputNumSignals, b.InputNumSignals)) << why;
  EXPECT_TRUE(sameBits(a.CoarseResolution, b.CoarseResolution)) << why;
  EXPECT_TRUE(sameBits(a.FineResolution, b.FineResolution)) << why;
  EXPECT_EQ(a.ForceClassic, b.ForceClassic) << why;
  EXPECT_EQ(a.OptPhaseSlopeForOneSignalCase, b.OptPhaseSlopeForOneSignalCase) << why;
  EXPECT_EQ(a.MeasurementContinual, b.MeasurementContinual) << why;
}

/// The same search in normalised frequency, from the settings that the parameters derive.
MUSICResult inNormalisedFrequency(const array<creal32_T, 1>& x, const ToFEstimationParameters& p) {
  ToFEstimationParameters copy(p);
  b_MUSICParameters derived;
  copy.getMUSICParameters(derived);
  const int given[] = {derived.InputNumSignals.size[0], derived.InputNumSignals.size[1]};
  MUSICParameters same;
  same.init(derived.NormalizedScanningFreqs, derived.InputNumSignals.data, given,
            derived.ForceClassic, derived.OptPhaseSlopeForOneSignalCase,
            derived.MeasurementContinual, derived.CoarseResolution, derived.FineResolution);
  MUSICLib obj;
  MUSICResult result;
  obj.MUSIC1D(x, &same, &result);
  return result;
}

ToFResult usedResult() {
  ToFResult r;
  r.Distances = support::evenGrid(7.0F, 1.0F, 40);
  r.PeakValues = support::matrix<float>(3, 2, {9, 9, 9, 9, 9, 9});
  r.NumSignals = 77.0F;
  r.ScannedDistances = support::evenGrid(7.0F, 1.0F, 2000);
  r.PseudoSpectrum.set_size(3000);
  return r;
}

}  // namespace

// EXACT: the two estimators are one method; the distances are a conversion of the frequencies.
TEST(MUSICToF, IsTheOneDimensionalEstimateInMetres) {
  const array<creal32_T, 1> x = support::threeTones(N);
  for (const RouteSettings& route : allRoutes) {
    const ToFEstimationParameters p = tofParametersFor(route, N);
    const ToFResult r = estimate(x, p);
    const MUSICResult same = inNormalisedFrequency(x, p);
    array<float, 2> distances;
    nf2Distance(same.NormalizedFreqs, spacing_Hz, distances);
    EXPECT_TRUE(sameBits(r.Distances, distances)) << route.name;
    b_nf2Distance(same.ScannedFreqs, spacing_Hz, distances);
    EXPECT_TRUE(sameBits(r.ScannedDistances, distances)) << route.name;
    EXPECT_TRUE(sameBits(r.PeakValues, same.PeakValues)) << route.name;
    EXPECT_TRUE(sameBits(r.PseudoSpectrum, same.PseudoSpectrum)) << route.name;
    EXPECT_EQ(r.NumSignals, same.NumSignals) << route.name;
  }
}

// EXACT
TEST(MUSICToF, ShapesFollowTheRoute) {
  struct Row {
    int peakRows;
    int peakCols;
  };
  const Row rows[] = {{1, 1}, {1, 3}, {1, 3}, {3, 1}};
  for (std::size_t k = 0; k < allRoutes.size(); ++k) {
    const ToFResult r = estimate(support::threeTones(N), tofParametersFor(allRoutes[k], N));
    const char* const name = allRoutes[k].name;
    EXPECT_EQ(r.Distances.size[0], 1) << name;
    EXPECT_EQ(r.Distances.size[1], rows[k].peakRows * rows[k].peakCols) << name;
    EXPECT_EQ(r.PeakValues.size[0], rows[k].peakRows) << name;
    EXPECT_EQ(r.PeakValues.size[1], rows[k].peakCols) << name;
    EXPECT_EQ(r.ScannedDistances.size[0], 1) << name;
    EXPECT_EQ(r.ScannedDistances.size[1], r.PseudoSpectrum.numel) << name;
  }
}

// EXACT
TEST(MUSICToF, PhaseSlopeRoute_NeutralValues) {
  const ToFResult r = estimate(support::threeTones(N), tofParametersFor(phaseSlope, N));
  EXPECT_TRUE(sameBits(r.PeakValues, support::row({1.0F})));
  EXPECT_TRUE(sameBits(r.PseudoSpectrum, support::column({1.0F})));
  EXPECT_TRUE(sameBits(r.ScannedDistances, r.Distances));
  EXPECT_EQ(r.NumSignals, 1.0F);
}

// MODEL: at 30 dB the bound on each path is far below a fine step, 1/1500 of the range resolution
// of 24 m; coherent neighbours pull by some of them. Half a metre is a fiftieth of a resolution.
TEST(MUSICToF, FindsThreePathsOnEverySearchRoute) {
  const double cycle_m = 299792458.0 / static_cast<double>(spacing_Hz);
  for (std::size_t route = 1; route < allRoutes.size(); ++route) {
    const ToFResult r = estimate(support::threeTones(N), tofParametersFor(allRoutes[route], N));
    std::vector<float> found = support::toVector(r.Distances);
    std::ranges::sort(found);
    ASSERT_EQ(found.size(), 3U) << allRoutes[route].name;
    // The caller's grid has steps of a thousandth of a cycle.
    const double tolerance_m = 0.5 + (allRoutes[route].withGrid ? 0.0005 * cycle_m : 0.0);
    EXPECT_NEAR(found[0], -0.211 * cycle_m, tolerance_m) << allRoutes[route].name;
    EXPECT_NEAR(found[1], 0.0813 * cycle_m, tolerance_m) << allRoutes[route].name;
    EXPECT_NEAR(found[2], 0.3127 * cycle_m, tolerance_m) << allRoutes[route].name;
  }
}

// MODEL: the Cramer-Rao bound of one tone is sqrt(6 / (SNR N^3)) radians a sample. The root mean
// square of 200 trials scatters by 5 %, so that even an efficient search may come out a few times
// that below it; subvectors of 0.75 N give some of the aperture away, which costs less than a half.
TEST(MUSICToF, SinglePathSearchComesCloseToTheCramerRaoBound) {
  constexpr int trials = 200;
  for (const double snr_dB : {15.0, 25.0}) {
    ToFEstimationParameters p = tofParametersFor(phaseSlope, N);
    p.OptPhaseSlopeForOneSignalCase = 0;
    double squares = 0.0;
    for (std::uint64_t trial = 0; trial < trials; ++trial) {
      std::mt19937_64 random(trial);
      const ToFResult r = estimate(support::measure({{0.1234}}, N, snr_dB, random), p);
      ASSERT_EQ(r.Distances.numel, 1) << trial;
      const double f = static_cast<double>(r.Distances[0] * spacing_Hz) / 299792458.0;
      squares += std::pow(6.283185307179586 * (f - 0.1234), 2);
    }
    const double bound = std::sqrt(6.0 / (std::pow(10.0, snr_dB / 10.0) * N * N * N));
    EXPECT_GT(std::sqrt(squares / trials), 0.85 * bound) << snr_dB << " dB";
    EXPECT_LT(std::sqrt(squares / trials), 1.5 * bound) << snr_dB << " dB";
  }
}

TEST(MUSICToF, ForcedCountOfOneTakesTheShortcutOnlyWhereItIsAllowed) {
  ToFEstimationParameters p = tofParametersFor(phaseSlope, N);
  EXPECT_EQ(estimate(support::threeTones(N), p).PseudoSpectrum.numel, 1);
  p.OptPhaseSlopeForOneSignalCase = 0;
  EXPECT_GT(estimate(support::threeTones(N), p).PseudoSpectrum.numel, 1);
  p.OptPhaseSlopeForOneSignalCase = 1;
  p.ForceClassic = 1;
  EXPECT_GT(estimate(support::threeTones(N), p).PseudoSpectrum.numel, 1) << "overridden";
}

TEST(MUSICToF, CountIsEstimatedWhereTheListIsEmpty) {
  ToFEstimationParameters p = tofParametersFor(fft, N);
  for (const auto& [rows, cols] : {std::pair(0, 0), std::pair(1, 0), std::pair(0, 1)}) {
    p.InputNumSignals.set_size(rows, cols);
    const ToFResult r = estimate(support::threeTones(N), p);
    EXPECT_EQ(r.NumSignals, inNormalisedFrequency(support::threeTones(N), p).NumSignals);
    EXPECT_EQ(r.NumSignals, std::floor(r.NumSignals));
  }
}

// EXACT
TEST(MUSICToF, CallersParametersStayAsTheyWere) {
  for (const RouteSettings& route : allRoutes) {
    const ToFEstimationParameters p = tofParametersFor(route, N);
    estimate(support::threeTones(N), p);
    expectSame(p, tofParametersFor(route, N), route.name);
    EXPECT_EQ(p.CoarseResolution.numel, 0) << route.name << ": no default stored in it";
  }
}

TEST(MUSICToF, ResultDoesNotDependOnWhatItHeld) {
  for (const RouteSettings& route : allRoutes) {
    const ToFEstimationParameters p = tofParametersFor(route, N);
    ToFResult used = usedResult();
    MUSICLib().MUSICToF(support::threeTones(N), &p, &used);
    expectSame(used, estimate(support::threeTones(N), p), route.name);
  }
}

TEST(MUSICToF, SameObjectTwice_SameBits_NoNewPlan) {
  for (const RouteSettings& route : allRoutes) {
    const ToFEstimationParameters p = tofParametersFor(route, N);
    MUSICLib obj;
    ToFResult first;
    obj.MUSICToF(support::threeTones(N), &p, &first);
    const int before = support::callCounts().fftPlans;
    ToFResult second;
    obj.MUSICToF(support::threeTones(N), &p, &second);
    expectSame(second, first, route.name);
    EXPECT_EQ(support::callCounts().fftPlans, before) << route.name;
  }
}

// EXACT: what one object does between does not show.
TEST(MUSICToF, OrderOfRoutesOnOneObjectDoesNotMatter) {
  MUSICLib obj;
  ToFResult r;
  for (const std::size_t k : {3U, 1U, 0U, 2U, 1U, 3U, 2U, 0U}) {
    const ToFEstimationParameters p = tofParametersFor(allRoutes[k], N);
    obj.MUSICToF(support::threeTones(N), &p, &r);
    expectSame(r, estimate(support::threeTones(N), p), allRoutes[k].name);
  }
}

// EXACT: with the default steps the fine grid holds 100 or 101 points, by the rounding of the steps
// on their way from metres to cycles; each operation is rounded to float here by hand.
TEST(MUSICToF, FineGridsHold100Or101PointsByTheFloatFormula) {
  const auto toFloat = [](double v) { return static_cast<float>(v); };
  constexpr double c = 299792448.0;  // the nearest float to the speed of light
  std::set<int> seen;
  for (int n = 8; n <= 128; n += 4) {
    const double bandwidth = toFloat(n * static_cast<double>(spacing_Hz));
    const double coarse_m = toFloat(static_cast<double>(toFloat(c / bandwidth)) / 30.0);
    const double fine_m = toFloat(coarse_m / 50.0);
    const double coarse = toFloat(static_cast<double>(toFloat(coarse_m * spacing_Hz)) / c);
    const double fine = toFloat(static_cast<double>(toFloat(fine_m * spacing_Hz)) / c);
    const int points =
        static_cast<int>(toFloat(static_cast<double>(toFloat(2.0 * coarse / fine)) + 1.0));
    const ToFResult r = estimate(support::threeTones(n), tofParametersFor(fft, n));
    ASSERT_GT(r.Distances.numel, 0) << n;
    EXPECT_EQ(r.ScannedDistances.numel, points * r.Distances.numel) << n;
    seen.insert(points);
  }
  EXPECT_EQ(seen, (std::set<int>{100, 101}));
}

TEST(MUSICToF, FftRouteOnGrid_WithoutANearPointReportsNoPath) {
  ToFEstimationParameters p = tofParametersFor(onGrid, N);
  p.ScanningDistances = support::row({0.0F, 1.0F});
  const ToFResult r = estimate(support::threeTones(N), p);
  for (const array<float, 2>& list : {r.Distances, r.PeakValues, r.ScannedDistances}) {
    EXPECT_EQ(list.size[0], 1);
    EXPECT_EQ(list.size[1], 0);
  }
  EXPECT_EQ(r.PseudoSpectrum.numel, 0);
  EXPECT_EQ(r.NumSignals, 3.0F);
}

// Every field in turn: a result, or one of the two errors that are documented.
TEST(MUSICToF, NoValueOfAnyFieldIsOutOfBounds) {
  const array<creal32_T, 1> x = support::threeTones(12);
  const std::vector<std::function<void(ToFEstimationParameters&, float)>> fields = {
      [](auto& p, float v) { p.NumSubcarriers = v; },
      [](auto& p, float v) { p.SubcarrierSpacing = v; },
      [](auto& p, float v) { p.set_CoarseResolution(v); },
      [](auto& p, float v) { p.set_FineResolution(v); },
      [](auto& p, float v) { p.InputNumSignals = support::row({v}); },
      [](auto& p, float v) { p.ScanningDistances = support::row({v}); },
      [](auto& p, float v) {
        p.ScanningDistances = support::row({1.0F, v, 2.0F});
      },
  };
  for (const RouteSettings& route : allRoutes) {
    for (std::size_t field = 0; field < fields.size(); ++field) {
      for (const float v : {rtNaNF, rtInfF, rtMinusInfF, 0.0F, -0.0F, -1.0F, 1.0F, 1e30F, -1e30F,
                            1e-30F, 1e-45F, 3e38F}) {
        ToFEstimationParameters p = tofParametersFor(route, 12);
        fields[field](p, v);
        ToFResult r = usedResult();
        try {
          MUSICLib().MUSICToF(x, &p, &r);
          EXPECT_EQ(r.Distances.size[0], 1) << route.name << field << ' ' << v;
          EXPECT_EQ(r.PeakValues.numel, r.Distances.numel) << route.name << field << ' ' << v;
          EXPECT_EQ(r.PseudoSpectrum.numel, r.ScannedDistances.numel)
              << route.name << field << ' ' << v;
        } catch (const std::length_error&) {
          EXPECT_LE(field, 3U) << "only a resolution can ask for too much: " << v;
        }
      }
    }
  }
}

TEST(MUSICToF, MoreSubcarriersThanSamplesIsTheCallersBusiness) {
  ToFEstimationParameters p = tofParametersFor(fft, 400);  // finer steps, 40 samples
  EXPECT_EQ(estimate(support::threeTones(N), p).Distances.numel, 3);
}

TEST(MUSICToF, NoSpacingGivesInfiniteOrNaNDistances) {
  ToFEstimationParameters p = tofParametersFor(phaseSlope, N);
  p.SubcarrierSpacing = 0.0F;
  const ToFResult r = estimate(support::threeTones(N), p);
  ASSERT_EQ(r.Distances.numel, 1);
  EXPECT_FALSE(std::isfinite(r.Distances[0]));
}

TEST(MUSICToF, ResolutionsThatAskForTooMuchAreRefused) {
  ToFEstimationParameters p = tofParametersFor(fft, N);
  p.set_CoarseResolution(1e-6F);
  EXPECT_THROW(estimate(support::threeTones(N), p), std::length_error);
  p = tofParametersFor(fft, N);
  p.set_FineResolution(1e-12F);
  EXPECT_THROW(estimate(support::threeTones(N), p), std::length_error);
}
