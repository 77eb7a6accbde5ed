#include "flightpath/ranging/detail/measurement_ranger.h"

#include <cmath>
#include <limits>

#include "flightpath/api/detail/distance.h"
#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/ranging/detail/distance_scale.h"
#include "flightpath/ranging/detail/first_path_quality.h"
#include "flightpath/spectrum/detail/decibels.h"

namespace flightpath {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::optional<int> forcedCount(const RangingOptions& options) {
  if (!options.NumPaths) {
    return {};
  }
  return static_cast<int>(*options.NumPaths);
}

/// The normalised frequency of a distance that the signal travels once.
std::optional<double> normalised(std::optional<double> distance_m, double spacing_Hz) {
  if (!distance_m) {
    return {};
  }
  return *distance_m * spacing_Hz / exactSpeedOfLight_mps;
}

LikelihoodSettings likelihoodSettings(const RangingOptions& options) {
  LikelihoodSettings how;
  how.falseAlarm = options.FalseAlarm;
  how.modelError = options.ModelError ? std::pow(10.0, *options.ModelError / 10.0) : 0.0;
  how.numPaths = forcedCount(options);
  const double spacing_Hz = options.SubcarrierSpacing * travelPerDistance(options);
  how.earliest = normalised(options.EarliestDistance, spacing_Hz);
  how.latest = normalised(options.LatestDistance, spacing_Hz);
  how.snapshots = static_cast<int>(options.SnapshotsPerEstimate);
  return how;
}

bool isMusic(const RangingOptions& options) { return options.Method == RangingMethod::Music; }

bool usesMusic(const RangingOptions& options, const ToneLayout& layout) {
  return isMusic(options) || (layout.isEven && options.SnapshotsPerEstimate == 1);
}

Path pathAt(double distance_m, float peak_dB) {
  Path path;
  path.Distance_m = distance_m;
  path.Delay_s = distance_m / exactSpeedOfLight_mps;
  path.Peak_dB = peak_dB;
  return path;
}

}  // namespace

MeasurementRanger::MeasurementRanger(std::uint32_t numSubcarriers, const RangingOptions& options,
                                     const MeasuredTones& tones)
    : spacing_Hz_(options.SubcarrierSpacing),
      stride_(layoutOf(tones).stride),
      travel_(travelPerDistance(options)),
      range_m_(distancePerPeriod(spacing_Hz_, options)),
      cell_m_(resolutionCell_m(layoutOf(tones), options)),
      intervalLevel_(options.IntervalLevel),
      samples_(static_cast<int>(numSubcarriers), static_cast<int>(options.SnapshotsPerEstimate),
               options.Calibration) {
  if (usesMusic(options, layoutOf(tones))) {
    music_ =
        std::make_unique<MusicPaths>(static_cast<int>(tones.indices.size()), spacing_Hz_ * stride_,
                                     MusicPaths::Settings{samples_.numRows(), forcedCount(options),
                                                          options.PhaseSlopeForOnePath});
  }
  if (!isMusic(options)) {
    fit_ =
        std::make_unique<LikelihoodFit>(tones.indices, tones.weights, likelihoodSettings(options));
  }
}

EstimateInfo MeasurementRanger::estimate(const CsiRows& rows, std::size_t firstRow,
                                         Findings& found) {
  if (!samples_.take(rows, firstRow)) {
    return {0, Outcome::BadSamples};
  }
  const std::size_t numBefore = found.paths.size();
  EstimateInfo info = fit_ == nullptr ? reportMusic(found) : reportLikelihood(found);
  info.PhaseOnly = samples_.isPhaseOnly();
  if (fit_ != nullptr && found.paths.size() > numBefore) {
    info.Quality = firstPathQuality(found.paths[numBefore], info, cell_m_);
  }
  return info;
}

EstimateInfo MeasurementRanger::reportMusic(Findings& found) {
  const EstimateInfo info = music_->find(samples_);
  const auto spacing_Hz = static_cast<float>(spacing_Hz_ * stride_);
  for (const FoundPath& path : music_->paths()) {
    found.paths.push_back(pathAt(toDistance(path.frequency, spacing_Hz) / travel_, path.peakValue));
    found.amplitudes.insert(found.amplitudes.end(), static_cast<std::size_t>(samples_.numRows()),
                            {notANumber, notANumber});
  }
  return info;
}

void MeasurementRanger::startFromMusic() {
  start_.clear();
  if (music_ == nullptr) {
    return;
  }
  music_->find(samples_);
  for (const FoundPath& path : music_->paths()) {
    start_.push_back(static_cast<double>(path.frequency) / stride_);
  }
}

EstimateInfo MeasurementRanger::reportLikelihood(Findings& found) {
  startFromMusic();
  fit_->fit(samples_.re(), samples_.im(), start_);
  for (std::size_t p = 0; p < fit_->paths().size(); ++p) {
    found.paths.push_back(pathOfFit(p));
    for (int row = 0; row < samples_.numRows(); ++row) {
      found.amplitudes.push_back(fit_->amplitude(static_cast<int>(p), row) / samples_.scale());
    }
  }
  reportCovariances(found);
  const FitReport& report = fit_->report();
  const auto count = static_cast<std::int32_t>(fit_->paths().size());
  return {count,
          count == 0 ? Outcome::NoSignal : Outcome::Found,
          report.noisePower / samples_.scale() / samples_.scale(),
          report.structure,
          report.weakest,
          report.next};
}

Path MeasurementRanger::pathOfFit(std::size_t p) {
  const LikelyPath& found = fit_->paths()[p];
  // Power and scale each within the range of a double, though their quotient may leave it.
  const double power_dB = decibels(found.power) - 2.0 * decibels(samples_.scale());
  Path path = pathAt(found.frequency * range_m_, static_cast<float>(power_dB));
  path.Deviation_m = found.deviation * range_m_;
  path.SNR_dB = decibels(found.power / fit_->report().noisePower);
  if (intervalLevel_) {
    const DelayInterval interval = fit_->interval(static_cast<int>(p), *intervalLevel_);
    path.Lower_m = interval.earliest * range_m_;
    path.Upper_m = interval.latest * range_m_;
  }
  return path;
}

void MeasurementRanger::reportCovariances(Findings& found) const {
  const int count = static_cast<int>(fit_->paths().size());
  for (int p = 0; p < count; ++p) {
    for (int q = 0; q < count; ++q) {
      found.covariances_m2.push_back(fit_->covariance(p, q) * range_m_ * range_m_);
    }
  }
}

}  // namespace flightpath
