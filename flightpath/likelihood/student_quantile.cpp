#include "flightpath/likelihood/student_quantile.h"

#include <cmath>
#include <limits>

#include "flightpath/runtime/detail/log_gamma.h"

namespace flightpath {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double tiny = 1e-300;
constexpr int mostTerms = 500;
constexpr int halvings = 60;  // more than double precision has

double awayFromZero(double x) { return std::fabs(x) < tiny ? tiny : x; }

/// The m-th pair of coefficients of the continued fraction is d_2m and d_2m+1.
struct Coefficients {
  double even;
  double odd;
};

Coefficients coefficients(double a, double b, double x, int m) {
  const double a2m = a + 2 * m;
  return {m * (b - m) * x / ((a2m - 1.0) * a2m), -(a + m) * (a + b + m) * x / (a2m * (a2m + 1.0))};
}

/// 1 / (1 + d1 / (1 + d2 / (1 + ...))), by Lentz's method. It converges quickly for
/// x < (a + 1) / (a + b + 2).
double continuedFraction(double a, double b, double x) {
  double c = 1.0;
  double d = 1.0 / awayFromZero(1.0 - (a + b) * x / (a + 1.0));
  double value = d;
  for (int m = 1; m < mostTerms; ++m) {
    const Coefficients next = coefficients(a, b, x, m);
    d = 1.0 / awayFromZero(1.0 + next.even * d);
    c = awayFromZero(1.0 + next.even / c);
    value *= c * d;
    d = 1.0 / awayFromZero(1.0 + next.odd * d);
    c = awayFromZero(1.0 + next.odd / c);
    value *= c * d;
    if (std::fabs(c * d - 1.0) < epsilon) {
      break;
    }
  }
  return value;
}

/// x^a (1 - x)^b / (a B(a, b)) times the fraction
double smallBeta(double a, double b, double x, double rest) {
  const double logBeta = logGamma(a) + logGamma(b) - logGamma(a + b);
  return std::exp(a * std::log(x) + b * std::log(rest) - logBeta) / a * continuedFraction(a, b, x);
}

/// I_x(degrees / 2, 1 / 2), x and 1 - x without cancellation.
double tailProbability(double q, double degrees) {
  const double a = 0.5 * degrees;
  const double x = degrees / (degrees + q * q);
  const double rest = q * q / (degrees + q * q);
  return x < (a + 1.0) / (a + 2.5) ? smallBeta(a, 0.5, x, rest) : 1.0 - smallBeta(0.5, a, rest, x);
}

}  // namespace

double studentQuantile(double level, double degrees) {
  double low = 0.0;
  double high = 1.0;
  while (tailProbability(high, degrees) > 1.0 - level) {
    high *= 2.0;
  }
  for (int i = 0; i < halvings; ++i) {
    const double middle = 0.5 * (low + high);
    (tailProbability(middle, degrees) > 1.0 - level ? low : high) = middle;
  }
  return high;
}

}  // namespace flightpath
