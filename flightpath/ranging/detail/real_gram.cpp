#include "flightpath/ranging/detail/real_gram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "flightpath/runtime/detail/wide_vectors.h"

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
inline void addConjTimes(double re, double im, ConstRow values, int n, Row out) {
  for (int j = 0; j < n; ++j) {
    out.re[j] += re * values.re[j] + im * values.im[j];
    out.im[j] += re * values.im[j] - im * values.re[j];
  }
}

/// out(j) += factor values(j)
inline void addTimes(double re, double im, ConstRow values, int n, Row out) {
  for (int j = 0; j < n; ++j) {
    out.re[j] += re * values.re[j] - im * values.im[j];
    out.im[j] += re * values.im[j] + im * values.re[j];
  }
}

/// out(j) += conj(factor values(j))
inline void addConjOfProduct(double re, double im, ConstRow values, int n, Row out) {
  for (int j = 0; j < n; ++j) {
    out.re[j] += re * values.re[j] - im * values.im[j];
    out.im[j] -= re * values.im[j] + im * values.re[j];
  }
}

/// P(0, j) and S(0, j) += the sums over l < L of conj(x(l)) x(l + j) and of conj(x(l + j) x(L - 1 - l)).
FLIGHTPATH_WIDE_VECTORS void addFirstRows(ConstRow x, int L, int K, Row P, Row S) {
  for (int l = 0; l < L; ++l) {
    const int mirrored = L - 1 - l;
    addConjTimes(x.re[l], x.im[l], {x.re + l, x.im + l}, K, P);
    addConjOfProduct(x.re[l], x.im[l], {x.re + mirrored, x.im + mirrored}, K, S);
  }
}

/// S(i + 1, K - 1) += the sum over l < L of conj(x(i + 1 + l) x(N - 1 - l)), for all i.
FLIGHTPATH_WIDE_VECTORS void addLastColumn(ConstRow x, int N, int L, int n, Row last) {
  for (int l = 0; l < L; ++l) {
    const int back = N - 1 - l;
    addConjOfProduct(x.re[back], x.im[back], {x.re + 1 + l, x.im + 1 + l}, n, last);
  }
}

/// y += X (p + i q), X(m, j) = x(m + j)
FLIGHTPATH_WIDE_VECTORS void addColumns(ConstRow x, const double* pq, int L, int K, Row y) {
  for (int j = 0; j < K; ++j) {
    addTimes(pq[j], pq[j + K], {x.re + j, x.im + j}, L, y);
  }
}

/// row += conj(x(i + L)) second - conj(x(i)) first
FLIGHTPATH_WIDE_VECTORS void slideP(ConstRow x, int i, int L, int n, Row row) {
  addConjTimes(-x.re[i], -x.im[i], {x.re + i, x.im + i}, n, row);
  addConjTimes(x.re[i + L], x.im[i + L], {x.re + i + L, x.im + i + L}, n, row);
}

FLIGHTPATH_WIDE_VECTORS void slideS(ConstRow x, int i, int L, int n, Row row) {
  addConjOfProduct(-x.re[i], -x.im[i], {x.re + L, x.im + L}, n, row);
  addConjOfProduct(x.re[i + L], x.im[i + L], x, n, row);
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
      lastRe_(area(K_ - 1, 1)),
      lastIm_(area(K_ - 1, 1)),
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
  std::ranges::fill(lastRe_, 0.0);
  std::ranges::fill(lastIm_, 0.0);
  const ConstRow x = {xr_.data(), xi_.data()};
  addFirstRows(x, L_, K_, {Pr_.data(), Pi_.data()}, {Sr_.data(), Si_.data()});
  addLastColumn(x, N_, L_, K_ - 1, {lastRe_.data(), lastIm_.data()});
}

void RealGram::remainingRows() {
  for (int i = 0; i + 1 < K_; ++i) {
    nextRowOfP(i);
    nextRowOfS(i);
  }
}

/// P(i + 1, j + 1) = P(i, j) - conj(x(i)) x(j) + conj(x(i + L)) x(j + L) for j = i ... K - 2
void RealGram::nextRowOfP(int i) {
  const std::size_t from = area(i, K_ + 1);  // P(i, i)
  const std::size_t to = area(i + 1, K_ + 1);
  const int n = K_ - 1 - i;
  const Row P = {Pr_.data() + to, Pi_.data() + to};
  std::copy_n(Pr_.data() + from, n, P.re);
  std::copy_n(Pi_.data() + from, n, P.im);
  slideP({xr_.data(), xi_.data()}, i, L_, n, P);
}

/// S(i + 1, j - 1) = S(i, j) - conj(x(i) x(j + L - 1)) + conj(x(i + L) x(j - 1)) for j = 1 ... K - 1
///
/// The last element has no such neighbour: addLastColumn made it.
void RealGram::nextRowOfS(int i) {
  const double* const xr = xr_.data();
  const double* const xi = xi_.data();
  const int n = K_ - 1;
  const Row S = {Sr_.data() + area(i + 1, K_), Si_.data() + area(i + 1, K_)};
  std::copy_n(Sr_.data() + area(i, K_) + 1, n, S.re);
  std::copy_n(Si_.data() + area(i, K_) + 1, n, S.im);
  slideS({xr, xi}, i, L_, n, S);
  S.re[n] = lastRe_[static_cast<std::size_t>(i)];
  S.im[n] = lastIm_[static_cast<std::size_t>(i)];
}

void RealGram::eigenvector(std::span<const double> pq, double c, std::span<double> re,
                           std::span<double> im) const {
  std::ranges::fill(re, 0.0);
  std::ranges::fill(im, 0.0);
  addColumns({xr_.data(), xi_.data()}, pq.data(), L_, K_, {re.data(), im.data()});
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
