#pragma once

#include <span>
#include <vector>

#include "flightpath/likelihood/delay_refinement.h"
#include "flightpath/likelihood/delay_window.h"
#include "flightpath/likelihood/path_fit.h"
#include "flightpath/likelihood/residual_peaks.h"

namespace flightpath {

/// Which paths an exchange tries to do without: each in turn, or the one that is missed least.
enum class LeftOut { Each, Weakest };

/// A fit, and the ways to another one: a path more, a path less, or another minimum of the same count.
/// Every one ends refined.
class PathMoves {
 public:
  /// tones  must outlive it
  PathMoves(ToneSet& tones, int numRows, int mostPaths, const DelayWindow& window);

  /// Sets out from these paths, refined; without those outside the window or next to an earlier one.
  ///
  /// y  must stay until the next `begin`
  void begin(const SplitRows& y, std::span<const double> start);

  PathFit& fit() { return current_; }
  DelayRefinement& refinement() { return refinement_; }

  /// What the cost falls by, as the residual has it, if a path is added and the others stay; 0 where
  /// nothing is left.
  double promisedFall();

  /// Adds a path, by the lowest cost of these: at the peaks of the residual, and where paths lie close
  /// then, by splitting in two one of those near the tallest peak. `undo` takes it back. False: there
  /// is no further path, and the fit is as it was.
  bool add();

  /// The fit before the last `add`.
  const PathFit& before() const { return base_; }
  void undo();

  /// Takes path p out.
  void remove(int p);

  /// Takes path p out if the cost stays below `enough`. False: the fit is as it was.
  bool removeWithin(int p, double enough);

  /// Whether there may be lower minima of the same count: two paths lie so close that they disturb each
  /// other, or the tones leave minima a sidelobe apart (see `ResidualPeaks`).
  bool isRearrangeable() const;

  /// The same of one path: whether it may be there because another one is in the wrong place.
  bool isSuspect(int p) const;

  bool hasHighSidelobes() const { return peaks_.hasHighSidelobes(); }

  /// Moves a path by a high sidelobe's distance. False: the cost is not lower anywhere there, and the
  /// fit is as it was.
  bool shift();

  /// Adds a path and takes out the one that the others do without best. False: the cost is not lower,
  /// and the fit is as it was.
  bool exchange(LeftOut candidates);

  /// Remembers the delays, and comes back to them.
  void keep();
  void restore();

  /// Of the fit's residual (see `ResidualPeaks`).
  double structure();

 private:
  std::span<const ResidualPeaks::Peak> peaks();
  void tryPeaks();
  void trySplits(double near);
  void tryWithoutOne(LeftOut candidates);
  void startTrials();
  void consider();
  bool takeBest(double enough);
  bool isCrowded(const PathFit& fit) const;
  bool isCrowded(const PathFit& fit, std::size_t p) const;
  double worthwhile(const PathFit& fit) const;

  ToneSet& tones_;
  int mostPaths_;
  DelayWindow window_;
  ResidualPeaks peaks_;
  DelayRefinement refinement_;
  PathFit current_;
  PathFit base_;
  PathFit best_;
  bool haveBest_ = false;
  std::span<const ResidualPeaks::Peak> found_;  // of the current residual, where that is searched
  bool isSearched_ = false;
  std::vector<double> kept_;
  const SplitRows* samples_ = nullptr;
};

}  // namespace flightpath
