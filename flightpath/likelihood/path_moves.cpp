#include "flightpath/likelihood/path_moves.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace flightpath {
namespace {

// In cells.
constexpr double crowded = 1.2;     // paths nearer than this disturb each other's minima
constexpr double splitReach = 1.5;  // from the new peak to a path that may be two
constexpr double splitDistance = 0.25;
constexpr double sameStart = 0.05;

/// Among more paths than this, each of which may have to be tried, other minima are not looked for.
constexpr int mostToRearrange = 8;

/// Of the noise power: what a minimum must be lower by to be another one.
constexpr double leastGain = 1e-3;

}  // namespace

PathMoves::PathMoves(ToneSet& tones, int numRows, int mostPaths, const DelayWindow& window)
    : tones_(tones),
      mostPaths_(mostPaths),
      window_(window),
      peaks_(tones, numRows, mostPaths, window),
      refinement_(tones, numRows, mostPaths, window),
      current_(tones, numRows, mostPaths),
      base_(tones, numRows, mostPaths),
      best_(tones, numRows, mostPaths) {
  kept_.reserve(static_cast<std::size_t>(mostPaths));
}

void PathMoves::begin(const SplitRows& y, std::span<const double> start) {
  samples_ = &y;
  isSearched_ = false;
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

std::span<const ResidualPeaks::Peak> PathMoves::peaks() {
  if (!isSearched_) {
    found_ = peaks_.find(current_);
    isSearched_ = true;
  }
  return found_;
}

double PathMoves::promisedFall() { return peaks().empty() ? 0.0 : peaks().front().fall; }

double PathMoves::structure() {
  peaks();
  return peaks_.structure();
}

bool PathMoves::add() {
  if (current_.numPaths() == mostPaths_ || peaks().empty()) {
    return false;
  }
  startTrials();
  tryPeaks();
  if (!haveBest_ || (base_.numPaths() <= mostToRearrange && isCrowded(best_))) {
    trySplits(found_.front().frequency);
  }
  // A path more costs more only where the fit is exhausted numerically.
  return takeBest(base_.residualEnergy());
}

void PathMoves::undo() {
  std::swap(current_, base_);
  isSearched_ = false;
}

void PathMoves::tryPeaks() {
  for (const ResidualPeaks::Peak& peak : found_) {
    current_.setFrequencies(base_.frequencies());
    current_.addFrequency(peak.frequency);
    consider();
  }
}

void PathMoves::trySplits(double near) {
  for (int p = 0; p < base_.numPaths(); ++p) {
    const double f = base_.frequencies()[static_cast<std::size_t>(p)];
    if (cyclicDistance(f, near) < splitReach * tones_.cell()) {
      current_.setFrequencies(base_.frequencies());
      current_.changeFrequency(p, window_.nearest(f - splitDistance * tones_.cell()));
      current_.addFrequency(window_.nearest(f + splitDistance * tones_.cell()));
      consider();
    }
  }
}

/// From here on the current fit is the base of trials, of which `consider` keeps the best.
void PathMoves::startTrials() {
  std::swap(base_, current_);
  haveBest_ = false;
}

void PathMoves::consider() {
  if (refinement_.refine(current_, *samples_) &&
      (!haveBest_ || current_.residualEnergy() < best_.residualEnergy())) {
    std::swap(best_, current_);
    haveBest_ = true;
  }
}

/// Ends the trials: with the best of them where it costs less than `enough`, else with the base.
bool PathMoves::takeBest(double enough) {
  const bool isTaken = haveBest_ && best_.residualEnergy() < enough;
  std::swap(current_, isTaken ? best_ : base_);
  isSearched_ = isSearched_ && !isTaken;
  return isTaken;
}

double PathMoves::worthwhile(const PathFit& fit) const {
  return fit.residualEnergy() - leastGain * fit.noisePower();
}

bool PathMoves::isCrowded(const PathFit& fit, std::size_t p) const {
  const std::span<const double> f = fit.frequencies();
  for (std::size_t q = 0; q < f.size(); ++q) {
    if (q != p && cyclicDistance(f[q], f[p]) < crowded * tones_.cell()) {
      return true;
    }
  }
  return false;
}

bool PathMoves::isCrowded(const PathFit& fit) const {
  for (std::size_t p = 0; p < fit.frequencies().size(); ++p) {
    if (isCrowded(fit, p)) {
      return true;
    }
  }
  return false;
}

bool PathMoves::isRearrangeable() const {
  return current_.numPaths() <= mostToRearrange && (hasHighSidelobes() || isCrowded(current_));
}

bool PathMoves::isSuspect(int p) const {
  return current_.numPaths() <= mostToRearrange + 1 &&
         (hasHighSidelobes() || isCrowded(current_, static_cast<std::size_t>(p)));
}

void PathMoves::remove(int p) {
  current_.removeFrequency(p);
  refinement_.refine(current_, *samples_);
  isSearched_ = false;
}

bool PathMoves::removeWithin(int p, double enough) {
  startTrials();
  current_.setFrequencies(base_.frequencies());
  current_.removeFrequency(p);
  // Far enough to decide, and to the end only where the path goes.
  const bool isRefined = refinement_.refine(current_, *samples_, {enough, {}});
  if (isRefined && current_.residualEnergy() < enough) {
    refinement_.refine(current_, *samples_);
    isSearched_ = false;
    return true;
  }
  std::swap(current_, base_);
  return false;
}

bool PathMoves::shift() {
  startTrials();
  for (int p = 0; p < base_.numPaths(); ++p) {
    const double f = base_.frequencies()[static_cast<std::size_t>(p)];
    for (const double sidelobe : peaks_.sidelobes()) {
      if (window_.contains(f + sidelobe)) {
        current_.setFrequencies(base_.frequencies());
        current_.changeFrequency(p, window_.wrap(f + sidelobe));
        consider();
      }
    }
  }
  return takeBest(worthwhile(base_));
}

bool PathMoves::exchange(LeftOut candidates) {
  const double enough = worthwhile(current_);
  keep();
  if (add()) {
    tryWithoutOne(candidates);
    if (takeBest(enough)) {
      return true;
    }
  }
  restore();
  return false;
}

void PathMoves::tryWithoutOne(LeftOut candidates) {
  startTrials();
  const int weakest = base_.weakest();
  for (int p = 0; p < base_.numPaths(); ++p) {
    if (candidates == LeftOut::Each || p == weakest) {
      current_.setFrequencies(base_.frequencies());
      current_.removeFrequency(p);
      consider();
    }
  }
}

void PathMoves::keep() {
  kept_.assign(current_.frequencies().begin(), current_.frequencies().end());
}

void PathMoves::restore() {
  current_.setFrequencies(kept_);
  current_.solve(*samples_);
  isSearched_ = false;
}

}  // namespace flightpath
