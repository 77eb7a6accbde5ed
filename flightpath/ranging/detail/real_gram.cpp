#include "flightpath/ranging/detail/real_gram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace flightpath {
namespace {

std::size_t area(int rows, int cols) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

/// A row of complex values, parts apart.
struct Row {
  double* re;
  double* im;
};

struct ConstRow {
  const double* re;
  const double* im;
};

/// out(j) += conj(factor) values(j)
void addConjTimes(double re, double im, ConstRow values, int n, Row out) {
  for (int j = 0; j < n; ++j) {
    out.re[j] += re * values.re[j] + im * values.im[j];
    out.im[j] += re * values.im[j] - im * values.re[j];
  }
}

/// out(j) += conj(factor values(j))
void addConjOfProduct(double re, double im, ConstRow values, int n, Row out) {
  for (int j = 0; j < n; ++j) {
    out.re[j] += re * values.re[j] - im * values.im[j];
    out.im[j] -= re * values.im[j] + im * values.re[j];
  }
}

}  // namespace

RealGram::RealGram(int N, int L)
    : N_(N),
      L_(L),
      K_(N - L + 1),
      xr_(area(N, 1)),
      xi_(area(N, 1)),
      Pr_(area(K_, K_)),
      Pi_(area(K_, K_)),
      Sr_(area(K_, K_)),
      Si_(area(K_, K_)),
      C_(area(2 * K_, 2 * K_)) {}

void RealGram::form(const SampleBlock& samples) {
  std::ranges::copy(samples.re(0), xr_.begin());
  std::ranges::copy(samples.im(0), xi_.begin());
  firstRows();
  remainingRows();
  const auto K = static_cast<std::size_t>(K_);
  assembleRealForm({Pr_, Pi_, Sr_, Si_}, K, 2 * K, C_);
}

/// Row 0 of P and S, and the last column of S, as sums over the subvector.
void RealGram::firstRows() {
  std::fill_n(Pr_.data(), K_, 0.0);
  std::fill_n(Pi_.data(), K_, 0.0);
  std::fill_n(Sr_.data(), K_, 0.0);
  std::fill_n(Si_.data(), K_, 0.0);
  for (int l = 0; l < L_; ++l) {
    const double re = xr_[static_cast<std::size_t>(l)];
    const double im = xi_[static_cast<std::size_t>(l)];
    const int mirrored = L_ - 1 - l;
    addConjTimes(re, im, {xr_.data() + l, xi_.data() + l}, K_, {Pr_.data(), Pi_.data()});
    addConjOfProduct(re, im, {xr_.data() + mirrored, xi_.data() + mirrored}, K_,
                     {Sr_.data(), Si_.data()});
  }
}

void RealGram::remainingRows() {
  for (int i = 0; i + 1 < K_; ++i) {
    nextRowOfP(i);
    nextRowOfS(i);
  }
}

/// P(i + 1, j + 1) = P(i, j) - conj(x(i)) x(j) + conj(x(i + L)) x(j + L) for j = i ... K - 2
void RealGram::nextRowOfP(int i) {
  const double* const xr = xr_.data();
  const double* const xi = xi_.data();
  const std::size_t from = area(i, K_ + 1);  // P(i, i)
  const std::size_t to = area(i + 1, K_ + 1);
  const int n = K_ - 1 - i;
  const Row P = {Pr_.data() + to, Pi_.data() + to};
  std::copy_n(Pr_.data() + from, n, P.re);
  std::copy_n(Pi_.data() + from, n, P.im);
  addConjTimes(-xr[i], -xi[i], {xr + i, xi + i}, n, P);
  addConjTimes(xr[i + L_], xi[i + L_], {xr + i + L_, xi + i + L_}, n, P);
}

/// S(i + 1, j - 1) = S(i, j) - conj(x(i) x(j + L - 1)) + conj(x(i + L) x(j - 1)) for j = 1 ... K - 1
///
/// The last element has no such neighbour: S(i + 1, K - 1) is the sum over l of
/// conj(x(i + 1 + l) x(N - 1 - l)).
void RealGram::nextRowOfS(int i) {
  const double* const xr = xr_.data();
  const double* const xi = xi_.data();
  const int n = K_ - 1;
  const Row S = {Sr_.data() + area(i + 1, K_), Si_.data() + area(i + 1, K_)};
  std::copy_n(Sr_.data() + area(i, K_) + 1, n, S.re);
  std::copy_n(Si_.data() + area(i, K_) + 1, n, S.im);
  addConjOfProduct(-xr[i], -xi[i], {xr + L_, xi + L_}, n, S);
  addConjOfProduct(xr[i + L_], xi[i + L_], {xr, xi}, n, S);
  double re = 0.0;
  double im = 0.0;
  for (int a = i + 1, b = N_ - 1; a <= i + L_; ++a, --b) {
    re += xr[a] * xr[b] - xi[a] * xi[b];
    im -= xr[a] * xi[b] + xi[a] * xr[b];
  }
  S.re[n] = re;
  S.im[n] = im;
}

void RealGram::eigenvector(std::span<const double> pq, double c, std::span<double> re,
                           std::span<double> im) const {
  std::ranges::fill(re, 0.0);
  std::ranges::fill(im, 0.0);
  for (int j = 0; j < K_; ++j) {
    const double p = pq.data()[j];
    const double q = pq.data()[j + K_];
    const double* const xr = xr_.data() + j;
    const double* const xi = xi_.data() + j;
    for (std::size_t m = 0; m < re.size(); ++m) {
      re[m] += p * xr[m] - q * xi[m];
      im[m] += p * xi[m] + q * xr[m];
    }
  }
  // e = y + J conj(y), scaled: element m meets element L - 1 - m.
  const double scale = 1.0 / std::sqrt(2.0 * c);
  for (std::size_t m = 0, back = re.size() - 1; m <= back && back < re.size(); ++m, --back) {
    const double sumRe = (re[m] + re[back]) * scale;
    const double differenceIm = (im[m] - im[back]) * scale;
    re[m] = re[back] = sumRe;
    im[m] = differenceIm;
    im[back] = -differenceIm;
  }
}

}  // namespace flightpath
