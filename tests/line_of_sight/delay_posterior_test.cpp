#include "flightpath/line_of_sight/detail/delay_posterior.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <span>
#include <vector>

#include "flightpath/line_of_sight/detail/coarse_delays.h"
#include "flightpath/line_of_sight/detail/posterior_samples.h"
#include "tests/support/diffuse_channel.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"
#include "tests/support/tones.h"

using flightpath::CoarseDelays;
using flightpath::Complex;
using flightpath::DelayPosterior;
using flightpath::DelayWindow;
using flightpath::PosteriorSamples;
using flightpath::SplitRows;
using flightpath::TailGrid;
using flightpath::TailHypothesis;
using flightpath::ToneSet;

namespace {

using Samples = std::vector<Complex>;

struct Parts {
  std::vector<double> re, im;
};

Parts split(const Samples& samples) {
  Parts parts;
  for (const Complex z : samples) {
    parts.re.push_back(z.real());
    parts.im.push_back(z.imag());
  }
  return parts;
}

struct Case {
  std::vector<int> tones;
  std::vector<double> weights;
  int rows;
};

std::vector<Case> cases() {
  Case weighted = {support::range(0, 39), {}, 2};
  weighted.tones.erase(weighted.tones.begin() + 11, weighted.tones.begin() + 15);
  for (std::size_t k = 0; k < weighted.tones.size(); ++k) {
    weighted.weights.push_back(1.0 + static_cast<double>(k % 5));
  }
  return {{support::range(0, 31), {}, 1}, weighted, {support::range(2, 62, 3), {}, 3}};
}

/// Every tail keeps its chance.
std::vector<float> evenChances(const TailGrid& grid) {
  return std::vector<float>(grid.hypotheses().size(), 0.0F);
}

/// The formulas of the posterior with Q as a matrix.
struct Dense {
  const ToneSet& tones;
  const TailGrid& grid;
  int rows;

  std::vector<Complex> inverse(const TailHypothesis& tail) const {
    const auto n = static_cast<std::size_t>(tones.count());
    std::vector<Complex> Q(n * n);
    for (std::size_t k = 0; k < n; ++k) {
      for (std::size_t l = 0; l < n; ++l) {
        Q[k * n + l] = k == l ? 1.0 : 0.0;
        for (std::size_t j = 0; j < tail.shares.size(); ++j) {
          const auto u =
              grid.models()[static_cast<std::size_t>(tail.model)].vectors.row(static_cast<int>(j));
          Q[k * n + l] -= tail.shares[j] * Complex(u.re[k], u.im[k]) * Complex(u.re[l], -u.im[l]);
        }
      }
    }
    return Q;
  }

  struct Terms {
    double q0 = 0.0;
    double logDirect = 0.0;
    double logTail = 0.0;
  };

  Terms at(double f, const Samples& y, const TailHypothesis& tail) const {
    const auto n = static_cast<std::size_t>(tones.count());
    const std::vector<Complex> Q = inverse(tail);
    Terms terms;
    double direct = 0.0;
    double information = 0.0;
    for (int row = 0; row < rows; ++row) {
      Complex sQz;
      information = 0.0;
      for (std::size_t k = 0; k < n; ++k) {
        const double rk = tones.rootsOfWeights()[k];
        const Complex zk = turned(f, y, row, k);
        for (std::size_t l = 0; l < n; ++l) {
          const Complex Qz = Q[k * n + l] * turned(f, y, row, l);
          terms.q0 += (std::conj(zk) * Qz).real();
          sQz += rk * Qz;
          information += (rk * Q[k * n + l] * tones.rootsOfWeights()[l]).real();
        }
      }
      direct += std::norm(sQz);
    }
    const auto count = static_cast<double>(n);
    const double common = tail.logPrior - rows * tail.logDeterminant;
    terms.logTail = common - count * rows * std::log(terms.q0);
    double mean = 0.0;
    const double reference = count * rows * std::log(terms.q0 - direct / information);
    std::vector<double> priors = {count, 100.0 * count, 10000.0 * count};
    if (rows > 1) {
      priors.push_back(0.1 * count);
    }
    for (const double g : priors) {
      const double q1 = terms.q0 - direct / information * g / (1.0 + g);
      mean += std::exp(reference - count * rows * std::log(q1) - rows * std::log(1.0 + g)) /
              static_cast<double>(priors.size());
    }
    terms.logDirect = common - reference + std::log(mean);
    return terms;
  }

  /// The whitened sample, turned back by the delay.
  Complex turned(double f, const Samples& y, int row, std::size_t k) const {
    const auto n = static_cast<std::size_t>(tones.count());
    return tones.rootsOfWeights()[k] * y[static_cast<std::size_t>(row) * n + k] *
           std::polar(1.0, 2.0 * std::numbers::pi * f * tones.centred()[k]);
  }
};

Samples diffuse(const Case& c, unsigned seed, double K_dB = 3.0, double noisePower = 1e-3) {
  return support::measureDiffuse({60.0, K_dB, 40e-9, noisePower}, c.tones, seed, c.rows);
}

}  // namespace

// BOUND: 1e-7 of numbers around 500, whose energies are differences of ones a thousand times larger.
TEST(DelayPosterior, IsThatOfTheFormulasWithAMatrix) {
  for (const Case& c : cases()) {
    ToneSet tones(c.tones, c.weights);
    const TailGrid grid(tones, 4.0 * tones.cell());
    const Samples y = diffuse(c, 3);
    DelayPosterior posterior(tones, grid, c.rows);
    const Parts parts = split(y);
    posterior.take(parts.re, parts.im, evenChances(grid));
    const Dense dense{tones, grid, c.rows};
    for (const double f : {-0.31, 0.0, 0.0624, 0.07, 0.4}) {
      const DelayPosterior::Point point = posterior.at(f);
      double direct = 0.0;
      double all = 0.0;
      const double reference = point.logDirect;
      for (std::size_t h = 0; h < grid.hypotheses().size(); ++h) {
        const Dense::Terms expected = dense.at(f, y, grid.hypotheses()[h]);
        EXPECT_NEAR(posterior.terms()[h].logDirect, expected.logDirect, 1e-7);
        direct += std::exp(expected.logDirect - reference);
        all += std::exp(expected.logDirect - reference);
        all += h == 0 ? 0.0 : std::exp(expected.logTail - reference);
      }
      EXPECT_NEAR(point.logDirect, reference + std::log(direct), 1e-7);
      EXPECT_NEAR(point.logAll, reference + std::log(all), 1e-7);
      EXPECT_EQ(point.frequency, f);
      EXPECT_NEAR(posterior.logNoise(), dense.at(f, y, grid.hypotheses()[0]).logTail, 1e-9);
    }
  }
}

// MODEL: samples that were drawn with the covariance of a tail and a path have a whitened residual of
// noise's power at every tone, n - 1 degrees of freedom; 5 %: 20,000 samples.
TEST(DelayPosterior, WhitenedResidualsAreWhiteWhereTheModelHolds) {
  const Case c = {support::range(0, 39), {}, 1};
  ToneSet tones(c.tones, {});
  const TailGrid grid(tones, 4.0 * tones.cell());
  const std::size_t h = 1 + 2 * TailGrid::numStrengths + 2;  // strength 100
  const flightpath::TailModel& model = grid.models()[2];
  DelayPosterior posterior(tones, grid, 1);
  std::mt19937_64 random(5);
  std::normal_distribution<double> part(0.0, std::sqrt(0.5));
  const auto normal = [&] {
    const double re = part(random);
    return Complex(re, part(random));
  };
  double ends = 0.0;
  double all = 0.0;
  constexpr int trials = 500;
  SplitRows residual(1, 40);
  for (int trial = 0; trial < trials; ++trial) {
    Samples y;
    std::vector<Complex> factors;
    for (const double value : model.eigenvalues) {
      factors.push_back(std::sqrt(100.0 * value) * normal());
    }
    for (std::size_t k = 0; k < 40; ++k) {
      Complex sample = 20.0 + normal();
      for (std::size_t j = 0; j < factors.size(); ++j) {
        const auto u = model.vectors.row(static_cast<int>(j));
        sample += factors[j] * Complex(u.re[k], u.im[k]);
      }
      y.push_back(sample);
    }
    const Parts parts = split(y);
    posterior.take(parts.re, parts.im, evenChances(grid));
    posterior.at(0.0);
    posterior.whitenedResidual(h, 0, residual.target(0));
    for (std::size_t k = 0; k < 40; ++k) {
      const double power = residual.re[k] * residual.re[k] + residual.im[k] * residual.im[k];
      all += power;
      ends += k < 5 || k >= 35 ? power : 0.0;
    }
  }
  EXPECT_NEAR(all / (trials * 39.0), 1.0, 0.05);
  EXPECT_NEAR(ends / (trials * 10.0), 1.0, 0.1);
}

// BOUND: tails that are left out 25 nepers below the best change nothing at the points that follow.
TEST(DelayPosterior, LeavingOutTheHopelessChangesNothingNearby) {
  const Case c = cases().front();
  ToneSet tones(c.tones, {});
  const TailGrid grid(tones, 4.0 * tones.cell());
  const Parts parts = split(diffuse(c, 4, 10.0));
  DelayPosterior all(tones, grid, 1);
  DelayPosterior some(tones, grid, 1);
  const double at = 60.0 / support::speedOfLight_mps * support::spacing_Hz;
  for (DelayPosterior* posterior : {&all, &some}) {
    posterior->take(parts.re, parts.im, evenChances(grid));
    posterior->at(at);
  }
  some.leaveOutHopeless();
  std::size_t left = 0;
  for (const double offset : {-0.1, 0.0, 0.1}) {
    const DelayPosterior::Point expected = all.at(at + offset * tones.cell());
    const DelayPosterior::Point got = some.at(at + offset * tones.cell());
    EXPECT_NEAR(got.logAll, expected.logAll, 1e-6);
    left = 0;
    for (const auto& term : some.terms()) {
      left += std::isfinite(term.logDirect) ? 1 : 0;
    }
  }
  EXPECT_LT(left, grid.hypotheses().size());
  EXPECT_GT(left, 0U);
}

// BOUND: 2 % of a deviation, 3 % and a step of the dense points for quantiles.
TEST(PosteriorSamples, MomentsAndQuantilesAreThoseOfADenseIntegration) {
  // The last reaches further than the points of the coarse search.
  for (const auto& [K_dB, noisePower] : {std::pair(-5.0, 1e-3), std::pair(3.0, 1e-3),
                                         std::pair(15.0, 1e-3), std::pair(-5.0, 0.02)}) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
      const Case c = {support::range(0, 63), {}, 1};
      ToneSet tones(c.tones, {});
      const TailGrid grid(tones, 3.0 * tones.cell());
      const Samples y = diffuse(c, seed, K_dB, noisePower);
      const Parts parts = split(y);
      CoarseDelays coarse(tones, grid, 1, {});
      DelayPosterior posterior(tones, grid, 1);
      PosteriorSamples density(posterior, {}, coarse.step());
      SplitRows whitened(1, 64);
      whitened.re = parts.re;
      whitened.im = parts.im;
      const std::vector<double> start(coarse.find(whitened).begin(), coarse.find(whitened).end());
      posterior.take(parts.re, parts.im, coarse.highest());
      density.sample(start);
      DelayPosterior reference(tones, grid, 1);
      reference.take(parts.re, parts.im, evenChances(grid));
      double mass = 0.0;
      double first = 0.0;
      double second = 0.0;
      double allMass = 0.0;
      const double highest = reference.at(density.mode()).logDirect;
      std::vector<std::pair<double, double>> cumulative;
      constexpr int points = 6000;
      const double step = 6.0 * tones.cell() / points;
      for (int i = 0; i <= points; ++i) {
        const double f = density.mode() - 3.0 * tones.cell() + i * step;
        const DelayPosterior::Point point = reference.at(f);
        const double p = std::exp(point.logDirect - highest);
        mass += p;
        first += p * f;
        second += p * f * f;
        allMass += std::exp(point.logAll - highest);
        cumulative.emplace_back(f, mass);
      }
      const double mean = first / mass;
      const double deviation = std::sqrt(second / mass - mean * mean);
      EXPECT_NEAR(density.mean(), mean, 0.02 * deviation) << K_dB << ", " << seed;
      EXPECT_NEAR(density.deviation() / deviation, 1.0, 0.03) << K_dB << ", " << seed;
      EXPECT_NEAR(density.logDirect() - density.logAll(), std::log(mass / allMass), 0.03);
      for (const double probability : {0.02275, 0.5, 0.9}) {
        double expected = 0.0;
        for (const auto& [f, sum] : cumulative) {
          if (sum >= probability * mass) {
            expected = f;
            break;
          }
        }
        EXPECT_NEAR(density.quantile(probability), expected, 0.03 * deviation + step)
            << K_dB << ", " << seed << ", " << probability;
      }
    }
  }
}

// EXACT: a coarse search finds nothing outside of the window, whatever stands there.
TEST(CoarseDelays, PeaksLieWithinTheWindow) {
  const Case c = {support::range(0, 63), {}, 1};
  ToneSet tones(c.tones, {});
  const TailGrid grid(tones, 3.0 * tones.cell());
  const Parts parts = split(diffuse(c, 7));
  SplitRows whitened(1, 64);
  whitened.re = parts.re;
  whitened.im = parts.im;
  const double truth = 60.0 / support::speedOfLight_mps * support::spacing_Hz;
  for (const DelayWindow& window :
       {DelayWindow(0.2, 0.3), DelayWindow(3.0 + truth - 0.05, 0.1), DelayWindow()}) {
    CoarseDelays coarse(tones, grid, 1, window);
    bool isTruthFound = false;
    for (const double f : coarse.find(whitened)) {
      EXPECT_GE(f, window.first());
      EXPECT_LE(f, window.last());
      isTruthFound |= flightpath::cyclicDistance(f, truth) < tones.cell();
    }
    EXPECT_EQ(isTruthFound, window.contains(truth));
  }
}
