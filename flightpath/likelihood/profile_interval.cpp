#include "flightpath/likelihood/profile_interval.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "flightpath/likelihood/student_quantile.h"

namespace flightpath {
namespace {

// In cells. Without noise the deviation is zero, and no scale to search by.
constexpr double longestSide = 2.0;
constexpr double shortestStep = 1e-9;

/// Longer sides are those of a cost that is no parabola, or of a deviation that is next to nothing: from
/// here on each step is twice the one before it.
constexpr int evenSteps = 16;

constexpr double precision = 1e-3;  // of the side
constexpr int mostHalvings = 60;

}  // namespace

ProfileInterval::ProfileInterval(ToneSet& tones, int numRows, int mostPaths)
    : tones_(tones), trial_(tones, numRows, mostPaths) {
  adapted_.reserve(static_cast<std::size_t>(mostPaths));
}

DelayInterval ProfileInterval::find(const PathFit& fit, const SplitRows& y, int p, double deviation,
                                    double level, DelayRefinement& refinement) {
  const double degrees = 2.0 * fit.degreesLeft();
  const double q = studentQuantile(level, degrees);
  const double limit = fit.residualEnergy() * (1.0 + q * q / degrees);
  const double f = fit.frequencies()[static_cast<std::size_t>(p)];
  const double step = std::max(q * deviation, shortestStep * tones_.cell());
  const double below = end(fit, y, {p, -1.0, limit}, step, refinement);
  const double above = end(fit, y, {p, 1.0, limit}, step, refinement);
  return {f - below, f + above};
}

/// How far the side reaches: steps outwards until the limit is passed, then halves.
double ProfileInterval::end(const PathFit& fit, const SplitRows& y, const Side& side, double step,
                            DelayRefinement& refinement) {
  const double f = fit.frequencies()[static_cast<std::size_t>(side.path)];
  const double longest = std::min(0.5, longestSide * tones_.cell());
  const auto isInside = [&](double distance) {
    if (!(costAt(y, side.path, f + side.direction * distance, refinement) <= side.limit)) {
      return false;
    }
    adapted_.assign(trial_.frequencies().begin(), trial_.frequencies().end());
    return true;
  };
  adapted_.assign(fit.frequencies().begin(), fit.frequencies().end());
  double inside = 0.0;
  double outside = std::min(step, longest);
  double increment = 0.5 * step;
  for (int steps = 1; isInside(outside); ++steps) {
    if (outside == longest) {
      return longest;
    }
    inside = outside;
    outside = std::min(outside + increment, longest);
    increment *= steps < evenSteps ? 1.0 : 2.0;
  }
  for (int i = 0; i < mostHalvings && outside - inside > precision * outside; ++i) {
    const double middle = 0.5 * (inside + outside);
    (isInside(middle) ? inside : outside) = middle;
  }
  return outside;
}

/// The least cost with the path held there, from where the other paths were when it was inside last: beyond
/// the limit they may end in another minimum, from which they would not come back. Infinite where it meets
/// one of them.
double ProfileInterval::costAt(const SplitRows& y, int p, double f, DelayRefinement& refinement) {
  trial_.setFrequencies(adapted_);
  trial_.changeFrequency(p, f);
  const bool isSolved = refinement.refine(trial_, y, {0.0, p});
  return isSolved ? trial_.residualEnergy() : std::numeric_limits<double>::infinity();
}

}  // namespace flightpath
