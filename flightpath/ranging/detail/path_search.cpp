#include "flightpath/ranging/detail/path_search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "flightpath/ranging/detail/path_test.h"

namespace flightpath {
namespace {

constexpr int mostFoundPaths = 24;

/// A path is tried where the fall that the residual's peak promises comes this near the threshold.
constexpr double worthTrying = 0.9;

/// A path whose removal alone, without refining the others, is this clear needs no closer look.
constexpr double clearlyNeeded = 10.0;

// In cells.
constexpr double crowded = 1.2;     // paths nearer than this disturb each other's minima
constexpr double splitReach = 1.5;  // from the new peak to a path that may be two
constexpr double splitDistance = 0.25;
constexpr double sameStart = 0.05;

/// Energy below the samples' times this is rounding, in which no path is looked for.
constexpr double roundingShare = 0x1p-52;

/// K with K (M + 1/2) < M N, so that degrees of freedom are left, and K < N.
int carriedPaths(int numTones, int numRows) {
  const double samples = double(numTones) * numRows;
  const int carried = static_cast<int>(std::ceil(samples / (numRows + 0.5))) - 1;
  return std::min(carried, numTones - 1);
}

constexpr double never = std::numeric_limits<double>::quiet_NaN();

}  // namespace

PathSearch::PathSearch(ToneSet& tones, int numRows, const DelayWindow& window, const Rules& rules)
    : tones_(tones),
      numRows_(numRows),
      mostPaths_(std::min(carriedPaths(tones.count(), numRows),
                          std::max(mostFoundPaths, rules.forcedCount.value_or(0)))),
      window_(window),
      rules_(rules),
      threshold_(pathThreshold(rules.falseAlarm,
                               std::max(1.0, window.width() * tones.independentDelays()), numRows)),
      peaks_(tones, numRows, mostPaths_, window),
      refinement_(tones, numRows, mostPaths_, window),
      current_(tones, numRows, mostPaths_),
      base_(tones, numRows, mostPaths_),
      best_(tones, numRows, mostPaths_) {}

PathFit& PathSearch::search(const SplitRows& y, std::span<const double> start) {
  samples_ = &y;
  energy_ = 0.0;
  for (int m = 0; m < y.count; ++m) {
    energy_ += energy(y.length, y.row(m));
  }
  next_ = never;
  residualIsSearched_ = false;
  begin(start);
  if (rules_.forcedCount) {
    searchForced(std::min(*rules_.forcedCount, mostPaths_));
  } else {
    searchCount();
  }
  return current_;
}

void PathSearch::begin(std::span<const double> start) {
  current_.setFrequencies({});
  for (const double f : start) {
    const bool isNew = std::ranges::none_of(current_.frequencies(), [&](double other) {
      return cyclicDistance(f, other) < sameStart * tones_.cell();
    });
    if (isNew && std::isfinite(f) && window_.contains(f) && current_.numPaths() < mostPaths_) {
      current_.addFrequency(window_.wrap(f));
    }
  }
  while (!refinement_.refine(current_, *samples_)) {
    current_.removeFrequency(current_.numPaths() - 1);
  }
}

void PathSearch::searchCount() {
  prune();
  bool grown = false;
  for (int i = 0; i < 2 * mostPaths_ && grow(threshold_); ++i) {
    grown = true;
    while (pruneWeakest()) {
    }
  }
  if (grown) {
    thin();
  }
}

void PathSearch::searchForced(int count) {
  while (current_.numPaths() > count) {
    current_.removeFrequency(weakest());
    refinement_.refine(current_, *samples_);
  }
  while (current_.numPaths() < count && grow(0.0)) {
  }
}

/// Adds a path where the test passes the threshold. False: the fit is as it was.
bool PathSearch::grow(double threshold) {
  next_ = never;
  if (current_.numPaths() == mostPaths_) {
    return false;
  }
  const std::span<const ResidualPeaks::Peak> peaks = peaks_.find(current_);
  residualIsSearched_ = true;
  if (peaks.empty() || (threshold > 0.0 && !isWorthTrying(peaks.front().fall))) {
    return false;
  }
  std::swap(base_, current_);
  haveBest_ = false;
  tryPeaks(peaks);
  if (!haveBest_ || isCrowded(best_)) {
    trySplits(peaks.front().frequency);
  }
  if (haveBest_) {
    next_ = pathStatistic(base_.residualEnergy(), best_.residualEnergy(), best_.degreesLeft(),
                          unexplained(base_));
  }
  const bool isTaken = next_ > threshold;
  std::swap(current_, isTaken ? best_ : base_);
  residualIsSearched_ = !isTaken;
  return isTaken;
}

bool PathSearch::isWorthTrying(double fall) {
  const double without = current_.residualEnergy();
  const double degrees = current_.degreesLeft() - (numRows_ + 0.5);
  next_ = pathStatistic(without, std::max(0.0, without - fall), degrees, unexplained(current_));
  return next_ > worthTrying * threshold_;
}

void PathSearch::tryPeaks(std::span<const ResidualPeaks::Peak> peaks) {
  for (const ResidualPeaks::Peak& peak : peaks) {
    current_.setFrequencies(base_.frequencies());
    current_.addFrequency(peak.frequency);
    consider();
  }
}

/// Paths near the peak, each as two.
void PathSearch::trySplits(double near) {
  for (int p = 0; p < base_.numPaths(); ++p) {
    const double f = base_.frequencies()[static_cast<std::size_t>(p)];
    if (cyclicDistance(f, near) < splitReach * tones_.cell()) {
      current_.setFrequencies(base_.frequencies());
      current_.changeFrequency(p, f - splitDistance * tones_.cell());
      current_.addFrequency(f + splitDistance * tones_.cell());
      consider();
    }
  }
}

/// Refines the candidate and keeps it if it is the best so far.
void PathSearch::consider() {
  if (refinement_.refine(current_, *samples_) &&
      (!haveBest_ || current_.residualEnergy() < best_.residualEnergy())) {
    std::swap(best_, current_);
    haveBest_ = true;
  }
}

bool PathSearch::isCrowded(const PathFit& fit, int p) const {
  const std::span<const double> f = fit.frequencies();
  const auto at = static_cast<std::size_t>(p);
  for (std::size_t q = 0; q < f.size(); ++q) {
    if (q != at && cyclicDistance(f[q], f[at]) < crowded * tones_.cell()) {
      return true;
    }
  }
  return false;
}

bool PathSearch::isCrowded(const PathFit& fit) const {
  for (int p = 0; p < fit.numPaths(); ++p) {
    if (isCrowded(fit, p)) {
      return true;
    }
  }
  return false;
}

int PathSearch::weakest() {
  int found = 0;
  double least = std::numeric_limits<double>::infinity();
  for (int p = 0; p < current_.numPaths(); ++p) {
    const double loss = current_.lossWithout(p);
    if (loss < least) {
      least = loss;
      found = p;
    }
  }
  return found;
}

/// T of the path with the other delays kept: never less than what refining them leaves.
double PathSearch::statisticWithout(int p) {
  const double with = current_.residualEnergy();
  return pathStatistic(with + current_.lossWithout(p), with, current_.degreesLeft(),
                       unexplained(current_));
}

/// Removes what the test does not need of the start. Only the weakest path gets the full test, with
/// the others refined, and only where it is not clear.
void PathSearch::prune() {
  while (current_.numPaths() > 0) {
    if (pruneWeakest()) {
      continue;
    }
    const int p = weakest();
    if (current_.numPaths() == 1 || statisticWithout(p) > clearlyNeeded * threshold_ ||
        !manageWithout(p)) {
      return;
    }
  }
}

bool PathSearch::pruneWeakest() {
  if (current_.numPaths() == 0) {
    return false;
  }
  const int p = weakest();
  if (statisticWithout(p) > threshold_) {
    return false;
  }
  current_.removeFrequency(p);
  refinement_.refine(current_, *samples_);
  residualIsSearched_ = false;
  return true;
}

/// Leaves out every path that the others, refined, do without.
void PathSearch::thin() {
  for (int p = 0; p < current_.numPaths() && current_.numPaths() > 1;) {
    const bool isSuspect = peaks_.hasHighSidelobes() || isCrowded(current_, p);
    p = isSuspect && manageWithout(p) ? 0 : p + 1;
  }
}

/// The full test of path p: removes it where it fails. False: the fit is as it was.
bool PathSearch::manageWithout(int p) {
  std::swap(base_, current_);
  current_.setFrequencies(base_.frequencies());
  current_.removeFrequency(p);
  const double enough =
      costAtThreshold(base_.residualEnergy(), base_.degreesLeft(), unexplained(base_), threshold_);
  if (refinement_.refine(current_, *samples_, {enough, {}}) && current_.residualEnergy() < enough) {
    refinement_.refine(current_, *samples_);
    residualIsSearched_ = false;
    return true;
  }
  std::swap(base_, current_);
  return false;
}

/// Energy that is no reason for a path: the model's error, and rounding.
double PathSearch::unexplained(const PathFit& fit) const {
  double strongest = 0.0;
  for (int p = 0; p < fit.numPaths(); ++p) {
    strongest = std::max(strongest, fit.meanPower(p));
  }
  return rules_.modelError * strongest * numRows_ * tones_.moment(0) + roundingShare * energy_;
}

PathSearch::Margins PathSearch::margins() {
  if (rules_.forcedCount) {
    return {never, never};
  }
  const double least = current_.numPaths() > 0 ? statisticWithout(weakest()) / threshold_ : never;
  return {least, next_ / threshold_};
}

double PathSearch::structure() {
  if (!residualIsSearched_) {
    peaks_.find(current_);
  }
  return peaks_.structure();
}

}  // namespace flightpath
