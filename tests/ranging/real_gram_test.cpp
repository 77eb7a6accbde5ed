#include "flightpath/ranging/detail/real_gram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <span>
#include <vector>

#include "flightpath/toolbox/detail/lapack.h"
#include "tests/support/reference_estimator.h"

using flightpath::RealGram;
using flightpath::SampleBlock;
using support::Complex;
using support::ReferenceMatrix;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr int lengths[] = {1, 2, 3, 4, 5, 7, 8, 16, 30, 64, 65};

int subvectorLength(int N) { return static_cast<int>(std::round(0.75 * N)); }

std::vector<creal32_T> randomSamples(int N, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<float> normal;
  std::vector<creal32_T> x(static_cast<std::size_t>(N));
  for (creal32_T& sample : x) {
    sample = {normal(random), normal(random)};
  }
  return x;
}

/// Column j of Z = [X, J conj(X)].
std::vector<Complex> columnOfZ(const std::vector<creal32_T>& x, int L, int j) {
  const int K = static_cast<int>(x.size()) - L + 1;
  std::vector<Complex> z;
  for (int m = 0; m < L; ++m) {
    const int at = j < K ? m + j : L - 1 - m + j - K;
    const creal32_T sample = x[static_cast<std::size_t>(at)];
    z.emplace_back(sample.re, j < K ? sample.im : -sample.im);
  }
  return z;
}

/// R = Z Z^H
ReferenceMatrix covariance(const std::vector<creal32_T>& x, int L) {
  ReferenceMatrix R(L);
  const int columns = 2 * (static_cast<int>(x.size()) - L + 1);
  for (int j = 0; j < columns; ++j) {
    const std::vector<Complex> z = columnOfZ(x, L, j);
    for (int a = 0; a < L; ++a) {
      for (int b = 0; b < L; ++b) {
        R(a, b) += z[static_cast<std::size_t>(a)] * std::conj(z[static_cast<std::size_t>(b)]);
      }
    }
  }
  return R;
}

struct RealEigen {
  std::vector<double> ascending;
  std::vector<double> vectors;
};

RealEigen solve(const RealGram& gram) {
  const auto n = static_cast<std::size_t>(gram.order());
  RealEigen eigen;
  eigen.vectors.assign(gram.matrix().begin(), gram.matrix().end());
  eigen.ascending.resize(n);
  std::vector<double> work(3 * n);
  EXPECT_EQ(flightpath::lapack::symmetricEigen(gram.order(), eigen.vectors.data(),
                                               eigen.ascending.data(), work.data()),
            0);
  return eigen;
}

SampleBlock blockOf(const std::vector<creal32_T>& x) {
  SampleBlock block(static_cast<int>(x.size()), 1);
  EXPECT_TRUE(block.take(x, 0));
  return block;
}

/// The samples in the block's own unit, a power of two away.
std::vector<creal32_T> samplesOf(const SampleBlock& block) {
  std::vector<creal32_T> x;
  for (std::size_t k = 0; k < block.re(0).size(); ++k) {
    x.push_back({static_cast<float>(block.re(0)[k]), static_cast<float>(block.im(0)[k])});
  }
  return x;
}

/// A formed matrix and what it is compared with.
struct Case {
  explicit Case(int N)
      : block(blockOf(randomSamples(N, static_cast<unsigned>(N)))),
        x(samplesOf(block)),
        L(subvectorLength(N)),
        gram(N, L) {
    gram.form(block);
  }
  double energy() const {  // of Z: the trace, no eigenvalue is larger
    double sum = 0.0;
    for (int j = 0; j < gram.order(); ++j) {
      for (const Complex z : columnOfZ(x, L, j)) {
        sum += std::norm(z);
      }
    }
    return sum;
  }
  SampleBlock block;
  std::vector<creal32_T> x;
  int L;
  RealGram gram;
};

}  // namespace

TEST(RealGram, OrderAndShape) {
  for (const int N : lengths) {
    const Case c(N);
    EXPECT_EQ(c.gram.L(), c.L);
    EXPECT_EQ(c.gram.order(), 2 * (N - c.L + 1)) << N;
    const auto n = static_cast<std::size_t>(c.gram.order());
    ASSERT_EQ(c.gram.matrix().size(), n * n);
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) {
        EXPECT_EQ(c.gram.matrix()[i * n + j], c.gram.matrix()[j * n + i]) << "symmetric";
      }
    }
  }
}

// BOUND: each entry is a sum of L products and of at most 2 K corrections, each rounded at most
// three times, of numbers below the energy of all.
TEST(RealGram, EntriesAreThoseOfTheDefinition) {
  for (const int N : lengths) {
    const Case c(N);
    const int K = N - c.L + 1;
    const auto n = static_cast<std::size_t>(2 * K);
    const double bound = 3.0 * (c.L + 2 * K) * eps * c.energy();
    const auto product = [&](int i, int j) {  // of columns i and j of Z
      Complex sum;
      const std::vector<Complex> a = columnOfZ(c.x, c.L, i);
      const std::vector<Complex> b = columnOfZ(c.x, c.L, j);
      for (std::size_t m = 0; m < a.size(); ++m) {
        sum += std::conj(a[m]) * b[m];
      }
      return sum;
    };
    for (int i = 0; i < K; ++i) {
      for (int j = 0; j < K; ++j) {
        const Complex P = product(i, j);
        const Complex S = product(i, K + j);
        const auto at = [&](int row, int column) {
          return c.gram
              .matrix()[static_cast<std::size_t>(row) * n + static_cast<std::size_t>(column)];
        };
        ASSERT_NEAR(at(i, j), P.real() + S.real(), bound) << N;
        ASSERT_NEAR(at(i, K + j), S.imag() - P.imag(), bound) << N;
        ASSERT_NEAR(at(K + i, j), S.imag() + P.imag(), bound) << N;
        ASSERT_NEAR(at(K + i, K + j), P.real() - S.real(), bound) << N;
      }
    }
  }
}

// BOUND: eigenvalues move by no more than the matrix does, the norm of an error of the entries as
// above; both solvers err by about (order) eps of the largest.
TEST(RealGram, EigenvaluesAreThoseOfTheCovarianceAndZero) {
  for (const int N : lengths) {
    const Case c(N);
    std::vector<double> small = solve(c.gram).ascending;
    std::ranges::reverse(small);
    std::vector<double> large = support::referenceEigen(covariance(c.x, c.L)).values;
    const std::size_t most = std::max(small.size(), large.size());
    small.resize(most);
    large.resize(most);
    const double bound = 10.0 * N * eps * c.energy();
    for (std::size_t k = 0; k < most; ++k) {
      EXPECT_NEAR(small[k], large[k], bound) << "N " << N << ", " << k;
    }
  }
}

// BOUND: Z v carries the rounding of v and of K sums, about N eps of the largest singular value, and
// is divided by its own, so that the error grows by the root of largest / c.
TEST(RealGram, EigenvectorsAreUnitVectorsThatTheCovarianceStretches) {
  for (const int N : lengths) {
    const Case c(N);
    const RealEigen eigen = solve(c.gram);
    const ReferenceMatrix R = covariance(c.x, c.L);
    const auto n = static_cast<std::size_t>(c.gram.order());
    const auto L = static_cast<std::size_t>(c.L);
    const double largest = eigen.ascending.back();
    std::vector<double> re(L, 7.0);  // what stands there before must not matter
    std::vector<double> im(L, 7.0);
    for (std::size_t k = 0; k < n; ++k) {
      const double value = eigen.ascending[k];
      if (value < 1e-5 * largest) {
        continue;
      }
      c.gram.eigenvector(std::span(eigen.vectors).subspan(k * n, n), value, re, im);
      const double growth = std::sqrt(largest / value);
      double norm = 0.0;
      double residual = 0.0;
      for (int a = 0; a < c.L; ++a) {
        Complex left;
        for (int b = 0; b < c.L; ++b) {
          const auto m = static_cast<std::size_t>(b);
          left += R(a, b) * Complex(re[m], im[m]);
        }
        const auto m = static_cast<std::size_t>(a);
        const Complex e(re[m], im[m]);
        norm += std::norm(e);
        residual += std::norm(left - value * e);
      }
      EXPECT_NEAR(norm, 1.0, 20.0 * N * eps * growth * growth) << N;
      EXPECT_LE(std::sqrt(residual), 20.0 * N * eps * growth * largest) << N;
    }
  }
}

// EXACT: the second measurement finds nothing of the first.
TEST(RealGram, FormedAgainItIsTheSameMatrix) {
  for (const int N : lengths) {
    Case c(N);
    const std::vector<double> first(c.gram.matrix().begin(), c.gram.matrix().end());
    c.gram.form(blockOf(randomSamples(N, 999)));
    EXPECT_FALSE(std::ranges::equal(c.gram.matrix(), first)) << N;
    c.gram.form(c.block);
    EXPECT_TRUE(std::ranges::equal(c.gram.matrix(), first)) << N;
  }
}
