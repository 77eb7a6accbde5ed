#include "flightpath/ranging/detail/measurement_ranger.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "flightpath/api/detail/distance.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/ranging/detail/real_covariance.h"
#include "flightpath/ranging/detail/real_gram.h"
#include "flightpath/rules/default_settings.h"
#include "flightpath/rules/one_path_route.h"
#include "flightpath/rules/phase_slope.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/runtime/detail/complex_math.h"

namespace flightpath {
namespace {

/// One row's covariance has rank 2K, so its Gram matrix is smaller; that of several has rank L.
std::unique_ptr<RealForm> makeForm(int N, std::uint32_t snapshots) {
  const int L = subvectorLength(N);
  if (snapshots == 1) {
    return std::make_unique<RealGram>(N, L);
  }
  return std::make_unique<RealCovariance>(N, L);
}

}  // namespace

Resolutions defaultResolutions(int N, double spacing_Hz) {
  ToFEstimationParameters parameters;
  setDefaults(static_cast<float>(N), static_cast<float>(spacing_Hz), parameters);
  b_MUSICParameters normalised;
  parameters.getMUSICParameters(normalised);
  const float range_m = toDistance(1.0F, static_cast<float>(spacing_Hz));
  if (!std::isnormal(normalised.CoarseResolution) || !std::isnormal(normalised.FineResolution) ||
      !std::isfinite(range_m)) {
    throw std::invalid_argument("Ranger: SubcarrierSpacing leaves the range of single precision");
  }
  return {normalised.CoarseResolution, normalised.FineResolution};
}

MeasurementRanger::MeasurementRanger(int N, const RangingOptions& options)
    : options_(options),
      samples_(N, static_cast<int>(options.SnapshotsPerEstimate)),
      form_(makeForm(N, options.SnapshotsPerEstimate)),
      space_(form_->order(), form_->L(), samples_.numRows()),
      search_(form_->L(), defaultResolutions(N, options.SubcarrierSpacing)),
      re_(static_cast<std::size_t>(form_->L())),
      im_(re_.size()),
      steps_(static_cast<std::size_t>(N) - 1) {}

EstimateInfo MeasurementRanger::estimate(const CsiRows& rows, std::size_t firstRow) {
  paths_.clear();
  if (!samples_.take(rows, firstRow)) {
    return {0, Outcome::BadSamples};
  }
  if (closedFormIsForced()) {
    return reportClosedForm();
  }
  const int numSolved = solveSignals();
  const int numSignals = options_.NumPaths ? static_cast<int>(*options_.NumPaths) : numSolved;
  if (takesClosedForm(static_cast<float>(numSignals), options_.PhaseSlopeForOnePath)) {
    return reportClosedForm();
  }
  return reportSearch(numSolved, numSignals);
}

/// Then the covariance need not be looked at.
bool MeasurementRanger::closedFormIsForced() const {
  return options_.NumPaths &&
         takesClosedForm(static_cast<float>(*options_.NumPaths), options_.PhaseSlopeForOnePath);
}

int MeasurementRanger::solveSignals() {
  form_->form(samples_);
  if (!options_.NumPaths) {
    return space_.count(form_->matrix());
  }
  return space_.take(form_->matrix(), static_cast<int>(*options_.NumPaths));
}

/// steps_ := the products of neighbouring samples, summed over the rows, in the closed form's single
/// precision.
void MeasurementRanger::sumPhaseSteps() {
  for (int row = 0; row < samples_.numRows(); ++row) {
    const auto sample = [re = samples_.re(row), im = samples_.im(row)](std::size_t k) -> creal32_T {
      return {static_cast<float>(re[k]), static_cast<float>(im[k])};
    };
    for (std::size_t k = 0; k < steps_.size(); ++k) {
      const creal32_T step = timesConjugate(sample(k + 1), sample(k));
      steps_[k] = row == 0 ? step : add(steps_[k], step);
    }
  }
}

EstimateInfo MeasurementRanger::reportClosedForm() {
  sumPhaseSteps();
  paths_.push_back({phaseSlopeFrequency(steps_, angles_), 1.0F});
  return {1, Outcome::Found};
}

void MeasurementRanger::handSignalsToSearch(int numSolved) {
  search_.clear();
  for (int k = 0; k < numSolved && space_.value(k) > 0.0; ++k) {
    form_->eigenvector(space_.vector(k), space_.value(k), re_, im_);
    search_.add(re_, im_);
  }
}

EstimateInfo MeasurementRanger::reportSearch(int numSolved, int numSignals) {
  if (numSolved == 0) {
    return {numSignals, Outcome::NoSignal};
  }
  handSignalsToSearch(numSolved);
  search_.search(numSignals, paths_);
  return {numSignals, paths_.empty() ? Outcome::NothingAboveThreshold : Outcome::Found};
}

}  // namespace flightpath
