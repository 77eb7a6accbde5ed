#include "flightpath/ranging/detail/real_form.h"

#include <numbers>

namespace flightpath {

void toRealForm(std::span<const Complex> e, std::span<double> v) {
  const std::size_t L = e.size();
  const std::size_t h = L / 2;
  for (std::size_t m = 0; m < h; ++m) {
    v[m] = std::numbers::sqrt2 * e[m].real();
    v[L - h + m] = std::numbers::sqrt2 * e[m].imag();
  }
  if (L % 2 == 1) {
    v[h] = e[h].real();
  }
}

void assembleRealForm(const CentroBlocks& blocks, std::size_t h, std::size_t order,
                      std::span<double> C) {
  const std::size_t second = order - h;
  for (std::size_t i = 0; i < h; ++i) {
    for (std::size_t j = i; j < h; ++j) {
      const std::size_t at = i * h + j;
      const double upper = blocks.Br[at] + blocks.Ar[at];
      const double lower = blocks.Ar[at] - blocks.Br[at];
      const double right = blocks.Bi[at] - blocks.Ai[at];
      const double left = blocks.Bi[at] + blocks.Ai[at];
      C[i * order + j] = C[j * order + i] = upper;
      C[(second + i) * order + second + j] = C[(second + j) * order + second + i] = lower;
      C[i * order + second + j] = C[(second + j) * order + i] = right;
      C[j * order + second + i] = C[(second + i) * order + j] = left;
    }
  }
}

}  // namespace flightpath
