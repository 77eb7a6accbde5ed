#include "flightpath/ranging/detail/real_covariance.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace flightpath {
namespace {

std::size_t area(int rows, int cols) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

SampleParts partsOf(const SampleBlock& samples, int row) {
  return {samples.re(row).data(), samples.im(row).data()};
}

}  // namespace

RealCovariance::RealCovariance(int N, int L)
    : N_(N),
      L_(L),
      K_(N - L + 1),
      addProducts_(fastestLaggedProducts()),
      zeros_(area(N, 1)),
      Gr_(area(N, 1)),
      Gi_(area(N, 1)),
      Rr_(area(L, 1)),
      Ri_(area(L, 1)),
      Ar_(area(L / 2, L / 2)),
      Ai_(Ar_.size()),
      Br_(Ar_.size()),
      Bi_(Ar_.size()),
      C_(area(L, L)) {}

void RealCovariance::form(const SampleBlock& samples) {
  for (int offset = 0; offset < L_; ++offset) {
    diagonalOfProducts(samples, offset);
    diagonalOfCovariance(offset);
    place(offset);
  }
  const auto h = static_cast<std::size_t>(L_ / 2);
  assembleRealForm({Ar_, Ai_, Br_, Bi_}, h, static_cast<std::size_t>(L_), C_);
}

/// G(i, i + offset), two rows at a time; the last of an odd number of rows beside zeros.
void RealCovariance::diagonalOfProducts(const SampleBlock& samples, int offset) {
  const auto lag = static_cast<std::size_t>(offset);
  const std::size_t n = static_cast<std::size_t>(N_) - lag;
  std::fill_n(Gr_.begin(), n, 0.0);
  std::fill_n(Gi_.begin(), n, 0.0);
  const SampleParts none = {zeros_.data(), zeros_.data()};
  for (int row = 0; row < samples.numRows(); row += 2) {
    const bool isLast = row + 1 == samples.numRows();
    addProducts_(partsOf(samples, row), isLast ? none : partsOf(samples, row + 1), lag, n,
                 Gr_.data(), Gi_.data());
  }
}

/// F(i, i + offset) is the sum of K elements of G from i on; R(i, i + offset) adds to it the one as far
/// from the other end.
void RealCovariance::diagonalOfCovariance(int offset) {
  const int n = L_ - offset;
  const auto K = static_cast<std::size_t>(K_);
  const auto sumOfWindows = [&](const std::vector<double>& G, std::vector<double>& F) {
    double sum = 0.0;
    for (int k = 0; k < K_; ++k) {
      sum += G[static_cast<std::size_t>(k)];
    }
    for (int i = 0; i < n; ++i) {
      F[static_cast<std::size_t>(i)] = sum;
      if (i + 1 < n) {
        sum += G[static_cast<std::size_t>(i) + K] - G[static_cast<std::size_t>(i)];
      }
    }
    for (int front = 0, back = n - 1; front <= back; ++front, --back) {
      const double both = F[static_cast<std::size_t>(front)] + F[static_cast<std::size_t>(back)];
      F[static_cast<std::size_t>(front)] = F[static_cast<std::size_t>(back)] = both;
    }
  };
  sumOfWindows(Gr_, Rr_);
  sumOfWindows(Gi_, Ri_);
}

/// The elements of R(i, i + offset) that A, B and the middle row of C are made of.
void RealCovariance::place(int offset) {
  const int h = L_ / 2;
  const auto order = static_cast<std::size_t>(L_);
  const auto middle = static_cast<std::size_t>(h);
  for (int i = 0; i < h && i + offset < L_; ++i) {
    const auto from = static_cast<std::size_t>(i);
    const int j = i + offset;
    const int mirrored = L_ - 1 - j;
    if (j < h) {
      Ar_[area(i, h) + static_cast<std::size_t>(j)] = Rr_[from];
      Ai_[area(i, h) + static_cast<std::size_t>(j)] = Ri_[from];
    } else if (mirrored < h) {
      Br_[area(i, h) + static_cast<std::size_t>(mirrored)] = Rr_[from];
      Bi_[area(i, h) + static_cast<std::size_t>(mirrored)] = Ri_[from];
    } else {
      const std::size_t q = middle + 1 + from;
      C_[from * order + middle] = C_[middle * order + from] = std::numbers::sqrt2 * Rr_[from];
      C_[q * order + middle] = C_[middle * order + q] = std::numbers::sqrt2 * Ri_[from];
    }
  }
  if (offset == 0 && L_ % 2 == 1) {
    C_[middle * order + middle] = Rr_[middle];
  }
}

void RealCovariance::eigenvector(std::span<const double> v, double /*value*/, std::span<double> re,
                                 std::span<double> im) const {
  fromRealForm(v, [&](std::size_t m, double real, double imaginary) {
    re[m] = real;
    im[m] = imaginary;
  });
}

}  // namespace flightpath
