#pragma once

#include <cmath>
#include <ostream>

#include "flightpath/runtime/array.h"

/// What a search for three paths can come to.
namespace support {

enum class Outcome {
  Nothing,                // no path, no point scanned
  NoPath,                 // no path, though points were scanned
  ThreePointsThreePaths,  // one point around each peak: the coarse search alone
  Paths,                  // at least one, all finite
  NonFinitePaths,
  TooLong,  // std::length_error
};

inline const char* name(Outcome outcome) {
  switch (outcome) {
    case Outcome::Nothing:
      return "nothing";
    case Outcome::NoPath:
      return "no path";
    case Outcome::ThreePointsThreePaths:
      return "three points, three paths";
    case Outcome::Paths:
      return "paths";
    case Outcome::NonFinitePaths:
      return "paths that are not finite";
    case Outcome::TooLong:
      return "length_error";
  }
  return "";
}

inline void PrintTo(Outcome outcome, std::ostream* os) { *os << name(outcome); }

inline Outcome outcome(const coder::array<float, 2>& paths, int numPoints) {
  if (paths.numel == 0) {
    return numPoints == 0 ? Outcome::Nothing : Outcome::NoPath;
  }
  for (const float path : paths) {
    if (!std::isfinite(path)) {
      return Outcome::NonFinitePaths;
    }
  }
  return paths.numel == 3 && numPoints == 3 ? Outcome::ThreePointsThreePaths : Outcome::Paths;
}

}  // namespace support
