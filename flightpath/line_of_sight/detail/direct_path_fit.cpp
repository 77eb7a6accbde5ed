#include "flightpath/line_of_sight/detail/direct_path_fit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <stdexcept>

#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/likelihood/periodogram_structure.h"
#include "flightpath/line_of_sight/detail/direct_path_quality.h"
#include "flightpath/ranging/detail/distance_scale.h"
#include "flightpath/ranging/detail/row_samples.h"
#include "flightpath/spectrum/detail/decibels.h"

namespace flightpath {
namespace {

bool isBounded(const RangingOptions& options) {
  return options.EarliestDistance || options.LatestDistance;
}

/// In periods: farther from zero, rounding leaves too few delays within the narrowest window.
constexpr double farthestWindow = 65536.0;
constexpr double narrowestWindow = 1e-9;

/// The factors to size 1 from which on samples are tiny, and are nothing.
constexpr double tiny = 0x1p20;
constexpr double nothing = 0x1p400;

bool isZero(std::span<const double> parts) {
  return std::ranges::all_of(parts, [](double part) { return part == 0.0; });
}

}  // namespace

DelayWindow windowOf(const RangingOptions& options, double range_m) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const DelayWindow window = delayWindow(options.EarliestDistance.value_or(-infinity) / range_m,
                                         options.LatestDistance.value_or(infinity) / range_m);
  if (window.width() < narrowestWindow) {
    throw std::invalid_argument("EarliestDistance and LatestDistance enclose nothing");
  }
  if (std::max(std::fabs(window.first()), std::fabs(window.last())) > farthestWindow) {
    throw std::invalid_argument(
        "EarliestDistance and LatestDistance lie more than 65536 ranges from zero");
  }
  return window;
}

DirectPathFit::DirectPathFit(std::uint32_t numSubcarriers, const ToneSet& tones,
                             std::shared_ptr<const TailGrid> grid, const RangingOptions& options,
                             bool acceptPhaseOnly)
    : tones_(tones),
      grid_(std::move(grid)),
      travel_(travelPerDistance(options)),
      range_m_(distancePerPeriod(options.SubcarrierSpacing * tones.stride(), options)),
      intervalLevel_(*options.IntervalLevel),
      acceptPhaseOnly_(acceptPhaseOnly),
      window_(windowOf(options, range_m_)),
      samples_(static_cast<int>(numSubcarriers), static_cast<int>(options.SnapshotsPerEstimate),
               options.Calibration),
      whitened_(samples_.numRows(), tones.count()),
      coarse_(tones_, *grid_, samples_.numRows(), window_),
      posterior_(tones_, *grid_, samples_.numRows()),
      density_(posterior_, isBounded(options) ? std::optional(window_) : std::nullopt,
               coarse_.step()),
      transform_(tones.transformLength()),
      residual_(1, tones.count()),
      powers_(transform_.size()),
      work_(transform_.size()) {}

DirectPath DirectPathFit::estimate(const CsiRows& rows, std::size_t firstRow) {
  DirectPath direct;
  if (!samples_.take(rows, firstRow)) {
    direct.Result = Outcome::BadSamples;
    return direct;
  }
  if (samples_.isPhaseOnly() && !acceptPhaseOnly_) {
    direct.Result = Outcome::PhaseOnly;
    return direct;
  }
  if (!whiten()) {
    return direct;
  }
  const std::span coarse = coarse_.find(whitened_);
  posterior_.take(samples_.re(), samples_.im(), coarse_.highest());
  density_.sample(coarse);
  const double logNoise = posterior_.logNoise() + std::log(window_.width());
  return logNoise > density_.logAll() ? direct : report();
}

/// In a unit in which single precision holds their powers: subnormal samples, and those of tones of next
/// to no weight, come out tiny. False: there is nothing, or too little for the squares in double.
bool DirectPathFit::whiten() {
  for (int row = 0; row < whitened_.count; ++row) {
    const SplitTarget z = whitened_.target(row);
    for (int k = 0; k < whitened_.length; ++k) {
      const auto tone = static_cast<std::size_t>(k);
      const double root = tones_.rootsOfWeights()[tone];
      z.re[k] = root * samples_.re(row)[tone];
      z.im[k] = root * samples_.im(row)[tone];
    }
  }
  const double factor = powerOfTwoScale(whitened_.re, whitened_.im);
  unit_ = factor > tiny ? factor : 1.0;
  multiplyBy(unit_, whitened_.re, whitened_.im);
  return factor < nothing && !(isZero(whitened_.re) && isZero(whitened_.im));
}

DirectPath DirectPathFit::report() {
  DirectPath direct;
  direct.Result = Outcome::Found;
  direct.Distance_m = density_.mean() * range_m_;
  direct.Delay_s = direct.Distance_m / exactSpeedOfLight_mps;
  direct.Deviation_m = density_.deviation() * range_m_;
  direct.Lower_m = density_.quantile(0.5 - 0.5 * intervalLevel_) * range_m_;
  direct.Upper_m = density_.quantile(0.5 + 0.5 * intervalLevel_) * range_m_;
  // Both integrals are of interpolated points: the part may come out above the whole.
  direct.Probability = std::min(1.0, std::exp(density_.logDirect() - density_.logAll()));
  reportTail(direct);
  direct.Quality = directPathQuality(direct, samples_.isPhaseOnly(), tones_.cell() * range_m_);
  return direct;
}

/// Means over the tails at the mode, as likely as they are there.
void DirectPathFit::reportTail(DirectPath& direct) {
  posterior_.at(density_.mode());
  const std::span terms = posterior_.terms();
  const auto best = std::ranges::max_element(terms, {}, &DelayPosterior::Term::logDirect);
  double sum = 0.0;
  double tails = 0.0;
  double factor_dB = 0.0;
  double decay = 0.0;
  double noise = 0.0;
  for (std::size_t h = 0; h < terms.size(); ++h) {
    const double weight = std::exp(terms[h].logDirect - best->logDirect);
    if (weight == 0.0) {
      continue;
    }
    const TailHypothesis& hypothesis = grid_->hypotheses()[h];
    const double noiseOfIt = terms[h].energy / (tones_.count() * samples_.numRows());
    sum += weight;
    noise += weight * noiseOfIt;
    if (h > 0) {
      tails += weight;
      factor_dB += weight * decibels(terms[h].power / (hypothesis.strength * noiseOfIt));
      decay += weight * grid_->models()[static_cast<std::size_t>(hypothesis.model)].decay;
    }
  }
  const double scale = samples_.scale();
  direct.NoisePower = noise / sum / tones_.weightScale() / scale / scale;
  direct.RicianFactor_dB = factor_dB / tails;
  direct.Decay_s = decay / tails * range_m_ * travel_ / exactSpeedOfLight_mps;
  direct.ProfileMisfit = misfit(static_cast<std::size_t>(best - terms.begin()));
}

double DirectPathFit::misfit(std::size_t hypothesis) {
  std::ranges::fill(powers_, 0.0F);
  for (int row = 0; row < samples_.numRows(); ++row) {
    const SplitTarget v = residual_.target(0);
    posterior_.whitenedResidual(hypothesis, row, v);
    for (int k = 0; k < tones_.count(); ++k) {
      const auto at = static_cast<std::size_t>(tones_.positions()[static_cast<std::size_t>(k)]);
      transform_.in()[at] = {static_cast<float>(unit_ * v.re[k]),
                             static_cast<float>(unit_ * v.im[k])};
    }
    transform_.run();
    transform_.addPowers(powers_);
  }
  const bool isExact = std::ranges::max(powers_) == 0.0F;
  return isExact ? 1.0 : structureOf(powers_, samples_.numRows(), work_);
}

}  // namespace flightpath
