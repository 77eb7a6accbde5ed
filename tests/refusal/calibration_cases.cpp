#include <complex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "flightpath/ranging/calibration.h"
#include "tests/refusal/failure_points.h"
#include "tests/refusal/rangers.h"
#include "tests/support/tones.h"

namespace refusal {
namespace {

using flightpath::Calibration;
using References = std::vector<std::complex<double>>;

/// Five rows of N: one is of something else, one is zero, and one tone is missing in all of them.
References references() {
  References rows;
  for (unsigned row = 0; row < 5; ++row) {
    for (unsigned k = 0; k < N; ++k) {
      const double turn = (row == 2 ? 0.3 : 0.05) * k + row;
      rows.push_back(row == 4 || k == 3 ? 0.0 : std::polar(1.0 + 0.01 * k, turn));
    }
  }
  return rows;
}

/// A calibration; what it is, its numbers show.
struct Measured {
  Calibration calibration;
  std::vector<double> corrections;

  std::tuple<const std::vector<int>&, const std::vector<double>&, const std::vector<double>&>
  parts() {
    corrections.clear();
    for (const std::complex<double> z : calibration.corrections()) {
      corrections.push_back(z.real());
      corrections.push_back(z.imag());
    }
    return std::tie(calibration.tones(), calibration.weights(), corrections);
  }
};

std::vector<double> partsOf(const References& rows) {
  std::vector<double> parts;
  for (const std::complex<double> z : rows) {
    parts.push_back(z.real());
    parts.push_back(z.imag());
  }
  return parts;
}

std::unique_ptr<Scenario> measuring(double distance_m, const std::vector<int>& tones) {
  const std::vector<double> parts = partsOf(references());
  return filling<Measured>(parts, [distance_m, tones](const auto& x, Measured& m) {
    const auto* const rows = reinterpret_cast<const std::complex<double>*>(x.data());
    m.calibration =
        Calibration::measure({rows, x.size() / 2, N}, support::spacing_Hz, distance_m, tones);
  });
}

RangingOptions calibrated() {
  RangingOptions how = support::likelihood();
  how.Calibration = Calibration::measure({references(), N}, support::spacing_Hz, 3.0);
  return how;
}

/// None to two paths.
support::Samples fewRows() {
  support::Samples rows = batch();
  rows.resize(std::size_t{3} * N);
  return rows;
}

RangingOptions calibratedAndWeighted() {
  RangingOptions how = calibrated();
  how.Weights.assign(N, 0.5);
  how.Tones = support::range(0, N - 1);
  return how;
}

RangingOptions ofOtherTones() {
  RangingOptions how = calibrated();
  how.Tones = support::range(1, N);
  return how;
}

const Case calibrationCases[] = {
    {"measure", [] { return measuring(3.0, {}); }},
    {"measure with tones", [] { return measuring(3.0, support::range(-4, N - 5)); }},
    {"measure of tones out of order", [] { return measuring(3.0, std::vector<int>(N)); },
     Outcome::InvalidArgument},
    {"measure at no distance", [] { return measuring(std::nan(""), {}); },
     Outcome::InvalidArgument},
    {"constructor", [] { return constructing(N, calibrated()); }},
    {"constructor with weights", [] { return constructing(N, calibratedAndWeighted()); }},
    {"constructor for other tones", [] { return constructing(N, ofOtherTones()); },
     Outcome::InvalidArgument},
    {"estimate", [] { return estimating(fewRows(), calibrated()); }},
};

const Case quietCalibrationCases[] = {
    {"estimate of a batch of known size", [] { return estimatingAgain(batch(), calibrated(), 0); }},
};

INSTANTIATE_TEST_SUITE_P(Calibration, Allocating, testing::ValuesIn(calibrationCases), testName);
INSTANTIATE_TEST_SUITE_P(Calibration, NotAllocating, testing::ValuesIn(quietCalibrationCases),
                         testName);

}  // namespace
}  // namespace refusal
