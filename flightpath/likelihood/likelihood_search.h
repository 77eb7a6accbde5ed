#pragma once

#include <optional>
#include <span>

#include "flightpath/likelihood/delay_window.h"
#include "flightpath/likelihood/path_moves.h"

namespace flightpath {

/// Decides how many paths there are, and finds the minimum that they belong to.
///
/// Of the paths of a start, those that the test (`pathStatistic`) does not need are pruned. Then paths
/// are added one at a time, all refined together, as long as the test asks for them. At last, those
/// among the added that lie close together are looked at again: what was added early, in a compromise,
/// may be superfluous now, or lie in a minimum that is not the lowest.
class LikelihoodSearch {
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
  LikelihoodSearch(ToneSet& tones, int numRows, const DelayWindow& window, const Rules& rules);

  /// start  normalised frequencies, per stride of the tones
  /// returns the fit, until the next call
  PathFit& search(const SplitRows& y, std::span<const double> start);

  Margins margins();

  /// Of the residual that the search ended with (see `ResidualPeaks`).
  double structure() { return moves_.structure(); }

  DelayRefinement& refinement() { return moves_.refinement(); }

  /// The most paths that the tones can carry, and at most 24, or a larger forced count.
  int mostPaths() const { return mostPaths_; }

 private:
  void searchCount();
  void searchForced(int count);
  void prune();
  bool pruneWeakest();
  bool growAll();
  bool grow();
  bool growTwo();
  bool growAndPrune();
  void weighThePromise();
  bool isWorthTrying();
  bool passes();
  void settle();
  bool improve();
  void thin();
  bool manageWithout(int p);
  double statisticWithout(int p);
  double unexplained(const PathFit& fit) const;

  ToneSet& tones_;
  int numRows_;
  int mostPaths_;
  Rules rules_;
  double threshold_;
  PathMoves moves_;
  double energy_ = 0.0;  // of the samples
  double next_ = 0.0;    // T of the path that was tried last
};

}  // namespace flightpath
