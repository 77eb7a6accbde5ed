#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "flightpath/likelihood/likelihood_fit.h"
#include "tests/support/fit_samples.h"
#include "tests/support/slow_likelihood.h"
#include "tests/support/tones.h"

// What the fit reaches, MODEL throughout: shares of trials with fixed seeds. Limits lie three deviations
// of a binomial share, or of a mean square, below what many thousand trials gave.

using flightpath::LikelihoodFit;
using flightpath::LikelihoodSettings;
using support::joined;
using support::range;

namespace {

constexpr double perSecond = 312500.0;  // of normalised frequency, at a usual spacing

struct Figures {
  double found = 0.0;     // share: the right count, each within half of the smallest separation
  double over = 0.0;      // share: too many
  double error = 0.0;     // root mean square over the bound of each trial
  double within[3] = {};  // share: the truth within 1, 2, 3 deviations
};

struct Scenario {
  std::vector<int> tones;
  std::vector<double> delays_s;
  std::vector<double> amplitudes;
  double snr_dB;
  int numRows = 1;
  bool startsNear = false;  // from paths a fifth of a cell off
};

std::vector<double> truth(const Scenario& s) {
  std::vector<double> f;
  for (const double delay_s : s.delays_s) {
    f.push_back(delay_s * perSecond);
  }
  return f;
}

double halfSeparation(const Scenario& s) {
  double least = 1.0 / (s.tones.back() - s.tones.front() + 1);
  const std::vector<double> f = truth(s);
  for (std::size_t p = 1; p < f.size(); ++p) {
    least = std::min(least, f[p] - f[p - 1]);
  }
  return 0.5 * least;
}

/// The squared deviations of the Cramer-Rao bound, for amplitudes of this trial: from a fit of the
/// channel without its noise.
std::vector<double> bound(const Scenario& s, const support::SlowLikelihood& clean) {
  flightpath::ToneSet set(s.tones, {});
  const int K = static_cast<int>(s.delays_s.size());
  flightpath::PathFit fit(set, s.numRows, K);
  flightpath::SplitRows rows(s.numRows, set.count());
  std::size_t i = 0;
  for (const auto& row : clean.rows) {
    for (const auto z : row) {
      rows.re[i] = z.real();
      rows.im[i++] = z.imag();
    }
  }
  for (const double f : truth(s)) {
    fit.addFrequency(f * set.stride());
  }
  EXPECT_TRUE(fit.solve(rows));
  fit.differentiate();
  flightpath::NormalEquations equations(K);
  EXPECT_TRUE(equations.factor(fit.curvature(), K));
  std::vector<double> squares;
  for (std::size_t p = 0; p < s.delays_s.size(); ++p) {
    std::vector<double> column(s.delays_s.size());
    column[p] = 1.0;
    equations.solve(column.data());
    squares.push_back(0.5 * std::pow(10.0, -s.snr_dB / 10.0) * column[p] / set.stride() /
                      set.stride());
  }
  return squares;
}

struct Trial {
  support::SlowLikelihood clean;
  std::vector<std::complex<double>> samples;
};

Trial draw(const Scenario& s, std::mt19937_64& random) {
  Trial trial = {support::drawChannel(s.tones, {}, truth(s), s.amplitudes, 0.0, s.numRows, random),
                 {}};
  std::normal_distribution<double> normal(0.0, std::sqrt(0.5 * std::pow(10.0, -s.snr_dB / 10.0)));
  for (const auto& row : trial.clean.rows) {
    for (const auto z : row) {
      const double re = normal(random);
      trial.samples.push_back(z + std::complex<double>(re, normal(random)));
    }
  }
  return trial;
}

class Tally {
 public:
  explicit Tally(const Scenario& s) : scenario_(s), f_(truth(s)) {}

  void count(const Trial& trial, const LikelihoodFit& fit) {
    ++trials_;
    const auto paths = fit.paths();
    over_ += paths.size() > f_.size() ? 1 : 0;
    if (paths.size() != f_.size()) {
      return;
    }
    for (std::size_t p = 0; p < f_.size(); ++p) {
      if (std::fabs(paths[p].frequency - f_[p]) > halfSeparation(scenario_)) {
        return;
      }
    }
    ++found_;
    const std::vector<double> squares = f_.empty() ? f_ : bound(scenario_, trial.clean);
    for (std::size_t p = 0; p < f_.size(); ++p) {
      const double error = paths[p].frequency - f_[p];
      sum_ += error * error / squares[p];
      ++errors_;
      for (int k = 0; k < 3; ++k) {
        within_[k] += std::fabs(error) <= (k + 1) * paths[p].deviation ? 1 : 0;
      }
    }
  }

  Figures figures() const {
    const double trials = trials_;
    Figures all = {found_ / trials, over_ / trials, std::sqrt(sum_ / errors_), {}};
    for (int k = 0; k < 3; ++k) {
      all.within[k] = double(within_[k]) / errors_;
    }
    return all;
  }

 private:
  const Scenario& scenario_;
  std::vector<double> f_;
  int trials_ = 0;
  int found_ = 0;
  int over_ = 0;
  int errors_ = 0;
  double sum_ = 0.0;
  int within_[3] = {};
};

Figures measure(const Scenario& s, int numTrials) {
  std::mt19937_64 random(20);
  LikelihoodSettings how;
  how.snapshots = s.numRows;
  LikelihoodFit fit(s.tones, {}, how);
  std::vector<double> start;
  if (s.startsNear) {
    for (const double f : truth(s)) {
      start.push_back(f +
                      (start.size() % 2 == 0 ? 0.2 : -0.2) / static_cast<double>(s.tones.size()));
    }
  }
  Tally tally(s);
  for (int i = 0; i < numTrials; ++i) {
    const Trial trial = draw(s, random);
    support::fitSamples(fit, trial.samples, start);
    tally.count(trial, fit);
  }
  return tally.figures();
}

const std::vector<double> easy_s = {40e-9, 110e-9, 200e-9};
const std::vector<double> close_s = {40e-9, 70e-9, 120e-9};
const std::vector<double> three = {1.0, 0.7, 0.5};

void expect(const Scenario& s, int numTrials, double leastFound, double largestError) {
  const Figures figures = measure(s, numTrials);
  EXPECT_GE(figures.found, leastFound);
  EXPECT_LE(figures.error, largestError);
  EXPECT_GE(figures.error, 2.0 - largestError) << "below the bound there is nothing to find";
}

}  // namespace

TEST(LikelihoodFigures, OnePathIsFoundAtTheBoundDownToZeroDecibels) {
  for (const double snr_dB : {20.0, 0.0}) {
    expect({range(0, 63), {40e-9}, {1.0}, snr_dB}, 600, 0.99, 1.10);
  }
}

TEST(LikelihoodFigures, ThreePathsAreFoundAtTheBoundDownToFiveDecibels) {
  for (const double snr_dB : {30.0, 10.0, 5.0}) {
    expect({range(0, 63), easy_s, three, snr_dB}, 250, 0.985, 1.10);
  }
}

TEST(LikelihoodFigures, ClosePathsAreFound) {
  expect({range(0, 63), close_s, three, 30.0, 1, true}, 250, 0.985, 1.10);
  expect({range(0, 63), close_s, three, 20.0, 1, false}, 100, 0.93, 1.15);
}

TEST(LikelihoodFigures, PairsWithinACellAreResolved) {
  const double cell_s = 1.0 / (64 * perSecond);
  expect({range(0, 63), {40e-9, 40e-9 + 0.5 * cell_s}, {1.0, 0.5}, 20.0}, 250, 0.97, 1.15);
  expect({range(0, 63), {40e-9, 40e-9 + 0.25 * cell_s}, {1.0, 0.5}, 30.0}, 250, 0.93, 1.15);
}

TEST(LikelihoodFigures, ManyTonesAndPathsAreFoundAtTheBound) {
  const double cell_s = 1.0 / (242 * perSecond);
  Scenario six = {range(0, 241), {}, std::vector<double>(6, 1.0), 20.0};
  for (int i = 0; i < 6; ++i) {
    six.delays_s.push_back(30e-9 + 4 * i * cell_s);
  }
  expect(six, 60, 0.95, 1.12);
}

TEST(LikelihoodFigures, RowsThatShareDelaysAreFittedTogether) {
  expect({range(0, 63), easy_s, three, 5.0, 8}, 100, 0.97, 1.12);
  const Figures one = measure({range(0, 63), {40e-9}, {1.0}, -6.0, 1}, 100);
  const Figures eight = measure({range(0, 63), {40e-9}, {1.0}, -6.0, 8}, 100);
  EXPECT_LT(one.found, 0.95) << "each row alone is too weak";
  EXPECT_GE(eight.found, 0.97);
}

TEST(LikelihoodFigures, GapsCostWhatTheirTonesCarry) {
  expect({joined(range(-26, -1), range(1, 26)), easy_s, three, 30.0}, 100, 0.97, 1.12);
  expect({joined(range(-28, -1), range(1, 28)), close_s, three, 30.0}, 60, 0.93, 1.17);
  const std::vector<double> late_s = {1040e-9, 1110e-9, 1200e-9};
  std::mt19937_64 random(30);
  expect({support::randomTones(64, 43, random), late_s, three, 30.0}, 100, 0.97, 1.12);
  expect({range(0, 252, 4), easy_s, three, 30.0}, 100, 0.97, 1.12);
}

TEST(LikelihoodFigures, FarBlocksAreHardButMostlyFound) {
  expect({support::twoBlocks(), easy_s, three, 30.0}, 40, 0.80, 1.20);
}

// What lies a sidelobe apart is another minimum of the same count, and the wrong one asks for more paths.
TEST(LikelihoodFigures, SidelobesOfFarBlocksBecomeNoPaths) {
  const Scenario two = {
      support::twoBlocks(), {0.1 / perSecond, 0.13 / perSecond}, {1.0, 0.7}, 15.0};
  EXPECT_GE(measure(two, 200).found, 0.89);
}

// Of ten tones one path alone leaves too few degrees of freedom for what the other adds to the noise.
TEST(LikelihoodFigures, TwoPathsOverFewTonesAreFoundTogether) {
  const Scenario two = {range(0, 9), {0.1 / perSecond, 0.4 / perSecond}, {1.0, 1.0}, 8.0};
  EXPECT_GE(measure(two, 100).found, 0.94);
}

// The probability of a false alarm is 1e-3; of 3,000 measurements of noise nine would be four deviations
// too many. With 0.05 the share shows that the threshold is where it belongs, on both sides.
TEST(LikelihoodFigures, NoiseBecomesAPathAsOftenAsToldTo) {
  const Figures rare = measure({range(0, 63), {}, {}, 0.0}, 3000);
  EXPECT_LT(rare.over, 9.0 / 3000.0);
  for (const int numRows : {1, 4}) {
    std::mt19937_64 random(21);
    LikelihoodSettings how;
    how.falseAlarm = 0.05;
    how.snapshots = numRows;
    LikelihoodFit fit(range(0, 63), {}, how);
    const Scenario noise = {range(0, 63), {}, {}, 0.0, numRows};
    int invented = 0;
    for (int i = 0; i < 2000; ++i) {
      support::fitSamples(fit, draw(noise, random).samples, {});
      invented += fit.paths().empty() ? 0 : 1;
    }
    EXPECT_GT(invented, 60) << numRows;
    EXPECT_LT(invented, 140) << numRows;
  }
}

// 2,000 measurements, 100 of them expected to have a path. A narrow window or a taper leaves fewer delays
// for noise to take than there are tones. Far blocks have more, but in clusters: what crosses the
// threshold once crosses it again a sidelobe on, and the rate of crossings is above the share.
TEST(LikelihoodFigures, FalseAlarmsAreCountedByTheDelaysThatNoiseCanTake) {
  std::vector<double> taper;
  for (int k = 0; k < 64; ++k) {
    taper.push_back(std::exp(-0.01 * (k - 31.5) * (k - 31.5)));
  }
  struct Row {
    std::vector<int> tones;
    std::vector<double> weights;
    double latest;
    int least;
  };
  for (const Row& row : {Row{range(0, 63), {}, 0.125, 60}, Row{range(0, 63), taper, 1.0, 60},
                         Row{joined(range(0, 15), range(200, 215)), {}, 1.0, 10}}) {
    std::mt19937_64 random(23);
    LikelihoodSettings how;
    how.falseAlarm = 0.05;
    how.earliest = 0.0;
    how.latest = row.latest;
    LikelihoodFit fit(row.tones, row.weights, how);
    int invented = 0;
    for (int i = 0; i < 2000; ++i) {
      const auto noise = support::drawChannel(row.tones, row.weights, {}, {}, 1.0, 1, random);
      support::fitSamples(fit, noise.rows[0], {});
      invented += fit.paths().empty() ? 0 : 1;
    }
    EXPECT_GT(invented, row.least);
    EXPECT_LT(invented, 140);
  }
}

// 600 trials of three paths: a share of 68 % has a deviation of 1.1 %, of 95 % 0.5 %, of 99.7 % 0.13 %.
TEST(LikelihoodFigures, DeviationsHoldTheTruthAsOftenAsTheyPromise) {
  const Figures figures = measure({range(0, 63), easy_s, three, 20.0, 1, true}, 600);
  EXPECT_NEAR(figures.within[0], 0.683, 0.034);
  EXPECT_NEAR(figures.within[1], 0.954, 0.016);
  EXPECT_GT(figures.within[2], 0.992);
  EXPECT_LT(figures.within[2], 1.0);
}

// Two paths a third of a cell apart: profile intervals hold the truth as often as they promise, 300 of
// 300 less five deviations of 0.3 %.
TEST(LikelihoodFigures, IntervalsHoldWherePathsAreHardlyResolved) {
  const double cell_s = 1.0 / (64 * perSecond);
  const Scenario pair = {range(0, 63), {40e-9, 40e-9 + 0.35 * cell_s}, {1.0, 0.5}, 25.0};
  std::mt19937_64 random(22);
  LikelihoodSettings how;
  how.numPaths = 2;
  LikelihoodFit fit(pair.tones, {}, how);
  int inside[2] = {};
  constexpr int trials = 150;
  for (int i = 0; i < trials; ++i) {
    support::fitSamples(fit, draw(pair, random).samples, truth(pair));
    ASSERT_EQ(fit.paths().size(), 2U);
    for (int p = 0; p < 2; ++p) {
      const double f = truth(pair)[static_cast<std::size_t>(p)];
      const auto wide = fit.interval(p, 0.9973);
      const auto narrow = fit.interval(p, 0.8);
      inside[0] += wide.earliest <= f && f <= wide.latest ? 1 : 0;
      inside[1] += narrow.earliest <= f && f <= narrow.latest ? 1 : 0;
    }
  }
  EXPECT_GE(inside[0], 0.98 * 2 * trials);
  EXPECT_NEAR(inside[1], 0.8 * 2 * trials, 0.1 * 2 * trials);
}
