#include "flightpath/likelihood/path_test.h"

#include <cmath>
#include <numbers>

#include "flightpath/runtime/detail/log_gamma.h"

namespace flightpath {
namespace {

constexpr int halvings = 60;  // of an interval of a few: more than double precision has

}  // namespace

double pathThreshold(double falseAlarm, double independentDelays, int numRows) {
  const double shape = numRows - 0.5;
  const double constant = std::log(independentDelays) + 0.5 * std::log(std::numbers::pi / 3.0) -
                          logGamma(numRows) - std::log(falseAlarm);
  // The rate falls from t = shape on: the crossing is looked for there, by halving.
  double low = shape;
  double high = 2.0 * shape + 2.0;
  const auto isTooFrequent = [&](double t) { return constant + shape * std::log(t) - t > 0.0; };
  while (isTooFrequent(high)) {
    high *= 2.0;
  }
  for (int i = 0; i < halvings; ++i) {
    const double middle = 0.5 * (low + high);
    (isTooFrequent(middle) ? low : high) = middle;
  }
  return high;
}

double pathStatistic(double costWithout, double costWith, double degreesLeft, double unexplained) {
  return degreesLeft * std::log((costWithout + unexplained) / (costWith + unexplained));
}

double costAtThreshold(double costWith, double degreesLeft, double unexplained, double threshold) {
  return (costWith + unexplained) * std::exp(threshold / degreesLeft) - unexplained;
}

}  // namespace flightpath
