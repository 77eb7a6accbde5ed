#include "flightpath/toolbox/detail/small_matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <random>
#include <vector>

// The orders lie on both sides of where BLAS and LAPACK take over: 128 for products, 64 for factors,
// 12 for eigenvalues.

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

/// Column-major, like the functions under test.
struct Matrix {
  int rows;
  std::vector<double> values;
  double operator()(int i, int j) const {
    return values[static_cast<std::size_t>(j) * static_cast<std::size_t>(rows) +
                  static_cast<std::size_t>(i)];
  }
};

Matrix randomMatrix(int rows, int columns, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  Matrix A = {rows, {}};
  for (int i = 0; i < rows * columns; ++i) {
    A.values.push_back(normal(random));
  }
  return A;
}

/// sum over l of A(i, l) B(l, j), or of A(l, i) A(l, j) for the Gram matrix
Matrix gram(const Matrix& A, int columns) {
  Matrix G = {columns, {}};
  for (int j = 0; j < columns; ++j) {
    for (int i = 0; i < columns; ++i) {
      double sum = 0.0;
      for (int l = 0; l < A.rows; ++l) {
        sum += A(l, i) * A(l, j);
      }
      G.values.push_back(sum);
    }
  }
  return G;
}

Matrix diagonalMatrix(const std::vector<double>& diagonal) {
  const std::size_t n = diagonal.size();
  Matrix D = {static_cast<int>(n), std::vector<double>(n * n, 0.0)};
  for (std::size_t i = 0; i < n; ++i) {
    D.values[i * (n + 1)] = diagonal[i];
  }
  return D;
}

double largest(const std::vector<double>& values) {
  double most = 0.0;
  for (const double value : values) {
    most = std::max(most, std::fabs(value));
  }
  return most;
}

struct Eigen {
  std::vector<double> values;
  Matrix vectors;
};

constexpr double untouched = -12345.0;

Eigen eigenOf(const Matrix& A) {
  const int n = A.rows;
  Eigen result = {std::vector<double>(static_cast<std::size_t>(n + 1), untouched), A};
  std::vector<double> work(static_cast<std::size_t>(3 * n));
  flightpath::symmetricEigen(n, result.vectors.values.data(), result.values.data(), work.data());
  EXPECT_EQ(result.values.back(), untouched) << n << ": a value too many";
  result.values.pop_back();
  return result;
}

/// The largest elements of A V - V diag(values) and of V^T V - I.
double worstResidualOf(const Matrix& A, const Eigen& eigen, int count) {
  double worst = 0.0;
  for (int k = 0; k < count; ++k) {
    for (int i = 0; i < A.rows; ++i) {
      double sum = -eigen.values[static_cast<std::size_t>(k)] * eigen.vectors(i, k);
      for (int l = 0; l < A.rows; ++l) {
        sum += A(i, l) * eigen.vectors(l, k);
      }
      worst = std::max(worst, std::fabs(sum));
    }
  }
  return worst;
}

double worstResidual(const Matrix& A, const Eigen& eigen) {
  return worstResidualOf(A, eigen, A.rows);
}

double worstOrthogonalityOf(const Eigen& eigen, int count) {
  const Matrix G = gram(eigen.vectors, count);
  double worst = 0.0;
  for (int j = 0; j < G.rows; ++j) {
    for (int i = 0; i < G.rows; ++i) {
      worst = std::max(worst, std::fabs(G(i, j) - (i == j ? 1.0 : 0.0)));
    }
  }
  return worst;
}

double worstOrthogonality(const Eigen& eigen) {
  return worstOrthogonalityOf(eigen, eigen.vectors.rows);
}

}  // namespace

// BOUND: a sum of n products, each rounded once and added once.
TEST(SmallMatrices, DotIsTheSumOfProducts) {
  for (int n = 0; n <= 20; ++n) {
    const Matrix a = randomMatrix(n, 1, 1);
    const Matrix b = randomMatrix(n, 1, 2);
    double sum = 0.0;
    double scale = 0.0;
    for (int i = 0; i < n; ++i) {
      sum += a(i, 0) * b(i, 0);
      scale += std::fabs(a(i, 0) * b(i, 0));
    }
    EXPECT_NEAR(flightpath::dot(a.values.data(), b.values.data(), n), sum, 2 * n * eps * scale);
  }
}

// BOUND: as for one sum of k products.
TEST(SmallMatrices, ProductOfAnyShape) {
  for (const int m : {1, 2, 34, 128, 129}) {
    for (const int n : {1, 6}) {
      for (const int k : {1, 3, 4, 5, 6, 34}) {
        const Matrix A = randomMatrix(m, k, 3);
        const Matrix B = randomMatrix(k, n, 4);
        Matrix C = {m, std::vector<double>(static_cast<std::size_t>(m * n), 7.0)};
        flightpath::multiply(m, n, k, A.values.data(), B.values.data(), C.values.data());
        for (int j = 0; j < n; ++j) {
          for (int i = 0; i < m; ++i) {
            double sum = 0.0;
            for (int l = 0; l < k; ++l) {
              sum += A(i, l) * B(l, j);
            }
            ASSERT_NEAR(C(i, j), sum, 2 * k * eps * largest(A.values) * largest(B.values) * k)
                << m << " x " << k << " x " << n;
          }
        }
      }
    }
  }
}

// BOUND: the factor's product is off by at most (n + 1) eps of the diagonal (Higham, theorem 10.3).
TEST(Cholesky, FactorGivesTheMatrixBack) {
  for (const int n : {1, 2, 3, 6, 34, 63, 64, 65, 80}) {
    const Matrix A = gram(randomMatrix(n + 5, n, 5), n);
    std::vector<double> R = A.values;
    ASSERT_TRUE(flightpath::choleskyFactor(n, R.data())) << n;
    const Matrix factor = {n, R};
    for (int j = 0; j < n; ++j) {
      for (int i = j; i < n; ++i) {
        double sum = 0.0;
        for (int l = 0; l <= j; ++l) {
          sum += factor(i, l) * factor(j, l);
        }
        ASSERT_NEAR(sum, A(i, j), (n + 1) * eps * largest(A.values)) << n;
      }
    }
  }
}

// EXACT: an indefinite matrix has no factor; the last pivot is the one that says so.
TEST(Cholesky, RefusesWhatIsNotPositiveDefinite) {
  for (const int n : {1, 2, 34, 64, 65}) {
    for (const double pivot : {0.0, -1.0}) {
      std::vector<double> diagonal(static_cast<std::size_t>(n), 1.0);
      diagonal.back() = pivot;
      std::vector<double> A = diagonalMatrix(diagonal).values;
      EXPECT_FALSE(flightpath::choleskyFactor(n, A.data())) << n << ", " << pivot;
    }
  }
}

// BOUND: powers of two, so that only the logarithms and their sum round, a few times in all.
TEST(Cholesky, DeterminantIsTheProductOfTheSquaredPivots) {
  const std::vector<double> factor = diagonalMatrix({2.0, 0.5, 8.0}).values;
  const std::optional<double> logs = flightpath::logDeterminant(3, factor.data(), 0.0);
  ASSERT_TRUE(logs);
  EXPECT_DOUBLE_EQ(*logs, 6.0 * std::log(2.0));
}

// EXACT: a pivot is the square of what stands in the factor, wherever it stands.
TEST(Cholesky, NoDeterminantFromPivotsThatAreNotAboveTheLimit) {
  for (std::size_t place = 0; place < 3; ++place) {
    std::vector<double> diagonal(3, 4.0);
    diagonal[place] = 0.5;
    const std::vector<double> factor = diagonalMatrix(diagonal).values;
    EXPECT_TRUE(flightpath::logDeterminant(3, factor.data(), 0.2499)) << place;
    EXPECT_FALSE(flightpath::logDeterminant(3, factor.data(), 0.25)) << place;
  }
  const double notANumber[] = {std::numeric_limits<double>::quiet_NaN()};
  EXPECT_FALSE(flightpath::logDeterminant(1, notANumber, 0.0));
}

// BOUND: rotations and reflections are backward stable: a few eps of the largest eigenvalue an order.
TEST(SmallMatrices, EigenpairsAscendAndSatisfyTheirEquation) {
  for (const int n : {1, 2, 3, 6, 11, 12, 13, 24}) {
    const Matrix A = gram(randomMatrix(n + 2, n, 6), n);
    const Eigen eigen = eigenOf(A);
    EXPECT_TRUE(std::ranges::is_sorted(eigen.values)) << n;
    EXPECT_LE(worstResidual(A, eigen), 10 * n * eps * eigen.values.back()) << n;
    EXPECT_LE(worstOrthogonality(eigen), 10 * n * eps) << n;
  }
}

// BOUND: as above, where eigenvalues are zero, equal, or far apart.
TEST(SmallMatrices, EigenpairsOfSingularAndGradedMatrices) {
  for (const int n : {2, 6, 12, 13}) {
    const Matrix rankOne = gram(randomMatrix(1, n, 7), n);
    Matrix graded = gram(randomMatrix(n, n, 8), n);
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) {
        graded.values[static_cast<std::size_t>(j * n + i)] *= std::pow(10.0, -i - j);
      }
    }
    const Matrix zero = {n, std::vector<double>(static_cast<std::size_t>(n * n), 0.0)};
    for (const Matrix& A : {rankOne, graded, zero}) {
      const Eigen eigen = eigenOf(A);
      EXPECT_TRUE(std::ranges::is_sorted(eigen.values)) << n;
      EXPECT_LE(worstResidual(A, eigen), 10 * n * eps * largest(A.values) * n) << n;
      EXPECT_LE(worstOrthogonality(eigen), 10 * n * eps) << n;
    }
  }
}

// EXACT: a diagonal matrix has its own elements as eigenvalues, sorted, and unit vectors.
TEST(SmallMatrices, ADiagonalMatrixIsOnlySorted) {
  const Matrix A = {3, {5.0, 0.0, 0.0, 0.0, -2.0, 0.0, 0.0, 0.0, 3.0}};
  const Eigen eigen = eigenOf(A);
  EXPECT_EQ(eigen.values, (std::vector<double>{-2.0, 3.0, 5.0}));
  EXPECT_EQ(eigen.vectors.values, (std::vector<double>{0, 1, 0, 0, 0, 1, 1, 0, 0}));
}

// BOUND: as for all of them; value for value those of the full solution, vectors up to their sign.
TEST(SmallMatrices, LeadingDecompositionHasTheLargestPairs) {
  for (const int n : {1, 2, 3, 12, 13, 14, 34, 60}) {
    const Matrix A = gram(randomMatrix(n + 2, n, 9), n);
    const Eigen all = eigenOf(A);
    flightpath::LeadingDecomposition some(n);
    some.solveValues(A.values.data());
    for (const int count : {1, 3, n}) {
      if (count > n) {
        continue;
      }
      some.solveVectors(count);
      Eigen leading;
      leading.vectors.rows = n;
      for (int k = count - 1; k >= 0; --k) {
        leading.values.push_back(some.value(k));
        leading.vectors.values.insert(leading.vectors.values.end(), some.vector(k),
                                      some.vector(k) + n);
      }
      const double bound = 10 * n * eps * all.values.back();
      for (int k = 0; k < n; ++k) {
        EXPECT_NEAR(some.value(k), all.values[static_cast<std::size_t>(n - 1 - k)], bound) << n;
      }
      EXPECT_LE(worstResidualOf(A, leading, count), 10 * bound) << n << ", " << count;
      EXPECT_LE(worstOrthogonalityOf(leading, count), 1e3 * n * eps) << n << ", " << count;
    }
  }
}

// BOUND: as above where the matrix falls apart into blocks, and where eigenvalues stand several times.
TEST(SmallMatrices, LeadingDecompositionOfBlocksAndOfEqualEigenvalues) {
  constexpr int n = 20;
  Matrix blocks = {n, std::vector<double>(n * n, 0.0)};
  const Matrix half = gram(randomMatrix(12, n / 2, 10), n / 2);
  for (int j = 0; j < n / 2; ++j) {
    for (int i = 0; i < n / 2; ++i) {
      blocks.values[static_cast<std::size_t>(j * n + i)] = half(i, j);
      blocks.values[static_cast<std::size_t>((j + n / 2) * n + i + n / 2)] = half(i, j);
    }
  }
  std::vector<double> diagonal(n, 1.0);
  std::fill_n(diagonal.begin(), 5, 3.0);
  const Matrix zero = {n, std::vector<double>(n * n, 0.0)};
  for (const Matrix& A : {blocks, diagonalMatrix(diagonal), zero}) {
    flightpath::LeadingDecomposition some(n);
    some.solveValues(A.values.data());
    some.solveVectors(6);
    Eigen leading;
    leading.vectors.rows = n;
    for (int k = 5; k >= 0; --k) {
      leading.values.push_back(some.value(k));
      leading.vectors.values.insert(leading.vectors.values.end(), some.vector(k),
                                    some.vector(k) + n);
    }
    EXPECT_LE(worstResidualOf(A, leading, 6), 100 * n * eps * largest(A.values) + 1e-300);
    EXPECT_LE(worstOrthogonalityOf(leading, 6), 1e3 * n * eps);
  }
}
