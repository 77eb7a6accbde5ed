#include "fuzz/support/plain_signal_count.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "flightpath/music/eigen.h"
#include "flightpath/music/likelihood.h"
#include "flightpath/music/smoothing.h"
#include "tests/support/builders.h"

namespace fuzz {
namespace {

using coder::array;

array<creal32_T, 2> outerProduct(const array<creal32_T, 1>& x) {
  array<creal32_T, 2> R;
  R.set_size(x.numel, x.numel);
  for (int j = 0; j < x.numel; ++j) {
    for (int i = 0; i < x.numel; ++i) {
      R(i, j) = {x[i].re * x[j].re + x[i].im * x[j].im, x[i].im * x[j].re - x[i].re * x[j].im};
    }
  }
  return R;
}

/// Half of a complex value, a part that is zero left out.
creal32_T half(creal32_T z) {
  if (z.im == 0.0F) {
    return {z.re * 0.5F, 0.0F};
  }
  return {z.re == 0.0F ? 0.0F : z.re * 0.5F, z.im * 0.5F};
}

array<creal32_T, 2> hermitian(const array<creal32_T, 2>& R) {
  array<creal32_T, 2> A;
  A.set_size(R.size[0], R.size[1]);
  for (int j = 0; j < R.size[1]; ++j) {
    for (int i = 0; i < R.size[0]; ++i) {
      A(i, j) = half({R(i, j).re + R(j, i).re, R(i, j).im - R(j, i).im});
    }
  }
  return A;
}

/// 0-based positions of the real parts, largest first, equals and NaNs in their order, NaNs in front.
std::vector<int> strongestFirst(const array<creal32_T, 1>& d) {
  std::vector<int> order(static_cast<std::size_t>(d.numel));
  std::iota(order.begin(), order.end(), 0);
  std::ranges::stable_sort(order, [&](int a, int b) {
    const bool aIsNaN = std::isnan(d[a].re);
    const bool bIsNaN = std::isnan(d[b].re);
    return aIsNaN || bIsNaN ? aIsNaN && !bIsNaN : d[a].re > d[b].re;
  });
  return order;
}

/// The k of the smallest Q(k), the first of equals; NaN is passed over.
float minimisingCount(const array<float, 1>& eigenvalues, bool smoothed) {
  const double m = eigenvalues.numel;
  int best = 0;
  double smallest = std::numeric_limits<double>::quiet_NaN();
  for (int k = 0; k < eigenvalues.numel; ++k) {
    const double penalty = smoothed ? (2.0 * m - k + 1.0) * k * 0.5 : (2.0 * m - k) * k;
    const float Q = static_cast<float>(penalty) + coder::phased::internal::Ld(k, eigenvalues, m);
    if (static_cast<double>(Q) < smallest || (std::isnan(smallest) && !std::isnan(Q))) {
      smallest = static_cast<double>(Q);
      best = k;
    }
  }
  return static_cast<float>(best);
}

}  // namespace

float plainSignalCount(const array<creal32_T, 1>& x, bool smoothed,
                       array<creal32_T, 2>& eigenvectors) {
  array<creal32_T, 2> R;
  if (smoothed) {
    measurementSmoothing(x, R);
  } else {
    R = outerProduct(x);
  }
  array<creal32_T, 2> V;
  array<creal32_T, 1> d;
  coder::eig(hermitian(R), V, d);
  eigenvectors.set_size(V.size[0], V.size[1]);
  std::vector<float> positive;
  int column = 0;
  for (const int k : strongestFirst(d)) {
    for (int i = 0; i < V.size[0]; ++i) {
      eigenvectors(i, column) = V(i, k);
    }
    ++column;
    if (!(d[k].re <= 0.0F)) {
      positive.push_back(d[k].re);
    }
  }
  return minimisingCount(support::column(positive), smoothed);
}

}  // namespace fuzz
