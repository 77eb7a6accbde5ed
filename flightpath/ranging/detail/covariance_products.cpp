#include "flightpath/ranging/detail/covariance_products.h"

#include <algorithm>
#include <cstddef>

#include "flightpath/ranging/detail/real_form.h"
#include "flightpath/runtime/detail/wide_vectors.h"

namespace flightpath {
namespace {

/// out(k) := a(k) conj(b(k))
FLIGHTPATH_WIDE_VECTORS void timesConjugate(const Complex* a, const Complex* b, std::size_t n,
                                            Complex* out) {
  for (std::size_t k = 0; k < n; ++k) {
    out[k] = conjugateTimes(b[k], a[k]);
  }
}

/// out(k) += a(k) conj(b(k))
FLIGHTPATH_WIDE_VECTORS void addTimesConjugate(const Complex* a, const Complex* b, std::size_t n,
                                               Complex* out) {
  for (std::size_t k = 0; k < n; ++k) {
    out[k] += conjugateTimes(b[k], a[k]);
  }
}

}  // namespace

CovarianceProducts::CovarianceProducts(int N, int L, int numRows)
    : N_(N),
      L_(L),
      K_(N - L + 1),
      transform_(fastTransformLength(N)),
      rows_(static_cast<std::size_t>(numRows), transform_.values()),
      vector_(transform_.values().size()),
      sum_(vector_.size()) {}

void CovarianceProducts::form(const SampleBlock& samples) {
  trace_ = 0.0;
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    const std::span<const double> re = samples.re(static_cast<int>(row));
    const std::span<const double> im = samples.im(static_cast<int>(row));
    std::ranges::transform(re, im, transform_.values().begin(),
                           [](double x, double y) { return Complex(x, y); });
    keepValues(N_);
    transform_.toSpectrum();
    rows_[row] = transform_.spectrum();
    addTrace(re, im);
  }
}

/// Sample n stands in as many elements of X as there are pairs m + j = n, and R has F twice.
void CovarianceProducts::addTrace(std::span<const double> re, std::span<const double> im) {
  for (int n = 0; n < N_; ++n) {
    const auto at = static_cast<std::size_t>(n);
    const int times = std::min({n + 1, K_, L_, N_ - n});
    trace_ += 2.0 * times * (re[at] * re[at] + im[at] * im[at]);
  }
}

/// The values from this one on become zero.
void CovarianceProducts::keepValues(int count) {
  std::fill(transform_.values().begin() + count, transform_.values().end(), Complex());
}

/// values := (number of points)^2 F values
void CovarianceProducts::applyToVector() {
  std::vector<Complex>& spectrum = transform_.spectrum();
  transform_.toSpectrum();
  std::ranges::copy(spectrum, vector_.begin());
  std::ranges::fill(sum_, Complex());
  for (const std::vector<Complex>& row : rows_) {
    timesConjugate(row.data(), vector_.data(), row.size(), spectrum.data());
    transform_.toValues();
    keepValues(K_);
    transform_.toSpectrum();
    addTimesConjugate(row.data(), spectrum.data(), row.size(), sum_.data());
  }
  std::ranges::copy(sum_, spectrum.begin());
  transform_.toValues();
}

void CovarianceProducts::multiply(std::span<const double> v, std::span<double> product) {
  std::vector<Complex>& values = transform_.values();
  const auto L = static_cast<std::size_t>(L_);
  fromRealForm(v, [&](std::size_t m, double re, double im) { values[m] = {re, im}; });
  keepValues(L_);
  applyToVector();
  const auto points = static_cast<double>(transform_.size());
  for (std::size_t m = 0; m < (L + 1) / 2; ++m) {
    const Complex sum = values[m] + std::conj(values[L - 1 - m]);
    values[m] = sum / (points * points);
  }
  toRealForm(std::span<const Complex>(values).first(L), product);
}

}  // namespace flightpath
