#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "flightpath/toolbox/detail/small_matrices.h"

// A NaN is never small enough to be left alone: the number of sweeps is what ends the rotations.
TEST(SymmetricEigen, OfAMatrixWithANaNEndsAndIsNaN) {
  for (const int n : {2, 7, 12}) {
    const auto order = static_cast<std::size_t>(n);
    std::vector<double> A(order * order, std::numeric_limits<double>::quiet_NaN());
    std::vector<double> eigenvalues(order);
    std::vector<double> work(3 * order);
    flightpath::symmetricEigen(n, A.data(), eigenvalues.data(), work.data());
    for (const double value : eigenvalues) {
      EXPECT_TRUE(std::isnan(value)) << "order " << n;
    }
  }
}
