#include "flightpath/line_of_sight/detail/tail_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "flightpath/line_of_sight/detail/tail_grid.h"
#include "tests/support/ranging.h"
#include "tests/support/tones.h"

using flightpath::Complex;
using flightpath::TailGrid;
using flightpath::TailHypothesis;
using flightpath::tailModel;
using flightpath::TailModel;
using flightpath::ToneSet;

namespace {

struct Case {
  std::vector<int> tones;
  std::vector<double> weights;
};

std::vector<Case> cases() {
  Case gaps = {support::range(-28, 28), {}};
  gaps.tones.erase(gaps.tones.begin() + 28);
  for (std::size_t k = 0; k < gaps.tones.size(); ++k) {
    gaps.weights.push_back(0.1 + 0.01 * static_cast<double>(k * k % 37));
  }
  return {{support::range(0, 31), {}}, gaps, {support::range(3, 63, 4), {}}};
}

/// R(k, l) in another way: the integral over t of exp(-t / T) / T s(t) s(t)^H.
Complex covariance(const ToneSet& tones, double decay, std::size_t k, std::size_t l) {
  const double difference = tones.centred()[k] - tones.centred()[l];
  return tones.rootsOfWeights()[k] * tones.rootsOfWeights()[l] /
         Complex(1.0, 2.0 * std::numbers::pi * difference * decay);
}

Complex element(const TailModel& model, int j, std::size_t k) {
  return {model.vectors.row(j).re[k], model.vectors.row(j).im[k]};
}

}  // namespace

// BOUND: what is left out of R has a trace of at most half of the least eigenvalue and the eigenvalues
// below it, of which there are at most n.
TEST(TailModel, EigenpairsGiveTheCovarianceOfAnExponentialProfile) {
  for (const Case& c : cases()) {
    const ToneSet tones(c.tones, c.weights);
    const std::size_t n = c.tones.size();
    for (const double cells : {0.3, 1.0, 4.0}) {
      const double least = 1e-9;
      const TailModel model = tailModel(tones, cells * tones.cell(), least);
      for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t l = 0; l < n; ++l) {
          Complex sum;
          for (int j = 0; j < model.rank(); ++j) {
            sum += model.eigenvalues[static_cast<std::size_t>(j)] * element(model, j, k) *
                   std::conj(element(model, j, l));
          }
          EXPECT_LT(std::abs(sum - covariance(tones, model.decay, k, l)),
                    static_cast<double>(n) * least);
        }
      }
    }
  }
}

// BOUND: 1e-6: vectors of eigenvalues down to 1e-9 of the largest.
TEST(TailModel, EigenvectorsAreOrthonormalAndSteeredByTheOnset) {
  for (const Case& c : cases()) {
    const ToneSet tones(c.tones, c.weights);
    const TailModel model = tailModel(tones, tones.cell(), 1e-6);
    ASSERT_GT(model.rank(), 4);
    for (int i = 0; i < model.rank(); ++i) {
      Complex steered;
      for (std::size_t k = 0; k < c.tones.size(); ++k) {
        steered += std::conj(element(model, i, k)) * tones.rootsOfWeights()[k];
      }
      EXPECT_LT(std::abs(steered - model.steered[static_cast<std::size_t>(i)]), 1e-12);
      for (int j = 0; j < model.rank(); ++j) {
        Complex sum;
        for (std::size_t k = 0; k < c.tones.size(); ++k) {
          sum += std::conj(element(model, i, k)) * element(model, j, k);
        }
        EXPECT_LT(std::abs(sum - Complex(i == j ? 1.0 : 0.0)), 1e-6) << i << ", " << j;
      }
    }
  }
}

// EXACT: largest first, none below the least.
TEST(TailModel, EigenvaluesDescendToTheLeast) {
  const ToneSet tones(support::range(0, 63), {});
  const TailModel model = tailModel(tones, 0.01, 1e-3);
  for (std::size_t j = 1; j < model.eigenvalues.size(); ++j) {
    EXPECT_GE(model.eigenvalues[j - 1], model.eigenvalues[j]);
  }
  EXPECT_GE(model.eigenvalues.back(), 1e-3);
  const TailModel more = tailModel(tones, 0.01, 1e-6);
  EXPECT_GT(more.rank(), model.rank());
}

// BOUND: rounding; and 1e-9 for the terms against the formulas written out.
TEST(TailGrid, HasNoTailFirstAndThenEveryStrengthOfEveryDecayTime) {
  const ToneSet tones(support::range(0, 63), {});
  const TailGrid grid(tones, 10.0 * tones.cell());
  ASSERT_EQ(grid.models().size(), 7U);
  ASSERT_EQ(grid.hypotheses().size(), 1U + 7U * TailGrid::numStrengths);
  EXPECT_DOUBLE_EQ(grid.models().front().decay, 0.3 * tones.cell());
  EXPECT_NEAR(grid.models().back().decay, 10.0 * tones.cell(), 1e-12);
  EXPECT_DOUBLE_EQ(grid.priorVariance(0), 6.4);
  EXPECT_EQ(grid.priorVariance(TailGrid::firstPrior(1)), 64.0);
  EXPECT_EQ(TailGrid::firstPrior(2), 0);
  EXPECT_EQ(grid.priorVariance(TailGrid::numPriors - 1), 640000.0);
  EXPECT_DOUBLE_EQ(grid.shrinkage(2), 6400.0 / 6401.0);
  EXPECT_EQ(grid.hypotheses()[0].model, -1);
  EXPECT_EQ(grid.hypotheses()[0].information, 64.0);
  EXPECT_DOUBLE_EQ(grid.hypotheses()[0].logPrior, std::log(7.0));
  for (std::size_t h = 1; h < grid.hypotheses().size(); ++h) {
    const TailHypothesis& tail = grid.hypotheses()[h];
    EXPECT_EQ(tail.model, static_cast<int>((h - 1) / TailGrid::numStrengths));
    EXPECT_EQ(tail.strength, std::pow(10.0, static_cast<double>((h - 1) % 5)));
    EXPECT_EQ(tail.logPrior, 0.0);
    const TailModel& model = grid.models()[static_cast<std::size_t>(tail.model)];
    double logDeterminant = 0.0;
    double information = 64.0;
    for (std::size_t j = 0; j < tail.shares.size(); ++j) {
      const double power = tail.strength * model.eigenvalues[j];
      EXPECT_GE(power, 0.05);
      EXPECT_DOUBLE_EQ(tail.shares[j], power / (1.0 + power));
      logDeterminant += std::log(1.0 + power);
      information -= tail.shares[j] * std::norm(model.steered[j]);
    }
    EXPECT_NEAR(tail.logDeterminant, logDeterminant, 1e-9);
    EXPECT_NEAR(tail.information, information, 1e-9);
    EXPECT_GT(tail.information, 0.0);
  }
}

// EXACT: between three and thirty-two cells.
TEST(TailGrid, TheLongestDecayTimeStaysWithinWhatTheBandwidthShows) {
  const ToneSet tones(support::range(0, 99), {});
  EXPECT_NEAR(TailGrid(tones, 1e-9).models().back().decay, 3.0 * tones.cell(), 1e-12);
  EXPECT_NEAR(TailGrid(tones, 10.0).models().back().decay, 32.0 * tones.cell(), 1e-12);
}
