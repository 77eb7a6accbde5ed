#include "flightpath/music/detail/route.h"

#include <gtest/gtest.h>

#include <string>

#include "flightpath/runtime/nonfinite.h"

using flightpath::Route;

namespace {

struct Row {
  float s;
  int M;
  bool allowPhaseSlope;
  bool forceClassic;
  bool withGrid;
  Route expected;
  const char* why;
};

Route routeOf(const Row& row) {
  static const float grid[] = {0.1F};
  flightpath::SearchSettings settings{};
  settings.allowPhaseSlope = row.allowPhaseSlope;
  settings.forceClassic = row.forceClassic;
  if (row.withGrid) {
    settings.grid = grid;
  }
  return flightpath::chooseRoute(row.s, row.M, settings);
}

}  // namespace

TEST(ChooseRoute, HasFourOutcomes) {
  const Row rows[] = {
      {1.0F, 8, true, false, false, Route::PhaseSlope, "exactly one signal"},
      {1.0F, 8, true, false, true, Route::PhaseSlope, "a grid does not matter then"},
      {1.0F, 1, true, false, true, Route::PhaseSlope, "before s >= M/2 is asked"},
      {1.0F, 0, true, false, false, Route::PhaseSlope, "even without a sample"},
      {1.0F, 8, false, false, false, Route::Fft, "shortcut not allowed"},
      {1.0F, 8, true, true, false, Route::Fft, "ForceClassic overrides it; without a grid: FFT"},
      {1.0F, 8, true, true, true, Route::Classic, "ForceClassic overrides it; with a grid"},
      {1.5F, 8, true, false, false, Route::Fft, "not exactly one"},
      {0.999999F, 8, true, false, false, Route::Fft, "not exactly one"},
      {rtNaNF, 8, true, false, false, Route::Fft, "NaN is never one"},
      {0.0F, 8, true, false, false, Route::Fft, "no signal"},
      {3.0F, 8, true, false, false, Route::Fft, "no grid"},
      {3.0F, 8, true, true, false, Route::Fft, "no grid, whatever ForceClassic says"},
      {7.0F, 8, true, false, false, Route::Fft, "no grid, however many signals"},
      {3.0F, 8, true, false, true, Route::FftOnGrid, "less than half the space"},
      {3.0F, 8, true, true, true, Route::Classic, "asked for"},
      {4.0F, 8, true, false, true, Route::Classic, "exactly half the space"},
      {3.9999998F, 8, true, false, true, Route::FftOnGrid, "just below half"},
      {2.0F, 5, true, false, true, Route::FftOnGrid, "half of 5 is 2.5, not 2"},
      {2.5F, 5, true, false, true, Route::Classic, "exactly 2.5"},
      {3.0F, 5, true, false, true, Route::Classic, "above 2.5"},
      {1.0F, 2, false, false, true, Route::Classic, "one of two dimensions"},
      {1.0F, 3, false, false, true, Route::FftOnGrid, "one of three"},
      {0.0F, 0, true, false, true, Route::Classic, "0 >= 0: no sample"},
      {0.0F, 1, true, false, true, Route::FftOnGrid, "0 < 0.5"},
      {-1.0F, 8, true, false, true, Route::FftOnGrid, "negative"},
      {rtNaNF, 8, true, false, true, Route::FftOnGrid, "NaN is not >= anything"},
      {rtNaNF, 8, true, true, true, Route::Classic, "asked for"},
      {rtInfF, 8, true, false, true, Route::Classic, "infinitely many"},
      {rtMinusInfF, 8, true, false, true, Route::FftOnGrid, "negative"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(static_cast<int>(routeOf(row)), static_cast<int>(row.expected))
        << row.why << " (s = " << row.s << ", M = " << row.M << ")";
  }
}

// Shortcut, force and grid against one signal, M = 8: which switches matter, all eight ways.
TEST(ChooseRoute, ForOneSignal_DependsOnTheSwitchesInThisOrder) {
  for (const bool allow : {false, true}) {
    for (const bool force : {false, true}) {
      for (const bool grid : {false, true}) {
        const Route expected = allow && !force ? Route::PhaseSlope
                               : !grid         ? Route::Fft
                               : force         ? Route::Classic
                                               : Route::FftOnGrid;
        EXPECT_EQ(static_cast<int>(routeOf({1.0F, 8, allow, force, grid, expected, ""})),
                  static_cast<int>(expected))
            << allow << force << grid;
      }
    }
  }
}
