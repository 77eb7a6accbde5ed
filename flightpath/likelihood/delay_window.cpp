#include "flightpath/likelihood/delay_window.h"

#include <limits>
#include <stdexcept>

namespace flightpath {

DelayWindow delayWindow(double first, double last) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (first == -infinity && last == infinity) {
    return {};
  }
  if (std::isfinite(first) && std::isfinite(last) && first < last) {
    return {first, last - first};
  }
  if (std::isfinite(first) && last == infinity) {
    return {first, 1.0};
  }
  if (first == -infinity && std::isfinite(last)) {
    return {last - 1.0, 1.0};
  }
  throw std::invalid_argument("EarliestDistance and LatestDistance enclose nothing");
}

}  // namespace flightpath
