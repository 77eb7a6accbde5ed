#include "flightpath/line_of_sight/detail/direct_path_quality.h"

namespace flightpath {
namespace {

/// In cells. The Rician factor adds little to them: the deviation knows it already.
constexpr double goodDeviation = 0.08;
constexpr double poorDeviation = 0.25;

/// Below it the tail alone explains the samples. Over 20 MHz hardly any answer lies there; over 450 MHz
/// indoors, four in five of the worst ones do.
constexpr double leastProbability = 0.01;

constexpr double highestMisfit = 2.0;

}  // namespace

Quality directPathQuality(const DirectPath& direct, bool isPhaseOnly, double cell_m) {
  if (direct.Result != Outcome::Found) {
    return Quality::NotRated;
  }
  if (!(direct.Deviation_m <= poorDeviation * cell_m) ||
      !(direct.Probability >= leastProbability)) {
    return Quality::Poor;
  }
  const bool isGood = direct.Deviation_m <= goodDeviation * cell_m &&
                      direct.ProfileMisfit <= highestMisfit && !isPhaseOnly;
  return isGood ? Quality::Good : Quality::Doubtful;
}

}  // namespace flightpath
