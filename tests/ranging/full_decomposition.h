#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "flightpath/ranging/detail/real_gram.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "tests/support/ranging.h"

/// The signal count the long way round: every eigenvalue, every candidate.
namespace support {

/// Of the Ranger's matrix, descending.
inline std::vector<double> allEigenvalues(const Samples& x) {
  const auto N = static_cast<int>(x.size());
  flightpath::RealGram gram(N, flightpath::subvectorLength(N));
  flightpath::SampleBlock samples(N, 1);
  EXPECT_TRUE(samples.take(x, 0));
  gram.form(samples);
  const auto n = static_cast<std::size_t>(gram.order());
  std::vector<double> A(gram.matrix().begin(), gram.matrix().end());
  std::vector<double> ascending(n);
  std::vector<double> work(3 * n);
  EXPECT_EQ(
      flightpath::lapack::symmetricEigen(gram.order(), A.data(), ascending.data(), work.data()), 0);
  return {ascending.rbegin(), ascending.rend()};
}

/// The k of the smallest Q(k) = (2m - k + 1) k / 2 + (m - k) log(AM / GM), every k tried.
inline int countByAll(const std::vector<double>& descending) {
  const auto m = static_cast<double>(descending.size());
  int best = 0;
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t k = 0; k < descending.size(); ++k) {
    double sum = 0.0;
    double logs = 0.0;
    for (std::size_t i = k; i < descending.size(); ++i) {
      sum += descending[i];
      logs += std::log(descending[i]);
    }
    const double left = m - static_cast<double>(k);
    const double penalty = 0.5 * (m + left + 1.0) * static_cast<double>(k);
    const double Q = penalty + left * std::log(sum / left) - logs;
    if (Q < least) {
      least = Q;
      best = static_cast<int>(k);
    }
  }
  return best;
}

}  // namespace support
