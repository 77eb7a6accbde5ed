#include "flightpath/likelihood/likelihood_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <ctime>
#include <limits>
#include <numbers>
#include <numeric>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/likelihood/path_test.h"
#include "flightpath/likelihood/student_quantile.h"
#include "tests/support/fit_samples.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_likelihood.h"
#include "tests/support/split_samples.h"
#include "tests/support/tones.h"

using flightpath::LikelihoodFit;
using flightpath::LikelihoodSettings;
using support::range;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

using Samples = std::vector<std::complex<double>>;

const std::vector<double> easy = {0.0125, 0.034375, 0.0625};
const std::vector<double> three = {1.0, 0.7, 0.5};

Samples flat(const support::SlowLikelihood& model) {
  Samples all;
  for (const auto& row : model.rows) {
    all.insert(all.end(), row.begin(), row.end());
  }
  return all;
}

Samples channel(const std::vector<int>& tones, const std::vector<double>& f,
                const std::vector<double>& amplitudes, double snr_dB, unsigned seed,
                int numRows = 1) {
  std::mt19937_64 random(seed);
  return flat(support::drawChannel(tones, {}, f, amplitudes, std::pow(10.0, -snr_dB / 10.0),
                                   numRows, random));
}

LikelihoodSettings forced(int count) {
  LikelihoodSettings how;
  how.numPaths = count;
  return how;
}

LikelihoodSettings rows(int count) {
  LikelihoodSettings how;
  how.snapshots = count;
  return how;
}

std::vector<double> frequencies(const LikelihoodFit& fit) {
  std::vector<double> f;
  for (const auto& path : fit.paths()) {
    f.push_back(path.frequency);
  }
  return f;
}

/// Everything that a fit says, in one list.
std::vector<double> everything(LikelihoodFit& fit, int numRows) {
  std::vector<double> all = {fit.report().noisePower, fit.report().structure, fit.report().weakest,
                             fit.report().next};
  const int K = static_cast<int>(fit.paths().size());
  for (int p = 0; p < K; ++p) {
    const auto& path = fit.paths()[static_cast<std::size_t>(p)];
    all.insert(all.end(), {path.frequency, path.deviation, path.power});
    for (int q = 0; q < K; ++q) {
      all.push_back(fit.covariance(p, q));
    }
    for (int m = 0; m < numRows; ++m) {
      all.push_back(fit.amplitude(p, m).real());
      all.push_back(fit.amplitude(p, m).imag());
    }
    const auto interval = fit.interval(p, 0.9);
    all.insert(all.end(), {interval.earliest, interval.latest});
  }
  return all;
}

std::string refusal(const LikelihoodSettings& how) {
  try {
    const LikelihoodFit fit(range(0, 7), {}, how);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

/// White noise over N tones, one row, and what its residual promises of a path.
struct Noise {
  Noise(int N, unsigned seed) {
    std::mt19937_64 random(seed);
    model = support::drawChannel(range(0, N - 1), {}, {}, {}, 1.0, 1, random);
  }

  double promisedStatistic() const {
    flightpath::ToneSet tones(model.tones, {});
    const flightpath::SplitRows y = support::splitSamples(model);
    flightpath::PathMoves moves(tones, 1, 1, flightpath::DelayWindow());
    moves.begin(y, {});
    const double cost = moves.fit().residualEnergy();
    return flightpath::pathStatistic(cost, cost - moves.promisedFall(), tones.count() - 1.5, 0.0);
  }

  support::SlowLikelihood model;
};

/// Whether an interval has another reason to end there: two cells are the longest side, and two paths a
/// hundredth of a cell apart are hardly told from one.
bool endsElsewhere(const std::vector<double>& found, const std::vector<double>& there) {
  bool elsewhere = false;
  for (std::size_t p = 0; p < there.size(); ++p) {
    elsewhere = elsewhere || std::fabs(there[p] - found[p]) > 1.999 / 64.0;
    for (std::size_t q = 0; q < p; ++q) {
      elsewhere = elsewhere || std::fabs(there[p] - there[q]) < 0.01 / 64.0;
    }
  }
  return elsewhere;
}

}  // namespace

// MODEL: 20 dB; five deviations of the fit itself.
TEST(LikelihoodFit, PathsComeFromTheEarliestToTheLatestWhereverTheStartHasThem) {
  const Samples x = channel(range(0, 63), easy, three, 20.0, 1);
  LikelihoodFit fit(range(0, 63), {}, {});
  for (const std::vector<double>& start :
       {std::vector<double>{}, std::vector<double>{0.0625, 0.0125, 0.0344},
        std::vector<double>{0.0345, -0.9874}, std::vector<double>{0.3, 0.1, -0.2}}) {
    support::fitSamples(fit, x, start);
    ASSERT_EQ(fit.paths().size(), 3U);
    for (std::size_t p = 0; p < 3; ++p) {
      EXPECT_NEAR(fit.paths()[p].frequency, easy[p], 5 * fit.paths()[p].deviation);
      EXPECT_NEAR(fit.paths()[p].power, three[p] * three[p], 0.2);
    }
  }
}

// EXACT: nothing of one measurement is left for the next.
TEST(LikelihoodFit, TheSameSamplesGiveTheSameBitsWhateverWasFittedBefore) {
  for (const std::vector<int>& tones : {range(0, 63), range(0, 23), support::twoBlocks()}) {
    for (const int numRows : {1, 2}) {
      LikelihoodFit used(tones, {}, rows(numRows));
      for (unsigned seed = 0; seed < 6; ++seed) {
        const double snr_dB = 10.0 * (seed % 4);
        const Samples x = channel(tones, easy, three, snr_dB, seed, numRows);
        const std::vector<double> start =
            seed % 2 == 0 ? std::vector<double>{} : std::vector<double>{0.01, 0.2};
        LikelihoodFit fresh(tones, {}, rows(numRows));
        support::fitSamples(fresh, x, start);
        support::fitSamples(used, x, start);
        EXPECT_TRUE(support::sameBits(everything(used, numRows), everything(fresh, numRows)));
      }
    }
  }
}

// EXACT
TEST(LikelihoodFit, ZerosHaveNoPathAndLeaveNothingBehind) {
  const Samples good = channel(range(0, 15), {0.1}, {1.0}, 20.0, 4);
  for (const LikelihoodSettings& how : {LikelihoodSettings(), forced(3)}) {
    LikelihoodFit fit(range(0, 15), {}, how);
    support::fitSamples(fit, good, {});
    const std::vector<double> expected = everything(fit, 1);
    support::fitSamples(fit, Samples(16), easy);
    EXPECT_TRUE(fit.paths().empty());
    EXPECT_EQ(fit.report().noisePower, 0.0);
    EXPECT_TRUE(std::isnan(fit.report().next));
    support::fitSamples(fit, good, {});
    EXPECT_TRUE(support::sameBits(everything(fit, 1), expected));
  }
}

// EXACT: one tone has no delay, and its power is all noise.
TEST(LikelihoodFit, OneToneHasNoPath) {
  for (const LikelihoodSettings& how : {LikelihoodSettings(), forced(1)}) {
    LikelihoodFit fit(range(7, 7), {}, how);
    support::fitSamples(fit, Samples{{3.0, 4.0}}, std::vector<double>{0.1});
    EXPECT_TRUE(fit.paths().empty());
    EXPECT_EQ(fit.report().noisePower, 25.0);
    EXPECT_TRUE(std::isnan(fit.report().next)) << "nothing was tried";
  }
}

// EXACT for the counts: K (M + 1/2) < M N and K < N.
TEST(LikelihoodFit, AForcedCountIsWhatTheTonesCanCarryAtMost) {
  struct Row {
    int N, M, forced, expected;
  };
  for (const Row& row : {Row{2, 1, 1, 1}, Row{2, 1, 5, 1}, Row{3, 1, 2, 1}, Row{4, 1, 9, 2},
                         Row{5, 1, 9, 3}, Row{16, 1, 0, 0}, Row{16, 1, 1, 1}, Row{16, 1, 4, 4},
                         Row{16, 1, 40, 10}, Row{4, 3, 9, 3}, Row{64, 1, 30, 30}}) {
    const Samples x = channel(range(0, row.N - 1), {0.1, 0.3}, {1.0, 0.8}, 5.0, 5, row.M);
    LikelihoodSettings how = forced(row.forced);
    how.snapshots = row.M;
    LikelihoodFit fit(range(0, row.N - 1), {}, how);
    support::fitSamples(fit, x, {});
    EXPECT_EQ(static_cast<int>(fit.paths().size()), row.expected) << row.N << ", " << row.forced;
    support::fitSamples(fit, x, std::vector<double>{-0.4, -0.3, -0.2, 0.0, 0.1, 0.2});
    EXPECT_EQ(static_cast<int>(fit.paths().size()), row.expected) << row.N << ", with a start";
    EXPECT_TRUE(std::isnan(fit.report().weakest));
  }
}

// MODEL: noise-free samples, in double and as a float rounds them: the paths themselves, and none of the
// rounding.
TEST(LikelihoodFit, RoundingIsNoPath) {
  for (const std::vector<double>& f : {std::vector<double>{0.0}, easy}) {
    const Samples x = channel(range(0, 63), f, three, 5000.0, 6);
    std::vector<creal32_T> single;
    for (const auto z : x) {
      single.push_back({static_cast<float>(z.real()), static_cast<float>(z.imag())});
    }
    LikelihoodFit fit(range(0, 63), {}, {});
    support::fitSamples(fit, x, {});
    ASSERT_EQ(fit.paths().size(), f.size());
    for (std::size_t p = 0; p < f.size(); ++p) {
      EXPECT_NEAR(fit.paths()[p].frequency, f[p], 1e-12);
    }
    support::fitSamples(fit, single, {});
    ASSERT_EQ(fit.paths().size(), f.size());
    for (std::size_t p = 0; p < f.size(); ++p) {
      EXPECT_NEAR(fit.paths()[p].frequency, f[p], 1e-7);
    }
  }
}

// MODEL: 30 dB; the answer is the alias within the window, and a path outside is not one of them.
TEST(LikelihoodFit, AnswersLieInTheWindow) {
  const Samples x = channel(range(0, 63), {0.1, 0.3}, {1.0, 0.8}, 30.0, 7);
  LikelihoodSettings how;
  how.earliest = 0.25;
  how.latest = 0.4;
  LikelihoodFit second(range(0, 63), {}, how);
  support::fitSamples(second, x, std::vector<double>{0.1, 0.3});
  for (const auto& path : second.paths()) {
    EXPECT_GE(path.frequency, 0.25);
    EXPECT_LE(path.frequency, 0.4);
  }
  how.earliest = 3.0;
  how.latest = {};
  LikelihoodFit later(range(0, 63), {}, how);
  support::fitSamples(later, x, {});
  ASSERT_EQ(later.paths().size(), 2U);
  EXPECT_NEAR(later.paths()[0].frequency, 3.1, 0.001);
  EXPECT_NEAR(later.paths()[1].frequency, 3.3, 0.001);
  how.earliest = {};
  how.latest = 0.2;
  LikelihoodFit earlier(range(0, 63), {}, how);
  support::fitSamples(earlier, x, {});
  ASSERT_EQ(earlier.paths().size(), 2U);
  EXPECT_NEAR(earlier.paths()[0].frequency, -0.7, 0.001);
  EXPECT_NEAR(earlier.paths()[1].frequency, 0.1, 0.001);
}

// MODEL: 40 dB; the fit may have the delay a period away. An amplitude at the mean index, between two tones
// here, changes its sign or its phase from one alias to the next: it has to be that of the delay that is
// answered, as the interval has to lie around it.
TEST(LikelihoodFit, AmplitudesAndIntervalsBelongToTheAliasThatIsAnswered) {
  for (const std::vector<int>& tones : {range(0, 63), range(0, 62), support::twoBlocks()}) {
    const double mean =
        std::accumulate(tones.begin(), tones.end(), 0.0) / static_cast<double>(tones.size());
    for (const double f : {-0.4999, -0.499, 0.2, 0.499, 0.4999}) {
      Samples x = channel(tones, {}, {}, 40.0, 17);
      for (std::size_t k = 0; k < x.size(); ++k) {
        x[k] += std::polar(1.0, 0.3 - 2.0 * std::numbers::pi * f * (tones[k] - mean));
      }
      LikelihoodFit fit(tones, {}, {});
      for (const std::vector<double>& start : {std::vector<double>{}, {f + 0.002}, {f - 0.002}}) {
        support::fitSamples(fit, x, start);
        ASSERT_EQ(fit.paths().size(), 1U);
        EXPECT_NEAR(fit.paths()[0].frequency, f, 5 * fit.paths()[0].deviation);
        EXPECT_LT(std::abs(fit.amplitude(0, 0) - std::polar(1.0, 0.3)), 0.01) << f;
        EXPECT_LT(fit.interval(0, 0.9).earliest, fit.paths()[0].frequency) << f;
        EXPECT_GT(fit.interval(0, 0.9).latest, fit.paths()[0].frequency) << f;
      }
    }
  }
}

// MODEL: 30 dB; the window may be a small part of a cell, with a start outside of it or none.
TEST(LikelihoodFit, APathIsFoundInAWindowOfAnyWidth) {
  for (const double f : {0.1, 0.1 + 0.5 / 256.0, 0.1 + 0.8 / 256.0}) {
    const Samples x = channel(range(0, 63), {f}, {1.0}, 30.0, 16);
    for (const double width : {0.1, 0.003, 1e-4, 1e-6}) {
      LikelihoodSettings how;
      how.earliest = f - 0.5 * width;
      how.latest = f + 0.5 * width;
      LikelihoodFit fit(range(0, 63), {}, how);
      for (const std::vector<double>& start : {std::vector<double>{}, {f + 0.6 * width}}) {
        support::fitSamples(fit, x, start);
        ASSERT_EQ(fit.paths().size(), 1U) << width;
        EXPECT_GE(fit.paths()[0].frequency, f - 0.5 * width);
        EXPECT_LE(fit.paths()[0].frequency, f + 0.5 * width);
      }
    }
  }
}

// MODEL: the same channel over every fourth tone has a quarter of the period, in the same unit.
TEST(LikelihoodFit, FrequenciesArePerIndexWhateverTheStride) {
  const Samples x = channel(range(0, 252, 4), {0.1, 0.13}, {1.0, 0.8}, 30.0, 8);
  LikelihoodFit fit(range(0, 252, 4), {}, {});
  for (const std::vector<double>& start : {std::vector<double>{}, std::vector<double>{0.1, 0.38}}) {
    support::fitSamples(fit, x, start);
    ASSERT_EQ(fit.paths().size(), 2U);
    const std::vector<double> expected = {0.13 - 0.25, 0.1};
    for (std::size_t p = 0; p < 2; ++p) {
      EXPECT_NEAR(fit.paths()[p].frequency, expected[p], 5 * fit.paths()[p].deviation);
      EXPECT_LT(fit.paths()[p].deviation, 1e-4);
      const auto interval = fit.interval(static_cast<int>(p), 0.6827);
      EXPECT_NEAR(interval.latest - interval.earliest, 2 * fit.paths()[p].deviation,
                  0.2 * fit.paths()[p].deviation);
    }
  }
}

// BOUND: 1e-9 relative: the inverse of the dense model's Fisher matrix at the answer.
TEST(LikelihoodFit, TheCovarianceIsTheInverseOfTheFisherInformation) {
  std::mt19937_64 random(9);
  const std::vector<double> f = {0.0125, 0.0225};
  const auto model = support::drawChannel(range(0, 63), {}, f, {1.0, 0.7}, 1e-2, 2, random);
  LikelihoodFit fit(range(0, 63), {}, rows(2));
  support::fitSamples(fit, flat(model), f);
  ASSERT_EQ(fit.paths().size(), 2U);
  const std::vector<double> at = frequencies(fit);
  double H[2][2];
  for (std::size_t p = 0; p < 2; ++p) {
    for (std::size_t q = 0; q < 2; ++q) {
      const auto d = support::projectedOff(model.basis(at), model.derivative(at[q]));
      std::complex<double> amplitudes;
      for (int m = 0; m < 2; ++m) {
        amplitudes += std::conj(fit.amplitude(static_cast<int>(p), m)) *
                      fit.amplitude(static_cast<int>(q), m);
      }
      H[p][q] = (support::innerProduct(model.derivative(at[p]), d) * amplitudes).real();
    }
  }
  const double noise = model.cost(at) / (2 * 64 - 2 * 2.5);
  EXPECT_NEAR(fit.report().noisePower / noise, 1.0, 1e-9);
  const double factor = 0.5 * noise / (H[0][0] * H[1][1] - H[0][1] * H[1][0]);
  EXPECT_NEAR(fit.covariance(0, 0) / (factor * H[1][1]), 1.0, 1e-9);
  EXPECT_NEAR(fit.covariance(1, 1) / (factor * H[0][0]), 1.0, 1e-9);
  EXPECT_NEAR(fit.covariance(0, 1) / (-factor * H[0][1]), 1.0, 1e-7);
  EXPECT_EQ(fit.covariance(0, 1), fit.covariance(1, 0));
  EXPECT_EQ(fit.paths()[1].deviation, std::sqrt(fit.covariance(1, 1)));
}

// MODEL: a line that disperses, at 77 dB, takes paths in pairs that cancel, whose delays are not
// determined. That is said of these alone: an error of the model in place of them leaves the line.
TEST(LikelihoodFit, AShapeThatTheModelDoesNotKnowMakesDeviationsLarge) {
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal(0.0, 1e-4);
  Samples x;
  for (int k = 0; k < 64; ++k) {
    const double u = (k - 31.5) / 64.0;
    const double re = normal(random);
    x.push_back(std::polar(1.0, -2.0 * std::numbers::pi * 0.1 * k + 3.0 * u * u) +
                std::complex<double>(re, normal(random)));
  }
  LikelihoodFit fit(range(0, 63), {}, {});
  support::fitSamples(fit, x, {});
  EXPECT_GT(fit.paths().size(), 3U);
  double largest = 0.0;
  for (const auto& path : fit.paths()) {
    EXPECT_GT(path.deviation, 0.0);
    largest = std::max(largest, path.deviation);
    for (const auto& other : fit.paths()) {
      const double apart = std::fabs(path.frequency - other.frequency);
      EXPECT_TRUE(apart == 0.0 || apart > 0.1 / 64.0 || path.deviation > apart) << apart;
    }
  }
  EXPECT_GT(largest, 1.0 / 64.0) << "a cell, or not determined";
  LikelihoodSettings how;
  how.modelError = 0.1;
  LikelihoodFit tolerant(range(0, 63), {}, how);
  support::fitSamples(tolerant, x, {});
  ASSERT_EQ(tolerant.paths().size(), 1U);
  EXPECT_NEAR(tolerant.paths()[0].frequency, 0.1, 0.1 / 64.0);
  EXPECT_GT(tolerant.report().structure, 5.0);
}

// BOUND: 1e-9; a weight of w is the noise of w measurements of that tone, and all weights may be scaled.
TEST(LikelihoodFit, WeightsAreTheInverseNoisePowersInAnyUnit) {
  std::mt19937_64 random(10);
  std::vector<double> weights;
  for (int k = 0; k < 64; ++k) {
    weights.push_back(k % 3 == 0 ? 4.0 : 0.5);
  }
  const auto model = support::drawChannel(range(0, 63), weights, easy, three, 1e-2, 2, random);
  LikelihoodFit fit(range(0, 63), weights, rows(2));
  support::fitSamples(fit, flat(model), easy);
  ASSERT_EQ(fit.paths().size(), 3U);
  const std::vector<double> f = frequencies(fit);
  EXPECT_NEAR(fit.report().noisePower * (2 * 64 - 3 * 2.5) / model.cost(f), 1.0, 1e-9);
  std::vector<double> scaled = weights;
  for (double& w : scaled) {
    w *= 1024.0;
  }
  LikelihoodFit other(range(0, 63), scaled, rows(2));
  support::fitSamples(other, flat(model), easy);
  EXPECT_EQ(frequencies(other), f);
  EXPECT_EQ(other.paths()[0].deviation, fit.paths()[0].deviation);
  EXPECT_EQ(other.report().noisePower, 1024.0 * fit.report().noisePower);
}

// MODEL: at a level of next to nothing an interval is what the refinement leaves open, a thousandth of a
// deviation. The processor time, of which a thousandth is enough, is that of an interval at any level.
TEST(LikelihoodFit, IntervalsOfAnyLevelTakeFewSteps) {
  LikelihoodFit fit(range(0, 10), {}, forced(4));
  support::fitSamples(fit, channel(range(0, 10), {}, {}, 0.0, 19), {});
  const std::clock_t start = std::clock();
  for (const double level : {1e-300, 1e-12, 1e-9}) {
    for (std::size_t p = 0; p < fit.paths().size(); ++p) {
      const auto interval = fit.interval(static_cast<int>(p), level);
      EXPECT_LT(interval.latest - interval.earliest, 2e-3 * fit.paths()[p].deviation);
      EXPECT_GE(interval.latest, fit.paths()[p].frequency);
      EXPECT_LE(interval.earliest, fit.paths()[p].frequency);
    }
  }
  EXPECT_LT(std::clock() - start, 2 * CLOCKS_PER_SEC);
}

// EXACT: of two paths that are added at once the second may pass the test, though neither is needed when
// all three are looked at.
TEST(LikelihoodFit, TheMarginsKeepTheirSidesWherePairsAreTried) {
  LikelihoodSettings how = rows(2);
  how.falseAlarm = 0.3;
  LikelihoodFit fit(range(0, 15), {}, how);
  for (unsigned seed = 800; seed < 1800; ++seed) {
    support::fitSamples(fit, channel(range(0, 15), {0.1}, {1.0}, 0.0, seed, 2), {});
    EXPECT_FALSE(fit.report().weakest <= 1.0) << seed;
    EXPECT_FALSE(fit.report().next > 1.0) << seed;
  }
}

// EXACT: a path that is stronger than those before it raises the error of the model, which is asked
// for itself too: what it does not leave needed is not taken.
TEST(LikelihoodFit, TheMarginsKeepTheirSidesWithAnErrorOfTheModel) {
  LikelihoodSettings how = rows(2);
  how.modelError = 0.1;
  how.falseAlarm = 0.3;
  LikelihoodFit fit(range(0, 7), {}, how);
  for (unsigned seed = 0; seed < 200; ++seed) {
    support::fitSamples(fit, channel(range(0, 7), {0.1, 0.225}, {1.0, 0.5}, -3.0, seed, 2), {});
    EXPECT_FALSE(fit.report().weakest <= 1.0) << seed;
    EXPECT_FALSE(fit.report().next > 1.0) << seed;
  }
}

// MODEL: a path 28 dB below the strongest, far above the noise: with an error of the model of -20 dB it
// is part of that, and with -60 dB a path.
TEST(LikelihoodFit, AnErrorOfTheModelExplainsWeakPaths) {
  const Samples x = channel(range(0, 63), {0.1, 0.3}, {1.0, 0.04}, 60.0, 11);
  for (const auto& [modelError, count] :
       {std::pair(0.0, 2U), std::pair(1e-6, 2U), std::pair(1e-2, 1U)}) {
    LikelihoodSettings how;
    how.modelError = modelError;
    LikelihoodFit fit(range(0, 63), {}, how);
    support::fitSamples(fit, x, {});
    EXPECT_EQ(fit.paths().size(), count) << modelError;
    support::fitSamples(fit, x, std::vector<double>{0.1, 0.3});
    EXPECT_EQ(fit.paths().size(), count) << modelError;
  }
}

// BOUND: 1 %, which the noise at 100 dB and the start's own refinement leave far below. Of two orthogonal
// paths the weaker one's loss is as large as the error of the model: T = d ln 2.
TEST(LikelihoodFit, TheErrorOfTheModelIsAPowerPerSample) {
  for (const int numRows : {1, 4}) {
    const std::vector<double> f = {0.1, 0.1 + 10.0 / 64.0};
    LikelihoodSettings how = rows(numRows);
    how.modelError = 1e-2;
    LikelihoodFit fit(range(0, 63), {}, how);
    support::fitSamples(fit, channel(range(0, 63), f, {1.0, 0.1}, 100.0, 15, numRows), f);
    ASSERT_EQ(fit.paths().size(), 2U);
    const double threshold = flightpath::pathThreshold(1e-3, 64.0, numRows);
    const double degrees = 64.0 * numRows - 2.0 * (numRows + 0.5);
    EXPECT_NEAR(fit.report().weakest * threshold / degrees, std::log(2.0), 0.01 * std::log(2.0));
  }
}

// MODEL: margins lie on their sides of 1, and a strong path's is far from it.
TEST(LikelihoodFit, TheMarginsOfTheCountLieOnBothSidesOfOne) {
  LikelihoodFit fit(range(0, 63), {}, {});
  support::fitSamples(fit, channel(range(0, 63), easy, three, 20.0, 12), {});
  EXPECT_GT(fit.report().weakest, 5.0);
  EXPECT_LT(fit.report().next, 1.0);
  EXPECT_GT(fit.report().next, 0.0);
  support::fitSamples(fit, channel(range(0, 63), {}, {}, 0.0, 12), {});
  EXPECT_TRUE(std::isnan(fit.report().weakest));
  EXPECT_LT(fit.report().next, 1.0);
}

// MODEL: one resolved path has a cost that is a parabola: its intervals are Student's quantiles, to 3 %.
TEST(LikelihoodFit, TheIntervalOfAResolvedPathIsSymmetricByStudentsQuantile) {
  LikelihoodFit fit(range(0, 63), {}, {});
  support::fitSamples(fit, channel(range(0, 63), {0.1}, {1.0}, 20.0, 13), {});
  ASSERT_EQ(fit.paths().size(), 1U);
  const double deviation = fit.paths()[0].deviation;
  // Of 2 (64 - 1.5) degrees of freedom.
  for (const auto& [level, q] : {std::pair(0.95, 1.9791), std::pair(0.99, 2.6157)}) {
    const auto interval = fit.interval(0, level);
    EXPECT_NEAR(fit.paths()[0].frequency - interval.earliest, q * deviation, 0.03 * q * deviation);
    EXPECT_NEAR(interval.latest - fit.paths()[0].frequency, q * deviation, 0.03 * q * deviation);
  }
}

// MODEL: the ends of an interval are where the dense model's cost, with the other path refined by a
// search, has grown by the factor that the level asks for; 2 % of the growth.
TEST(LikelihoodFit, TheIntervalEndsWhereTheProfileOfTheCostSays) {
  std::mt19937_64 random(14);
  const std::vector<double> f = {0.0125, 0.0125 + 0.4 / 64.0};
  const auto model = support::drawChannel(range(0, 63), {}, f, {1.0, 0.8}, 1e-3, 1, random);
  LikelihoodFit fit(range(0, 63), {}, forced(2));
  support::fitSamples(fit, flat(model), f);
  ASSERT_EQ(fit.paths().size(), 2U);
  const auto interval = fit.interval(0, 0.95);
  const double least = model.cost(frequencies(fit));
  const double q = 1.9799;  // Student's, of 122 degrees
  const auto profile = [&](double held) {
    double best = infinity;
    for (int i = -2000; i <= 2000; ++i) {
      best = std::min(best, model.cost({held, fit.paths()[1].frequency + i * 4e-6}));
    }
    return best;
  };
  for (const double end : {interval.earliest, interval.latest}) {
    EXPECT_NEAR((profile(end) / least - 1.0) / (q * q / 122.0), 1.0, 0.02);
  }
}

// MODEL: without noise the interval is a point, to a billionth of a cell; where noise is all there is, and
// the count is forced, it ends after two cells.
TEST(LikelihoodFit, IntervalsEndWithoutNoiseAndWithNothingElse) {
  LikelihoodFit fit(range(0, 63), {}, forced(1));
  support::fitSamples(fit, Samples(64, {1.0, 0.0}), {});
  ASSERT_EQ(fit.paths().size(), 1U);
  const auto point = fit.interval(0, 0.95);
  EXPECT_NEAR(point.earliest, 0.0, 1e-8 / 64.0);
  EXPECT_NEAR(point.latest, 0.0, 1e-8 / 64.0);
  Samples impulse(64);
  impulse[20] = 1.0;  // of every delay alike
  support::fitSamples(fit, impulse, {});
  ASSERT_EQ(fit.paths().size(), 1U);
  const auto all = fit.interval(0, 0.999);
  EXPECT_EQ(all.latest - fit.paths()[0].frequency, 2.0 / 64.0);
  EXPECT_EQ(fit.paths()[0].frequency - all.earliest, 2.0 / 64.0);
}

// MODEL: 20 dB; no test of the count would notice a start that lies far from a path.
TEST(LikelihoodFit, AForcedCountLeavesTheMinimumOfABadStart) {
  const Samples x = channel(range(0, 63), {0.1, 0.3}, {1.0, 0.7}, 20.0, 20);
  LikelihoodFit fit(range(0, 63), {}, forced(2));
  support::fitSamples(fit, x, std::vector<double>{0.1, -0.2});
  ASSERT_EQ(fit.paths().size(), 2U);
  EXPECT_NEAR(fit.paths()[0].frequency, 0.1, 5 * fit.paths()[0].deviation);
  EXPECT_NEAR(fit.paths()[1].frequency, 0.3, 5 * fit.paths()[1].deviation);
}

// MODEL: 20 dB. A path just beyond the end of the period comes back in at its beginning, also where the
// refinement crosses the end.
TEST(LikelihoodFit, PathsThatCrossTheEndOfThePeriodComeFirst) {
  const double beyond = 0.5 + 0.2 / 64.0;
  const Samples x = channel(range(0, 63), {beyond, 0.1}, {1.0, 0.7}, 20.0, 16);
  for (const LikelihoodSettings& how : {LikelihoodSettings(), forced(2)}) {
    LikelihoodFit fit(range(0, 63), {}, how);
    support::fitSamples(fit, x, std::vector<double>{0.5 - 0.2 / 64.0, 0.1});
    ASSERT_EQ(fit.paths().size(), 2U);
    EXPECT_NEAR(fit.paths()[0].frequency, beyond - 1.0, 5 * fit.paths()[0].deviation);
    EXPECT_NEAR(fit.paths()[1].frequency, 0.1, 5 * fit.paths()[1].deviation);
    EXPECT_NEAR(fit.paths()[0].power, 1.0, 0.2);
  }
}

// EXACT: tones 2^3 apart are neighbours in another unit, with a start and a window in that unit too.
TEST(LikelihoodFit, AStrideIsAUnit) {
  const Samples x = channel(range(0, 63), {0.1, 0.1 + 0.4 / 64.0}, {1.0, 0.8}, 25.0, 17);
  const std::vector<double> start = {0.11, 0.3};
  LikelihoodSettings how;
  how.earliest = 0.05;
  for (const std::optional<double> latest : {std::optional<double>(), std::optional(0.35)}) {
    how.latest = latest;
    LikelihoodFit plain(range(0, 63), {}, how);
    support::fitSamples(plain, x, start);
    LikelihoodSettings eighth = how;
    eighth.earliest = 0.05 / 8.0;
    if (latest) {
      eighth.latest = *latest / 8.0;
    }
    LikelihoodFit wide(range(-8, 496, 8), {}, eighth);
    support::fitSamples(wide, x, std::vector<double>{start[0] / 8.0, start[1] / 8.0});
    ASSERT_EQ(plain.paths().size(), 2U);
    ASSERT_EQ(wide.paths().size(), 2U);
    EXPECT_EQ(wide.report().noisePower, plain.report().noisePower);
    for (const int p : {0, 1}) {
      const auto& path = plain.paths()[static_cast<std::size_t>(p)];
      EXPECT_EQ(8.0 * wide.paths()[static_cast<std::size_t>(p)].frequency, path.frequency);
      EXPECT_EQ(8.0 * wide.paths()[static_cast<std::size_t>(p)].deviation, path.deviation);
      EXPECT_EQ(64.0 * wide.covariance(p, 1 - p), plain.covariance(p, 1 - p));
      EXPECT_EQ(8.0 * wide.interval(p, 0.9).earliest, plain.interval(p, 0.9).earliest);
      EXPECT_EQ(8.0 * wide.interval(p, 0.9).latest, plain.interval(p, 0.9).latest);
    }
  }
}

// BOUND: 1e-12 relative, the roundings of a sum of three. Rows of amplitudes 1, 2 and 3.
TEST(LikelihoodFit, ThePowerOfAPathIsTheMeanOverTheRows) {
  Samples x = channel(range(0, 63), {0.1}, {1.0}, 30.0, 18, 3);
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] *= static_cast<double>(1 + i / 64);
  }
  LikelihoodFit fit(range(0, 63), {}, rows(3));
  support::fitSamples(fit, x, {});
  ASSERT_EQ(fit.paths().size(), 1U);
  double sum = 0.0;
  for (int row = 0; row < 3; ++row) {
    EXPECT_NEAR(std::abs(fit.amplitude(0, row)), row + 1.0, 0.1);
    sum += std::norm(fit.amplitude(0, row));
  }
  EXPECT_NEAR(fit.paths()[0].power, sum / 3.0, 1e-12 * sum);
}

// EXACT: four equal samples leave nothing at all, in double, for a second path a quarter of the period away:
// its amplitude is zero, and its delay any.
TEST(LikelihoodFit, APathWithoutAmplitudeHasNoFiniteDeviation) {
  LikelihoodFit fit(range(0, 3), {}, forced(2));
  support::fitSamples(fit, Samples(4, {1.0, 0.0}), std::vector<double>{0.0, 0.25});
  ASSERT_EQ(fit.paths().size(), 2U);
  EXPECT_EQ(fit.paths()[0].power, 1.0);
  EXPECT_EQ(fit.paths()[1].power, 0.0);
  EXPECT_EQ(fit.paths()[1].deviation, infinity);
}

// MODEL: 60 dB; the deviation of a path ten cells away from such a line is that of a single path, to 15 %, by
// which paths in between may disturb it.
TEST(LikelihoodFit, AShapeThatTheModelDoesNotKnowLeavesTheDeviationsOfOtherPaths) {
  constexpr int N = 32;
  for (unsigned seed = 0; seed < 10; ++seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal(0.0, 1e-3);
    Samples x;
    for (int k = 0; k < N; ++k) {
      const double u = (k - 15.5) / N;
      const double re = normal(random);
      x.push_back(std::polar(1.0, -2.0 * std::numbers::pi * 0.1 * k + 3.0 * u * u) +
                  std::polar(0.5, 2.0 * std::numbers::pi * 0.3 * k) +
                  std::complex<double>(re, normal(random)));
    }
    LikelihoodFit fit(range(0, N - 1), {}, {});
    support::fitSamples(fit, x, {});
    ASSERT_GT(fit.paths().size(), 4U);
    const auto& other = fit.paths().front();
    ASSERT_NEAR(other.frequency, -0.3, 0.1 / N);
    const double alone = std::sqrt(
        6.0 * fit.report().noisePower /
        (other.power * 4.0 * std::numbers::pi * std::numbers::pi * N * (double(N) * N - 1.0)));
    EXPECT_NEAR(other.deviation / alone, 1.0, 0.15) << seed;
  }
}

// MODEL: six paths about a cell apart through gaps, at 36 dB. Five take the shape of six until one of them is
// exchanged; what is left then asks for the sixth.
TEST(LikelihoodFit, ABetterMinimumMayAskForAnotherPath) {
  std::mt19937_64 random(3064);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  const std::vector<int> tones = support::randomTones(64, 40, random);
  const double cell = 1.0 / (tones.back() + 1);
  std::vector<double> f;
  std::vector<double> amplitudes;
  double next = 0.1;
  for (int p = 0; p < 6; ++p) {
    f.push_back(next);
    amplitudes.push_back(0.3 + 0.7 * uniform(random));
    next += (0.3 + 1.2 * uniform(random)) * cell;
  }
  const double snr_dB = 10.0 + 30.0 * uniform(random);
  const auto model =
      support::drawChannel(tones, {}, f, amplitudes, std::pow(10.0, -snr_dB / 10.0), 1, random);
  LikelihoodFit fit(tones, {}, {});
  support::fitSamples(fit, flat(model), {});
  ASSERT_EQ(fit.paths().size(), 6U);
  for (std::size_t p = 0; p < 6; ++p) {
    EXPECT_NEAR(fit.paths()[p].frequency, f[p], 5 * fit.paths()[p].deviation);
  }
}

// BOUND: 1e-9: the rounding of the logarithm of two costs. Of few tones two paths are tried at once; the
// margin is that of the first one.
TEST(LikelihoodFit, TheNextMarginIsThatOfOnePathMore) {
  for (unsigned seed = 0; seed < 8; ++seed) {
    const Noise noise(24, seed);
    LikelihoodFit fit(range(0, 23), {}, {});
    support::fitSamples(fit, flat(noise.model), {});
    ASSERT_TRUE(fit.paths().empty());
    const double threshold = flightpath::pathThreshold(1e-3, std::sqrt(24.0 * 24.0 - 1.0), 1);
    const double T = noise.promisedStatistic();
    ASSERT_LT(T, 0.9 * threshold) << "the promise is not worth a trial";
    EXPECT_NEAR(fit.report().next * threshold / T, 1.0, 1e-9);
  }
}

// BOUND: 1e-6: two ways to the same minimum. A promise near the threshold is tried, and the test is that of
// the refined path, which lies between the points of the grid.
TEST(LikelihoodFit, ThePathThatIsTriedIsTestedRefined) {
  LikelihoodSettings how;
  how.falseAlarm = 0.3;
  LikelihoodFit fit(range(0, 63), {}, how);
  LikelihoodFit one(range(0, 63), {}, forced(1));
  const double threshold = flightpath::pathThreshold(0.3, std::sqrt(64.0 * 64.0 - 1.0), 1);
  int tried = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    const Noise noise(64, seed);
    const double promised = noise.promisedStatistic();
    if (promised <= 0.9 * threshold || promised >= threshold) {
      continue;
    }
    support::fitSamples(one, flat(noise.model), {});
    const double T =
        62.5 * std::log(noise.model.cost({}) / noise.model.cost({one.paths()[0].frequency}));
    support::fitSamples(fit, flat(noise.model), {});
    if (fit.paths().empty()) {
      ++tried;
      EXPECT_NEAR(fit.report().next * threshold / T, 1.0, 1e-6) << seed;
    }
    EXPECT_EQ(fit.paths().empty(), T <= threshold) << seed;
  }
  EXPECT_GE(tried, 3);
}

// BOUND: 1e-9, two ways to the same cost. Where an interval ends the cost is beyond its limit with the other
// paths adapted, and all the more so with these kept, by the dense model. Of paths that are hardly resolved
// a step too far leads the others to another minimum: the next one must not start there.
TEST(LikelihoodFit, NoIntervalEndsBeforeItsLimit) {
  int sides = 0;
  for (unsigned seed = 0; seed < 48; ++seed) {
    const int K = seed % 2 == 0 ? 2 : 3;
    const double separation = seed % 4 < 2 ? 0.35 : 0.5;
    std::mt19937_64 random(seed / 4);
    std::vector<double> f;
    for (int p = 0; p < K; ++p) {
      f.push_back(0.1 + p * separation / 64.0);
    }
    const auto model =
        support::drawChannel(range(0, 63), {}, f, {1.0, 0.8, 0.6}, std::pow(10.0, -1.5), 1, random);
    LikelihoodFit fit(range(0, 63), {}, forced(K));
    support::fitSamples(fit, flat(model), f);
    const std::vector<double> found = frequencies(fit);
    const double degrees = 2.0 * (64.0 - 1.5 * K);
    const double q = flightpath::studentQuantile(0.9, degrees);
    const double limit = model.cost(found) * (1.0 + q * q / degrees);
    for (int p = 0; p < K; ++p) {
      const auto interval = fit.interval(p, 0.9);
      for (const double end : {interval.earliest, interval.latest}) {
        std::vector<double> there = found;
        there[static_cast<std::size_t>(p)] = end;
        if (!endsElsewhere(found, there)) {
          ++sides;
          EXPECT_GE(model.cost(there), limit * (1.0 - 1e-9)) << seed << ", " << p;
        }
      }
    }
  }
  EXPECT_GT(sides, 150);
}

// BOUND: 1e-6 of the deviation, two ways to the same minimum. The steps of the search are in the unit of the
// deviation: where they end depends on them by a thousandth.
TEST(LikelihoodFit, AnIntervalIsSearchedInStridesToo) {
  const Samples x = channel(range(0, 63), {0.1}, {1.0}, 20.0, 19);
  LikelihoodFit plain(range(0, 63), {}, {});
  LikelihoodFit wide(range(0, 315, 5), {}, {});
  support::fitSamples(plain, x, {});
  support::fitSamples(wide, x, {});
  ASSERT_EQ(plain.paths().size(), 1U);
  ASSERT_EQ(wide.paths().size(), 1U);
  const double deviation = plain.paths()[0].deviation;
  for (const double level : {0.3, 0.7, 0.9, 0.99}) {
    const auto a = plain.interval(0, level);
    const auto b = wide.interval(0, level);
    EXPECT_NEAR(5.0 * b.earliest, a.earliest, 1e-6 * deviation) << level;
    EXPECT_NEAR(5.0 * b.latest, a.latest, 1e-6 * deviation) << level;
  }
}

// EXACT: a path beyond the end of a window that has room for one promises to leave the residual, and no
// second path in the window can take it.
TEST(LikelihoodFit, APromiseThatNoPathKeepsIsNoMargin) {
  LikelihoodSettings how;
  how.earliest = 0.1;
  how.latest = 0.1 + 1e-5;
  LikelihoodFit fit(range(0, 63), {}, how);
  support::fitSamples(fit, channel(range(0, 63), {0.104}, {1.0}, 30.0, 18), {});
  ASSERT_EQ(fit.paths().size(), 1U);
  EXPECT_GT(fit.report().structure, 2.0) << "of the residual";
  EXPECT_TRUE(std::isnan(fit.report().next));
}

// EXACT
TEST(LikelihoodFit, SettingsWithoutMeaningAreRefusedByTheirNames) {
  EXPECT_EQ(refusal({}), "");
  for (const double bad : {0.0, 1.0, -0.1, notANumber}) {
    LikelihoodSettings how;
    how.falseAlarm = bad;
    EXPECT_EQ(refusal(how), "Ranger: FalseAlarm is not above 0 and below 1");
  }
  for (const auto& [earliest, latest] :
       {std::pair(0.2, 0.2), std::pair(0.2, 0.1), std::pair(notANumber, 0.1),
        std::pair(0.1, notANumber), std::pair(infinity, infinity)}) {
    LikelihoodSettings how;
    how.earliest = earliest;
    how.latest = latest;
    EXPECT_EQ(refusal(how), "EarliestDistance and LatestDistance enclose nothing");
  }
}
