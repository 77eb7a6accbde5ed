#include "flightpath/spectrum/detail/fft_axis.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "flightpath/runtime/detail/conversion.h"
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

}  // namespace

namespace flightpath {

void fftFrequencies(double n, array<float, 1>& freqs) {
  array<double, 2> w;
  angularGrid(n, w);
  centredFrequencies(w, freqs);
}

}  // namespace flightpath
