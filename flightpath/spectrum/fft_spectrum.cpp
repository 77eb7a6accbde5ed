#include "flightpath/spectrum/fft_spectrum.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "flightpath/runtime/complex_math.h"
#include "flightpath/runtime/conversion.h"
#include "flightpath/runtime/view.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fft_length.h"
#include "flightpath/spectrum/fir_response.h"
#include "flightpath/toolbox/grids.h"

namespace {

using coder::array;

constexpr double twoPi = 6.283185307179586;
constexpr double pi = twoPi / 2.0;

/// w(position) := value, 1-based and truncated, where the grid has such a point.
void setPoint(array<double, 2>& w, double position, double value) {
  const std::int32_t i = flightpath::truncateWithin(position, 0, w.numel + 1);
  if (i >= 1 && i <= w.numel) {
    w[i - 1] = value;
  }
}

/// n angles from 0 to 2 pi - 2 pi / n. The ramp rounds; the points at and around pi, and the last
/// one, are set exactly.
void angularGrid(double n, array<double, 2>& w) {
  const double last = twoPi - twoPi / n;
  coder::linspace(last, n, w);
  const double parity = std::fmod(n, 2.0);
  if (parity == 0.0) {
    setPoint(w, n * 0.5 + 1.0, pi);
  } else if (parity == 1.0) {
    const double halfStep = twoPi / (2.0 * n);
    setPoint(w, (n + 1.0) * 0.5, pi - halfStep);
    setPoint(w, (n + 1.0) * 0.5 + 1.0, pi + halfStep);
  }
  setPoint(w, n, last);
}

/// The grid in cycles per sample, centred: the upper half of the circle as negative frequencies.
void centredFrequencies(const array<double, 2>& w, array<float, 1>& freqs) {
  constexpr float twoPiF = 6.2831855F;
  freqs.set_size(w.numel);
  std::transform(w.begin(), w.end(), freqs.begin(), [](double v) { return static_cast<float>(v); });
  coder::fftshift(freqs);
  std::transform(freqs.begin(), freqs.end(), freqs.begin(), [](float v) { return v / twoPiF; });
  std::for_each(freqs.begin(), freqs.begin() + freqs.numel / 2, [](float& v) { v -= 1.0F; });
}

/// A tap with the sign of its zeros taken away, where that leaves the value the same.
creal32_T withPositiveZeros(creal32_T z) {
  if (z.im == 0.0F) {
    return {z.re, 0.0F};
  }
  return {z.re == 0.0F ? 0.0F : z.re, z.im};
}

/// energies(:, k) := |response of column k of U|^2 for every column.
void storeEnergies(MUSICLib* obj, const array<creal32_T, 2>& U, double n,
                   array<creal32_T, 2>& energies) {
  array<creal32_T, 1> taps;
  array<creal32_T, 1> response;
  taps.set_size(U.size[0]);
  for (std::int32_t k = 0; k < U.size[1]; ++k) {
    std::ranges::transform(flightpath::column(U, k), taps.begin(), withPositiveZeros);
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
  std::ranges::transform(U, U.begin(), flightpath::conjugate);
  array<double, 2> w;
  angularGrid(N, w);
  energies.set_size(w.numel, U.size[1]);
  storeEnergies(obj, U, N, energies);
  array<creal32_T, 1> captured;
  addEnergies(energies, captured);

  const auto M = static_cast<float>(U.size[0]);
  spectrum.set_size(captured.numel);
  std::transform(captured.begin(), captured.end(), spectrum.begin(), [M](creal32_T s) {
    return 1.0F / flightpath::modulus({M - s.re, 0.0F - s.im});
  });
  coder::fftshift(spectrum);
  centredFrequencies(w, freqs);
}
