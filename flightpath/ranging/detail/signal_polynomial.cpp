#include "flightpath/ranging/detail/signal_polynomial.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/runtime/detail/wide_vectors.h"
#include "flightpath/toolbox/detail/small_matrices.h"

namespace flightpath {
namespace {

/// How many terms bring the rest of exp(i u), which the next one bounds, below rounding.
std::size_t taylorTerms(double largest) {
  std::size_t terms = 1;
  double rest = largest;
  while (rest > 0.125 * std::numeric_limits<double>::epsilon()) {
    ++terms;
    rest *= largest / static_cast<double>(terms);
  }
  return terms;
}

/// r(d) += e(m + d) conj(e(m)) for all m: for a fixed m the lags stand side by side.
FLIGHTPATH_WIDE_VECTORS void addLaggedProducts(const double* re, const double* im, std::size_t L,
                                               double* lagRe, double* lagIm) {
  for (std::size_t m = 0; m < L; ++m) {
    const double a = re[m];
    const double b = im[m];
    const double* const x = re + m;
    const double* const y = im + m;
    for (std::size_t d = 0; d < L - m; ++d) {
      lagRe[d] += x[d] * a + y[d] * b;
      lagIm[d] += y[d] * a - x[d] * b;
    }
  }
}

}  // namespace

SignalPolynomial::SignalPolynomial(int L, std::span<const float> offsets,
                                   Autocorrelation autocorrelation)
    : re_(static_cast<std::size_t>(L)),
      im_(re_.size()),
      shiftedRe_(re_.size()),
      shiftedIm_(re_.size()),
      energy_(offsets.size()) {
  double largest = 0.0;
  for (const float offset : offsets) {
    u_.push_back(2.0 * std::numbers::pi * L * offset);
    largest = std::max(largest, std::fabs(u_.back()));
  }
  terms_ = taylorTerms(largest);
  weights_.resize(terms_ * re_.size());
  for (std::size_t d = 0; d < re_.size(); ++d) {
    double weight = 2.0;
    for (std::size_t p = 0; p < terms_; ++p) {
      // Re(i^p z): Re z, -Im z, -Re z, Im z, ...
      weights_[p * re_.size() + d] = p % 4 == 1 || p % 4 == 2 ? -weight : weight;
      weight *= static_cast<double>(d) / L / static_cast<double>(p + 1);
    }
  }
  if (autocorrelation == Autocorrelation::ByTransforms) {
    transform_ = std::make_unique<DoubleTransform>(fastTransformLength(2 * L));
  }
}

void SignalPolynomial::clear() {
  std::ranges::fill(re_, 0.0);
  std::ranges::fill(im_, 0.0);
}

void SignalPolynomial::add(std::span<const double> re, std::span<const double> im) {
  if (transform_ != nullptr) {
    addByTransforms(re, im);
  } else {
    addLaggedProducts(re.data(), im.data(), re_.size(), re_.data(), im_.data());
  }
}

/// The autocorrelation is the inverse transform of the powers.
void SignalPolynomial::addByTransforms(std::span<const double> re, std::span<const double> im) {
  std::vector<Complex>& values = transform_->values();
  std::ranges::transform(re, im, values.begin(), [](double x, double y) { return Complex(x, y); });
  std::fill(values.begin() + static_cast<std::ptrdiff_t>(re.size()), values.end(), Complex());
  transform_->toSpectrum();
  for (Complex& value : transform_->spectrum()) {
    value = value.real() * value.real() + value.imag() * value.imag();
  }
  transform_->toValues();
  const auto points = static_cast<double>(values.size());
  for (std::size_t d = 0; d < re_.size(); ++d) {
    re_[d] += values[d].real() / points;
    im_[d] += values[d].imag() / points;
  }
}

void SignalPolynomial::toSpectrum(std::span<creal32_T> half) const {
  for (std::size_t d = 0; d < half.size(); ++d) {
    half[d] = d < re_.size() ? creal32_T{static_cast<float>(re_[d]), static_cast<float>(im_[d])}
                             : creal32_T{};
  }
}

double SignalPolynomial::taylorCoefficient(std::size_t p) const {
  const std::vector<double>& part = p % 2 == 0 ? shiftedRe_ : shiftedIm_;
  return dot(weights_.data() + p * part.size(), part.data(), static_cast<int>(part.size()));
}

std::span<const double> SignalPolynomial::noiseEnergy(double f) {
  const double stepRe = std::cos(2.0 * std::numbers::pi * f);
  const double stepIm = std::sin(2.0 * std::numbers::pi * f);
  double re = 1.0;
  double im = 0.0;
  // r(0) stands apart: what it has in the shifted lags stays zero.
  for (std::size_t d = 1; d < re_.size(); ++d) {
    const double next = re * stepRe - im * stepIm;
    im = re * stepIm + im * stepRe;
    re = next;
    shiftedRe_[d] = re_[d] * re - im_[d] * im;
    shiftedIm_[d] = re_[d] * im + im_[d] * re;
  }
  std::ranges::fill(energy_, 0.0);
  for (std::size_t p = terms_; p-- > 1;) {
    const double t = taylorCoefficient(p);
    for (std::size_t j = 0; j < energy_.size(); ++j) {
      energy_[j] = (energy_[j] + t) * u_[j];
    }
  }
  const double atOrigin = re_[0] + taylorCoefficient(0);
  const auto M = static_cast<double>(re_.size());
  for (double& energy : energy_) {
    energy = M - (atOrigin + energy);
  }
  return energy_;
}

}  // namespace flightpath
