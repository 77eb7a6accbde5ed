#include "fuzz/support/benign_check.h"

#include <cmath>

#include "fuzz/support/require.h"

namespace fuzz {

void requireSamePaths(const std::vector<double>& found, const std::vector<double>& expected,
                      double tolerance) {
  const std::string both =
      testing::PrintToString(found) + " and " + testing::PrintToString(expected);
  require(found.size() == expected.size(), "as many paths: " + both);
  for (std::size_t k = 0; k < found.size(); ++k) {
    require(std::fabs(found[k] - expected[k]) <= tolerance, "the same path: " + both);
  }
}

}  // namespace fuzz
