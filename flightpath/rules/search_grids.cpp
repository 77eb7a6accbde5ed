#include "flightpath/rules/search_grids.h"

#include <math.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "flightpath/runtime/scalar.h"
#include "flightpath/spectrum/detail/fft_length.h"
#include "flightpath/toolbox/grids.h"

namespace flightpath {

using coder::array;

float coarseFFTLength(float coarseResolution) {
  const float length = rt_powf_snf(2.0F, ::roundf(coder::b_log2(1.0F / coarseResolution)));
  if (length > longestFFT) {
    std::ostringstream text;
    text << "CoarseResolution = " << coarseResolution
         << " (normalised frequency) asks for an FFT of " << length << " points; the most is "
         << static_cast<std::int32_t>(longestFFT);
    throw std::length_error(text.str());
  }
  return length;
}

void fineOffsets(float coarseResolution, float fineResolution, std::int32_t elementsPerOffset,
                 array<float, 2>& offsets) {
  const float count = 2.0F * coarseResolution / fineResolution + 1.0F;
  const std::int32_t most = std::numeric_limits<std::int32_t>::max() / elementsPerOffset;
  if (count >= static_cast<double>(most) + 1.0) {
    std::ostringstream text;
    text << "FineResolution = " << fineResolution
         << " beside CoarseResolution = " << coarseResolution
         << " (normalised frequencies) asks for " << count
         << " points around each peak; the most is " << most;
    throw std::length_error(text.str());
  }
  coder::linspace(-coarseResolution, coarseResolution, count, offsets);
}

}  // namespace flightpath
