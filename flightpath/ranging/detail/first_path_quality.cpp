#include "flightpath/ranging/detail/first_path_quality.h"

namespace flightpath {
namespace {

/// In cells. Of the answers that pass, those with small margins of the count are hardly worse than the others.
constexpr double goodDeviation = 0.06;
constexpr double poorDeviation = 0.25;

/// White residuals of 16 tones pass it in 98 of 100 estimates, of 64 in all but one of a thousand.
constexpr double highestStructure = 2.0;

}  // namespace

Quality firstPathQuality(const Path& first, const EstimateInfo& info, double cell_m) {
  if (info.Result != Outcome::Found) {
    return Quality::NotRated;
  }
  const bool mayBeAGhost = info.PhaseOnly && info.NumSignals > 1;
  if (mayBeAGhost || !(first.Deviation_m <= poorDeviation * cell_m)) {
    return Quality::Poor;
  }
  const bool isGood =
      first.Deviation_m <= goodDeviation * cell_m && info.ResidualStructure <= highestStructure;
  return isGood ? Quality::Good : Quality::Doubtful;
}

}  // namespace flightpath
