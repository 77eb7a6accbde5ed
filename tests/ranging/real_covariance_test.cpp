#include "flightpath/ranging/detail/real_covariance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/rules/subvector_length.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "tests/support/reference_estimator.h"

using flightpath::RealCovariance;
using flightpath::SampleBlock;
using support::Complex;
using support::ReferenceMatrix;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr int lengths[] = {1, 2, 3, 4, 5, 6, 7, 8, 10, 13, 16, 30, 64, 65};
constexpr int rowCounts[] = {2, 3, 4, 9};

SampleBlock randomBlock(int N, int rows, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  std::vector<std::complex<double>> x(static_cast<std::size_t>(N * rows));
  for (std::complex<double>& sample : x) {
    const double re = normal(random);
    sample = {re, normal(random)};
  }
  SampleBlock block(N, rows);
  EXPECT_TRUE(block.take({x, static_cast<std::size_t>(N)}, 0));
  return block;
}

Complex sample(const SampleBlock& block, int row, int k) {
  const auto at = static_cast<std::size_t>(k);
  return {block.re(row)[at], block.im(row)[at]};
}

/// F + J conj(F) J with F the sum of all subvectors' outer products, row after row.
ReferenceMatrix covariance(const SampleBlock& block, int N, int L) {
  ReferenceMatrix R(L);
  for (int row = 0; row < block.numRows(); ++row) {
    for (int k = 0; k + L <= N; ++k) {
      for (int i = 0; i < L; ++i) {
        for (int j = 0; j < L; ++j) {
          R(i, j) += sample(block, row, i + k) * std::conj(sample(block, row, j + k));
          R(i, j) +=
              std::conj(sample(block, row, L - 1 - i + k)) * sample(block, row, L - 1 - j + k);
        }
      }
    }
  }
  return R;
}

/// A formed matrix, its eigenpairs and what they are compared with.
struct Case {
  Case(int N, int rows)
      : L(flightpath::subvectorLength(N)),
        block(randomBlock(N, rows, static_cast<unsigned>(100 * N + rows))),
        R(covariance(block, N, L)),
        form(N, L) {
    form.form(block);
  }
  double trace() const {
    double sum = 0.0;
    for (int i = 0; i < L; ++i) {
      sum += R(i, i).real();
    }
    return sum;
  }
  int L;
  SampleBlock block;
  ReferenceMatrix R;
  RealCovariance form;
};

}  // namespace

TEST(RealCovariance, IsSymmetricAndOfOrderL) {
  for (const int N : lengths) {
    const Case c(N, 2);
    const auto n = static_cast<std::size_t>(c.L);
    EXPECT_EQ(c.form.order(), c.L);
    EXPECT_EQ(c.form.L(), c.L);
    ASSERT_EQ(c.form.matrix().size(), n * n);
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        EXPECT_EQ(c.form.matrix()[i * n + j], c.form.matrix()[j * n + i]) << N;
      }
    }
  }
}

// BOUND: the sums of K products slide along a diagonal and round N times, each time by eps of at most
// the trace; an eigenvector of a well separated value is off by that over the gap, but the residual
// R e - c e is not.
TEST(RealCovariance, ItsEigenpairsAreThoseOfTheSummedCovariance) {
  for (const int N : lengths) {
    for (const int rows : rowCounts) {
      SCOPED_TRACE(testing::Message() << "N " << N << ", " << rows << " rows");
      const Case c(N, rows);
      const auto n = static_cast<std::size_t>(c.L);
      std::vector<double> V(c.form.matrix().begin(), c.form.matrix().end());
      std::vector<double> values(n);
      std::vector<double> work(3 * n);
      ASSERT_EQ(flightpath::lapack::symmetricEigen(c.L, V.data(), values.data(), work.data()), 0);
      const double tolerance = 20.0 * N * eps * c.trace();
      std::vector<double> re(n);
      std::vector<double> im(n);
      for (std::size_t k = 0; k < n; ++k) {
        c.form.eigenvector(std::span<const double>(V).subspan(k * n, n), values[k], re, im);
        double norm = 0.0;
        double residual = 0.0;
        for (int a = 0; a < c.L; ++a) {
          Complex left = 0.0;
          for (int b = 0; b < c.L; ++b) {
            const auto m = static_cast<std::size_t>(b);
            left += c.R(a, b) * Complex(re[m], im[m]);
          }
          const auto m = static_cast<std::size_t>(a);
          norm += re[m] * re[m] + im[m] * im[m];
          residual += std::norm(left - values[k] * Complex(re[m], im[m]));
        }
        EXPECT_NEAR(norm, 1.0, 20.0 * N * eps);
        EXPECT_LE(std::sqrt(residual), tolerance);
      }
    }
  }
}

// EXACT: the second estimate finds nothing of the first.
TEST(RealCovariance, FormedAgainItIsTheSameMatrix) {
  for (const int N : lengths) {
    Case c(N, 3);
    const std::vector<double> first(c.form.matrix().begin(), c.form.matrix().end());
    c.form.form(randomBlock(N, 3, 999));
    EXPECT_FALSE(std::ranges::equal(c.form.matrix(), first)) << N;
    c.form.form(c.block);
    EXPECT_TRUE(std::ranges::equal(c.form.matrix(), first)) << N;
  }
}
