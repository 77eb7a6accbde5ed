#pragma once

#include <cstdint>

namespace flightpath {

/// One word per answer: whether its distance can be trusted, that of the earliest path or of the direct
/// one. From what the likelihood knows, with d the distance's deviation in resolution cells:
///
///              Ranger, MaximumLikelihood                      LineOfSight
///   Poor       d > 1/4, or phases alone with several paths    d > 1/4, or Probability < 0.01
///   Good       d <= 0.06 and ResidualStructure <= 2           d <= 0.08 and ProfileMisfit <= 2, and not
///                                                             of phases alone
///   Doubtful   everything between                             everything between
///
/// A number that is NaN passes no condition. **Take what is Good**: on channels that the thresholds were not
/// set on, that refuses 16 % of a Ranger's answers and 60 % of their worst tenth, 31 % of a LineOfSight's
/// and 55 % of theirs, and the root mean square of the error falls to a half. Where cells are so short
/// that hardly any answer is Good (ultra-wide-band receivers indoors), refuse a LineOfSight's Poor alone:
/// of 80 answers on air that is a quarter, with seven of the eight worst. There a Ranger's words say little:
/// docs/line_of_sight.md has the tables, and where the words fail. They know nothing of what moves all
/// answers alike: timing, cables, a wall in the direct path's way.
///
/// In ascending order: `quality >= Quality::Doubtful` refuses what is poor, or not rated.
///
/// NotRated  by Music, or there is no path
enum class Quality : std::uint8_t { NotRated, Poor, Doubtful, Good };

/// The word: "not rated", "poor", "doubtful" or "good".
inline const char* toString(Quality quality) {
  switch (quality) {
    case Quality::NotRated:
      return "not rated";
    case Quality::Poor:
      return "poor";
    case Quality::Doubtful:
      return "doubtful";
    case Quality::Good:
      return "good";
  }
  return "unknown";
}

}  // namespace flightpath
