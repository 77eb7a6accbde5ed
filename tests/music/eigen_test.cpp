#include "flightpath/music/eigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

using coder::array;
using coder::internal::lapack::xsyheev;
using support::Complex;
using support::sameBits;

namespace {

constexpr double epsilon = 0x1p-23;

struct Solved {
  array<creal32_T, 2> V;
  array<creal32_T, 1> d;
  int hermitianSolves = 0;
  int generalSolves = 0;
};

/// Into arrays that hold something else already.
Solved solve(const array<creal32_T, 2>& A) {
  Solved s;
  s.V = support::matrix<creal32_T>(1, 2, {{7.0F, 7.0F}, {7.0F, 7.0F}});
  s.d = support::column<creal32_T>({{7.0F, 7.0F}});
  const support::CallCounts before = support::callCounts();
  coder::eig(A, s.V, s.d);
  s.hermitianSolves = support::callCounts().hermitianSolves - before.hermitianSolves;
  s.generalSolves = support::callCounts().generalSolves - before.generalSolves;
  return s;
}

array<creal32_T, 2> randomMatrix(int n) {
  std::mt19937_64 random(static_cast<std::uint64_t>(n));
  std::normal_distribution<float> normal;
  array<creal32_T, 2> A;
  A.set_size(n, n);
  std::generate(A.begin(), A.end(), [&] { return creal32_T{normal(random), normal(random)}; });
  return A;
}

/// A(j, i) := sign conj(A(i, j)), with the diagonal that this asks for.
array<creal32_T, 2> symmetric(int n, float sign) {
  array<creal32_T, 2> A = randomMatrix(n);
  for (int j = 0; j < n; ++j) {
    A(j, j) = sign > 0.0F ? creal32_T{A(j, j).re, 0.0F} : creal32_T{0.0F, A(j, j).im};
    for (int i = 0; i < j; ++i) {
      A(j, i) = {sign * A(i, j).re, -sign * A(i, j).im};
    }
  }
  return A;
}

array<creal32_T, 2> hermitian(int n) { return symmetric(n, 1.0F); }
array<creal32_T, 2> skewHermitian(int n) { return symmetric(n, -1.0F); }

Complex toDouble(creal32_T z) { return {z.re, z.im}; }

double frobenius(const array<creal32_T, 2>& A) {
  double sum = 0.0;
  for (const creal32_T z : A) {
    sum += std::norm(toDouble(z));
  }
  return std::sqrt(sum);
}

/// Norm of A V - V diag(d).
double residual(const array<creal32_T, 2>& A, const Solved& s) {
  const int n = A.size[0];
  double sum = 0.0;
  for (int k = 0; k < n; ++k) {
    for (int i = 0; i < n; ++i) {
      Complex r = -toDouble(s.V(i, k)) * toDouble(s.d[k]);
      for (int j = 0; j < n; ++j) {
        r += toDouble(A(i, j)) * toDouble(s.V(j, k));
      }
      sum += std::norm(r);
    }
  }
  return std::sqrt(sum);
}

Complex inner(const array<creal32_T, 2>& V, int a, int b) {
  Complex sum = 0.0;
  for (int i = 0; i < V.size[0]; ++i) {
    sum += std::conj(toDouble(V(i, a))) * toDouble(V(i, b));
  }
  return sum;
}

void expectAllNaN(const Solved& s, int n, const char* why) {
  ASSERT_EQ(s.V.size[0], n) << why;
  ASSERT_EQ(s.V.size[1], n) << why;
  ASSERT_EQ(s.d.size[0], n) << why;
  for (const creal32_T z : s.V) {
    EXPECT_TRUE(sameBits(z, creal32_T{rtNaNF, 0.0F})) << why;
  }
  for (const creal32_T z : s.d) {
    EXPECT_TRUE(sameBits(z, creal32_T{rtNaNF, 0.0F})) << why;
  }
}

}  // namespace

// EXACT
TEST(Eig, OneByOneThroughTheHermitianBranch) {
  const Solved s = solve(support::matrix<creal32_T>(1, 1, {{3.0F, 0.0F}}));
  EXPECT_TRUE(sameBits(s.d, support::column<creal32_T>({{3.0F, 0.0F}})));
  EXPECT_TRUE(sameBits(s.V, support::matrix<creal32_T>(1, 1, {{1.0F, 0.0F}})));
  EXPECT_EQ(s.hermitianSolves, 1);
  EXPECT_EQ(s.generalSolves, 0);
}

TEST(Eig, WithoutRowsOrColumns_ResultsAreEmpty_NoSolverIsCalled) {
  for (const auto& [rows, cols] : {std::pair(0, 0), std::pair(3, 0), std::pair(0, 3)}) {
    array<creal32_T, 2> A;
    A.set_size(rows, cols);
    const Solved s = solve(A);
    EXPECT_EQ(s.V.size[0], 0) << rows << " x " << cols;
    EXPECT_EQ(s.V.size[1], 0) << rows << " x " << cols;
    EXPECT_EQ(s.d.size[0], 0) << rows << " x " << cols;
    EXPECT_EQ(s.hermitianSolves + s.generalSolves, 0) << rows << " x " << cols;
  }
}

// EXACT
TEST(Eig, OneNonFinitePartAnywhereGivesNaN_NoSolverIsCalled) {
  for (const float bad : {rtNaNF, rtInfF, rtMinusInfF}) {
    for (int k = 0; k < 9; ++k) {
      for (const bool imaginary : {false, true}) {
        array<creal32_T, 2> A = hermitian(3);
        (imaginary ? A[k].im : A[k].re) = bad;
        const Solved s = solve(A);
        expectAllNaN(s, 3, "non-finite");
        EXPECT_EQ(s.hermitianSolves + s.generalSolves, 0);
      }
    }
  }
}

// EXACT
TEST(Eig, NotSquareGivesNaNForEveryRow_NoSolverIsCalled) {
  for (const auto& [rows, cols] : {std::pair(2, 3), std::pair(3, 2), std::pair(1, 4)}) {
    array<creal32_T, 2> A;
    A.set_size(rows, cols);
    const Solved s = solve(A);
    expectAllNaN(s, rows, "not square");
    EXPECT_EQ(s.hermitianSolves + s.generalSolves, 0) << rows << " x " << cols;
  }
}

// BOUND: the solver is backward stable; 10 n eps times the norm leaves room for its constant.
TEST(Eig, HermitianMatrix_RealAscendingEigenvalues_OrthonormalVectors) {
  for (int n = 1; n <= 12; ++n) {
    const array<creal32_T, 2> A = hermitian(n);
    const Solved s = solve(A);
    EXPECT_EQ(s.hermitianSolves, 1) << n;
    EXPECT_EQ(s.generalSolves, 0) << n;
    EXPECT_LE(residual(A, s), 10.0 * n * epsilon * frobenius(A)) << n;
    for (int k = 0; k < n; ++k) {
      EXPECT_TRUE(sameBits(s.d[k].im, 0.0F)) << n;
      EXPECT_LE(k == 0 ? s.d[0].re : s.d[k - 1].re, s.d[k].re) << n;
      for (int j = 0; j < n; ++j) {
        EXPECT_LE(std::abs(inner(s.V, j, k) - (j == k ? 1.0 : 0.0)), 10.0 * n * epsilon) << n;
      }
    }
  }
}

TEST(Eig, LeavesTheMatrixAlone) {
  for (const array<creal32_T, 2>& A : {hermitian(5), skewHermitian(5), randomMatrix(5)}) {
    const array<creal32_T, 2> before = A;
    solve(A);
    EXPECT_TRUE(sameBits(A, before));
  }
}

// BOUND: as for the Hermitian matrix; the real parts are zero by construction.
TEST(Eig, SkewHermitianMatrix_ImaginaryEigenvaluesFromTheHermitianSolver) {
  for (int n = 1; n <= 12; ++n) {
    const array<creal32_T, 2> A = skewHermitian(n);
    const Solved s = solve(A);
    EXPECT_EQ(s.hermitianSolves, 1) << n;
    EXPECT_EQ(s.generalSolves, 0) << n;
    EXPECT_LE(residual(A, s), 10.0 * n * epsilon * frobenius(A)) << n;
    for (int k = 0; k < n; ++k) {
      EXPECT_TRUE(sameBits(s.d[k].re, 0.0F)) << n;
      EXPECT_GE(k == 0 ? s.d[0].im : s.d[k - 1].im, s.d[k].im) << n << ": W ascends, -W descends";
    }
  }
}

// BOUND: eps.
TEST(Eig, RotationByAQuarterTurnHasEigenvaluesPlusAndMinusI) {
  const Solved s = solve(
      support::matrix<creal32_T>(2, 2, {{0.0F, 0.0F}, {-1.0F, 0.0F}, {1.0F, 0.0F}, {0.0F, 0.0F}}));
  EXPECT_EQ(s.hermitianSolves, 1);
  EXPECT_NEAR(s.d[0].im, 1.0, epsilon);
  EXPECT_NEAR(s.d[1].im, -1.0, epsilon);
}

TEST(Eig, ZeroMatrixIsHermitianBeforeItIsSkew) {
  array<creal32_T, 2> A;
  A.set_size(2, 2);
  const Solved s = solve(A);
  EXPECT_EQ(s.hermitianSolves, 1);
  EXPECT_TRUE(sameBits(s.d, support::column<creal32_T>({{0.0F, 0.0F}, {0.0F, 0.0F}})))
      << "not 0 - i 0";
}

TEST(Eig, SymmetryIsExact) {
  struct Row {
    array<creal32_T, 2> A;
    int hermitianSolves;
    const char* why;
  };
  const float next = std::nextafter(1.0F, 2.0F);
  const Row rows[] = {
      {support::matrix<creal32_T>(2, 2, {{2.0F, 0.0F}, {1.0F, -1.0F}, {1.0F, 1.0F}, {3.0F, 0.0F}}),
       1, "Hermitian"},
      {support::matrix<creal32_T>(2, 2, {{2.0F, 0.0F}, {next, -1.0F}, {1.0F, 1.0F}, {3.0F, 0.0F}}),
       0, "one unit off in a real part"},
      {support::matrix<creal32_T>(2, 2, {{2.0F, 0.0F}, {1.0F, -next}, {1.0F, 1.0F}, {3.0F, 0.0F}}),
       0, "one unit off in an imaginary part"},
      {support::matrix<creal32_T>(2, 2,
                                  {{2.0F, 1e-45F}, {1.0F, -1.0F}, {1.0F, 1.0F}, {3.0F, 0.0F}}),
       0, "an imaginary part on the diagonal"},
      {support::matrix<creal32_T>(2, 2, {{0.0F, 2.0F}, {-1.0F, 1.0F}, {1.0F, 1.0F}, {0.0F, 3.0F}}),
       1, "skew-Hermitian"},
      {support::matrix<creal32_T>(2, 2, {{0.0F, 2.0F}, {-next, 1.0F}, {1.0F, 1.0F}, {0.0F, 3.0F}}),
       0, "one unit off skew"},
      {support::matrix<creal32_T>(2, 2,
                                  {{1e-45F, 2.0F}, {-1.0F, 1.0F}, {1.0F, 1.0F}, {0.0F, 3.0F}}),
       0, "a real part on the diagonal"},
      {support::matrix<creal32_T>(1, 1, {{-0.0F, -0.0F}}), 1, "signed zeros are equal"},
  };
  for (const Row& row : rows) {
    const Solved s = solve(row.A);
    EXPECT_EQ(s.hermitianSolves, row.hermitianSolves) << row.why;
    EXPECT_EQ(s.generalSolves, 1 - row.hermitianSolves) << row.why;
  }
}

// BOUND: backward stability again; a unit norm rounds by n eps.
TEST(Eig, GeneralMatrix_UnitVectorsWithARealLargestComponent) {
  for (int n = 1; n <= 12; ++n) {
    const array<creal32_T, 2> A = randomMatrix(n);
    const Solved s = solve(A);
    EXPECT_EQ(s.hermitianSolves, 0) << n;
    EXPECT_EQ(s.generalSolves, 1) << n;
    EXPECT_LE(residual(A, s), 10.0 * n * epsilon * frobenius(A)) << n;
    for (int k = 0; k < n; ++k) {
      EXPECT_NEAR(inner(s.V, k, k).real(), 1.0, 2.0 * n * epsilon) << n;
      const creal32_T* const column = s.V.begin() + static_cast<std::ptrdiff_t>(k) * n;
      const creal32_T* const largest = std::max_element(column, column + n, [](auto a, auto b) {
        return std::norm(toDouble(a)) < std::norm(toDouble(b));
      });
      EXPECT_EQ(largest->im, 0.0F) << n;
    }
  }
}

// EXACT: only a refused argument (negative info) leaves NaN behind.
TEST(Eig, RefusedArgumentGivesNaNInEveryBranch) {
  const support::FailingSolver failing(-5);
  expectAllNaN(solve(hermitian(3)), 3, "Hermitian");
  expectAllNaN(solve(randomMatrix(3)), 3, "general");
  const Solved s = solve(skewHermitian(3));
  for (const creal32_T z : s.V) {
    EXPECT_TRUE(sameBits(z, creal32_T{rtNaNF, 0.0F})) << "skew";
  }
  for (const creal32_T z : s.d) {
    EXPECT_TRUE(sameBits(z, creal32_T{0.0F, rtNaNF})) << "skew: 0 - i W";
  }
}

TEST(Eig, MissedConvergenceIsLeftAlone) {
  const support::FailingSolver failing(2);
  const array<creal32_T, 2> A = hermitian(3);
  EXPECT_TRUE(sameBits(solve(A).V, A)) << "the solver touched nothing";
  for (const creal32_T z : solve(randomMatrix(3)).V) {
    EXPECT_FALSE(std::isnan(z.re));
  }
}

// EXACT
TEST(Xsyheev, EmptyMatrixReturnsZeroWithoutACall) {
  const int before = support::callCounts().hermitianSolves;
  for (const auto& [rows, cols] : {std::pair(0, 0), std::pair(3, 0), std::pair(0, 3)}) {
    array<creal32_T, 2> A;
    A.set_size(rows, cols);
    array<float, 1> W = support::column({9.0F});
    EXPECT_EQ(xsyheev(A, W), 0);
    EXPECT_EQ(W.size[0], rows) << "one for every row";
  }
  EXPECT_EQ(support::callCounts().hermitianSolves, before);
}

TEST(Xsyheev, NotSquareReturnsMinusOneWithNaN_WithoutACall) {
  const int before = support::callCounts().hermitianSolves;
  array<creal32_T, 2> A;
  A.set_size(2, 3);
  array<float, 1> W;
  EXPECT_EQ(xsyheev(A, W), -1);
  EXPECT_TRUE(sameBits(W, support::column({rtNaNF, rtNaNF})));
  for (const creal32_T z : A) {
    EXPECT_TRUE(sameBits(z, creal32_T{rtNaNF, 0.0F}));
  }
  EXPECT_EQ(support::callCounts().hermitianSolves, before);
}

// EXACT: diag(2, -1), and an upper triangle that would tell if it were read.
TEST(Xsyheev, ReadsTheLowerTriangle) {
  array<creal32_T, 2> A =
      support::matrix<creal32_T>(2, 2, {{2.0F, 0.0F}, {0.0F, 0.0F}, {99.0F, 9.0F}, {-1.0F, 0.0F}});
  array<float, 1> W;
  EXPECT_EQ(xsyheev(A, W), 0);
  EXPECT_TRUE(sameBits(W, support::column({-1.0F, 2.0F})));
}

TEST(Xsyheev, NegativeInfoGivesNaNAndComesBack) {
  const support::FailingSolver failing(-5);
  array<creal32_T, 2> A = hermitian(2);
  array<float, 1> W;
  EXPECT_EQ(xsyheev(A, W), -5);
  EXPECT_TRUE(sameBits(W, support::column({rtNaNF, rtNaNF})));
  for (const creal32_T z : A) {
    EXPECT_TRUE(sameBits(z, creal32_T{rtNaNF, 0.0F}));
  }
}

// EXACT
TEST(Xsyheev, PositiveInfoComesBackAndNothingElseHappens) {
  const support::FailingSolver failing(3);
  array<creal32_T, 2> A = hermitian(2);
  array<float, 1> W = support::column({4.0F, 5.0F});
  EXPECT_EQ(xsyheev(A, W), 3);
  EXPECT_TRUE(sameBits(A, hermitian(2)));
  EXPECT_TRUE(sameBits(W, support::column({4.0F, 5.0F})));
}
