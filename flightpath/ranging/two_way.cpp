#include "flightpath/ranging/two_way.h"

#include <cstddef>
#include <stdexcept>
#include <string>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/ranging/detail/row_layout.h"

namespace flightpath {
namespace {

void requireSame(std::size_t ofInitiator, std::size_t ofReflector, const char* what) {
  if (ofInitiator != ofReflector) {
    throw std::invalid_argument("combineTwoWay: the initiator has " + std::to_string(ofInitiator) +
                                what + ", the reflector " + std::to_string(ofReflector));
  }
}

template <class Real>
Complex sampleOf(const void* parts, std::size_t at) {
  const Real* const part = static_cast<const Real*>(parts) + 2 * at;
  return {static_cast<double>(part[0]), static_cast<double>(part[1])};
}

/// The sample in the rows' storage that lies `at` samples behind the first one.
Complex sampleOf(const CsiRows& rows, std::size_t at) {
  return rows.precision() == CsiRows::Precision::Single ? sampleOf<float>(rows.data(), at)
                                                        : sampleOf<double>(rows.data(), at);
}

}  // namespace

void combineTwoWay(CsiRows initiator, CsiRows reflector, std::vector<Complex>& out) {
  const std::size_t N = initiator.samplesPerRow();
  requireSame(N, reflector.samplesPerRow(), " samples per row");
  const std::size_t numRows = countRows(initiator, "combineTwoWay: initiator");
  requireSame(numRows, countRows(reflector, "combineTwoWay: reflector"), " rows");
  out.resize(numRows * N);
  for (std::size_t row = 0; row < numRows; ++row) {
    for (std::size_t k = 0; k < N; ++k) {
      out[row * N + k] = times(sampleOf(initiator, row * initiator.rowStride() + k),
                               sampleOf(reflector, row * reflector.rowStride() + k));
    }
  }
}

std::vector<Complex> combineTwoWay(CsiRows initiator, CsiRows reflector) {
  std::vector<Complex> out;
  combineTwoWay(initiator, reflector, out);
  return out;
}

}  // namespace flightpath
