#include "flightpath/line_of_sight/line_of_sight.h"

#include <cblas.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/blas_threads.h"
#include "tests/support/diffuse_channel.h"
#include "tests/support/direct_paths.h"
#include "tests/support/forked_child.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"
#include "tests/support/tone_samples.h"
#include "tests/support/tones.h"

using flightpath::DirectPath;
using flightpath::LineOfSight;
using flightpath::LineOfSightOptions;
using flightpath::Outcome;
using support::everythingIn;
using support::measureDiffuse;
using support::measureTones;
using support::range;
using support::speedOfLight_mps;

namespace {

using Complex = std::complex<double>;
using Samples = std::vector<Complex>;

const std::vector<int> t64 = range(0, 63);

LineOfSightOptions options() {
  LineOfSightOptions how;
  how.SubcarrierSpacing = support::spacing_Hz;
  return how;
}

std::vector<DirectPath> estimate(const Samples& samples, const LineOfSightOptions& how,
                                 std::size_t samplesPerRow = 64) {
  LineOfSight lineOfSight(static_cast<std::uint32_t>(samplesPerRow), how);
  return lineOfSight.estimate({samples, samplesPerRow});
}

void append(Samples& to, const Samples& more) { to.insert(to.end(), more.begin(), more.end()); }

Samples diffuseBatch(int count, double K_dB, double decay_s = 30e-9, double noisePower = 1e-3) {
  Samples batch;
  for (int i = 0; i < count; ++i) {
    append(batch, measureDiffuse({40.0 + 0.1 * i, K_dB, decay_s, noisePower}, t64,
                                 static_cast<unsigned>(i) + 1));
  }
  return batch;
}

std::string refusal(std::uint32_t N, const LineOfSightOptions& how) {
  try {
    const LineOfSight refused(N, how);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "none";
}

}  // namespace

// MODEL: 200 channels of K = 0 and 10 dB at 30 dB; the interval of 95.45 % within 89 and 100 %, RMS error
// below 3.5 and 1.5 ns, and no systematic error above a fifth of that.
TEST(LineOfSight, FindsTheDirectPathBeforeADiffuseTail) {
  for (const auto& [K_dB, most_ns] : {std::pair(0.0, 3.5), std::pair(10.0, 1.5)}) {
    const auto found = estimate(diffuseBatch(200, K_dB), options());
    ASSERT_EQ(found.size(), 200U);
    double squares = 0.0;
    double sum = 0.0;
    int within = 0;
    for (std::size_t i = 0; i < found.size(); ++i) {
      const double truth_m = 40.0 + 0.1 * static_cast<double>(i);
      ASSERT_EQ(found[i].Result, Outcome::Found);
      const double error_ns = (found[i].Distance_m - truth_m) / speedOfLight_mps * 1e9;
      squares += error_ns * error_ns;
      sum += error_ns;
      within += found[i].Lower_m <= truth_m && truth_m <= found[i].Upper_m ? 1 : 0;
      EXPECT_EQ(found[i].Delay_s, found[i].Distance_m / speedOfLight_mps);
      EXPECT_LT(found[i].Lower_m, found[i].Distance_m);
      EXPECT_GT(found[i].Upper_m, found[i].Distance_m);
    }
    EXPECT_LT(std::sqrt(squares / 200.0), most_ns);
    EXPECT_LT(std::fabs(sum / 200.0), 0.4 * most_ns);
    EXPECT_GE(within, 178);
  }
}

// MODEL: means over 100 channels of 30 dB.
TEST(LineOfSight, SaysHowStrongThePathIsAndHowLongTheTail) {
  double before = 0.0;
  for (const double K_dB : {-5.0, 5.0, 15.0}) {
    double probability = 0.0;
    double factor_dB = 0.0;
    double decay_s = 0.0;
    double noise = 0.0;
    for (const DirectPath& path : estimate(diffuseBatch(100, K_dB, 40e-9), options())) {
      probability += path.Probability / 100.0;
      factor_dB += path.RicianFactor_dB / 100.0;
      decay_s += path.Decay_s / 100.0;
      noise += path.NoisePower / 100.0;
    }
    EXPECT_GT(probability, before + 0.1) << K_dB;
    EXPECT_LE(probability, 1.0);
    EXPECT_NEAR(factor_dB, K_dB, 4.0);
    EXPECT_GT(decay_s, 15e-9);
    EXPECT_LT(decay_s, 90e-9);
    EXPECT_GT(noise, 0.3e-3);
    EXPECT_LT(noise, 3e-3);
    before = probability;
  }
}

// MODEL: one path alone, 30 dB: within five deviations, which are below 0.2 m, and a path for certain.
TEST(LineOfSight, APathWithoutATailIsOne) {
  const auto found = estimate(measureTones({{55.0, 1.0, 0.7}}, t64, 1e-3, 2), options());
  EXPECT_NEAR(found[0].Distance_m, 55.0, 5.0 * found[0].Deviation_m);
  EXPECT_LT(found[0].Deviation_m, 0.2);
  EXPECT_GT(found[0].Probability, 0.95);
  EXPECT_GT(found[0].RicianFactor_dB, 15.0);
  EXPECT_NEAR(found[0].ProfileMisfit, 1.0, 0.4);
}

// MODEL: a second path far behind the first is no tail.
TEST(LineOfSight, AMisfitIsSeen) {
  const auto good = estimate(diffuseBatch(1, 5.0), options());
  const auto bad =
      estimate(measureTones({{30.0, 1.0, 0.2}, {390.0, 1.0, 1.0}}, t64, 1e-4, 3), options());
  EXPECT_LT(good[0].ProfileMisfit, 1.6);
  EXPECT_GT(bad[0].ProfileMisfit, 3.0);
}

// MODEL: of 200 records of noise alone at most a few pass for a path, and those improbable.
TEST(LineOfSight, NoiseAloneHasNoPath) {
  Samples noise;
  for (unsigned i = 0; i < 200; ++i) {
    append(noise, measureTones({}, t64, 1.0, 50 + i));
  }
  int found = 0;
  for (const DirectPath& path : estimate(noise, options())) {
    found += path.Result == Outcome::Found ? 1 : 0;
    EXPECT_TRUE(path.Result == Outcome::Found || std::isnan(path.Distance_m));
  }
  EXPECT_LE(found, 10);
}

// EXACT: what has no answer says why, and leaves nothing behind.
TEST(LineOfSight, BadSamplesAndZerosHaveNoAnswer) {
  const Samples good = diffuseBatch(1, 5.0);
  LineOfSight lineOfSight(64, options());
  const auto expected = everythingIn(lineOfSight.estimate(good));
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const Complex bad : {Complex(nan, 0.0), Complex(0.0, -infinity)}) {
    Samples samples = good;
    samples[63] = bad;
    const auto found = lineOfSight.estimate(samples);
    EXPECT_EQ(found[0].Result, Outcome::BadSamples);
    EXPECT_TRUE(std::isnan(found[0].Distance_m));
    EXPECT_TRUE(std::isnan(found[0].Probability));
  }
  const auto zeros = lineOfSight.estimate(Samples(64));
  EXPECT_EQ(zeros[0].Result, Outcome::NoSignal);
  EXPECT_TRUE(std::isnan(zeros[0].Upper_m));
  EXPECT_TRUE(support::sameBits(everythingIn(lineOfSight.estimate(good)), expected));
}

// MODEL: without noise there is nothing to divide by, and the answer is that of a good measurement.
TEST(LineOfSight, SamplesWithoutNoiseAreFitted) {
  LineOfSightOptions how = options();
  how.AcceptPhaseOnly = true;  // one path without noise is nothing else
  const auto found = estimate(measureTones({{55.0, 1.0, 0.7}}, t64, 0.0, 1), how);
  EXPECT_NEAR(found[0].Distance_m, 55.0, 1e-3);
  EXPECT_TRUE(std::isfinite(found[0].Deviation_m));
  EXPECT_LE(found[0].Lower_m, found[0].Upper_m);
}

// EXACT: neighbours, threads and what was estimated before do not matter.
TEST(LineOfSight, AnswersDependOnTheirOwnRowsAlone) {
  Samples batch = diffuseBatch(9, 0.0);
  append(batch, measureTones({{55.0, 1.0, 0.7}}, t64, 1e-3, 2));
  append(batch, Samples(64));
  append(batch, diffuseBatch(2, -10.0, 60e-9, 0.1));
  LineOfSightOptions how = options();
  const auto expected = everythingIn(estimate(batch, how));
  for (const unsigned threads : {2U, 5U, 0U}) {
    how.Threads = threads;
    EXPECT_TRUE(support::sameBits(everythingIn(estimate(batch, how)), expected)) << threads;
  }
  const std::size_t perRow = expected.size() / 13;
  for (std::size_t i = 0; i < 13; ++i) {
    const auto from = batch.begin() + static_cast<std::ptrdiff_t>(64 * i);
    const auto alone = everythingIn(estimate(Samples(from, from + 64), options()));
    const auto at = expected.begin() + static_cast<std::ptrdiff_t>(perRow * i);
    EXPECT_TRUE(support::sameBits(
        alone, std::vector<double>(at, at + static_cast<std::ptrdiff_t>(perRow))));
  }
}

// EXACT: powers of two only move the exponent.
TEST(LineOfSight, TheUnitOfTheSamplesIsThatOfTheNoise) {
  const Samples samples = diffuseBatch(1, 3.0);
  const DirectPath expected = estimate(samples, options())[0];
  for (const double factor : {0x1p-300, 0x1p40}) {
    Samples scaled = samples;
    for (Complex& z : scaled) {
      z *= factor;
    }
    const DirectPath found = estimate(scaled, options())[0];
    EXPECT_EQ(found.Distance_m, expected.Distance_m);
    EXPECT_EQ(found.Probability, expected.Probability);
    EXPECT_EQ(found.RicianFactor_dB, expected.RicianFactor_dB);
    EXPECT_DOUBLE_EQ(found.NoisePower / factor / factor, expected.NoisePower);
  }
}

// EXACT: single precision samples are those in double.
TEST(LineOfSight, BothPrecisionsOfSamplesAreAccepted) {
  std::vector<std::complex<float>> single;
  Samples same;
  for (const Complex z : diffuseBatch(1, 3.0)) {
    single.emplace_back(static_cast<float>(z.real()), static_cast<float>(z.imag()));
    same.emplace_back(single.back().real(), single.back().imag());
  }
  LineOfSight lineOfSight(64, options());
  EXPECT_TRUE(support::sameBits(everythingIn(lineOfSight.estimate(single)),
                                everythingIn(lineOfSight.estimate(same))));
}

// MODEL: eight rows that share their delay: the deviation falls to less than a half, and holds.
TEST(LineOfSight, RowsThatShareTheirDelaySharpenIt) {
  LineOfSightOptions how = options();
  how.SnapshotsPerEstimate = 8;
  double alone = 0.0;
  double together = 0.0;
  double squares = 0.0;
  for (unsigned i = 0; i < 40; ++i) {
    const Samples rows = measureDiffuse({50.0, 0.0, 30e-9, 1e-3}, t64, 900 + i, 8);
    const auto shared = estimate(rows, how);
    ASSERT_EQ(shared.size(), 1U);
    alone += estimate(rows, options())[0].Deviation_m;
    together += shared[0].Deviation_m;
    squares += std::pow((shared[0].Distance_m - 50.0) / shared[0].Deviation_m, 2) / 40.0;
  }
  EXPECT_LT(together, 0.5 * alone);
  EXPECT_GT(squares, 0.3);
  EXPECT_LT(squares, 2.0);
}

// MODEL: tones with gaps and a bulk delay; answers as good as over all tones.
TEST(LineOfSight, TonesMayHaveGaps) {
  std::vector<int> tones = range(-28, 28);
  tones.erase(tones.begin() + 28);
  LineOfSightOptions how = options();
  how.Tones = tones;
  double squares = 0.0;
  for (unsigned i = 0; i < 60; ++i) {
    const Samples row = measureDiffuse({70.0, 5.0, 30e-9, 1e-3}, tones, 300 + i);
    const DirectPath path = estimate(row, how, 56)[0];
    squares += std::pow((path.Distance_m - 70.0) / path.Deviation_m, 2) / 60.0;
  }
  EXPECT_GT(squares, 0.3);
  EXPECT_LT(squares, 1.8);
}

// MODEL: tones of a hundred times the noise, said so by their weights, do less harm than unsaid.
TEST(LineOfSight, WeightsAreTakenPerTone) {
  LineOfSightOptions how = options();
  double squares[2] = {};
  for (unsigned i = 0; i < 60; ++i) {
    Samples row = measureDiffuse({50.0, 10.0, 30e-9, 1e-3}, t64, 500 + i);
    const Samples strong = measureTones({}, t64, 0.3, 700 + i);
    how.Weights.assign(64, 1.0);
    for (std::size_t k = 0; k < 64; k += 3) {
      row[k] += strong[k];
      how.Weights[k] = 0.003;
    }
    const DirectPath weighted = estimate(row, how)[0];
    how.Weights.clear();
    squares[0] += std::pow(weighted.Distance_m - 50.0, 2);
    squares[1] += std::pow(estimate(row, how)[0].Distance_m - 50.0, 2);
  }
  EXPECT_LT(squares[0], 0.6 * squares[1]);
}

// EXACT: NoisePower is that of a tone of weight 1, whatever unit the weights have.
TEST(LineOfSight, TheUnitOfTheWeightsDoesNotMatter) {
  const Samples samples = diffuseBatch(1, 3.0);
  LineOfSightOptions how = options();
  how.Weights.assign(64, 1.0);
  const DirectPath expected = estimate(samples, how)[0];
  EXPECT_EQ(estimate(samples, options())[0].Distance_m, expected.Distance_m);
  how.Weights.assign(64, 8.0);
  const DirectPath found = estimate(samples, how)[0];
  EXPECT_EQ(found.Distance_m, expected.Distance_m);
  EXPECT_DOUBLE_EQ(found.NoisePower, 8.0 * expected.NoisePower);
}

// MODEL: the answer is the alias within the window, and the posterior is cut at its ends.
TEST(LineOfSight, AWindowChoosesAmongAliasesAndCutsThePosterior) {
  const Samples samples = measureDiffuse({50.0, 10.0, 30e-9, 1e-3}, t64, 8);
  const DirectPath free = estimate(samples, options())[0];
  const double period_m = speedOfLight_mps / support::spacing_Hz;
  LineOfSightOptions how = options();
  how.EarliestDistance = 3.0 * period_m;
  DirectPath found = estimate(samples, how)[0];
  EXPECT_NEAR(found.Distance_m, free.Distance_m + 3.0 * period_m, 0.05 * free.Deviation_m);
  how.EarliestDistance = free.Distance_m;
  found = estimate(samples, how)[0];
  EXPECT_GE(found.Lower_m, free.Distance_m);
  EXPECT_GT(found.Distance_m, free.Distance_m);
  how.EarliestDistance.reset();
  how.LatestDistance = free.Distance_m;
  found = estimate(samples, how)[0];
  EXPECT_LE(found.Upper_m, free.Distance_m * (1.0 + 1e-12));
  EXPECT_LT(found.Distance_m, free.Distance_m);
}

// MODEL: a higher level, a wider interval.
TEST(LineOfSight, TheIntervalHasItsLevel) {
  const Samples samples = diffuseBatch(1, 3.0);
  double before = 0.0;
  for (const double level : {0.5, 0.6827, 0.9545, 0.9973}) {
    LineOfSightOptions how = options();
    how.IntervalLevel = level;
    const DirectPath path = estimate(samples, how)[0];
    EXPECT_GT(path.Upper_m - path.Lower_m, 1.2 * before) << level;
    before = path.Upper_m - path.Lower_m;
  }
}

// MODEL: one path alone has a posterior that is nearly normal: as far to either side.
TEST(LineOfSight, TheIntervalIsCentral) {
  double above = 0.0;
  double below = 0.0;
  for (unsigned i = 0; i < 20; ++i) {
    const DirectPath path =
        estimate(measureTones({{55.0, 1.0, 0.7}}, t64, 1e-3, 40 + i), options())[0];
    above += (path.Upper_m - path.Distance_m) / path.Deviation_m / 20.0;
    below += (path.Distance_m - path.Lower_m) / path.Deviation_m / 20.0;
  }
  EXPECT_NEAR(above, below, 0.25);
  EXPECT_NEAR(above, 2.0, 0.3);
}

// BOUND: 1e-4, of single-precision periodograms: rows that share their delay may come in any order.
TEST(LineOfSight, TheOrderOfTheRowsDoesNotMatter) {
  LineOfSightOptions how = options();
  how.SnapshotsPerEstimate = 2;
  const Samples one = diffuseBatch(1, 5.0);
  const Samples other = measureTones({{40.0, 1.0, 0.2}, {400.0, 1.0, 1.0}}, t64, 1e-4, 3);
  Samples rows = one;
  append(rows, other);
  Samples exchanged = other;
  append(exchanged, one);
  const DirectPath expected = estimate(rows, how)[0];
  const DirectPath found = estimate(exchanged, how)[0];
  EXPECT_NEAR(found.ProfileMisfit / expected.ProfileMisfit, 1.0, 1e-4);
  EXPECT_NEAR(found.Distance_m, expected.Distance_m, 1e-4 * expected.Deviation_m);
  EXPECT_NEAR(found.RicianFactor_dB, expected.RicianFactor_dB, 1e-4);
}

// EXACT
TEST(LineOfSight, ABatchThatIsStoppedKeepsWhatWasFinished) {
  const Samples batch = diffuseBatch(400, 3.0);
  LineOfSight lineOfSight(64, options());
  const auto all = lineOfSight.estimate({batch, 64});
  std::size_t stoppedAt = 0;
  const auto stopped = lineOfSight.estimate({batch, 64}, [&](std::size_t done, std::size_t total) {
    EXPECT_EQ(total, 400U);
    stoppedAt = done;
    return false;
  });
  ASSERT_GT(stoppedAt, 0U) << "the batch took less than 50 ms";
  ASSERT_EQ(stopped.size(), stoppedAt);
  EXPECT_LT(stopped.size(), 400U);
  EXPECT_TRUE(support::sameBits(
      everythingIn(stopped),
      everythingIn({all.begin(), all.begin() + static_cast<std::ptrdiff_t>(stoppedAt)})));
}

// EXACT: as before, whether a call returns or throws.
TEST(LineOfSight, GivesTheHostsCountOfBlasThreadsBack) {
  const support::BlasThreads host(2);
  LineOfSight lineOfSight(64, options());
  EXPECT_EQ(openblas_get_num_threads(), 2) << "the constructor";
  lineOfSight.estimate({diffuseBatch(2, 3.0), 64});
  EXPECT_EQ(openblas_get_num_threads(), 2);
  std::optional<int> during;
  const auto fail = [&](std::size_t, std::size_t) -> bool {
    during = openblas_get_num_threads();
    throw std::runtime_error("by the callback");
  };
  EXPECT_THROW(lineOfSight.estimate({diffuseBatch(400, 3.0), 64}, fail), std::runtime_error);
  EXPECT_EQ(during, 1);
  EXPECT_EQ(openblas_get_num_threads(), 2);
}

// EXACT: of a host that forks, in the child and then in the parent.
TEST(LineOfSight, GetsTheSameBitsInAForkedChild) {
  if (!support::childrenMayStartThreads) {
    GTEST_SKIP() << support::refusedThreads;
  }
  const Samples batch = diffuseBatch(9, 3.0);
  LineOfSightOptions how = options();
  how.Threads = 2;
  LineOfSight lineOfSight(64, how);
  const auto expected = everythingIn(estimate(batch, options()));
  const auto isTheSame = [&] {
    return support::sameBits(everythingIn(lineOfSight.estimate({batch, 64})), expected);
  };
  EXPECT_TRUE(support::holdsInChild(isTheSame)) << "before it is used";
  EXPECT_TRUE(isTheSame());
  EXPECT_TRUE(support::holdsInChild(isTheSame)) << "afterwards";
  EXPECT_TRUE(isTheSame());
}

// EXACT: each names its argument.
TEST(LineOfSight, SettingsThatMakeNoSenseAreRefused) {
  const auto with = [](auto change) {
    LineOfSightOptions how = options();
    change(how);
    return refusal(64, how);
  };
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(refusal(64, options()), "none");
  EXPECT_EQ(refusal(3, options()), "LineOfSight: numSubcarriers is not within 4 ... 4096");
  EXPECT_EQ(refusal(4097, options()), "LineOfSight: numSubcarriers is not within 4 ... 4096");
  for (const double bad : {0.0, -1.0, nan, double(INFINITY)}) {
    EXPECT_EQ(with([&](auto& how) { how.SubcarrierSpacing = bad; }),
              "LineOfSight: SubcarrierSpacing is not a finite number above 0");
    EXPECT_EQ(with([&](auto& how) { how.LongestDecay = bad; }),
              "LineOfSight: LongestDecay is not a finite number above 0");
  }
  for (const double bad : {0.0, 1.0, nan}) {
    EXPECT_EQ(with([&](auto& how) { how.IntervalLevel = bad; }),
              "LineOfSight: IntervalLevel is not above 0 and below 1");
  }
  EXPECT_EQ(with([](auto& how) { how.SnapshotsPerEstimate = 0; }),
            "LineOfSight: SnapshotsPerEstimate is not within 1 ... 65535");
  EXPECT_EQ(with([](auto& how) { how.Threads = 1025; }), "LineOfSight: Threads is above 1024");
  EXPECT_EQ(with([](auto& how) {
              how.Tones = {1, 2, 3, 4, 5};
            }),
            "Tones: there are 5 for rows of 64 samples");
  EXPECT_EQ(with([](auto& how) {
              how.Tones = {1, 2, 2, 3};
            }),
            "Tones: a tone is repeated at position 2");
  EXPECT_EQ(with([](auto& how) {
              how.EarliestDistance = 5.0;
              how.LatestDistance = 5.0;
            }),
            "EarliestDistance and LatestDistance enclose nothing");
}

// EXACT: what is no whole number of rows is an error, and the output holds nothing then.
TEST(LineOfSight, RowsThatDoNotFitAreRefused) {
  LineOfSight lineOfSight(64, options());
  std::vector<DirectPath> out(3);
  const Samples wrong(130);
  EXPECT_THROW(lineOfSight.estimate({wrong, 65}, out), std::invalid_argument);
  EXPECT_TRUE(out.empty());
  EXPECT_THROW(lineOfSight.estimate({wrong, 64}), std::invalid_argument);
  EXPECT_TRUE(lineOfSight.estimate({wrong.data(), 0, 64}).empty());
}

TEST(LineOfSight, OneThatWasMovedFromSaysSo) {
  LineOfSight first(16, options());
  LineOfSight second(std::move(first));
  EXPECT_EQ(second.estimate(Samples(16)).size(), 1U);
  // NOLINTNEXTLINE(bugprone-use-after-move): that is what is tested.
  EXPECT_THROW(first.estimate(Samples(16)), std::logic_error);
}

// EXACT: half of everything in metres; the tail is where it was.
TEST(LineOfSight, RoundTripsHaveOneWayAnswers) {
  const Samples samples = diffuseBatch(1, 5.0);
  const DirectPath there = estimate(samples, options())[0];
  LineOfSightOptions how = options();
  how.RoundTrip = true;
  const DirectPath back = estimate(samples, how)[0];
  EXPECT_EQ(back.Distance_m, 0.5 * there.Distance_m);
  EXPECT_EQ(back.Delay_s, 0.5 * there.Delay_s);
  EXPECT_EQ(back.Deviation_m, 0.5 * there.Deviation_m);
  EXPECT_EQ(back.Upper_m, 0.5 * there.Upper_m);
  EXPECT_EQ(back.Decay_s, there.Decay_s);
  EXPECT_EQ(back.Probability, there.Probability);
  how.LatestDistance = 0.5 * there.Distance_m;
  EXPECT_LE(estimate(samples, how)[0].Upper_m, 0.5 * there.Distance_m * (1.0 + 1e-12));
}

// MODEL: what a receiver does to every tone is divided out, and missing tones stay out.
TEST(LineOfSight, ACalibrationIsApplied) {
  const auto receive = [](Samples samples) {
    for (std::size_t k = 0; k < samples.size(); ++k) {
      const double ripple = 1.0 + 0.6 * std::sin(0.4 * static_cast<double>(k % 64));
      samples[k] *= std::polar(ripple, -0.9 * static_cast<double>(k % 64));
      samples[k] = k % 64 == 30 ? 0.0 : samples[k];
    }
    return samples;
  };
  const Samples references = receive(measureTones({{10.0, 1.0, 0.4}}, t64, 1e-6, 5, 4));
  LineOfSightOptions how = options();
  const Samples samples = receive(diffuseBatch(1, 10.0));
  const DirectPath raw = estimate(samples, how)[0];
  how.Calibration = flightpath::Calibration::measure({references, 64}, support::spacing_Hz, 10.0);
  const DirectPath calibrated = estimate(samples, how)[0];
  EXPECT_NEAR(calibrated.Distance_m, 40.0, 4.0 * calibrated.Deviation_m);
  EXPECT_LT(calibrated.Deviation_m, 1.0);
  EXPECT_GT(std::fabs(raw.Distance_m - 40.0), 20.0);
}

// EXACT: a first path is refused on phases alone, unless it is asked for.
TEST(LineOfSight, PhaseAloneIsRefusedUnlessAccepted) {
  Samples samples = diffuseBatch(1, 10.0);
  for (Complex& z : samples) {
    z /= std::abs(z);
  }
  const DirectPath refused = estimate(samples, options())[0];
  EXPECT_EQ(refused.Result, Outcome::PhaseOnly);
  EXPECT_TRUE(std::isnan(refused.Distance_m));
  EXPECT_STREQ(toString(refused.Result), "the samples carry phase alone");
  LineOfSightOptions how = options();
  how.AcceptPhaseOnly = true;
  const DirectPath accepted = estimate(samples, how)[0];
  EXPECT_EQ(accepted.Result, Outcome::Found);
  EXPECT_TRUE(std::isfinite(accepted.Deviation_m));
}

// MODEL: any number of tones from four on; a strong path is where it is.
TEST(LineOfSight, FewAndManyTonesAreTaken) {
  for (const int N : {4, 5, 8, 31, 200, 498}) {
    const auto tones = range(0, N - 1);
    const auto found = estimate(measureTones({{33.0, 1.0, 0.3}}, tones, 1e-4, 4), options(),
                                static_cast<std::size_t>(N));
    ASSERT_EQ(found[0].Result, Outcome::Found) << N;
    EXPECT_NEAR(found[0].Distance_m, 33.0, 6.0 * found[0].Deviation_m) << N;
  }
}

// EXACT: rounding that brings an end of the window next to a point of the grid, or on it, is no information.
// BOUND: 1e-9 of a metre; the ends differ by 5e-11 m, and the posterior is as smooth.
TEST(LineOfSight, AnEndOfTheWindowMayLieBesideAPointOfTheGrid) {
  const Samples samples = diffuseBatch(1, 5.0);
  const double step_m = speedOfLight_mps / support::spacing_Hz / 256.0;
  LineOfSightOptions how = options();
  std::vector<DirectPath> found;
  for (const double beside : {0.0, 1e-15, 1e-14, 1e-13, 1e-12}) {
    how.EarliestDistance = 10.0 * step_m * (1.0 - beside);
    how.LatestDistance = 12.0 * step_m * (1.0 + beside);
    found.push_back(estimate(samples, how)[0]);
    ASSERT_EQ(found.back().Result, Outcome::Found) << beside;
    EXPECT_NEAR(found.back().Distance_m, found[0].Distance_m, 1e-9) << beside;
    EXPECT_NEAR(found.back().Deviation_m, found[0].Deviation_m, 1e-9) << beside;
    EXPECT_NEAR(found.back().Lower_m, found[0].Lower_m, 1e-9) << beside;
    EXPECT_NEAR(found.back().Upper_m, found[0].Upper_m, 1e-9) << beside;
  }
}

// MODEL: in a window much narrower than the posterior that is uniform: its mean the centre, its deviation
// the width over sqrt(12), to 1 in 100.
TEST(LineOfSight, AWindowBetweenTwoPointsOfTheGridIsFilled) {
  const Samples samples = diffuseBatch(1, 5.0);
  for (const double width_m : {0.05, 1e-3, 2e-6}) {
    for (const double first_m : {40.0, 40.0 + 960e3}) {  // 1000 ranges later
      LineOfSightOptions how = options();
      how.SubcarrierSpacing = speedOfLight_mps / 960.0;
      how.EarliestDistance = first_m;
      how.LatestDistance = first_m + width_m;
      const DirectPath direct = estimate(samples, how)[0];
      ASSERT_EQ(direct.Result, Outcome::Found) << width_m;
      EXPECT_NEAR(direct.Distance_m, first_m + 0.5 * width_m, 0.01 * width_m);
      EXPECT_NEAR(direct.Deviation_m, width_m / std::sqrt(12.0), 0.01 * width_m);
      EXPECT_LT(direct.Lower_m, direct.Upper_m);
    }
  }
}

// MODEL: the window ends on the flank: what is left of the posterior leans on that end.
TEST(LineOfSight, APosteriorThatRisesTowardsTheEndOfTheWindowLeansOnIt) {
  const Samples samples = measureTones({{40.0, 1.0, 0.4}}, t64, 1e-3, 8);
  LineOfSightOptions how = options();
  how.EarliestDistance = 10.0;
  how.LatestDistance = 39.5;
  const DirectPath direct = estimate(samples, how)[0];
  ASSERT_EQ(direct.Result, Outcome::Found);
  EXPECT_LE(direct.Upper_m, 39.5 * (1.0 + 1e-12));
  EXPECT_NEAR(direct.Distance_m, 39.5, 0.2);
}

// EXACT: powers of two as the unit change nothing where none of the samples is rounded, as far as
// subnormal numbers reach. Single precision holds none of their powers.
TEST(LineOfSight, TheUnitOfTheSamplesIsFree) {
  const Samples samples = diffuseBatch(1, 5.0);
  const DirectPath expected = estimate(samples, options())[0];
  for (const int exponent : {-900, -400, 400, 1000}) {
    Samples scaled = samples;
    for (Complex& z : scaled) {
      z = {std::ldexp(z.real(), exponent), std::ldexp(z.imag(), exponent)};
    }
    const DirectPath found = estimate(scaled, options())[0];
    EXPECT_EQ(found.Distance_m, expected.Distance_m) << exponent;
    EXPECT_EQ(found.Deviation_m, expected.Deviation_m) << exponent;
    EXPECT_EQ(found.Probability, expected.Probability) << exponent;
    EXPECT_EQ(found.ProfileMisfit, expected.ProfileMisfit) << exponent;
  }
}

// BOUND: the smallest numbers that there are, as whole numbers of them: what the same whole numbers give,
// to some roundings in single precision of the misfit's sums.
TEST(LineOfSight, SubnormalSamplesAreTaken) {
  Samples whole = measureTones({{40.0, 3.0, 0.4}}, t64, 0.1, 8);
  Samples subnormal = whole;
  for (std::size_t k = 0; k < whole.size(); ++k) {
    whole[k] = {std::round(whole[k].real()), std::round(whole[k].imag())};
    subnormal[k] = {std::ldexp(whole[k].real(), -1074), std::ldexp(whole[k].imag(), -1074)};
  }
  const DirectPath expected = estimate(whole, options())[0];
  const DirectPath found = estimate(subnormal, options())[0];
  ASSERT_EQ(expected.Result, Outcome::Found);
  ASSERT_EQ(found.Result, Outcome::Found);
  EXPECT_NEAR(found.Distance_m, expected.Distance_m, 1e-6);
  EXPECT_NEAR(found.ProfileMisfit, expected.ProfileMisfit, 1e-5);
}

// EXACT: what only tones of next to no weight have heard is nothing.
TEST(LineOfSight, WeightsMaySpanWhatADoubleHolds) {
  LineOfSightOptions how = options();
  how.Weights.assign(64, 1e-300);
  const DirectPath light = estimate(diffuseBatch(1, 5.0), how)[0];
  EXPECT_EQ(light.Result, Outcome::Found);
  EXPECT_NEAR(light.Distance_m, 40.0, 4.0 * light.Deviation_m);
  how.Weights[3] = 1e300;
  Samples unheard = diffuseBatch(1, 5.0);
  unheard[3] = 0.0;
  EXPECT_EQ(estimate(unheard, how)[0].Result, Outcome::NoSignal);
  EXPECT_EQ(estimate(diffuseBatch(1, 5.0), how)[0].Result, Outcome::Found);
}

// EXACT: settings that would take all memory, or leave no digits, are refused by name.
TEST(LineOfSight, WhatNoArithmeticHoldsIsRefused) {
  LineOfSightOptions how = options();
  how.Tones = {0, 1, 2, 65536};
  EXPECT_EQ(refusal(4, how),
            "LineOfSight: the first and the last tone lie 2^16 strides apart or more");
  how.Tones = {0, 1, 2, 65535};
  EXPECT_EQ(refusal(4, how), "none");
  how.Tones.clear();
  for (const double spacing : {1e-310, 1e-300}) {
    how.SubcarrierSpacing = spacing;
    EXPECT_EQ(refusal(64, how),
              "LineOfSight: SubcarrierSpacing gives a range that no double holds");
  }
  how = options();
  how.EarliestDistance = 40.0;
  how.LatestDistance = std::nextafter(40.0, 50.0);
  EXPECT_EQ(refusal(64, how), "EarliestDistance and LatestDistance enclose nothing");
  how.LatestDistance = 1e12;
  how.EarliestDistance = 1e12 - 100.0;
  EXPECT_EQ(refusal(64, how),
            "EarliestDistance and LatestDistance lie more than 65536 ranges from zero");
}
