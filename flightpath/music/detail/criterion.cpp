#include "flightpath/music/detail/criterion.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/music/likelihood.h"
#include "flightpath/rules/penalty.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/toolbox/detail/reductions.h"

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
    Q[i] = static_cast<float>(penalty(k, m, smoothed)) +
           coder::phased::internal::Ld(k, eigenvalues, m);
  }
}

float countAtMinimum(const coder::array<double, 1>& Q) {
  return static_cast<float>(positionOfSmallest(elements(Q)));
}

}  // namespace flightpath
