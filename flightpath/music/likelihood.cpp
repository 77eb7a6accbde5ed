#include "flightpath/music/likelihood.h"

#include <math.h>

#include <cmath>
#include <span>

#include "flightpath/runtime/detail/conversion.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/scalar.h"
#include "flightpath/toolbox/detail/reductions.h"

namespace {

/// The eigenvalues behind the first k, up to the M-th; none for k + 1 > M.
std::span<const float> weakest(const coder::array<float, 1>& lambda, double k, double M) {
  const int first = flightpath::truncateWithin(k, 0, lambda.numel);
  const int count = flightpath::truncateWithin(M - k, 0, lambda.numel - first);
  return flightpath::elements(lambda).subspan(static_cast<std::size_t>(first),
                                              static_cast<std::size_t>(count));
}

}  // namespace

namespace coder::phased::internal {

float Ld(double k, const array<float, 1>& lambda, double M) {
  k = std::fmax(k, 0.0);
  M = std::fmin(M, lambda.numel);
  const std::span<const float> noise = weakest(lambda, k, M);
  const auto root = static_cast<float>(1.0 / (M - k));
  float geometricMean = 1.0F;
  for (const float value : noise) {
    geometricMean *= rt_powf_snf(value, root);
  }
  const auto count = static_cast<float>(M - k);
  return ::logf((flightpath::blockedSum(noise) / count) / geometricMean) * count;
}

}  // namespace coder::phased::internal
