#include "flightpath/spectrum/fir_response.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <new>
#include <span>

#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/conversion.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/detail/fftw_calls.h"
#include "flightpath/spectrum/detail/plan_cache.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/plan_lookup.h"

namespace {

using coder::array;
using coder::internal::fft::fftw::PlanCacheTraits;

/// out := the forward FFT of `in`, both of n elements or more and in buffers of their own.
void transform(MUSICLib* obj, int n, const array<creal32_T, 1>& in, array<creal32_T, 1>& out) {
  const fftwf_plan plan = PlanCacheTraits::getCachedPlan(
      obj, n, flightpath::fftw::forward, flightpath::fftw::estimatePreservingInput,
      flightpath::asMatrix(in), flightpath::asMatrix(out));
  if (plan == nullptr) {
    flightpath::forgetRefusedPlan(**obj->getStackData());
    throw std::bad_alloc();
  }
  flightpath::fftw::execute(plan, in.data, out.data);
}

void pad(const array<creal32_T, 1>& taps, array<creal32_T, 1>& padded) {
  std::ranges::fill(std::ranges::copy(taps, padded.begin()).out, padded.end(), creal32_T{});
}

/// folded(j) := the sum of the taps at j, j + n, j + 2n, ..., the incomplete last block first.
void fold(const array<creal32_T, 1>& taps, array<creal32_T, 1>& folded) {
  const auto n = static_cast<std::size_t>(folded.numel);
  const std::span<const creal32_T> all = flightpath::elements(taps);
  const std::size_t complete = all.size() - all.size() % n;
  std::fill(
      std::copy(all.begin() + static_cast<std::ptrdiff_t>(complete), all.end(), folded.begin()),
      folded.end(), creal32_T{});
  for (std::size_t start = 0; start < complete; start += n) {
    std::ranges::transform(folded, all.subspan(start, n), folded.begin(), flightpath::add);
  }
}

}  // namespace

namespace coder {

void firfreqz(MUSICLib* obj, const array<creal32_T, 1>& b, double N, array<creal32_T, 1>& h) {
  assert(&b != &h);
  const std::int32_t n = flightpath::toElementCount(N, "coder::firfreqz");
  h.set_size(n);
  if (b.numel == 0 || n == 0) {
    std::fill(h.begin(), h.end(), creal32_T{});
    return;
  }
  if (b.numel == n) {
    transform(obj, n, b, h);
    return;
  }
  array<creal32_T, 1> x;
  x.set_size(n);
  if (b.numel < n) {
    pad(b, x);
    transform(obj, n, x, h);
    return;
  }
  fold(b, x);
  array<creal32_T, 1> response;
  response.set_size(n);
  transform(obj, n, x, response);
  h = response;
}

void fftshift(array<float, 1>& x) {
  std::rotate(x.begin(), x.begin() + (x.numel - x.numel / 2), x.end());
}

}  // namespace coder
