#include "flightpath/ranging/detail/option_checks.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace flightpath {
namespace {

void require(bool holds, const char* who, const char* name, const std::string& complaint) {
  if (!holds) {
    throw std::invalid_argument(std::string(who) + ": " + name + " is " + complaint);
  }
}

}  // namespace

void requireFiniteAboveZero(double value, const char* name, const char* who) {
  require(value > 0.0 && std::isfinite(value), who, name, "not a finite number above 0");
}

void requireProbability(double value, const char* name, const char* who) {
  require(value > 0.0 && value < 1.0, who, name, "not above 0 and below 1");
}

void requireWithin(std::uint32_t value, std::uint32_t least, std::uint32_t most, const char* name,
                   const char* who) {
  require(value >= least && value <= most, who, name,
          "not within " + std::to_string(least) + " ... " + std::to_string(most));
}

void requireAtMost(std::uint32_t value, std::uint32_t most, const char* name, const char* who) {
  require(value <= most, who, name, "above " + std::to_string(most));
}

}  // namespace flightpath
