#include "flightpath/likelihood/normal_equations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using flightpath::NormalEquations;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

/// D (I + 0.5 off the diagonal) D: badly scaled, well conditioned.
std::vector<double> scaled(const std::vector<double>& d) {
  std::vector<double> H;
  for (std::size_t j = 0; j < d.size(); ++j) {
    for (std::size_t i = 0; i < d.size(); ++i) {
      H.push_back((i == j ? 1.0 : 0.5) * d[i] * d[j]);
    }
  }
  return H;
}

}  // namespace

// BOUND: 20 eps; the scaled matrix has condition number 4, and the scales cost a rounding each.
TEST(NormalEquations, ElementsOfAnyScaleAreSolved) {
  const std::vector<double> d = {1e-9, 3.0, 1e12};
  const std::vector<double> H = scaled(d);
  NormalEquations equations(5);
  ASSERT_TRUE(equations.factor(H, 3));
  std::vector<double> b(3);
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      b[i] += H[j * 3 + i] * (1.0 / d[j]);
    }
  }
  equations.solve(b.data());
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(b[i] * d[i], 1.0, 20 * eps);
  }
}

// BOUND: 4 eps: (1 + damping) h x = h.
TEST(NormalEquations, DampingIsAPartOfTheDiagonal) {
  NormalEquations equations(1);
  ASSERT_TRUE(equations.factor(std::vector<double>{1e6}, 1, 0.25));
  double b = 1e6;
  equations.solve(&b);
  EXPECT_NEAR(b, 0.8, 4 * eps);
}

// EXACT
TEST(NormalEquations, SingularMatricesAreRefused) {
  NormalEquations equations(2);
  EXPECT_FALSE(equations.factor(std::vector<double>{1.0, 1.0, 1.0, 1.0}, 2));
  EXPECT_FALSE(equations.factor(std::vector<double>{1.0, 0.0, 0.0, 0.0}, 2));
  EXPECT_FALSE(equations.factor(std::vector<double>{1.0, 1.0 - 1e-13, 1.0 - 1e-13, 1.0}, 2));
  EXPECT_FALSE(equations.factor(std::vector<double>{std::numeric_limits<double>::quiet_NaN()}, 1));
  EXPECT_TRUE(equations.factor(std::vector<double>{1.0, 0.9999, 0.9999, 1.0}, 2));
}
