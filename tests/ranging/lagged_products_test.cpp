#include "flightpath/ranging/detail/lagged_products.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <random>
#include <vector>

#include "tests/support/same_bits.h"

using flightpath::LaggedProducts;

namespace {

struct Rows {
  std::vector<double> ar, ai, br, bi, outRe, outIm;
};

Rows randomRows(std::size_t n) {
  std::mt19937_64 random(n);
  std::normal_distribution<double> normal;
  Rows rows;
  for (auto* const parts : {&rows.ar, &rows.ai, &rows.br, &rows.bi, &rows.outRe, &rows.outIm}) {
    for (std::size_t k = 0; k < n; ++k) {
      parts->push_back(normal(random));
    }
  }
  return rows;
}

Rows added(LaggedProducts add, Rows rows, std::size_t offset) {
  add({rows.ar.data(), rows.ai.data()}, {rows.br.data(), rows.bi.data()}, offset,
      rows.ar.size() - offset, rows.outRe.data(), rows.outIm.data());
  return rows;
}

}  // namespace

// EXACT: wider registers change no bit, whatever is left over at the end.
TEST(LaggedProducts, TheFastestGivesTheBitsOfThePlainOne) {
  for (std::size_t n = 1; n <= 40; ++n) {
    for (std::size_t offset = 0; offset < n; offset += 3) {
      const Rows given = randomRows(n);
      const Rows plain = added(flightpath::addLaggedProducts, given, offset);
      const Rows fast = added(flightpath::fastestLaggedProducts(), given, offset);
      for (std::size_t k = 0; k < n; ++k) {
        EXPECT_TRUE(support::sameBits(plain.outRe[k], fast.outRe[k])) << n << " " << offset;
        EXPECT_TRUE(support::sameBits(plain.outIm[k], fast.outIm[k])) << n << " " << offset;
      }
    }
  }
}

// BOUND: four products and as many sums of numbers around 1, 10 eps of each.
TEST(LaggedProducts, AreTheSumsThatTheirNameSays) {
  constexpr std::size_t n = 9;
  constexpr std::size_t offset = 4;
  const Rows given = randomRows(n);
  const Rows got = added(flightpath::addLaggedProducts, given, offset);
  for (std::size_t i = 0; i < n; ++i) {
    std::complex<double> expected(given.outRe[i], given.outIm[i]);
    if (i + offset < n) {
      const std::size_t j = i + offset;
      expected += std::complex<double>(given.ar[i], given.ai[i]) *
                  std::conj(std::complex<double>(given.ar[j], given.ai[j]));
      expected += std::complex<double>(given.br[i], given.bi[i]) *
                  std::conj(std::complex<double>(given.br[j], given.bi[j]));
    }
    EXPECT_NEAR(got.outRe[i], expected.real(), 1e-14) << i;
    EXPECT_NEAR(got.outIm[i], expected.imag(), 1e-14) << i;
  }
}
