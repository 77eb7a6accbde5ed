#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>
#include <string>
#include <vector>

#include "csi_file.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/measured_data.h"
#include "tests/support/ranging.h"

// Maximum likelihood on the measured channels of data/, MODEL throughout: the references are other
// methods' answers.

using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;

namespace {

using Samples = std::vector<std::complex<double>>;

Samples toDouble(const std::vector<creal32_T>& samples) {
  Samples all;
  for (const creal32_T z : samples) {
    all.emplace_back(static_cast<double>(z.re), static_cast<double>(z.im));
  }
  return all;
}

PathSet estimate(const Samples& samples, RangingOptions how, double spacing_Hz) {
  how.SubcarrierSpacing = spacing_Hz;
  return Ranger(static_cast<std::uint32_t>(samples.size()), how).estimate(samples);
}

double nearest_ns(const PathSet& found, double reference_ns) {
  double best = 1e9;
  for (const double delay_s : found.delays_s()) {
    if (std::fabs(1e9 * delay_s - reference_ns) < std::fabs(best - reference_ns)) {
      best = 1e9 * delay_s;
    }
  }
  return best;
}

}  // namespace

// The longer line of a pair over the shorter one, one path forced: connectors cancel, and the delay of the
// difference is left. 0.2 %.
TEST(MeasuredLines, PairsOfLinesGiveTheDelayOfTheirDifference) {
  const CsiFile file = support::readMeasured("boards_s21.csv");
  const double expected_ns[] = {0.6146, 0.6120, 0.5580};
  for (std::size_t pair = 0; pair < 3; ++pair) {
    const Samples shorter = toDouble(file.measurements[2 * pair]);
    Samples quotient = toDouble(file.measurements[2 * pair + 1]);
    for (std::size_t k = 0; k < quotient.size(); ++k) {
      quotient[k] /= shorter[k];
    }
    const PathSet found = estimate(quotient, support::likelihood(1), file.spacing_Hz);
    ASSERT_EQ(found[0].size(), 1U);
    EXPECT_NEAR(1e9 * found[0][0].Delay_s, expected_ns[pair], 0.002 * expected_ns[pair]);
    EXPECT_GT(found[0].info().ResidualStructure, 5.0) << "lines disperse, and that is said";
  }
}

// Lines split into many paths unless told that paths do not explain everything: then the line is one of
// a few. 1 % or 0.01 ns, whichever is larger.
TEST(MeasuredLines, AModelErrorLeavesTheLine) {
  const CsiFile file = support::readMeasured("boards_s21.csv");
  const double expected_ns[] = {0.6944, 1.3090, 0.6913, 1.3033, 0.6310, 1.1890};
  for (std::size_t row = 0; row < 6; ++row) {
    const Samples samples = toDouble(file.measurements[row]);
    const PathSet plain = estimate(samples, support::likelihood(), file.spacing_Hz);
    EXPECT_GT(plain[0].size(), 5U);
    RangingOptions how = support::likelihood();
    how.ModelError = -25.0;
    const PathSet found = estimate(samples, how, file.spacing_Hz);
    EXPECT_LE(found[0].size(), 2U);
    EXPECT_NEAR(nearest_ns(found, expected_ns[row]), expected_ns[row],
                std::max(0.01, 0.01 * expected_ns[row]));
  }
}

// Phase alone, at a few dB: MUSIC answers with 6.1 to 7.3 ns for 5.8 to 6.1.
TEST(MeasuredLines, APhaseRangingRecordHasItsMainDelay) {
  const CsiFile file = support::readMeasured("phase_ranging_200.csv");
  for (const std::vector<creal32_T>& row : file.measurements) {
    const PathSet found = estimate(toDouble(row), support::likelihood(), file.spacing_Hz);
    EXPECT_NEAR(nearest_ns(found, 5.95), 5.95, 0.35);
  }
}
