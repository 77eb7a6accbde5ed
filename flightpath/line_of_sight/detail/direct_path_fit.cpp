#include "flightpath/line_of_sight/detail/direct_path_fit.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/likelihood/periodogram_structure.h"
#include "flightpath/ranging/detail/distance_scale.h"

namespace flightpath {
namespace {

double decibels(double power) { return 10.0 * std::log10(power); }

bool isBounded(const RangingOptions& options) {
  return options.EarliestDistance || options.LatestDistance;
}

/// In periods.
DelayWindow windowOf(const RangingOptions& options, double range_m) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  return delayWindow(options.EarliestDistance.value_or(-infinity) / range_m,
                     options.LatestDistance.value_or(infinity) / range_m);
}

std::size_t residualTransformLength(const ToneSet& tones) {
  return std::max<std::size_t>(32, std::bit_ceil(4 * static_cast<std::size_t>(tones.extent())));
}

}  // namespace

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
      transform_(residualTransformLength(tones)),
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
  const auto isZero = [](double part) { return part == 0.0; };
  if (std::ranges::all_of(samples_.re(), isZero) && std::ranges::all_of(samples_.im(), isZero)) {
    return direct;
  }
  whiten();
  const std::span coarse = coarse_.find(whitened_);
  posterior_.take(samples_.re(), samples_.im(), coarse_.highest());
  density_.sample(coarse);
  const double logNoise = posterior_.logNoise() + std::log(window_.width());
  return logNoise > density_.logAll() ? direct : report();
}

void DirectPathFit::whiten() {
  for (int row = 0; row < whitened_.count; ++row) {
    const SplitTarget z = whitened_.target(row);
    for (int k = 0; k < whitened_.length; ++k) {
      const auto tone = static_cast<std::size_t>(k);
      const double root = tones_.rootsOfWeights()[tone];
      z.re[k] = root * samples_.re(row)[tone];
      z.im[k] = root * samples_.im(row)[tone];
    }
  }
}

DirectPath DirectPathFit::report() {
  DirectPath direct;
  direct.Result = Outcome::Found;
  direct.Distance_m = density_.mean() * range_m_;
  direct.Delay_s = direct.Distance_m / exactSpeedOfLight_mps;
  direct.Deviation_m = density_.deviation() * range_m_;
  direct.Lower_m = density_.quantile(0.5 - 0.5 * intervalLevel_) * range_m_;
  direct.Upper_m = density_.quantile(0.5 + 0.5 * intervalLevel_) * range_m_;
  direct.Probability = std::exp(density_.logDirect() - density_.logAll());
  reportTail(direct);
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
      transform_.in()[at] = {static_cast<float>(v.re[k]), static_cast<float>(v.im[k])};
    }
    transform_.run();
    for (std::size_t i = 0; i < powers_.size(); ++i) {
      const creal32_T z = transform_.out()[i];
      powers_[i] += z.re * z.re + z.im * z.im;
    }
  }
  return structureOf(powers_, samples_.numRows(), work_);
}

}  // namespace flightpath
