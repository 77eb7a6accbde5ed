#include "flightpath/likelihood/likelihood_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "flightpath/likelihood/path_test.h"

namespace flightpath {
namespace {

constexpr int mostFoundPaths = 24;

/// A path is tried where the fall that the residual's peak promises comes this near the threshold.
constexpr double worthTrying = 0.9;

/// A path whose removal alone, without refining the others, is this clear needs no closer look.
constexpr double clearlyNeeded = 10.0;

/// Up to here a path that is left out may hide the next one: it takes too many of the degrees of
/// freedom for what it leaves to count as noise.
constexpr int fewTones = 32;

/// How often another minimum of the same count is looked for.
constexpr int mostMoves = 8;

/// Up to this forced count an exchange tries to do without each path.
constexpr int mostTriedEach = 3;

/// Energy below the samples' times this is rounding, in which no path is looked for.
constexpr double roundingShare = 0x1p-52;

constexpr double never = std::numeric_limits<double>::quiet_NaN();

/// K with K (M + 1/2) < M N, so that degrees of freedom are left; below N, whatever M is.
int carriedPaths(int numTones, int numRows) {
  const double samples = double(numTones) * numRows;
  return static_cast<int>(std::ceil(samples / (numRows + 0.5))) - 1;
}

}  // namespace

LikelihoodSearch::LikelihoodSearch(ToneSet& tones, int numRows, const DelayWindow& window,
                                   const Rules& rules)
    : tones_(tones),
      numRows_(numRows),
      mostPaths_(std::min(carriedPaths(tones.count(), numRows),
                          std::max(mostFoundPaths, rules.forcedCount.value_or(0)))),
      rules_(rules),
      threshold_(pathThreshold(rules.falseAlarm,
                               std::max(1.0, window.width() * tones.independentDelays()), numRows)),
      moves_(tones, numRows, mostPaths_, window) {}

PathFit& LikelihoodSearch::search(const SplitRows& y, std::span<const double> start) {
  energy_ = 0.0;
  for (int m = 0; m < y.count; ++m) {
    energy_ += energy(y.length, y.row(m));
  }
  next_ = never;
  moves_.begin(y, start);
  if (rules_.forcedCount) {
    searchForced(std::min(*rules_.forcedCount, mostPaths_));
  } else {
    searchCount();
  }
  return moves_.fit();
}

void LikelihoodSearch::searchCount() {
  prune();
  if (!growAll()) {
    return;
  }
  thin();
  if (improve()) {
    growAll();
    thin();
  }
  while (pruneWeakest()) {  // what a lower minimum of the others does without
  }
}

void LikelihoodSearch::searchForced(int count) {
  while (moves_.fit().numPaths() > count) {
    moves_.remove(moves_.fit().weakest());
  }
  while (moves_.fit().numPaths() < count && moves_.add()) {
    settle();
  }
  // No test would notice a start that lies far from every path. Trying to do without each of eight paths takes four
  // times as long as without the one that is missed least, and hardly ever finds a lower minimum.
  const LeftOut candidates = count > mostTriedEach ? LeftOut::Weakest : LeftOut::Each;
  for (int i = 0; i < mostMoves && moves_.exchange(candidates); ++i) {
    settle();
  }
}

/// Removes what the test does not need of the start. Only the weakest path gets the full test, with
/// the others refined, and only where it is not clear.
void LikelihoodSearch::prune() {
  while (moves_.fit().numPaths() > 0) {
    if (pruneWeakest()) {
      continue;
    }
    const int p = moves_.fit().weakest();
    if (moves_.fit().numPaths() == 1 || statisticWithout(p) > clearlyNeeded * threshold_ ||
        !manageWithout(p)) {
      return;
    }
  }
}

bool LikelihoodSearch::pruneWeakest() {
  if (moves_.fit().numPaths() == 0) {
    return false;
  }
  const int p = moves_.fit().weakest();
  if (statisticWithout(p) > threshold_) {
    return false;
  }
  moves_.remove(p);
  return true;
}

/// Adds paths as long as the test says so. False: none.
bool LikelihoodSearch::growAll() {
  bool any = false;
  for (int i = 0; i < 2 * mostPaths_ && growAndPrune(); ++i) {
    any = true;
  }
  return any;
}

/// False: no path is worth adding, or none is left of those that were, and all is as it was.
bool LikelihoodSearch::growAndPrune() {
  const int count = moves_.fit().numPaths();
  const double cost = moves_.fit().residualEnergy();
  if (!grow() && !growTwo()) {
    return false;
  }
  while (pruneWeakest()) {
  }
  settle();
  if (moves_.fit().numPaths() > count || moves_.fit().residualEnergy() < cost) {
    return true;
  }
  weighThePromise();
  return false;
}

bool LikelihoodSearch::grow() {
  next_ = never;
  if (moves_.fit().numPaths() == mostPaths_ || !isWorthTrying()) {
    return false;
  }
  if (!moves_.add()) {
    next_ = never;  // what was promised there is none to be tested
    return false;
  }
  if (!passes()) {
    moves_.undo();
    return false;
  }
  return true;
}

/// The test of the path that the residual promises, without trying it.
void LikelihoodSearch::weighThePromise() {
  const PathFit& fit = moves_.fit();
  const double left = std::max(0.0, fit.residualEnergy() - moves_.promisedFall());
  next_ = pathStatistic(fit.residualEnergy(), left, fit.degreesLeft() - (numRows_ + 0.5),
                        unexplained(fit));
}

bool LikelihoodSearch::isWorthTrying() {
  weighThePromise();
  return next_ > worthTrying * threshold_;
}

/// The test of the path that was added last. What it makes unexplained counts too, as it does when the
/// weakest path is looked at: what passes here is not pruned there, to be added again.
bool LikelihoodSearch::passes() {
  const PathFit& fit = moves_.fit();
  next_ = pathStatistic(moves_.before().residualEnergy(), fit.residualEnergy(), fit.degreesLeft(),
                        std::max(unexplained(moves_.before()), unexplained(fit)));
  return next_ > threshold_;
}

/// Adds two paths at once, where the second one passes the test.
bool LikelihoodSearch::growTwo() {
  if (tones_.count() > fewTones) {
    return false;
  }
  const double next = next_;
  moves_.keep();
  if (moves_.add() && grow()) {
    return true;
  }
  moves_.restore();
  next_ = next;
  return false;
}

/// Decides among minima that lie a sidelobe apart.
void LikelihoodSearch::settle() {
  if (moves_.hasHighSidelobes()) {
    for (int i = 0; i < mostMoves && moves_.isRearrangeable() && moves_.shift(); ++i) {
    }
  }
}

/// Looks for a lower minimum of the same count, where there may be one. False: there is none.
bool LikelihoodSearch::improve() {
  bool any = false;
  for (int i = 0; i < mostMoves && moves_.isRearrangeable() && moves_.exchange(LeftOut::Each);
       ++i) {
    settle();
    any = true;
  }
  return any;
}

/// Leaves out every path that the others, refined, do without.
void LikelihoodSearch::thin() {
  for (int p = 0; p < moves_.fit().numPaths() && moves_.fit().numPaths() > 1;) {
    p = moves_.isSuspect(p) && manageWithout(p) ? 0 : p + 1;
  }
}

/// The full test of path p: removes it where it fails.
bool LikelihoodSearch::manageWithout(int p) {
  const PathFit& fit = moves_.fit();
  return moves_.removeWithin(
      p, costAtThreshold(fit.residualEnergy(), fit.degreesLeft(), unexplained(fit), threshold_));
}

/// T of the path with the other delays kept: never less than what refining them leaves.
double LikelihoodSearch::statisticWithout(int p) {
  PathFit& fit = moves_.fit();
  const double with = fit.residualEnergy();
  return pathStatistic(with + fit.lossWithout(p), with, fit.degreesLeft(), unexplained(fit));
}

/// Energy that is no reason for a path: the model's error, and rounding.
double LikelihoodSearch::unexplained(const PathFit& fit) const {
  double strongest = 0.0;
  for (int p = 0; p < fit.numPaths(); ++p) {
    strongest = std::max(strongest, fit.meanPower(p));
  }
  return rules_.modelError * strongest * numRows_ * tones_.moment(0) + roundingShare * energy_;
}

LikelihoodSearch::Margins LikelihoodSearch::margins() {
  if (rules_.forcedCount) {
    return {never, never};
  }
  const bool isEmpty = moves_.fit().numPaths() == 0;
  return {isEmpty ? never : statisticWithout(moves_.fit().weakest()) / threshold_,
          next_ / threshold_};
}

}  // namespace flightpath
