#include "flightpath/ranging/detail/tone_layout.h"

#include <numeric>
#include <stdexcept>
#include <string>

#include "flightpath/likelihood/tone_set.h"

namespace flightpath {

std::vector<int> measuredTones(std::uint32_t numSubcarriers, const RangingOptions& options) {
  if (!options.Tones.empty()) {
    return options.Tones;
  }
  std::vector<int> tones(numSubcarriers);
  std::iota(tones.begin(), tones.end(), 0);
  return tones;
}

ToneLayout layoutOf(std::uint32_t numSubcarriers, const RangingOptions& options) {
  const std::vector<int> indices = measuredTones(numSubcarriers, options);
  const ToneSet tones(indices, options.Weights);
  if (indices.size() != numSubcarriers) {
    throw std::invalid_argument("Ranger: Tones: there are " + std::to_string(indices.size()) +
                                " for rows of " + std::to_string(numSubcarriers) + " samples");
  }
  return {tones.stride(), tones.extent(), tones.extent() == tones.count()};
}

}  // namespace flightpath
