#pragma once

#include <cmath>

namespace flightpath {

/// The distance of two normalised frequencies, which repeat with period 1.
inline double cyclicDistance(double a, double b) {
  return std::fabs((a - b) - std::nearbyint(a - b));
}

/// The normalised frequencies that answers may have: from `first` on, over `width`; at most one period.
class DelayWindow {
 public:
  /// One period, centred on zero.
  DelayWindow() = default;

  DelayWindow(double first, double width) : first_(first), width_(std::fmin(width, 1.0)) {}

  bool isWholePeriod() const { return width_ >= 1.0; }
  double first() const { return first_; }
  double last() const { return first_ + width_; }
  double width() const { return width_; }

  /// The alias of f within one period from `first` on.
  double wrap(double f) const {
    const double within = f - std::floor(f - first_);
    return within < first_ + 1.0 ? within
                                 : first_;  // where the difference is rounded up to a period
  }

  bool contains(double f) const { return wrap(f) <= last(); }

  /// The alias of f in the window, or the nearer end of it; f itself where the window is a whole period.
  double nearest(double f) const {
    if (isWholePeriod()) {
      return f;
    }
    const double within = wrap(f);
    if (within <= last()) {
      return within;
    }
    return cyclicDistance(within, first()) < cyclicDistance(within, last()) ? first() : last();
  }

 private:
  double first_ = -0.5;
  double width_ = 1.0;
};

/// The window from `first` to `last`, or the period that one of them begins or ends where the other is
/// infinite; the period centred on zero where both are.
///
/// Errors: std::invalid_argument where they enclose nothing.
DelayWindow delayWindow(double first, double last);

}  // namespace flightpath
