#pragma once

namespace flightpath {

/// What a peak of the coarse spectrum, in decibels, has to pass: mean plus one standard deviation.
///
/// deviation  the sample standard deviation, n - 1 in its denominator
///
/// Each engine forms both in its own arithmetic: float in blocks of 1024 in the dense route, double
/// in sums side by side in the structured one.
template <class Real>
Real peakThreshold(Real mean, Real deviation) {
  return mean + deviation;
}

}  // namespace flightpath
