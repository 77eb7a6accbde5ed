#include "flightpath/ranging/detail/music_paths.h"

#include <cmath>
#include <stdexcept>

#include "flightpath/api/detail/distance.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/ranging/detail/formed_signals.h"
#include "flightpath/ranging/detail/long_signal_space.h"
#include "flightpath/rules/default_settings.h"
#include "flightpath/rules/one_path_route.h"
#include "flightpath/rules/phase_slope.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/runtime/detail/complex_math.h"

namespace flightpath {
namespace {

bool isLong(int N, const MusicPaths::Settings& settings) { return N >= settings.longFrom; }

/// Where more than a quarter of the eigenvectors are forced, solving all of the matrix takes no
/// longer.
std::unique_ptr<Signals> makeSignals(int N, const MusicPaths::Settings& settings) {
  const int L = subvectorLength(N);
  const int forced = settings.numPaths.value_or(0);
  if (isLong(N, settings) && forced <= L / 4) {
    return std::make_unique<LongSignalSpace>(N, L, settings.numRows, forced);
  }
  return std::make_unique<FormedSignals>(N, L, settings.numRows);
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

MusicPaths::MusicPaths(int N, double spacing_Hz, const Settings& settings)
    : settings_(settings),
      signals_(makeSignals(N, settings)),
      search_(subvectorLength(N), defaultResolutions(N, spacing_Hz),
              isLong(N, settings) ? Autocorrelation::ByTransforms : Autocorrelation::Direct),
      re_(static_cast<std::size_t>(subvectorLength(N))),
      im_(re_.size()),
      steps_(static_cast<std::size_t>(N) - 1) {}

EstimateInfo MusicPaths::find(const SampleBlock& samples) {
  paths_.clear();
  if (closedFormIsForced()) {
    return answerInClosedForm(samples);
  }
  const int numSolved = solveSignals(samples);
  const int numSignals = settings_.numPaths.value_or(numSolved);
  if (takesClosedForm(static_cast<float>(numSignals), settings_.phaseSlopeForOnePath)) {
    return answerInClosedForm(samples);
  }
  return search(numSolved, numSignals);
}

/// Then the covariance need not be looked at.
bool MusicPaths::closedFormIsForced() const {
  return settings_.numPaths &&
         takesClosedForm(static_cast<float>(*settings_.numPaths), settings_.phaseSlopeForOnePath);
}

int MusicPaths::solveSignals(const SampleBlock& samples) {
  if (!settings_.numPaths) {
    return signals_->count(samples);
  }
  return signals_->take(samples, *settings_.numPaths);
}

/// steps_ := the products of neighbouring samples, summed over the rows, in the closed form's
/// single precision.
void MusicPaths::sumPhaseSteps(const SampleBlock& samples) {
  for (int row = 0; row < samples.numRows(); ++row) {
    const auto sample = [re = samples.re(row), im = samples.im(row)](std::size_t k) -> creal32_T {
      return {static_cast<float>(re[k]), static_cast<float>(im[k])};
    };
    for (std::size_t k = 0; k < steps_.size(); ++k) {
      const creal32_T step = timesConjugate(sample(k + 1), sample(k));
      steps_[k] = row == 0 ? step : add(steps_[k], step);
    }
  }
}

EstimateInfo MusicPaths::answerInClosedForm(const SampleBlock& samples) {
  sumPhaseSteps(samples);
  paths_.push_back({phaseSlopeFrequency(steps_, angles_), 1.0F});
  return {1, Outcome::Found};
}

void MusicPaths::handSignalsToSearch(int numSolved) {
  search_.clear();
  for (int k = 0; k < numSolved && signals_->value(k) > 0.0; ++k) {
    signals_->eigenvector(k, re_, im_);
    search_.add(re_, im_);
  }
}

EstimateInfo MusicPaths::search(int numSolved, int numSignals) {
  if (numSolved == 0) {
    return {numSignals, Outcome::NoSignal};
  }
  handSignalsToSearch(numSolved);
  search_.search(numSignals, paths_);
  return {numSignals, paths_.empty() ? Outcome::NothingAboveThreshold : Outcome::Found};
}

}  // namespace flightpath
