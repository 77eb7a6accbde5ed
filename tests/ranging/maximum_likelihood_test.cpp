#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <vector>

#include "flightpath/likelihood/likelihood_fit.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/ranging/tone_presets.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"
#include "tests/support/tone_samples.h"
#include "tests/support/tones.h"

using flightpath::Outcome;
using flightpath::Path;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::everythingIn;
using support::likelihood;
using support::measureTones;
using support::range;
using support::spacing_Hz;
using support::speedOfLight_mps;
using support::TonePath;

namespace {

using Complex = std::complex<double>;

const std::vector<TonePath> easyThree = {{12.0, 1.0, 0.3}, {33.0, 0.7, 2.0}, {60.0, 0.5, -1.1}};

PathSet estimate(const std::vector<Complex>& samples, const RangingOptions& how,
                 std::size_t samplesPerRow) {
  return Ranger(static_cast<std::uint32_t>(samplesPerRow), how).estimate({samples, samplesPerRow});
}

}  // namespace

// EXACT
TEST(MaximumLikelihood, IsTheDefault) {
  EXPECT_EQ(RangingOptions().Method, flightpath::RangingMethod::MaximumLikelihood);
}

// MODEL: 25 dB over white noise; five deviations, and for powers a quarter.
TEST(MaximumLikelihood, EachPathHasDistanceAmplitudePowerAndDeviation) {
  const std::vector<int> tones = range(0, 63);
  const double noisePower = 3e-3;
  const auto found = estimate(measureTones(easyThree, tones, noisePower, 1), likelihood(), 64);
  ASSERT_EQ(found[0].size(), 3U);
  EXPECT_EQ(found[0].info().NumSignals, 3);
  EXPECT_EQ(found[0].info().Result, Outcome::Found);
  EXPECT_NEAR(found[0].info().NoisePower, noisePower, 0.5 * noisePower);
  EXPECT_NEAR(found[0].info().ResidualStructure, 1.0, 0.5);
  EXPECT_GT(found[0].info().WeakestMargin, 5.0);
  EXPECT_LT(found[0].info().NextMargin, 1.0);
  for (std::size_t p = 0; p < 3; ++p) {
    const Path path = found[0][p];
    EXPECT_NEAR(path.Distance_m, easyThree[p].distance_m, 5 * path.Deviation_m);
    EXPECT_LT(path.Deviation_m, 0.1);
    EXPECT_GT(path.Deviation_m, 0.001);
    EXPECT_EQ(path.Delay_s, path.Distance_m / speedOfLight_mps);
    const Complex truth = std::polar(easyThree[p].amplitude, easyThree[p].phase_rad);
    EXPECT_LT(std::abs(path.Amplitude - truth), 0.1);
    EXPECT_NEAR(path.Peak_dB, 20.0 * std::log10(std::abs(path.Amplitude)), 1e-4);
    EXPECT_NEAR(
        path.SNR_dB,
        20.0 * std::log10(std::abs(path.Amplitude)) - 10.0 * std::log10(found[0].info().NoisePower),
        1e-9);
    EXPECT_TRUE(std::isnan(path.Lower_m));
    EXPECT_TRUE(std::isnan(path.Upper_m));
    EXPECT_EQ(found[0].amplitude(p, 0), path.Amplitude);
  }
}

// EXACT: what one method cannot know is NaN, also where columns are read.
TEST(MaximumLikelihood, MusicSaysNaNForWhatItDoesNotKnow) {
  const auto found =
      estimate(measureTones(easyThree, range(0, 63), 1e-3, 1), support::options(), 64);
  ASSERT_EQ(found[0].size(), 3U);
  for (const Path path : found[0]) {
    for (const double unknown : {path.Deviation_m, path.Amplitude.real(), path.Amplitude.imag(),
                                 path.SNR_dB, path.Lower_m, path.Upper_m}) {
      EXPECT_TRUE(std::isnan(unknown));
    }
  }
  EXPECT_TRUE(std::isnan(found[0].info().NoisePower));
  EXPECT_TRUE(std::isnan(found[0].info().ResidualStructure));
  EXPECT_TRUE(std::isnan(found[0].info().WeakestMargin));
  EXPECT_TRUE(std::isnan(found[0].info().NextMargin));
  EXPECT_TRUE(std::isnan(found[0].covariance_m2(0, 0)));
  EXPECT_TRUE(found.covariances_m2().empty());
  EXPECT_EQ(found.amplitudes().size(), 3U);
  EXPECT_GT(found.context().GridStep_m, 0.0);
}

// BOUND: the fit of the same samples from MUSIC's paths, whose distances are in single precision: the
// last step of the refinement differs.
TEST(MaximumLikelihood, TheAnswerIsTheFitThatStartsFromMusic) {
  auto samples = measureTones(easyThree, range(0, 63), 1e-2, 3);
  double largest = 0.0;
  for (Complex& z : samples) {
    z *= 0.5;
    largest = std::max({largest, std::fabs(z.real()), std::fabs(z.imag())});
  }
  ASSERT_GE(largest, 1.0);
  ASSERT_LT(largest, 2.0) << "the Ranger's own scale is then 1";
  const auto music = estimate(samples, support::options(), 64);
  const auto found = estimate(samples, likelihood(), 64);
  std::vector<double> re;
  std::vector<double> im;
  for (const Complex z : samples) {
    re.push_back(z.real());
    im.push_back(z.imag());
  }
  std::vector<double> start;
  for (const double distance_m : music.distances_m()) {
    start.push_back(distance_m * spacing_Hz / speedOfLight_mps);
  }
  flightpath::LikelihoodFit fit(range(0, 63), {}, {});
  fit.fit(re, im, start);
  ASSERT_EQ(found[0].size(), fit.paths().size());
  const double range_m = speedOfLight_mps / spacing_Hz;
  for (std::size_t p = 0; p < fit.paths().size(); ++p) {
    EXPECT_NEAR(found[0][p].Distance_m, fit.paths()[p].frequency * range_m,
                1e-4 * found[0][p].Deviation_m);
    EXPECT_NEAR(found[0][p].Deviation_m / (fit.paths()[p].deviation * range_m), 1.0, 1e-4);
  }
  EXPECT_NEAR(found[0].info().NoisePower / fit.report().noisePower, 1.0, 1e-6);
  EXPECT_NEAR(found[0].info().ResidualStructure, fit.report().structure, 1e-4);
}

// EXACT: over gaps, and from several rows, it is the fit that starts from nothing.
TEST(MaximumLikelihood, OverGapsTheFitStartsFromNothing) {
  const std::vector<int> gaps = flightpath::tonesOf(flightpath::TonePreset::HT20);
  for (const int rows : {1, 2}) {
    const std::vector<int> tones = rows == 1 ? gaps : range(0, 55);
    const auto samples = measureTones(easyThree, tones, 1e-2, 13, rows);
    std::vector<double> re;
    std::vector<double> im;
    double largest = 0.0;
    for (const Complex z : samples) {
      re.push_back(z.real());
      im.push_back(z.imag());
      largest = std::max({largest, std::fabs(z.real()), std::fabs(z.imag())});
    }
    ASSERT_GE(largest, 1.0);
    ASSERT_LT(largest, 4.0) << "a power of two is the Ranger's own scale";
    RangingOptions how = likelihood();
    how.Tones = tones;
    how.SnapshotsPerEstimate = static_cast<std::uint32_t>(rows);
    const auto found = estimate(samples, how, 56);
    flightpath::LikelihoodSettings settings;
    settings.snapshots = rows;
    flightpath::LikelihoodFit fit(tones, {}, settings);
    fit.fit(re, im, {});
    ASSERT_EQ(found[0].size(), fit.paths().size());
    for (std::size_t p = 0; p < fit.paths().size(); ++p) {
      EXPECT_EQ(found[0][p].Distance_m, fit.paths()[p].frequency * (speedOfLight_mps / spacing_Hz));
    }
  }
}

// EXACT: a power of two in the samples' unit is one in the answers'.
TEST(MaximumLikelihood, TheUnitOfTheSamplesIsThatOfTheAnswers) {
  const auto samples = measureTones(easyThree, range(0, 63), 1e-2, 4, 2);
  RangingOptions how = likelihood();
  how.SnapshotsPerEstimate = 2;
  const auto reference = estimate(samples, how, 64);
  ASSERT_EQ(reference[0].size(), 3U);
  for (const int exponent : {-400, -66, 1, 66, 400}) {
    auto scaled = samples;
    for (Complex& z : scaled) {
      z = {std::ldexp(z.real(), exponent), std::ldexp(z.imag(), exponent)};
    }
    const auto found = estimate(scaled, how, 64);
    ASSERT_EQ(found[0].size(), 3U) << exponent;
    for (std::size_t p = 0; p < 3; ++p) {
      EXPECT_EQ(found[0][p].Distance_m, reference[0][p].Distance_m);
      EXPECT_EQ(found[0][p].Deviation_m, reference[0][p].Deviation_m);
      EXPECT_EQ(found[0][p].SNR_dB, reference[0][p].SNR_dB);
      EXPECT_NEAR(found[0][p].Peak_dB, reference[0][p].Peak_dB + 6.0206 * exponent,
                  0.001 * std::abs(exponent));
      for (const std::size_t row : {0U, 1U}) {
        EXPECT_EQ(found[0].amplitude(p, row).real(),
                  std::ldexp(reference[0].amplitude(p, row).real(), exponent));
        EXPECT_EQ(found[0].amplitude(p, row).imag(),
                  std::ldexp(reference[0].amplitude(p, row).imag(), exponent));
      }
    }
    EXPECT_EQ(found[0].info().NoisePower, std::ldexp(reference[0].info().NoisePower, 2 * exponent));
  }
}

// MODEL: the smallest numbers that there are have no inverse; 30 dB.
TEST(MaximumLikelihood, SubnormalSamplesAreFitted) {
  auto samples = measureTones({{100.0, 1.0, 0.0}}, range(0, 31), 1e-3, 5);
  for (Complex& z : samples) {
    z *= 1e-310;
  }
  const auto found = estimate(samples, likelihood(), 32);
  ASSERT_EQ(found[0].size(), 1U);
  EXPECT_NEAR(found[0][0].Distance_m, 100.0, 1.0);
}

// EXACT: stated results, and nothing of a bad measurement is left for the next.
TEST(MaximumLikelihood, WhatHasNoAnswerSaysWhy) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double inf = std::numeric_limits<double>::infinity();
  const auto good = measureTones(easyThree, range(0, 63), 1e-2, 6);
  for (const auto& forced : {std::optional<std::uint32_t>(), std::optional<std::uint32_t>(3)}) {
    Ranger ranger(64, likelihood(forced));
    const auto expected = everythingIn(ranger.estimate(good));
    for (const double bad : {nan, inf, -inf}) {
      for (const std::size_t at : {0U, 63U}) {
        auto broken = good;
        broken[at] = at == 0 ? Complex(bad, 0.0) : Complex(0.0, bad);
        const PathSet found = ranger.estimate(broken);
        EXPECT_TRUE(found[0].empty());
        EXPECT_EQ(found[0].info().Result, Outcome::BadSamples);
        EXPECT_TRUE(std::isnan(found[0].info().NoisePower));
      }
    }
    const PathSet zeros = ranger.estimate(std::vector<Complex>(64));
    EXPECT_TRUE(zeros[0].empty());
    EXPECT_EQ(zeros[0].info().Result, Outcome::NoSignal);
    EXPECT_EQ(zeros[0].info().NoisePower, 0.0);
    EXPECT_TRUE(support::sameBits(everythingIn(ranger.estimate(good)), expected));
  }
}

// EXACT for counts: one tone has no delay; of few tones, as many paths as they can carry.
TEST(MaximumLikelihood, FewTonesHaveStatedResults) {
  struct Row {
    std::uint32_t N;
    std::uint32_t forced;
    std::size_t expected;
  };
  for (const Row& row : {Row{1, 1, 0}, Row{2, 1, 1}, Row{2, 5, 1}, Row{3, 2, 1}, Row{3, 65535, 1},
                         Row{4, 9, 2}, Row{64, 65535, 42}}) {
    const auto samples = measureTones(easyThree, range(0, static_cast<int>(row.N) - 1), 0.1, 7);
    const auto found = estimate(samples, likelihood(row.forced), row.N);
    EXPECT_EQ(found[0].size(), row.expected) << row.N << ", " << row.forced;
    EXPECT_EQ(found[0].info().NumSignals, static_cast<std::int32_t>(row.expected));
    EXPECT_TRUE(std::isnan(found[0].info().WeakestMargin));
  }
  const auto one = estimate({{3.0, 4.0}}, likelihood(), 1);
  EXPECT_EQ(one[0].info().Result, Outcome::NoSignal);
  EXPECT_EQ(one[0].info().NoisePower, 25.0);
  for (const std::uint32_t N : {2U, 3U}) {
    const auto noisy = measureTones({}, range(0, static_cast<int>(N) - 1), 1.0, 8);
    const auto found = estimate(noisy, likelihood(), N);
    EXPECT_TRUE(found[0].empty()) << N;
  }
}

// EXACT: the matrix is symmetric, and its diagonal the squares of the deviations; one block per estimate.
TEST(MaximumLikelihood, CovariancesStandWithTheirEstimates) {
  std::vector<Complex> batch;
  for (const std::size_t count : {0U, 2U, 3U, 1U}) {
    const std::vector<TonePath> paths(easyThree.begin(),
                                      easyThree.begin() + static_cast<std::ptrdiff_t>(count));
    const auto row = measureTones(paths, range(0, 63), 1e-3, 9);
    batch.insert(batch.end(), row.begin(), row.end());
  }
  const auto found = estimate(batch, likelihood(), 64);
  ASSERT_EQ(found.size(), 4U);
  EXPECT_EQ(support::toVector(found.covarianceOffsets()),
            (std::vector<std::size_t>{0, 0, 4, 13, 14}));
  for (const auto estimate : found) {
    for (std::size_t k = 0; k < estimate.size(); ++k) {
      const double deviation_m = estimate[k].Deviation_m;
      EXPECT_NEAR(estimate.covariance_m2(k, k), deviation_m * deviation_m,
                  1e-12 * deviation_m * deviation_m);
      for (std::size_t l = 0; l < k; ++l) {
        EXPECT_EQ(estimate.covariance_m2(k, l), estimate.covariance_m2(l, k));
        EXPECT_NE(estimate.covariance_m2(k, l), 0.0);
        EXPECT_LT(std::fabs(estimate.covariance_m2(k, l)), deviation_m * estimate[l].Deviation_m);
      }
    }
  }
}

// EXACT: neither threads nor neighbours change a bit, and a PathSet that held other answers neither.
TEST(MaximumLikelihood, AnswersDependOnTheirOwnRowsAlone) {
  std::vector<Complex> batch;
  for (unsigned i = 0; i < 12; ++i) {
    const std::vector<TonePath> paths(easyThree.begin(), easyThree.begin() + i % 4);
    const auto row = measureTones(paths, range(0, 63), i % 3 == 0 ? 1e-3 : 0.1, i);
    batch.insert(batch.end(), row.begin(), row.end());
  }
  RangingOptions how = likelihood();
  how.IntervalLevel = 0.9;
  Ranger one(64, how);
  const PathSet expected = one.estimate({batch, 64});
  how.Threads = 3;
  Ranger three(64, how);
  PathSet reused = three.estimate({batch.data(), 5 * 64, 64});
  three.estimate({batch, 64}, reused);
  EXPECT_TRUE(support::sameBits(everythingIn(reused), everythingIn(expected)));
  for (std::size_t i = 0; i < 12; ++i) {
    const PathSet alone = one.estimate({batch.data() + i * 64, 64, 64});
    ASSERT_EQ(alone[0].size(), expected[i].size());
    for (std::size_t p = 0; p < alone[0].size(); ++p) {
      EXPECT_EQ(alone[0][p].Distance_m, expected[i][p].Distance_m);
      EXPECT_EQ(alone[0][p].Deviation_m, expected[i][p].Deviation_m);
      EXPECT_EQ(alone[0][p].Amplitude, expected[i][p].Amplitude);
      EXPECT_EQ(alone[0][p].Lower_m, expected[i][p].Lower_m);
      EXPECT_EQ(alone[0].covariance_m2(p, 0), expected[i].covariance_m2(p, 0));
    }
    EXPECT_TRUE(support::sameBits(alone[0].info().NextMargin, expected[i].info().NextMargin));
  }
}

// MODEL: 25 dB; rows of 64 that share their paths: an amplitude per row, smaller deviations.
TEST(MaximumLikelihood, RowsThatShareTheirPathsKeepTheirAmplitudes) {
  const auto samples = measureTones(easyThree, range(0, 63), 3e-3, 10, 8);
  RangingOptions how = likelihood();
  const auto alone = estimate(samples, how, 64);
  const double alone_m = alone[0][0].Deviation_m;
  how.SnapshotsPerEstimate = 8;
  const auto found = estimate(samples, how, 64);
  ASSERT_EQ(found.size(), 1U);
  ASSERT_EQ(found[0].size(), 3U);
  EXPECT_EQ(found.rowsPerEstimate(), 8U);
  EXPECT_EQ(found.amplitudes().size(), 24U);
  for (std::size_t p = 0; p < 3; ++p) {
    EXPECT_NEAR(found[0][p].Distance_m, easyThree[p].distance_m, 5 * found[0][p].Deviation_m);
    EXPECT_EQ(found[0][p].Amplitude, found[0].amplitude(p, 0));
    for (std::size_t row = 0; row < 8; ++row) {
      const Complex truth =
          std::polar(easyThree[p].amplitude,
                     easyThree[p].phase_rad + 1.3 * static_cast<double>(row * (p + 1)));
      EXPECT_LT(std::abs(found[0].amplitude(p, row) - truth), 0.1) << p << ", " << row;
    }
  }
  EXPECT_NEAR(found[0][0].Deviation_m, alone_m / std::sqrt(8.0), 0.3 * alone_m / std::sqrt(8.0));
}

// MODEL: an interval at a level of one deviation is about one deviation to either side, at a higher level
// more.
TEST(MaximumLikelihood, IntervalsComeOnRequest) {
  const auto samples = measureTones(easyThree, range(0, 63), 3e-3, 11);
  double before = 0.0;
  for (const double level : {0.6827, 0.9545}) {
    RangingOptions how = likelihood();
    how.IntervalLevel = level;
    const auto found = estimate(samples, how, 64);
    const Path path = found[0][1];
    const double width = path.Upper_m - path.Lower_m;
    EXPECT_LT(path.Lower_m, path.Distance_m);
    EXPECT_GT(path.Upper_m, path.Distance_m);
    EXPECT_NEAR(width / path.Deviation_m, level > 0.9 ? 4.0 : 2.0, 0.4);
    EXPECT_GT(width, before);
    before = width;
  }
}

// MODEL: a line 30 dB over the noise with an echo 28 dB below: an error of the model of -20 dB explains
// that, in dB of power.
TEST(MaximumLikelihood, ModelErrorIsInDecibelsOfPower) {
  const auto samples = measureTones({{30.0, 1.0, 0.0}, {200.0, 0.04, 1.0}}, range(0, 63), 1e-6, 12);
  for (const auto& [modelError_dB, expected] :
       {std::pair(-60.0, 2U), std::pair(-32.0, 2U), std::pair(-20.0, 1U)}) {
    RangingOptions how = likelihood();
    how.ModelError = modelError_dB;
    const auto found = estimate(samples, how, 64);
    EXPECT_EQ(found[0].size(), expected) << modelError_dB;
  }
}

// MODEL: a share of noise alone becomes a path; binomial, three deviations, per 400.
TEST(MaximumLikelihood, FalseAlarmIsTheShareOfNoiseThatBecomesAPath) {
  std::vector<Complex> batch;
  for (unsigned i = 0; i < 400; ++i) {
    const auto row = measureTones({}, range(0, 63), 1.0, 100 + i);
    batch.insert(batch.end(), row.begin(), row.end());
  }
  RangingOptions how = likelihood();
  how.FalseAlarm = 0.25;
  const auto found = estimate(batch, how, 64);
  int invented = 0;
  for (const auto estimate : found) {
    invented += estimate.empty() ? 0 : 1;
  }
  EXPECT_GT(invented, 60);
  EXPECT_LT(invented, 140);
}

// MODEL: tones whose noise is a hundred times the others' spoil an estimate that is not told.
TEST(MaximumLikelihood, WeightsAreTakenPerTone) {
  const std::vector<int> tones = range(0, 63);
  std::vector<double> weights(64, 1.0);
  double squares[2] = {};
  for (unsigned seed = 0; seed < 50; ++seed) {
    auto samples = measureTones({{50.0, 1.0, 0.2}}, tones, 1e-2, 200 + seed);
    const auto strong = measureTones({}, tones, 1.0, 300 + seed);
    for (std::size_t k = 0; k < 64; k += 3) {
      samples[k] += strong[k];
      weights[k] = 0.01;
    }
    for (const bool told : {false, true}) {
      RangingOptions how = likelihood(1);
      how.Weights = told ? weights : std::vector<double>();
      const auto found = estimate(samples, how, 64);
      const double error = found[0][0].Distance_m - 50.0;
      squares[told ? 1 : 0] += error * error;
    }
  }
  EXPECT_LT(squares[1], 0.2 * squares[0]);
}
