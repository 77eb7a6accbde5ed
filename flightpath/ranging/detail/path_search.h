#pragma once

#include <optional>
#include <span>

#include "flightpath/ranging/detail/delay_refinement.h"
#include "flightpath/ranging/detail/delay_window.h"
#include "flightpath/ranging/detail/path_fit.h"
#include "flightpath/ranging/detail/residual_peaks.h"

namespace flightpath {

/// Decides how many paths there are, and finds each of them the minimum that it belongs to.
///
/// From the paths of a start, those that the test (`pathStatistic`) does not need are pruned; then,
/// one at a time, a path is added at the tallest peak of the residual, all are refined together, and it
/// stays where the test says so. Where two paths lie close, one path of the smaller fit is also split
/// in two, which reaches minima that adding does not; the lower cost wins. At last, paths that lie
/// close to another are left out in turn: what was added early, in a compromise, may be superfluous
/// now.
class PathSearch {
 public:
  /// falseAlarm   the probability that noise alone becomes a path
  /// modelError   what no path explains, as a part of the strongest path's power
  /// forcedCount  this many, without tests
  struct Rules {
    double falseAlarm;
    double modelError;
    std::optional<int> forcedCount;
  };

  /// By how much the count is decided, as T / t of the test: of the path that is needed least, and of
  /// the best one that was not taken. NaN where there was none, or no test.
  struct Margins {
    double weakest;
    double next;
  };

  /// tones  must outlive the search
  PathSearch(ToneSet& tones, int numRows, const DelayWindow& window, const Rules& rules);

  /// start  normalised frequencies, per stride of the tones; those outside the window are left out
  /// returns the fit, until the next call
  PathFit& search(const SplitRows& y, std::span<const double> start);

  Margins margins();

  /// Of the residual that the search ended with (see `ResidualPeaks`).
  double structure();

  DelayRefinement& refinement() { return refinement_; }

  /// The most paths that the tones can carry, and at most 24, or a larger forced count.
  int mostPaths() const { return mostPaths_; }

 private:
  void begin(std::span<const double> start);
  void searchCount();
  void searchForced(int count);

  bool grow(double threshold);
  bool isWorthTrying(double fall);
  void tryPeaks(std::span<const ResidualPeaks::Peak> peaks);
  void trySplits(double near);
  void consider();
  bool isCrowded(const PathFit& fit, int p) const;
  bool isCrowded(const PathFit& fit) const;

  int weakest();
  void prune();
  bool pruneWeakest();
  void thin();
  bool manageWithout(int p);

  double statisticWithout(int p);
  double unexplained(const PathFit& fit) const;

  ToneSet& tones_;
  int numRows_;
  int mostPaths_;
  DelayWindow window_;
  Rules rules_;
  double threshold_;
  ResidualPeaks peaks_;
  DelayRefinement refinement_;
  PathFit current_, base_, best_;
  bool haveBest_ = false;
  const SplitRows* samples_ = nullptr;
  double energy_ = 0.0;
  double next_ = 0.0;
  bool residualIsSearched_ = false;  // the peaks hold that of `current_`
};

}  // namespace flightpath
