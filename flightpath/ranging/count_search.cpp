#include "flightpath/ranging/count_search.h"

#include <cmath>
#include <limits>

namespace flightpath {

std::optional<int> countSignals(const EigenvalueSums& sums, std::span<const double> leading) {
  const int m = sums.count;
  double tailSum = sums.trace;
  double tailLog = sums.logDeterminant;
  double best = std::numeric_limits<double>::infinity();
  int bestCount = 0;
  for (int k = 0; k < m; ++k) {
    const double penalty = 0.5 * (2.0 * m - k + 1.0) * k;
    if (penalty >= best + sums.slack) {
      break;
    }
    if (k > 0) {
      if (static_cast<std::size_t>(k) > leading.size()) {
        return {};
      }
      const double value = leading[static_cast<std::size_t>(k) - 1];
      tailSum -= value;
      tailLog -= std::log(value);
    }
    const double left = m - k;
    const double likelihood = left * std::log(tailSum / left) - tailLog;
    const double Q = penalty + likelihood;
    if (Q < best) {
      best = Q;
      bestCount = k;
    }
  }
  return bestCount;
}

}  // namespace flightpath
