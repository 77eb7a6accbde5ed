#include "flightpath/music/detail/subspaces.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/rules/count_limits.h"
#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/conversion.h"

namespace flightpath {

void noiseSubspace(const coder::array<creal32_T, 2>& eigenvectors, float numSignals,
                   coder::array<creal32_T, 2>& noise) {
  const std::int32_t M = eigenvectors.size[1];
  const float next = numSignals + 1.0F;
  const bool isEmpty = next > static_cast<float>(M);
  const std::int32_t first = isEmpty ? M : truncateWithin(next, 1, M) - 1;
  noise.set_size(eigenvectors.size[0], M - first);
  std::transform(eigenvectors.end() - noise.numel, eigenvectors.end(), noise.begin(), conjugate);
}

void keepSignalSubspace(coder::array<creal32_T, 2>& eigenvectors, float numSignals) {
  eigenvectors.set_size(eigenvectors.size[0], signalDimensions(numSignals, eigenvectors.size[1]));
}

}  // namespace flightpath
