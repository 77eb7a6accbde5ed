#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/likelihood/delay_window.h"
#include "flightpath/likelihood/normal_equations.h"
#include "flightpath/likelihood/path_fit.h"

namespace flightpath {

/// Moves the delays of a fit to the nearest minimum of its cost, by Gauss-Newton steps with the
/// amplitudes projected out.
///
/// A step is at most 0.3 cells long, a path stays within one cell of where it started and within the
/// window; a path that presses against its limit is left out of the step. A step that does not lower
/// the cost is taken again, damped. It ends where the predicted fall is below 1e-7 of the noise power:
/// about 3e-4 of a deviation from the minimum.
class DelayRefinement {
 public:
  /// What ends a refinement early, and what it leaves alone.
  ///
  /// enough  a cost below which the caller needs no better one
  /// held    a path whose delay is kept
  struct Goal {
    double enough = 0.0;
    std::optional<int> held;
  };

  DelayRefinement(ToneSet& tones, int numRows, int mostPaths, const DelayWindow& window);

  /// False, with nothing to be used, where two paths of the start are the same numerically.
  bool refine(PathFit& fit, const SplitRows& y, const Goal& goal);
  bool refine(PathFit& fit, const SplitRows& y) { return refine(fit, y, Goal()); }

 private:
  void setLimits(std::span<const double> start, std::optional<int> held);
  bool descend(PathFit& fit, const SplitRows& y, double enough);
  std::optional<double> propose(const PathFit& fit);
  bool holdAtLimits(const PathFit& fit);
  bool solveStep(int n);
  bool moveTrial(const PathFit& fit);

  PathFit trial_;
  DelayWindow window_;
  double cell_;
  NormalEquations equations_;
  std::vector<double> lowest_, highest_;  // of each path
  std::vector<double> curvature_;
  std::vector<double> descent_;
  std::vector<double> step_;
  double damping_ = 0.0;
};

}  // namespace flightpath
