#include "flightpath/ranging/detail/covariance_products.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/ranging/detail/real_covariance.h"
#include "flightpath/rules/subvector_length.h"

using flightpath::CovarianceProducts;
using flightpath::RealCovariance;
using flightpath::SampleBlock;
using flightpath::subvectorLength;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

std::vector<double> randomVector(int n, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> v(static_cast<std::size_t>(n));
  for (double& value : v) {
    value = normal(random);
  }
  return v;
}

SampleBlock randomBlock(int N, int rows, unsigned seed) {
  const std::vector<double> parts = randomVector(2 * N * rows, seed);
  std::vector<std::complex<double>> x;
  for (std::size_t k = 0; k < parts.size(); k += 2) {
    x.emplace_back(parts[k], parts[k + 1]);
  }
  SampleBlock block(N, rows);
  EXPECT_TRUE(block.take({x, static_cast<std::size_t>(N)}, 0));
  return block;
}

std::vector<double> product(CovarianceProducts& covariance, const std::vector<double>& v) {
  std::vector<double> out(v.size(), 7.0);
  covariance.multiply(v, out);
  return out;
}

struct Formed {
  std::vector<double> product;
  double trace = 0.0;
};

/// The same from the matrix.
Formed byMatrix(const SampleBlock& block, int N, const std::vector<double>& v) {
  RealCovariance form(N, subvectorLength(N));
  form.form(block);
  const std::size_t n = v.size();
  Formed out = {std::vector<double>(n), 0.0};
  for (std::size_t j = 0; j < n; ++j) {
    out.trace += form.matrix()[j * n + j];
    for (std::size_t i = 0; i < n; ++i) {
      out.product[i] += form.matrix()[j * n + i] * v[j];
    }
  }
  return out;
}

}  // namespace

// BOUND: a transform rounds each value by some log2(n) eps of the largest; N^2 eps of the powers is far
// above that, and far below any product that leaves out a sample.
TEST(CovarianceProducts, AreThoseOfTheMatrix) {
  for (const int N : {5, 6, 7, 8, 9, 10, 11, 12, 31, 64, 97}) {
    for (const int rows : {1, 2, 5}) {
      const SampleBlock block = randomBlock(N, rows, 3);
      const int L = subvectorLength(N);
      CovarianceProducts covariance(N, L, rows);
      covariance.form(block);
      ASSERT_EQ(covariance.order(), L);
      const std::vector<double> v = randomVector(L, 4);
      const Formed expected = byMatrix(block, N, v);
      const std::vector<double> actual = product(covariance, v);
      const double bound = 4.0 * N * N * rows * eps;
      EXPECT_NEAR(covariance.trace(), expected.trace, bound * N) << N << " x " << rows;
      for (std::size_t i = 0; i < v.size(); ++i) {
        ASSERT_NEAR(actual[i], expected.product[i], bound) << N << " x " << rows << ", " << i;
      }
    }
  }
}

// EXACT: neither a product nor another block leaves anything behind.
TEST(CovarianceProducts, DependOnTheirVectorAndBlockAlone) {
  constexpr int N = 30;
  constexpr int L = 23;
  const SampleBlock first = randomBlock(N, 2, 1);
  const SampleBlock second = randomBlock(N, 2, 2);
  const std::vector<double> v = randomVector(L, 3);
  CovarianceProducts used(N, L, 2);
  used.form(second);
  product(used, randomVector(L, 4));
  used.form(first);
  product(used, randomVector(L, 5));
  CovarianceProducts fresh(N, L, 2);
  fresh.form(first);
  EXPECT_EQ(product(used, v), product(fresh, v));
  EXPECT_EQ(used.trace(), fresh.trace());
}
