#include "flightpath/ranging/detail/phase_only.h"

#include <cmath>
#include <cstddef>

namespace flightpath {
namespace {

constexpr std::size_t fewest = 8;

/// Of magnitudes; of their squares, twice as much.
constexpr double tolerance = 1e-6;

}  // namespace

bool isPhaseOnly(std::span<const double> re, std::span<const double> im) {
  if (re.size() < fewest) {
    return false;
  }
  const double first = re[0] * re[0] + im[0] * im[0];
  for (std::size_t k = 1; k < re.size(); ++k) {
    const double power = re[k] * re[k] + im[k] * im[k];
    if (!(std::fabs(power - first) <= 2.0 * tolerance * first)) {
      return false;
    }
  }
  return first > 0.0;
}

}  // namespace flightpath
