#pragma once

#include <vector>

#include "flightpath/likelihood/delay_refinement.h"
#include "flightpath/likelihood/path_fit.h"

namespace flightpath {

/// The delays of one path that the samples do not rule out, all other paths adapted to each of them.
struct DelayInterval {
  double earliest;
  double latest;
};

/// Confidence intervals by profile likelihood.
///
///   { f : RSS(f) <= RSS (1 + q^2 / nu) },   nu = 2 (M N - K (M + 1/2))
///
/// RSS(f) is the least cost with path p held at f, q Student's quantile of nu degrees of freedom. Where
/// a path is well resolved the interval is q deviations to either side; where it is not, the cost is
/// no parabola, and the interval is longer to one side or to both.
class ProfileInterval {
 public:
  /// tones  must outlive it
  ProfileInterval(ToneSet& tones, int numRows, int mostPaths);

  /// fit        at its minimum
  /// p          which path
  /// deviation  of its delay, above 0: the scale of the search
  /// level      above 0, below 1
  ///
  /// A side on which the cost stays below the limit for two cells, or half a period, ends there.
  DelayInterval find(const PathFit& fit, const SplitRows& y, int p, double deviation, double level,
                     DelayRefinement& refinement);

 private:
  struct Side {
    int path;
    double direction;
    double limit;
  };
  double end(const PathFit& fit, const SplitRows& y, const Side& side, double step,
             DelayRefinement& refinement);
  double costAt(const SplitRows& y, int p, double f, DelayRefinement& refinement);

  ToneSet& tones_;
  PathFit trial_;
  std::vector<double> adapted_;  // the paths at the last distance inside the limit
};

}  // namespace flightpath
