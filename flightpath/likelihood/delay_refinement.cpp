#include "flightpath/likelihood/delay_refinement.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace flightpath {
namespace {

constexpr double longestStep = 0.3;     // cells
constexpr double longestJourney = 1.0;  // cells
constexpr double leastFall = 1e-7;      // of the noise power
constexpr int mostSteps = 40;
constexpr int mostAttempts = 8;

// Damping, relative to the diagonal: nothing until a step was rejected.
constexpr double firstDamping = 1e-2;
constexpr double leastDamping = 1e-6;
constexpr double dampingFactor = 10.0;

/// Delays closer than this are the same to the rounding of a steering vector.
constexpr double sameFrequency = 1e-14;

}  // namespace

DelayRefinement::DelayRefinement(ToneSet& tones, int numRows, int mostPaths,
                                 const DelayWindow& window)
    : trial_(tones, numRows, mostPaths),
      window_(window),
      cell_(tones.cell()),
      equations_(mostPaths),
      lowest_(static_cast<std::size_t>(mostPaths)),
      highest_(lowest_.size()),
      curvature_(lowest_.size() * lowest_.size()),
      descent_(lowest_.size()),
      step_(lowest_.size()) {}

bool DelayRefinement::refine(PathFit& fit, const SplitRows& y, const Goal& goal) {
  setLimits(fit.frequencies(), goal.held);
  if (!fit.solve(y)) {
    return false;
  }
  damping_ = 0.0;
  for (int i = 0; i < mostSteps && descend(fit, y, goal.enough); ++i) {
  }
  return true;
}

void DelayRefinement::setLimits(std::span<const double> start, std::optional<int> held) {
  for (std::size_t p = 0; p < start.size(); ++p) {
    const bool moves = held != static_cast<int>(p);
    const double reach = moves ? longestJourney * cell_ : 0.0;
    lowest_[p] = start[p] - reach;
    highest_[p] = start[p] + reach;
    if (moves && !window_.isWholePeriod()) {
      lowest_[p] = std::max(lowest_[p], window_.first());
      highest_[p] = std::min(highest_[p], window_.last());
    }
  }
}

/// One step that lowers the cost. False: there is none, or none worth taking.
bool DelayRefinement::descend(PathFit& fit, const SplitRows& y, double enough) {
  fit.differentiate();
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    if (const std::optional<double> fall = propose(fit)) {
      if (*fall < leastFall * fit.noisePower() || fit.residualEnergy() < enough) {
        return false;
      }
      if (!moveTrial(fit)) {
        return false;
      }
      if (trial_.solve(y) && trial_.residualEnergy() < fit.residualEnergy()) {
        std::swap(fit, trial_);
        damping_ = damping_ > leastDamping ? damping_ / dampingFactor : 0.0;
        return true;
      }
    }
    damping_ = std::max(dampingFactor * damping_, firstDamping);
  }
  return false;
}

/// The step, and the fall of the cost that it predicts; empty where H is singular.
std::optional<double> DelayRefinement::propose(const PathFit& fit) {
  std::ranges::copy(fit.curvature(), curvature_.begin());
  std::ranges::copy(fit.descent(), descent_.begin());
  const int n = fit.numPaths();
  if (!solveStep(n) || (holdAtLimits(fit) && !solveStep(n))) {
    return {};
  }
  double fall = 0.0;
  for (int p = 0; p < n; ++p) {
    fall += step_[static_cast<std::size_t>(p)] * descent_[static_cast<std::size_t>(p)];
  }
  return fall;
}

bool DelayRefinement::solveStep(int n) {
  if (!equations_.factor(curvature_, n, damping_)) {
    return false;
  }
  std::copy_n(descent_.begin(), n, step_.begin());
  equations_.solve(step_.data());
  return true;
}

/// Takes the paths that would leave their limits out of the equations. False: there are none.
bool DelayRefinement::holdAtLimits(const PathFit& fit) {
  const auto n = static_cast<std::size_t>(fit.numPaths());
  bool any = false;
  for (std::size_t p = 0; p < n; ++p) {
    const double f = fit.frequencies()[p];
    if (step_[p] > 0.0 ? f < highest_[p] : f > lowest_[p]) {
      continue;
    }
    any = true;
    descent_[p] = 0.0;
    for (std::size_t q = 0; q < n; ++q) {
      if (q != p) {
        curvature_[p * n + q] = curvature_[q * n + p] = 0.0;
      }
    }
  }
  return any;
}

/// Sets the trial's delays. False: they are those of the fit.
bool DelayRefinement::moveTrial(const PathFit& fit) {
  const auto n = static_cast<std::size_t>(fit.numPaths());
  double longest = 0.0;
  for (std::size_t p = 0; p < n; ++p) {
    longest = std::max(longest, std::fabs(step_[p]));
  }
  const double scale = std::min(1.0, longestStep * cell_ / longest);
  trial_.setFrequencies(fit.frequencies());
  double moved = 0.0;
  for (std::size_t p = 0; p < n; ++p) {
    const double before = fit.frequencies()[p];
    const double after = std::clamp(before + scale * step_[p], lowest_[p], highest_[p]);
    trial_.changeFrequency(static_cast<int>(p), after);
    moved = std::max(moved, std::fabs(after - before));
  }
  return moved > sameFrequency;
}

}  // namespace flightpath
