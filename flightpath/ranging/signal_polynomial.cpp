#include "flightpath/ranging/signal_polynomial.h"

#include <algorithm>
#include <cstddef>

namespace flightpath {
namespace {

// Points that Horner's rule takes side by side: enough to fill the pipeline, few enough for registers.
constexpr std::size_t lanes = 8;

struct Lanes {
  double re[lanes];
  double im[lanes];
};

/// a := a z + r, in every lane.
void hornerStep(Lanes& a, const Lanes& z, double re, double im) {
  for (std::size_t i = 0; i < lanes; ++i) {
    const double next = a.re[i] * z.re[i] - a.im[i] * z.im[i] + re;
    a.im[i] = a.re[i] * z.im[i] + a.im[i] * z.re[i] + im;
    a.re[i] = next;
  }
}

}  // namespace

SignalPolynomial::SignalPolynomial(int L)
    : re_(static_cast<std::size_t>(L)), im_(static_cast<std::size_t>(L)) {}

void SignalPolynomial::clear() {
  std::ranges::fill(re_, 0.0);
  std::ranges::fill(im_, 0.0);
}

void SignalPolynomial::add(std::span<const double> re, std::span<const double> im) {
  const std::size_t L = re_.size();
  // r(d) += e(m + d) conj(e(m)): for a fixed m the lags stand side by side.
  for (std::size_t m = 0; m < L; ++m) {
    const double a = re[m];
    const double b = im[m];
    const double* const x = re.data() + m;
    const double* const y = im.data() + m;
    for (std::size_t d = 0; d < L - m; ++d) {
      re_[d] += x[d] * a + y[d] * b;
      im_[d] += y[d] * a - x[d] * b;
    }
  }
}

void SignalPolynomial::toSpectrum(std::span<creal32_T> half) const {
  for (std::size_t d = 0; d < half.size(); ++d) {
    half[d] = d < re_.size() ? creal32_T{static_cast<float>(re_[d]), static_cast<float>(im_[d])}
                             : creal32_T{};
  }
}

void SignalPolynomial::noiseEnergy(std::span<const double> pointsRe,
                                   std::span<const double> pointsIm,
                                   std::span<double> energy) const {
  const double M = static_cast<double>(re_.size());
  for (std::size_t first = 0; first < energy.size(); first += lanes) {
    const std::size_t count = std::min(lanes, energy.size() - first);
    Lanes z = {};
    Lanes a = {};
    std::copy_n(pointsRe.begin() + static_cast<std::ptrdiff_t>(first), count, z.re);
    std::copy_n(pointsIm.begin() + static_cast<std::ptrdiff_t>(first), count, z.im);
    for (std::size_t d = re_.size() - 1; d > 0; --d) {
      hornerStep(a, z, re_[d], im_[d]);
    }
    hornerStep(a, z, 0.0, 0.0);
    for (std::size_t i = 0; i < count; ++i) {
      energy[first + i] = M - (re_[0] + 2.0 * a.re[i]);
    }
  }
}

}  // namespace flightpath
