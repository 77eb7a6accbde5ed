#pragma once

#include <algorithm>
#include <cstdint>

namespace flightpath {

/// Calls visit(i, j) for every pair i <= j of a square matrix of n columns, until one returns false.
/// Returns whether none did.
///
/// Tile by tile: an element and its mirror image lie a row and a column apart, and going down whole
/// columns would fetch the mirror images of a large matrix from memory one cache line each.
template <class Visit>
bool allMirroredPairs(std::int32_t n, Visit visit) {
  constexpr std::int32_t tile = 32;
  for (std::int32_t left = 0; left < n; left += tile) {
    for (std::int32_t top = 0; top <= left; top += tile) {
      for (std::int32_t j = left; j < std::min(left + tile, n); ++j) {
        for (std::int32_t i = top; i < std::min(top + tile, j + 1); ++i) {
          if (!visit(i, j)) {
            return false;
          }
        }
      }
    }
  }
  return true;
}

}  // namespace flightpath
