#pragma once

#include <vector>

#include "tests/support/reference_estimator.h"

/// What estimates of benign channels are held to.
namespace fuzz {

/// Whether rounding cannot tip the yes or no of a coarse peak: none of them is closer than half a
/// decibel to the threshold.
inline bool isDecided(const support::ReferenceEstimate& model) {
  return model.thresholdMargin_dB >= 0.5;
}

/// MODEL: as many paths, each within two steps of the grid that was searched.
///
/// The grids need not be the same: the coarse peak may stand in either of two bins. Each estimate
/// takes a point that lies at most half a step from the maximum, and less than another half where
/// single precision mistakes the better of two. Over M = 0.75 N samples the energy rises by
/// M (pi M d)^2 / 3 at a distance d; the points half a step plus and minus x steps away differ by
/// 1.6e-6 M x for steps of 1 / (1500 N). Phases up to pi M rad, rounded to 2^-24 of themselves,
/// twice, move the steering vector by up to 2.2e-7 M^1.5 and the energy E by 2 sqrt(E) times that:
/// x < 0.27 M sqrt(E / M), which is 0.5 for M = 24 and E / M = 0.006, the noise left at 20 dB.
void requireSamePaths(const std::vector<double>& found, const std::vector<double>& expected,
                      double tolerance);

/// Two steps, and the rounding of a frequency to float.
constexpr double pathTolerance(double step) { return 2.0 * step + 0x1p-23; }

}  // namespace fuzz
