#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

/// Evenly spaced points, each by its formula alone.
namespace support::grid {

/// One float operation: its operands are floats, its double result is rounded once more, which for
/// the four basic operations gives the correctly rounded float.
inline float rounded(double value) { return static_cast<float>(value); }

/// Inner point k (counted from 1) of N of the float grid, by each of its three forms.
using Form = float (*)(float d1, float d2, std::int64_t k, std::int64_t n);

inline float symmetric(float, float d2, std::int64_t k, std::int64_t n) {
  const float delta = rounded(double{d2} / rounded(static_cast<double>(n - 1)));
  if (2 * k == n + 1) {
    return 0.0F;
  }
  return rounded(double{rounded(static_cast<double>(2 * k - n - 1))} * delta);
}

inline float withoutDifference(float d1, float d2, std::int64_t k, std::int64_t n) {
  const auto intervals = static_cast<double>(n - 1);
  const double steps = rounded(static_cast<double>(k - 1));
  const float rise = rounded(steps * rounded(d2 / intervals));
  const float fall = rounded(steps * rounded(d1 / intervals));
  return rounded(double{rounded(double{d1} + rise)} - fall);
}

inline float fromFirst(float d1, float d2, std::int64_t k, std::int64_t n) {
  const float difference = rounded(double{d2} - d1);
  const float delta = rounded(difference / double{rounded(static_cast<double>(n - 1))});
  const float steps = rounded(static_cast<double>(k - 1));
  return rounded(double{rounded(double{steps} * delta)} + d1);
}

/// The form that the ends call for: half of the largest float is where a difference of opposite
/// signs may overflow.
inline Form formFor(float d1, float d2) {
  const bool opposite = (d1 < 0.0F && !(d2 < 0.0F)) || (d2 < 0.0F && !(d1 < 0.0F));
  if (d1 == -d2) {
    return symmetric;
  }
  if (opposite && (std::fabs(d1) > 1.7014117e38F || std::fabs(d2) > 1.7014117e38F)) {
    return withoutDifference;
  }
  return fromFirst;
}

inline std::vector<float> slowGrid(Form form, float d1, float d2, int n) {
  std::vector<float> y;
  for (int k = 1; k <= n; ++k) {
    y.push_back(k == n ? d2 : k == 1 ? d1 : form(d1, d2, k, n));
  }
  return y;
}

/// Inner point k of N of the double grid, which starts at 0.
inline double fromZero(double d2, std::int64_t k, std::int64_t n) {
  const double delta = d2 / static_cast<double>(n - 1);
  if (d2 != 0.0) {
    return static_cast<double>(k - 1) * delta;
  }
  return 2 * k == n + 1 ? 0.0 : static_cast<double>(2 * k - n - 1) * delta;
}

inline std::vector<double> slowGrid(double d2, int n) {
  std::vector<double> y;
  for (int k = 1; k <= n; ++k) {
    y.push_back(k == n ? d2 : k == 1 ? 0.0 : fromZero(d2, k, n));
  }
  return y;
}

}  // namespace support::grid
