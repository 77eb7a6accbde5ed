#pragma once

#include <math.h>  // NOLINT(modernize-deprecated-headers): lgamma_r is POSIX, and not in <cmath>

namespace flightpath {

/// log |Gamma(x)|. std::lgamma leaves the sign in a variable of the process, for which threads race.
inline double logGamma(double x) {
  int sign = 0;
  return lgamma_r(x, &sign);
}

}  // namespace flightpath
