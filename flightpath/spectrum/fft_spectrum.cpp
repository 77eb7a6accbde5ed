#include "flightpath/spectrum/fft_spectrum.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <stdexcept>

#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/detail/fft_axis.h"
#include "flightpath/spectrum/detail/fft_length.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"

namespace {

using coder::array;

/// A tap with the sign of its zeros taken away, where that leaves the value the same.
creal32_T withPositiveZeros(creal32_T z) {
  if (z.im == 0.0F) {
    return {z.re, 0.0F};
  }
  return {z.re == 0.0F ? 0.0F : z.re, z.im};
}

/// energies(:, k) := |response of column k of conj(U)|^2 for every column.
void storeEnergies(MUSICLib* obj, const array<creal32_T, 2>& U, double n,
                   array<creal32_T, 2>& energies) {
  array<creal32_T, 1> taps;
  array<creal32_T, 1> response;
  taps.set_size(U.size[0]);
  for (std::int32_t k = 0; k < U.size[1]; ++k) {
    std::ranges::transform(flightpath::column(U, k), taps.begin(),
                           [](creal32_T u) { return withPositiveZeros(flightpath::conjugate(u)); });
    coder::firfreqz(obj, taps, n, response);
    std::ranges::transform(response, flightpath::column(energies, k).begin(),
                           [](creal32_T h) { return flightpath::timesConjugate(h, h); });
  }
}

/// total(j) := the sum over columns, added left to right.
void addEnergies(const array<creal32_T, 2>& energies, array<creal32_T, 1>& total) {
  total.set_size(energies.size[0]);
  for (std::int32_t k = 0; k < energies.size[1]; ++k) {
    std::ranges::transform(total, flightpath::column(energies, k), total.begin(), flightpath::add);
  }
}

}  // namespace

void evaluatePseudoSpectrumFFT(MUSICLib* obj, array<creal32_T, 2>& U, array<float, 1>& spectrum,
                               array<float, 1>& freqs, array<creal32_T, 2>& energies, float N) {
  assert(&spectrum != &freqs && &U != &energies);
  if (N > flightpath::longestFFT) {
    throw std::length_error("evaluatePseudoSpectrumFFT: more than 16777216 points");
  }
  flightpath::fftFrequencies(N, freqs);
  energies.set_size(freqs.numel, U.size[1]);
  storeEnergies(obj, U, N, energies);
  array<creal32_T, 1> captured;
  addEnergies(energies, captured);

  const auto M = static_cast<float>(U.size[0]);
  spectrum.set_size(captured.numel);
  // Last, behind everything that can fail: the call can be made again with the same U.
  std::ranges::transform(U, U.begin(), flightpath::conjugate);
  std::transform(captured.begin(), captured.end(), spectrum.begin(), [M](creal32_T s) {
    return 1.0F / flightpath::modulus({M - s.re, 0.0F - s.im});
  });
  coder::fftshift(spectrum);
}
