#include "flightpath/ranging/calibration.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <span>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/likelihood/complex_products.h"
#include "flightpath/likelihood/likelihood_fit.h"
#include "flightpath/ranging/detail/calibration_file.h"
#include "flightpath/ranging/detail/calibration_record.h"
#include "flightpath/ranging/detail/reference_rows.h"
#include "flightpath/ranging/detail/row_layout.h"
#include "flightpath/ranging/detail/row_samples.h"
#include "flightpath/runtime/detail/float_environment.h"

namespace flightpath {
namespace {

constexpr std::size_t mostSubcarriers = 65535;

/// Of the power of the strongest tone: below this a tone has nothing that could be corrected.
constexpr double negligiblePower = 1e-6;

template <class... Words>
[[noreturn]] void refuse(const Words&... words) {
  std::ostringstream text;
  text << "Calibration::measure: ";
  (text << ... << words);
  throw std::invalid_argument(text.str());
}

void checkNumbers(std::size_t numSubcarriers, double subcarrierSpacing, double distance_m) {
  if (numSubcarriers < 2 || numSubcarriers > mostSubcarriers) {
    refuse("references: rows of ", numSubcarriers, " samples are not within 2 ... 65535");
  }
  if (!(subcarrierSpacing > 0.0) || !std::isfinite(subcarrierSpacing)) {
    refuse("subcarrierSpacing: ", subcarrierSpacing, " is not a finite number above 0");
  }
  if (!std::isfinite(distance_m)) {
    refuse("distance_m: ", distance_m, " is not a finite number");
  }
}

void checkTones(const std::vector<int>& tones, std::size_t numSubcarriers) {
  if (tones.size() != numSubcarriers) {
    refuse("tones: there are ", tones.size(), " for rows of ", numSubcarriers, " samples");
  }
  const auto wrong = std::ranges::adjacent_find(tones, std::greater_equal());
  if (wrong != tones.end()) {
    refuse("tones: ", wrong[1], " behind ", wrong[0], " at position ", wrong - tones.begin() + 1,
           ", but they are strictly increasing");
  }
}

/// Times exp(i 2 pi t spacing distance / c): what is left is the receiver's.
void divideOut(std::span<Complex> samples, const std::vector<int>& tones, double turnsPerTone) {
  for (std::size_t k = 0; k < samples.size(); ++k) {
    const double turns = turnsPerTone * tones[k];
    samples[k] *= std::polar(1.0, 2.0 * std::numbers::pi * (turns - std::nearbyint(turns)));
  }
}

/// The delay of the one path that is nearest to the response.
double delayOf(const std::vector<Complex>& response, const std::vector<int>& tones,
               double subcarrierSpacing) {
  LikelihoodSettings onePath;
  onePath.numPaths = 1;
  LikelihoodFit fit(tones, {}, onePath);
  std::vector<double> re;
  std::vector<double> im;
  for (const Complex z : response) {
    re.push_back(z.real());
    im.push_back(z.imag());
  }
  multiplyBy(powerOfTwoScale(re, im), re, im);
  fit.fit(re, im, {});
  return fit.paths().empty() ? 0.0 : fit.paths()[0].frequency / subcarrierSpacing;
}

/// Which tones of a row are kept, and the response at these.
std::vector<Complex> keepTones(std::span<const Complex> samples, const std::vector<int>& tones,
                               CalibrationRecord& record) {
  double strongest = 0.0;
  for (const Complex z : samples) {
    strongest = std::max(strongest, std::norm(z));
  }
  std::vector<Complex> kept;
  for (std::size_t k = 0; k < samples.size(); ++k) {
    if (std::norm(samples[k]) < negligiblePower * strongest) {
      record.missingTones.push_back(tones[k]);
      continue;
    }
    record.tones.push_back(tones[k]);
    record.positions.push_back(k);
    kept.push_back(samples[k]);
  }
  return kept;
}

void describe(const std::vector<Complex>& response, CalibrationRecord& record) {
  double power = 0.0;
  for (const Complex z : response) {
    power += std::norm(z);
  }
  const double meanPower = power / static_cast<double>(response.size());
  for (const Complex z : response) {
    record.corrections.push_back(std::sqrt(meanPower) / z);
    record.weights.push_back(std::norm(z) / meanPower);
  }
}

const CalibrationRecord none;

}  // namespace

/// Shares one that lives as long as the library: nothing is allocated.
Calibration::Calibration() : record_(std::shared_ptr<void>(), &none) {}
Calibration::~Calibration() = default;
Calibration::Calibration(const Calibration&) = default;
Calibration& Calibration::operator=(const Calibration&) = default;

Calibration Calibration::measure(CsiRows references, double subcarrierSpacing, double distance_m,
                                 const std::vector<int>& tones) {
  const DefaultFloatEnvironment environment;
  const std::size_t numSubcarriers = references.samplesPerRow();
  checkNumbers(numSubcarriers, subcarrierSpacing, distance_m);
  const std::vector<int> indices = tonesOfRow(tones, numSubcarriers);
  checkTones(indices, numSubcarriers);
  const std::size_t numRows = countRows(references, "Calibration::measure: references");

  ReferenceRows rows(references, numRows);
  if (rows.count() == 0) {
    refuse("references: none of ", numRows, " rows is finite and has a sample that is not zero");
  }
  rows.dropOutliers();
  std::vector<Complex> samples = rows.mean();
  divideOut(samples, indices, subcarrierSpacing * distance_m / exactSpeedOfLight_mps);

  CalibrationRecord record;
  record.subcarrierSpacing = subcarrierSpacing;
  record.numSubcarriers = static_cast<std::uint32_t>(numSubcarriers);
  record.numReferences = numRows;
  record.numOutliers = numRows - rows.count();
  const std::vector<Complex> response = keepTones(samples, indices, record);
  if (response.size() < 2) {
    refuse("references: of ", numSubcarriers, " tones only ", response.size(), " can be used");
  }
  describe(response, record);
  record.delay_s = delayOf(response, record.tones, subcarrierSpacing);
  Calibration calibration;
  calibration.record_ = std::make_shared<const CalibrationRecord>(std::move(record));
  return calibration;
}

bool Calibration::empty() const { return record_->numSubcarriers == 0; }
double Calibration::subcarrierSpacing() const { return record_->subcarrierSpacing; }
std::uint32_t Calibration::numSubcarriers() const { return record_->numSubcarriers; }
const std::vector<int>& Calibration::tones() const { return record_->tones; }
const std::vector<std::size_t>& Calibration::positions() const { return record_->positions; }
const std::vector<std::complex<double>>& Calibration::corrections() const {
  return record_->corrections;
}
const std::vector<double>& Calibration::weights() const { return record_->weights; }
const std::vector<int>& Calibration::missingTones() const { return record_->missingTones; }
double Calibration::delay_s() const { return record_->delay_s; }
std::uint64_t Calibration::numReferences() const { return record_->numReferences; }
std::uint64_t Calibration::numOutliers() const { return record_->numOutliers; }

void Calibration::save(std::ostream& out) const { writeCalibration(*record_, out); }

Calibration Calibration::load(std::istream& in) {
  Calibration calibration;
  calibration.record_ = std::make_shared<const CalibrationRecord>(readCalibration(in));
  return calibration;
}

}  // namespace flightpath
