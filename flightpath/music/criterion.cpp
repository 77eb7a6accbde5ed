#include "flightpath/music/criterion.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/music/likelihood.h"
#include "flightpath/runtime/view.h"
#include "flightpath/toolbox/span_reductions.h"

namespace flightpath {

void dropNonPositive(coder::array<float, 1>& eigenvalues) {
  const auto end = std::remove_if(eigenvalues.begin(), eigenvalues.end(),
                                  [](float value) { return value <= 0.0F; });
  eigenvalues.set_size(static_cast<std::int32_t>(end - eigenvalues.begin()));
}

void criterion(const coder::array<float, 1>& eigenvalues, bool smoothed,
               coder::array<double, 1>& Q) {
  const double m = eigenvalues.numel;
  Q.set_size(eigenvalues.numel);
  for (std::int32_t i = 0; i < Q.numel; ++i) {
    const double k = i;
    const double penalty = smoothed ? (2.0 * m - k + 1.0) * k * 0.5 : (2.0 * m - k) * k;
    Q[i] = static_cast<float>(penalty) + coder::phased::internal::Ld(k, eigenvalues, m);
  }
}

float countAtMinimum(const coder::array<double, 1>& Q) {
  return static_cast<float>(positionOfSmallest(elements(Q)));
}

}  // namespace flightpath
