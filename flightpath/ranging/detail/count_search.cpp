#include "flightpath/ranging/detail/count_search.h"

#include <cmath>
#include <limits>

#include "flightpath/rules/penalty.h"

namespace flightpath {

std::optional<int> countSignals(const EigenvalueSums& sums, std::span<const double> leading) {
  const int m = sums.count;
  const double S = sums.snapshots;
  double tailSum = sums.trace;
  double tailLog = sums.logDeterminant;
  double best = std::numeric_limits<double>::infinity();
  int bestCount = 0;
  for (int k = 0; k < m; ++k) {
    const double charge = penalty(k, m, /*smoothed=*/true);
    if (charge >= best + S * sums.slack) {
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
    const double likelihood = S * (left * std::log(tailSum / left) - tailLog);
    const double Q = charge + likelihood;
    if (Q < best) {
      best = Q;
      bestCount = k;
    }
  }
  return bestCount;
}

}  // namespace flightpath
