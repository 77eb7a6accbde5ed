#include "flightpath/ranging/real_gram.h"

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

void RealGram::form(const creal32_T* samples, double scale) {
  for (int k = 0; k < N_; ++k) {
    xr_[static_cast<std::size_t>(k)] = scale * samples[k].re;
    xi_[static_cast<std::size_t>(k)] = scale * samples[k].im;
  }
  firstRows();
  remainingRows();
  assemble();
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

/// P(i + 1, j + 1) = P(i, j) - conj(x(i)) x(j) + conj(x(i + L)) x(j + L)
/// S(i + 1, j - 1) = S(i, j) - conj(x(i) x(j + L - 1)) + conj(x(i + L) x(j - 1))
///
/// and S(i + 1, K - 1) = S(K - 1, i + 1), in closed form from the sums that the row before it needs:
/// the sum over l of conj(x(i + 1 + l) x(N - 1 - l)).
void RealGram::remainingRows() {
  for (int i = 0; i + 1 < K_; ++i) {
    const std::size_t row = area(i, K_);
    const std::size_t next = area(i + 1, K_);
    const double oldRe = xr_[static_cast<std::size_t>(i)];
    const double oldIm = xi_[static_cast<std::size_t>(i)];
    const double newRe = xr_[static_cast<std::size_t>(i + L_)];
    const double newIm = xi_[static_cast<std::size_t>(i + L_)];

    const int n = K_ - 1 - i;  // columns i ... K - 2 go on to i + 1 ... K - 1
    const Row P = {Pr_.data() + next + i + 1, Pi_.data() + next + i + 1};
    std::copy_n(Pr_.data() + row + i, n, P.re);
    std::copy_n(Pi_.data() + row + i, n, P.im);
    addConjTimes(-oldRe, -oldIm, {xr_.data() + i, xi_.data() + i}, n, P);
    addConjTimes(newRe, newIm, {xr_.data() + i + L_, xi_.data() + i + L_}, n, P);

    const Row S = {Sr_.data() + next, Si_.data() + next};
    std::copy_n(Sr_.data() + row + 1, K_ - 1, S.re);
    std::copy_n(Si_.data() + row + 1, K_ - 1, S.im);
    addConjOfProduct(-oldRe, -oldIm, {xr_.data() + L_, xi_.data() + L_}, K_ - 1, S);
    addConjOfProduct(newRe, newIm, {xr_.data(), xi_.data()}, K_ - 1, S);
    S.re[K_ - 1] = 0.0;
    S.im[K_ - 1] = 0.0;
    for (int l = 0; l < L_; ++l) {
      const std::size_t a = static_cast<std::size_t>(i + 1 + l);
      const std::size_t b = static_cast<std::size_t>(N_ - 1 - l);
      S.re[K_ - 1] += xr_[a] * xr_[b] - xi_[a] * xi_[b];
      S.im[K_ - 1] -= xr_[a] * xi_[b] + xi_[a] * xr_[b];
    }
  }
}

void RealGram::assemble() {
  const std::size_t n = static_cast<std::size_t>(2 * K_);
  const std::size_t K = static_cast<std::size_t>(K_);
  for (std::size_t i = 0; i < K; ++i) {
    for (std::size_t j = i; j < K; ++j) {
      const std::size_t at = i * K + j;
      const double upper = Sr_[at] + Pr_[at];
      const double lower = Pr_[at] - Sr_[at];
      const double right = Si_[at] - Pi_[at];
      const double left = Si_[at] + Pi_[at];
      C_[i * n + j] = C_[j * n + i] = upper;
      C_[(K + i) * n + K + j] = C_[(K + j) * n + K + i] = lower;
      C_[i * n + K + j] = C_[(K + j) * n + i] = right;
      C_[j * n + K + i] = C_[(K + i) * n + j] = left;
    }
  }
}

void RealGram::eigenvector(std::span<const double> pq, double c, std::span<double> re,
                           std::span<double> im) const {
  std::ranges::fill(re, 0.0);
  std::ranges::fill(im, 0.0);
  for (int j = 0; j < K_; ++j) {
    const double p = pq[static_cast<std::size_t>(j)];
    const double q = pq[static_cast<std::size_t>(j + K_)];
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
