#include "flightpath/likelihood/path_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/slow_likelihood.h"
#include "tests/support/split_samples.h"
#include "tests/support/tones.h"

using flightpath::Complex;
using flightpath::PathFit;
using flightpath::ToneSet;
using support::ComplexVector;
using support::SlowLikelihood;

namespace {

struct Case {
  std::string name;
  std::vector<int> tones;
  std::vector<double> weights;
  std::vector<double> f;
  int numRows;
};

/// Contiguous, with gaps, of another stride, weighted; one path to four, near and far; one row to three.
std::vector<Case> cases() {
  std::mt19937_64 random(12);
  std::uniform_real_distribution<double> weight(0.2, 3.0);
  std::vector<double> weights;
  for (int k = 0; k < 40; ++k) {
    weights.push_back(weight(random));
  }
  return {{"one path", support::range(0, 63), {}, {0.0123}, 1},
          {"three paths", support::range(0, 63), {}, {0.0125, 0.034, 0.0625}, 1},
          {"close paths, odd", support::range(-5, 21), {}, {0.01, 0.02, -0.4}, 2},
          {"gaps", support::randomTones(64, 40, random), {}, {0.0125, 0.034, 0.0625, 0.45}, 3},
          {"weights", support::randomTones(64, 40, random), weights, {0.0125, 0.034, 0.1}, 2},
          {"stride", support::range(0, 120, 4), {}, {0.0125, 0.034}, 1}};
}

/// A fit at frequencies a little off the truth, and its model.
class Fitted {
 public:
  explicit Fitted(const Case& c) : f(c.f), set_(c.tones, c.weights), fit(set_, c.numRows, 6) {
    std::mt19937_64 random(99);
    model = support::drawChannel(c.tones, c.weights, c.f, {1.0, 0.7, 0.5, 0.6}, 0.01, c.numRows,
                                 random);
    for (double& w : model.weights) {
      w *= set_.weightScale();
    }
    for (std::size_t p = 0; p < f.size(); ++p) {
      f[p] += 1e-3 * (p % 2 == 0 ? 1.0 : -1.0);
      fit.addFrequency(f[p] * set_.stride());
    }
    samples_ = std::make_unique<flightpath::SplitRows>(support::splitSamples(model));
    EXPECT_TRUE(fit.solve(*samples_));
    fit.differentiate();
  }

  const flightpath::SplitRows& samples() const { return *samples_; }
  double stride() const { return set_.stride(); }

  std::vector<double> f;  // per index
  SlowLikelihood model;

 private:
  ToneSet set_;
  std::unique_ptr<flightpath::SplitRows> samples_;

 public:
  PathFit fit;
};

/// d_p^H P d_q of the dense model, per index.
Complex projectedProduct(const SlowLikelihood& model, const std::vector<double>& f, std::size_t p,
                         std::size_t q) {
  const ComplexVector d = support::projectedOff(model.basis(f), model.derivative(f[q]));
  return support::innerProduct(model.derivative(f[p]), d);
}

}  // namespace

// BOUND: 1e-12 of the samples' energy: about 100 n eps, and the Gram matrix's condition number, below 30.
TEST(PathFit, TheCostIsThatOfTheDenseProjection) {
  for (const Case& c : cases()) {
    const Fitted fitted(c);
    double energy = 0.0;
    for (const ComplexVector& row : fitted.model.rows) {
      energy += support::squaredNorm(fitted.model.weighted(row));
    }
    EXPECT_NEAR(fitted.fit.residualEnergy(), fitted.model.cost(fitted.f), 1e-12 * energy) << c.name;
  }
}

// BOUND: 1e-12 of elements of about 1, as above.
TEST(PathFit, AmplitudesAndResidualsAddUpToTheSamples) {
  for (const Case& c : cases()) {
    const Fitted fitted(c);
    for (int m = 0; m < c.numRows; ++m) {
      ComplexVector y = fitted.model.weighted(fitted.model.rows[static_cast<std::size_t>(m)]);
      const auto residual = fitted.fit.residual().row(m);
      for (std::size_t p = 0; p < fitted.f.size(); ++p) {
        const ComplexVector s = fitted.model.steering(fitted.f[p]);
        Complex overlap;
        for (std::size_t k = 0; k < y.size(); ++k) {
          y[k] -= fitted.fit.amplitude(static_cast<int>(p), m) * s[k];
          overlap += std::conj(s[k]) * Complex(residual.re[k], residual.im[k]);
        }
        EXPECT_LE(std::abs(overlap), 1e-12 * 64) << c.name << ": the residual is orthogonal";
      }
      for (std::size_t k = 0; k < y.size(); ++k) {
        EXPECT_LE(std::abs(y[k] - Complex(residual.re[k], residual.im[k])), 1e-12) << c.name;
      }
    }
  }
}

// BOUND: central differences of step h err by h^2 times the third derivative, 1e-5 of the gradient's
// scale here, and by the cost's rounding over h, 1e-8.
TEST(PathFit, TheDescentIsMinusHalfTheDerivativeOfTheCost) {
  constexpr double h = 1e-6;
  for (const Case& c : cases()) {
    const Fitted fitted(c);
    double scale = 0.0;
    for (const double g : fitted.fit.descent()) {
      scale = std::max(scale, std::fabs(g));
    }
    for (std::size_t p = 0; p < fitted.f.size(); ++p) {
      std::vector<double> above = fitted.f;
      std::vector<double> below = fitted.f;
      above[p] += h;
      below[p] -= h;
      const double slope = (fitted.model.cost(above) - fitted.model.cost(below)) / (2.0 * h);
      EXPECT_NEAR(fitted.fit.descent()[p] * fitted.stride(), -0.5 * slope,
                  1e-5 * scale * fitted.stride())
          << c.name << ", path " << p;
    }
  }
}

// BOUND: 1e-10 of the geometric mean of the diagonal elements: the projection leaves a tenth or more of
// the derivatives.
TEST(PathFit, TheCurvatureIsKaufmansMatrix) {
  for (const Case& c : cases()) {
    const Fitted fitted(c);
    const std::size_t K = fitted.f.size();
    const auto H = fitted.fit.curvature();
    const double perIndex = fitted.stride() * fitted.stride();
    for (std::size_t p = 0; p < K; ++p) {
      for (std::size_t q = 0; q < K; ++q) {
        Complex amplitudes;
        for (int m = 0; m < c.numRows; ++m) {
          amplitudes += std::conj(fitted.fit.amplitude(static_cast<int>(p), m)) *
                        fitted.fit.amplitude(static_cast<int>(q), m);
        }
        const double expected =
            (projectedProduct(fitted.model, fitted.f, p, q) * amplitudes).real();
        EXPECT_NEAR(H[q * K + p] * perIndex, expected,
                    1e-10 * perIndex * std::sqrt(H[p * K + p] * H[q * K + q]))
            << c.name << ", " << p << " and " << q;
      }
    }
  }
}

// BOUND: 1e-11 of the cost of leaving it out.
TEST(PathFit, TheLossWithoutAPathIsTheCostOfLeavingItOut) {
  for (const Case& c : cases()) {
    Fitted fitted(c);
    for (std::size_t p = 0; p < fitted.f.size(); ++p) {
      std::vector<double> others = fitted.f;
      others.erase(others.begin() + static_cast<std::ptrdiff_t>(p));
      const double without = fitted.model.cost(others);
      EXPECT_NEAR(fitted.fit.lossWithout(static_cast<int>(p)) + fitted.fit.residualEnergy(),
                  without, 1e-11 * without)
          << c.name << ", path " << p;
    }
  }
}

// EXACT: small whole numbers and halves.
TEST(PathFit, EveryPathTakesItsAmplitudesAndHalfADelay) {
  ToneSet set(support::range(0, 9), {});
  PathFit fit(set, 3, 4);
  EXPECT_EQ(fit.degreesLeft(), 30.0);
  fit.addFrequency(0.1);
  EXPECT_EQ(fit.degreesLeft(), 26.5);
  fit.addFrequency(0.2);
  EXPECT_EQ(fit.degreesLeft(), 23.0);
}

// EXACT
TEST(PathFit, PathsAreAddedRemovedAndChangedInTheirOrder) {
  ToneSet set(support::range(0, 9), {});
  PathFit fit(set, 1, 4);
  fit.setFrequencies(std::vector<double>{0.1, 0.2, 0.3});
  fit.removeFrequency(1);
  fit.addFrequency(0.4);
  fit.changeFrequency(0, -0.1);
  const auto f = fit.frequencies();
  EXPECT_EQ(std::vector<double>(f.begin(), f.end()), (std::vector<double>{-0.1, 0.3, 0.4}));
}

// EXACT: 4 |x|^2 and |x|^2 of two rows, x = 2 and 1.
TEST(PathFit, ThePowerOfAPathIsTheMeanOverTheRows) {
  ToneSet set(support::range(0, 3), {});
  PathFit fit(set, 2, 1);
  flightpath::SplitRows y(2, 4);
  std::fill_n(y.re.begin(), 4, 2.0);
  std::fill_n(y.re.begin() + 4, 4, 1.0);
  fit.addFrequency(0.0);
  ASSERT_TRUE(fit.solve(y));
  EXPECT_EQ(fit.meanPower(0), 2.5);
  EXPECT_EQ(fit.residualEnergy(), 0.0);
  EXPECT_EQ(fit.lossWithout(0), 20.0);
}

// EXACT: 0.0032 and 0.0064 cells, whose share of one off the other is 3e-5 and 1.3e-4.
TEST(PathFit, PathsThatAreTheSameAreRefused) {
  ToneSet set(support::range(0, 63), {});
  PathFit fit(set, 1, 2);
  flightpath::SplitRows y(1, 64);
  y.re[5] = 1.0;
  for (const auto& [distance, isFine] :
       {std::pair(0.0, false), std::pair(5e-5, false), std::pair(1e-4, true)}) {
    fit.setFrequencies(std::vector<double>{0.1, 0.1 + distance});
    EXPECT_EQ(fit.solve(y), isFine) << distance;
  }
}

// EXACT: a fit leaves nothing behind that the next one meets.
TEST(PathFit, TheSameDelaysGiveTheSameBitsWhateverWasFittedBefore) {
  const Case c = cases()[3];
  Fitted fitted(c);
  const double cost = fitted.fit.residualEnergy();
  const std::vector<double> H(fitted.fit.curvature().begin(), fitted.fit.curvature().end());
  const std::vector<double> f(fitted.fit.frequencies().begin(), fitted.fit.frequencies().end());
  fitted.fit.setFrequencies(std::vector<double>{0.3, -0.2, 0.1, 0.05, 0.45, 0.0});
  ASSERT_TRUE(fitted.fit.solve(fitted.samples()));
  fitted.fit.differentiate();
  fitted.fit.setFrequencies(f);
  ASSERT_TRUE(fitted.fit.solve(fitted.samples()));
  fitted.fit.differentiate();
  EXPECT_EQ(fitted.fit.residualEnergy(), cost);
  EXPECT_EQ(std::vector<double>(fitted.fit.curvature().begin(), fitted.fit.curvature().end()), H);
}
