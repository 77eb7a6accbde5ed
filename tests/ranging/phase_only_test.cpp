#include "flightpath/ranging/detail/phase_only.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "csi_file.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/measured_data.h"
#include "tests/support/ranging.h"
#include "tests/support/tone_samples.h"
#include "tests/support/tones.h"

using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::likelihood;
using support::options;

namespace {

using Complex = std::complex<double>;

/// Samples of one magnitude, at any phases.
std::vector<Complex> phases(std::size_t N, double magnitude) {
  std::vector<Complex> samples;
  for (std::size_t k = 0; k < N; ++k) {
    samples.push_back(std::polar(magnitude, 0.7 * static_cast<double>(k * k)));
  }
  return samples;
}

bool isMarked(const std::vector<Complex>& samples, const RangingOptions& how = options()) {
  const std::size_t N = samples.size() / how.SnapshotsPerEstimate;
  const PathSet found = Ranger(static_cast<std::uint32_t>(N), how).estimate({samples, N});
  EXPECT_EQ(found[0].info().PhaseOnly, found.phaseOnly()[0] == 1);
  return found[0].info().PhaseOnly;
}

}  // namespace

TEST(PhaseOnly, EqualMagnitudesOfAtLeastEightTonesAreMarked) {
  for (const RangingOptions& how : {likelihood(), options()}) {
    for (const double magnitude : {1.0, 3.7e-200, 5.1e150}) {
      EXPECT_TRUE(isMarked(phases(8, magnitude), how)) << magnitude;
      EXPECT_FALSE(isMarked(phases(7, magnitude), how)) << magnitude;
    }
  }
}

// A sample anywhere that differs by more than the rounding of a format ends it, by less does not.
TEST(PhaseOnly, OneMagnitudeThatDiffersIsEnough) {
  for (const std::size_t at : {0U, 5U, 63U}) {
    for (const double factor : {1.0 + 1.2e-6, 1.0 - 1.2e-6, 2.0, 0.0}) {
      std::vector<Complex> samples = phases(64, 0.3);
      samples[at] *= factor;
      EXPECT_FALSE(isMarked(samples)) << factor << " at " << at;
    }
    for (const double factor : {1.0 + 0.8e-6, 1.0 - 0.8e-6}) {
      std::vector<Complex> samples = phases(64, 0.3);
      samples[at] *= factor;
      EXPECT_TRUE(isMarked(samples)) << factor << " at " << at;
    }
  }
}

TEST(PhaseOnly, NothingAndWhatIsNoNumberAreNot) {
  EXPECT_FALSE(isMarked(std::vector<Complex>(64)));
  for (const double bad :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    std::vector<Complex> samples = phases(64, 1.0);
    samples[10] = bad;
    EXPECT_FALSE(isMarked(samples));
  }
}

// Rows that share an estimate may differ in power; each has to carry phase alone.
TEST(PhaseOnly, EveryRowOfAnEstimateCounts) {
  RangingOptions how = options();
  how.SnapshotsPerEstimate = 2;
  std::vector<Complex> samples = phases(64, 1.0);
  for (const Complex z : phases(64, 20.0)) {
    samples.push_back(z);
  }
  EXPECT_TRUE(isMarked(samples, how));
  for (const std::size_t at : {10U, 127U}) {
    std::vector<Complex> uneven = samples;
    uneven[at] *= 1.1;
    EXPECT_FALSE(isMarked(uneven, how)) << at;
  }
}

// EXACT: marks of a batch are those of its rows, in order, and of nothing that the set held before.
TEST(PhaseOnly, ABatchHasAMarkPerEstimate) {
  std::vector<Complex> rows = phases(32, 1.0);
  rows.resize(64);
  for (const Complex z : phases(32, 2.0)) {
    rows.push_back(z);
  }
  RangingOptions how = likelihood();
  how.Threads = 2;
  Ranger ranger(32, how);
  PathSet found;
  for (int time = 0; time < 2; ++time) {
    ranger.estimate({rows, 32}, found);
    ASSERT_EQ(found.phaseOnly().size(), 3U);
    EXPECT_EQ(found.phaseOnly()[0], 1);
    EXPECT_EQ(found.phaseOnly()[1], 0);
    EXPECT_EQ(found.phaseOnly()[2], 1);
  }
}

TEST(PhaseOnly, TheRecordOfAPhaseReceiverIsMarkedAndNoOther) {
  for (const std::string& name : support::measuredFiles()) {
    const CsiFile file = support::readMeasured(name);
    for (const support::Samples& row : file.measurements) {
      RangingOptions how = options();
      how.SubcarrierSpacing = file.spacing_Hz;
      const PathSet found = support::estimateAlone(row, how);
      EXPECT_EQ(found[0].info().PhaseOnly, name == "phase_ranging_200.csv") << name;
    }
  }
}

TEST(PhaseOnly, SimulatedChannelsAreNot) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    EXPECT_FALSE(
        isMarked(support::measureTones({{12.0, 1.0, 0.3}}, support::range(0, 63), 1e-4, seed)));
  }
}

// MODEL, 40 dB: what the mark warns of. One path is where it was. Of two, 50 m apart, the phase alone makes
// more, at further steps of 50 m to both sides.
TEST(PhaseOnly, PhaseAloneKeepsOnePathAndMakesGhostsOfTwo) {
  const auto magnitudesLost = [](std::vector<Complex> samples) {
    for (Complex& z : samples) {
      z /= std::abs(z);
    }
    return samples;
  };
  const std::vector<int> tones = support::range(0, 63);
  const auto one = magnitudesLost(support::measureTones({{60.0, 1.0, 0.3}}, tones, 1e-4, 1));
  const PathSet alone = Ranger(64, likelihood()).estimate(one);
  ASSERT_EQ(alone[0].size(), 1U);
  EXPECT_NEAR(alone[0][0].Distance_m, 60.0, 5 * alone[0][0].Deviation_m);
  const auto two =
      magnitudesLost(support::measureTones({{60.0, 1.0, 0.3}, {110.0, 0.6, 2.0}}, tones, 1e-4, 2));
  const PathSet ghosts = Ranger(64, likelihood()).estimate(two);
  EXPECT_GT(ghosts[0].size(), 2U);
  EXPECT_LT(ghosts[0][0].Distance_m, 12.0);
  EXPECT_TRUE(std::any_of(ghosts[0].begin(), ghosts[0].end(), [](const flightpath::Path& path) {
    return std::fabs(path.Distance_m - 10.0) < 2.0;
  }));
}
