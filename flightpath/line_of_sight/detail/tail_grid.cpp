#include "flightpath/line_of_sight/detail/tail_grid.h"

#include <algorithm>
#include <cmath>

namespace flightpath {
namespace {

constexpr int numDecays = 7;
constexpr double shortestInCells = 0.3;
constexpr double leastLongestInCells = 3.0;
constexpr double mostLongestInCells = 32.0;
constexpr double strengths[TailGrid::numStrengths] = {1.0, 1e1, 1e2, 1e3, 1e4};

/// An eigenvector whose share of the tail is less than this over the noise changes the logarithm of the
/// posterior by about as much.
constexpr double leastShare = 0.05;

TailHypothesis noTail(const ToneSet& tones) {
  return {-1, 0.0, std::log(static_cast<double>(numDecays)), 0.0, tones.moment(0), {}, {}};
}

TailHypothesis tail(const ToneSet& tones, const TailModel& model, int index, double strength) {
  TailHypothesis made = {index, strength, 0.0, 0.0, tones.moment(0), {}, {}};
  for (std::size_t j = 0; j < model.eigenvalues.size(); ++j) {
    const double power = strength * model.eigenvalues[j];
    if (power < leastShare) {
      break;
    }
    const double share = power / (1.0 + power);
    made.shares.push_back(share);
    made.linear.push_back(share * std::conj(model.steered[j]));
    made.logDeterminant += std::log1p(power);
    made.information -= share * std::norm(model.steered[j]);
  }
  return made;
}

}  // namespace

TailGrid::TailGrid(const ToneSet& tones, double longestDecay)
    : variances_{0.1 * tones.count(), 1e0 * tones.count(), 1e2 * tones.count(),
                 1e4 * tones.count()} {
  const double shortest = shortestInCells * tones.cell();
  const double longest = std::clamp(longestDecay, leastLongestInCells * tones.cell(),
                                    mostLongestInCells * tones.cell());
  const double step = std::pow(longest / shortest, 1.0 / (numDecays - 1));
  hypotheses_.push_back(noTail(tones));
  double decay = shortest;
  for (int i = 0; i < numDecays; ++i) {
    models_.push_back(tailModel(tones, decay, leastShare / *std::ranges::max_element(strengths)));
    for (const double strength : strengths) {
      hypotheses_.push_back(tail(tones, models_.back(), i, strength));
    }
    decay *= step;
  }
}

}  // namespace flightpath
