#pragma once

#include <cmath>
#include <cstddef>
#include <functional>
#include <span>

/// The reductions over plain spans, for callers that hold a part of an array.
namespace flightpath {

/// How many elements, or columns, are added before their total joins the running sum.
constexpr std::size_t summationBlock = 1024;

/// The sum that `coder::blockedSummation` defines.
float blockedSum(std::span<const float> x);

/// 0-based position of the element that no other one precedes in the strict order `better`.
///
/// NaNs never win against a number, and the first of equal elements wins. 0 for a span that is
/// empty or all NaN.
template <class T, class Order>
std::size_t positionOfBest(std::span<const T> x, Order better) {
  std::size_t best = 0;
  while (best < x.size() && std::isnan(x[best])) {
    ++best;
  }
  if (best == x.size()) {
    return 0;
  }
  for (std::size_t k = best + 1; k < x.size(); ++k) {
    if (better(x[k], x[best])) {
      best = k;
    }
  }
  return best;
}

template <class T>
std::size_t positionOfLargest(std::span<const T> x) {
  return positionOfBest(x, std::greater<T>());
}

template <class T>
std::size_t positionOfSmallest(std::span<const T> x) {
  return positionOfBest(x, std::less<T>());
}

}  // namespace flightpath
