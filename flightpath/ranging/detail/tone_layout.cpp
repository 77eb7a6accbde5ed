#include "flightpath/ranging/detail/tone_layout.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "flightpath/likelihood/tone_set.h"
#include "flightpath/ranging/detail/distance_scale.h"
#include "flightpath/ranging/detail/row_layout.h"

namespace flightpath {
namespace {

template <class... Words>
[[noreturn]] void refuse(const Words&... words) {
  std::ostringstream text;
  text.precision(17);
  (text << ... << words);
  throw std::invalid_argument(text.str());
}

void checkTones(std::uint32_t numSubcarriers, const std::vector<int>& tones,
                const std::vector<double>& weights) {
  const ToneSet checked(tones, weights);
  if (tones.size() != numSubcarriers) {
    refuse("Tones: there are ", tones.size(), " for rows of ", numSubcarriers, " samples");
  }
}

/// The tones of the rows that the calibration was measured from.
std::vector<int> tonesOf(const Calibration& calibration) {
  std::vector<int> tones(calibration.numSubcarriers());
  std::merge(calibration.tones().begin(), calibration.tones().end(),
             calibration.missingTones().begin(), calibration.missingTones().end(), tones.begin());
  return tones;
}

void checkCalibration(const std::vector<int>& tones, const RangingOptions& options) {
  const Calibration& calibration = options.Calibration;
  if (calibration.subcarrierSpacing() != options.SubcarrierSpacing) {
    refuse("Calibration: measured at a spacing of ", calibration.subcarrierSpacing(),
           " Hz, but SubcarrierSpacing is ", options.SubcarrierSpacing, " Hz");
  }
  if (calibration.numSubcarriers() != tones.size()) {
    refuse("Calibration: measured from rows of ", calibration.numSubcarriers(), " samples, where ",
           tones.size(), " subcarriers are expected");
  }
  const std::vector<int> measured = tonesOf(calibration);
  const auto [there, here] = std::ranges::mismatch(measured, tones);
  if (there != measured.end()) {
    refuse("Calibration: measured at tone ", *there, " where the rows have tone ", *here,
           ", at position ", there - measured.begin());
  }
}

/// Noise counts twice: as the user knows it, and as the corrections make it.
std::vector<double> combined(const std::vector<double>& weights, const Calibration& calibration) {
  std::vector<double> product = calibration.weights();
  for (std::size_t i = 0; i < product.size() && !weights.empty(); ++i) {
    product[i] *= weights[calibration.positions()[i]];
  }
  return product;
}

}  // namespace

MeasuredTones measuredTones(std::uint32_t numSubcarriers, const RangingOptions& options) {
  std::vector<int> tones = tonesOfRow(options.Tones, numSubcarriers);
  checkTones(numSubcarriers, tones, options.Weights);
  if (options.Calibration.empty()) {
    return {std::move(tones), options.Weights};
  }
  checkCalibration(tones, options);
  return {options.Calibration.tones(), combined(options.Weights, options.Calibration)};
}

ToneLayout layoutOf(const MeasuredTones& measured) {
  const ToneSet tones(measured.indices, measured.weights);
  return {tones.stride(), tones.extent(), tones.extent() == tones.count()};
}

double resolutionCell_m(const ToneLayout& layout, const RangingOptions& options) {
  return distancePerPeriod(options.SubcarrierSpacing * layout.stride, options) / layout.extent;
}

}  // namespace flightpath
