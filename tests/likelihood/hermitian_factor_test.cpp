#include "flightpath/likelihood/hermitian_factor.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

using flightpath::Complex;
using flightpath::HermitianFactor;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

/// B^H B + I of a random B: its condition number is below 100 at these orders.
std::vector<std::vector<Complex>> randomMatrix(int n) {
  std::mt19937_64 random(static_cast<unsigned>(n));
  std::normal_distribution<double> normal;
  const auto rows = static_cast<std::size_t>(n);
  std::vector<std::vector<Complex>> B(rows, std::vector<Complex>(rows));
  for (auto& row : B) {
    for (Complex& element : row) {
      const double re = normal(random);
      element = {re, normal(random)};
    }
  }
  std::vector<std::vector<Complex>> A(rows, std::vector<Complex>(rows));
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < rows; ++j) {
      A[i][j] = i == j ? 1.0 : 0.0;
      for (std::size_t l = 0; l < rows; ++l) {
        A[i][j] += std::conj(B[l][i]) * B[l][j];
      }
    }
  }
  return A;
}

void fill(HermitianFactor& factor, const std::vector<std::vector<Complex>>& A) {
  for (std::size_t i = 0; i < A.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      factor(static_cast<int>(i), static_cast<int>(j)) = A[i][j];
    }
  }
}

std::vector<Complex> product(const std::vector<std::vector<Complex>>& A,
                             const std::vector<Complex>& x) {
  std::vector<Complex> b(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    for (std::size_t j = 0; j < x.size(); ++j) {
      b[i] += A[i][j] * x[j];
    }
  }
  return b;
}

}  // namespace

// BOUND: 100 n eps, the condition number times a rounding per step.
TEST(HermitianFactor, BothSubstitutionsTogetherSolve) {
  for (const int n : {1, 2, 3, 8}) {
    const auto A = randomMatrix(n);
    HermitianFactor factor(n + 2);  // more room than is used
    fill(factor, A);
    ASSERT_TRUE(factor.factor(n, 0.0));
    std::vector<Complex> x(static_cast<std::size_t>(n), Complex(0.5, -2.0));
    std::vector<Complex> b = product(A, x);
    factor.solveLower(n, b.data());
    factor.solveUpper(n, b.data());
    for (std::size_t i = 0; i < x.size(); ++i) {
      EXPECT_LE(std::abs(b[i] - x[i]), 100 * n * eps) << n;
    }
  }
}

// BOUND: as above.
TEST(HermitianFactor, TheDiagonalOfTheInverseIsThatOfItsColumns) {
  constexpr int n = 5;
  const auto A = randomMatrix(n);
  HermitianFactor factor(n);
  fill(factor, A);
  ASSERT_TRUE(factor.factor(n, 0.0));
  std::vector<Complex> work(n);
  for (int p = 0; p < n; ++p) {
    std::vector<Complex> column(n);
    column[static_cast<std::size_t>(p)] = 1.0;
    factor.solveLower(n, column.data());
    factor.solveUpper(n, column.data());
    EXPECT_NEAR(factor.inverseDiagonal(n, p, work.data()),
                column[static_cast<std::size_t>(p)].real(), 100 * n * eps);
  }
}

// EXACT: 4 and 5 - 3 * 3 / 4 are the pivots.
TEST(HermitianFactor, PivotsUpToTheLeastAreRefused) {
  for (const auto& [least, isFine] : {std::pair(0.0, true), std::pair(2.74, true),
                                      std::pair(2.75, false), std::pair(4.0, false)}) {
    HermitianFactor factor(2);
    factor(0, 0) = 4.0;
    factor(1, 0) = Complex(0.0, 3.0);
    factor(1, 1) = 5.0;
    EXPECT_EQ(factor.factor(2, least), isFine) << least;
  }
}

// EXACT
TEST(HermitianFactor, NotANumberIsRefused) {
  HermitianFactor factor(1);
  factor(0, 0) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(factor.factor(1, 0.0));
}
