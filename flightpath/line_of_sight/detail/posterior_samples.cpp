#include "flightpath/line_of_sight/detail/posterior_samples.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

namespace flightpath {
namespace {

/// How far below the highest point, in the logarithm, the density still counts: exp(-12) of it beyond
/// would be a millionth of the whole.
constexpr double depth = 12.0;

/// The logarithm's second difference from one interval to the next up to which a cubic follows it: steps
/// of 0.6 of a normal distribution's deviation have 0.36.
constexpr double roughest = 0.4;
constexpr int pointsBetween = 4;

/// A climb ends where an interval beside the highest point is as smooth as this.
constexpr double smoothEnough = 4.0;

/// Points of a record of noise alone have no end; everything else takes some fifty.
constexpr std::size_t mostPoints = 160;

/// Intervals are not halved below this part of a coarse step: the rounding of the density shows there.
constexpr double leastInterval = 1e-6;

/// Nor below so many roundings of a frequency far from zero; a narrow window has four at least.
double narrowestInterval(const std::optional<DelayWindow>& bounds, double step) {
  constexpr double roundings = 16.0 * std::numeric_limits<double>::epsilon();
  if (!bounds) {
    return leastInterval * step;
  }
  const double farthest = std::max(std::fabs(bounds->first()), std::fabs(bounds->last()));
  return std::max(std::min(leastInterval * step, 0.25 * bounds->width()), roundings * farthest);
}

}  // namespace

PosteriorSamples::PosteriorSamples(DelayPosterior& posterior,
                                   const std::optional<DelayWindow>& bounds, double coarseStep)
    : posterior_(posterior),
      bounds_(bounds),
      step_(coarseStep),
      narrowest_(narrowestInterval(bounds, coarseStep)) {
  points_.reserve(mostPoints + 16);
  fine_.reserve(pointsBetween * (mostPoints + 16));
  densities_.reserve(pointsBetween * (mostPoints + 16));
}

/// Two points are one if an end of the window brings them closer together than halving would: the slope
/// between them would be of rounding alone.
bool PosteriorSamples::isSame(double a, double b) const {
  return std::fabs(a - b) < 0.25 * narrowest_;
}

void PosteriorSamples::insert(double frequency) {
  if (bounds_) {
    frequency = std::clamp(frequency, bounds_->first(), bounds_->last());
  }
  const auto at = std::ranges::lower_bound(points_, frequency, {}, &Point::frequency);
  const bool isUpper = at != points_.end() && isSame(at->frequency, frequency);
  const bool isLower = at != points_.begin() && isSame(std::prev(at)->frequency, frequency);
  if (!isUpper && !isLower) {
    points_.insert(at, posterior_.at(frequency));
  }
}

std::size_t PosteriorSamples::best() const {
  return static_cast<std::size_t>(std::ranges::max_element(points_, {}, &Point::logAll) -
                                  points_.begin());
}

double PosteriorSamples::width(std::size_t interval) const {
  return points_[interval + 1].frequency - points_[interval].frequency;
}

double PosteriorSamples::chord(std::size_t interval, double Point::*value) const {
  return (points_[interval + 1].*value - points_[interval].*value) / width(interval);
}

/// How rough the logarithm of the density is over an interval: the larger of its changes of slope at the
/// two ends, over the width. Intervals in the gap between two peaks are as they are.
double PosteriorSamples::needOf(std::size_t interval) const {
  const double w = width(interval);
  if (isGap(interval) || w < narrowest_) {
    return 0.0;
  }
  const auto slope = [this](std::size_t i) { return chord(i, &Point::logAll); };
  double need = 0.0;
  if (interval > 0) {
    need = std::fabs(slope(interval) - slope(interval - 1)) * w;
  }
  if (interval + 2 < points_.size()) {
    need = std::max(need, std::fabs(slope(interval + 1) - slope(interval)) * w);
  }
  return need;
}

/// Halves the intervals beside the highest point until the peak is no longer between points.
void PosteriorSamples::climb() {
  while (points_.size() < mostPoints) {
    const std::size_t top = best();
    const bool hasLower = top > 0 && needOf(top - 1) > smoothEnough;
    const bool hasUpper = top + 1 < points_.size() && needOf(top) > smoothEnough;
    if (!hasLower && !hasUpper) {
      return;
    }
    // The upper one first: what is inserted below moves the points above.
    const double at = points_[top].frequency;
    if (hasUpper) {
      insert(at + 0.5 * width(top));
    }
    if (hasLower) {
      insert(at - 0.5 * width(top - 1));
    }
  }
}

/// Halves the roughest interval that counts. False: all are smooth.
bool PosteriorSamples::splitNext() {
  const double least = points_[best()].logAll - depth;
  double most = roughest;
  std::size_t chosen = points_.size();
  for (std::size_t i = 0; i + 1 < points_.size(); ++i) {
    const double higher = std::max(points_[i].logAll, points_[i + 1].logAll);
    // In the flanks a change of slope weighs as little as what they hold.
    const double need = needOf(i) * std::exp(0.25 * (higher - least - depth));
    if (higher > least && need > most) {
      most = need;
      chosen = i;
    }
  }
  if (chosen == points_.size()) {
    return false;
  }
  insert(points_[chosen].frequency + 0.5 * width(chosen));
  return true;
}

/// Adds a point beyond one end where the density still counts there. False: it does not.
bool PosteriorSamples::extend(bool upwards) {
  const Point end = upwards ? points_.back() : points_.front();
  const bool isAtBound =
      bounds_ && isSame(end.frequency, upwards ? bounds_->last() : bounds_->first());
  const double span = points_.back().frequency - points_.front().frequency;
  if (end.logAll < points_[best()].logAll - depth || isAtBound || span > 1.0 - step_) {
    return false;
  }
  insert(end.frequency + (upwards ? step_ : -step_));
  return true;
}

void PosteriorSamples::spread() {
  bool goOn = true;
  while (goOn && points_.size() < mostPoints) {
    goOn = splitNext();
    goOn |= extend(false);
    goOn |= extend(true);
  }
}

void PosteriorSamples::sample(std::span<const double> coarse) {
  points_.clear();
  for (const double frequency : coarse) {
    for (int i = -1; i <= 1; ++i) {
      insert(frequency + i * step_);
    }
  }
  climb();
  posterior_.at(points_[best()].frequency);
  posterior_.leaveOutHopeless();
  spread();
  integrate();
}

bool PosteriorSamples::isGap(std::size_t interval) const { return width(interval) > 1.5 * step_; }

/// The derivative at a point: that of the parabola through it and its neighbours, or of the chord where
/// it has but one.
double PosteriorSamples::tangent(std::size_t point, double Point::*value) const {
  const bool hasLower = point > 0 && !isGap(point - 1);
  const bool hasUpper = point + 1 < points_.size() && !isGap(point);
  if (hasLower && hasUpper) {
    const double below = width(point - 1);
    const double above = width(point);
    return (chord(point - 1, value) * above + chord(point, value) * below) / (below + above);
  }
  return hasLower ? chord(point - 1, value) : hasUpper ? chord(point, value) : 0.0;
}

/// Hermite's cubic through two points, at a share of their distance.
double PosteriorSamples::interpolate(std::size_t interval, double share,
                                     double Point::*value) const {
  const double w = width(interval);
  const double rest = 1.0 - share;
  const double third = w / 3.0;
  const double lowerHandle = points_[interval].*value + third * tangent(interval, value);
  const double upperHandle = points_[interval + 1].*value - third * tangent(interval + 1, value);
  return rest * rest * rest * points_[interval].*value +
         3.0 * share * rest * (rest * lowerHandle + share * upperHandle) +
         share * share * share * points_[interval + 1].*value;
}

/// The points, and between them as many more as the trapezoidal rule wants: logarithms are smooth, and
/// interpolating them costs nothing beside another point of the posterior.
void PosteriorSamples::refine() {
  fine_.clear();
  for (std::size_t i = 0; i < points_.size(); ++i) {
    fine_.push_back(points_[i]);
    for (int k = 1; k < pointsBetween && i + 1 < points_.size() && !isGap(i); ++k) {
      const double share = static_cast<double>(k) / pointsBetween;
      fine_.push_back({points_[i].frequency + share * width(i),
                       interpolate(i, share, &Point::logDirect),
                       interpolate(i, share, &Point::logAll)});
    }
  }
}

/// From a fine point to the next; nothing lies in the gap between two peaks but their ends.
double PosteriorSamples::fineWidth(std::size_t i) const {
  return std::min(fine_[i + 1].frequency - fine_[i].frequency, step_);
}

/// By the trapezoidal rule.
double PosteriorSamples::logIntegral(double Point::*value) const {
  const double highest = std::ranges::max(fine_, {}, value).*value;
  double sum = 0.0;
  for (std::size_t i = 0; i + 1 < fine_.size(); ++i) {
    sum += 0.5 * fineWidth(i) *
           (std::exp(fine_[i].*value - highest) + std::exp(fine_[i + 1].*value - highest));
  }
  return highest + std::log(sum);
}

void PosteriorSamples::integrate() {
  refine();
  logDirect_ = logIntegral(&Point::logDirect);
  logAll_ = logIntegral(&Point::logAll);
  densities_.clear();
  for (const Point& point : fine_) {
    densities_.push_back(std::exp(point.logDirect - logDirect_));
  }
  const double origin = mode();
  double first = 0.0;
  double second = 0.0;
  for (std::size_t i = 0; i + 1 < fine_.size(); ++i) {
    const double w = 0.5 * fineWidth(i);
    for (const std::size_t k : {i, i + 1}) {
      const double d = fine_[k].frequency - origin;
      first += w * densities_[k] * d;
      second += w * densities_[k] * d * d;
    }
  }
  mean_ = origin + first;
  deviation_ = std::sqrt(std::max(0.0, second - first * first));
}

double PosteriorSamples::mode() const {
  return std::ranges::max(points_, {}, &Point::logDirect).frequency;
}

/// The density is linear between fine points: (b - a) x^2 / (2 w) + a x = rest, x from the lower one.
double PosteriorSamples::quantile(double probability) const {
  double rest = probability;
  for (std::size_t i = 0; i + 1 < fine_.size(); ++i) {
    const double w = fineWidth(i);
    const double a = densities_[i];
    const double b = densities_[i + 1];
    const double inside = 0.5 * w * (a + b);
    if (rest <= inside) {
      const double root = std::sqrt(std::max(0.0, a * a + 2.0 * rest * (b - a) / w));
      return fine_[i].frequency + (a + root > 0.0 ? 2.0 * rest / (a + root) : 0.0);
    }
    rest -= inside;
  }
  return fine_.back().frequency;
}

}  // namespace flightpath
