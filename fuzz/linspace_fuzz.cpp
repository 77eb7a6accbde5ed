// Both grids, point by point beside their formulas.

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/toolbox/grids.h"
#include "fuzz/support/any_array.h"
#include "fuzz/support/any_float.h"
#include "fuzz/support/identical.h"
#include "fuzz/support/require.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_arrays.h"
#include "tests/support/slow_grid.h"

using coder::array;
using fuzz::identical;
using fuzz::require;
using support::grid::formFor;
using support::grid::slowGrid;

namespace {

constexpr double mostPoints = 3000;
constexpr double firstRefused = 2147483648.0;  // no array holds as many

double anyDouble(FuzzedDataProvider& in) {
  using Limits = std::numeric_limits<double>;
  constexpr double halfOfLargest = 8.988465674311579e307;
  const double edges[] = {
      Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(), -Limits::denorm_min(),
      halfOfLargest, -halfOfLargest,   -9.0e307,      4503599627370496.0};
  switch (in.ConsumeIntegralInRange(0, 2)) {
    case 0:
      return in.PickValueInArray(edges);
    case 1:
      return std::bit_cast<double>(in.ConsumeIntegral<std::uint64_t>());
    default:
      return double{fuzz::anyFloat(in)};
  }
}

/// The ends of a float grid, related in the ways that its three forms tell apart.
struct Ends {
  float d1;
  float d2;
};

Ends anyEnds(FuzzedDataProvider& in) {
  constexpr float halfOfLargest = 1.7014117e38F;
  const float edges[] = {halfOfLargest, std::nextafter(halfOfLargest, INFINITY),
                         std::nextafter(halfOfLargest, 0.0F), 3.3e38F};
  const float d1 = in.ConsumeBool() ? fuzz::anyFloat(in) : in.PickValueInArray(edges);
  switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return {d1, -d1};
    case 1:
      return {-d1, in.PickValueInArray(edges)};
    case 2:
      return {d1, -fuzz::anyFloat(in)};
    default:
      return {d1, fuzz::anyFloat(in)};
  }
}

/// A count: any value, but one between the most points wanted here and what an array holds, which
/// would be granted and take gigabytes.
double anyCount(FuzzedDataProvider& in) {
  if (in.ConsumeBool()) {
    return in.ConsumeIntegralInRange(-8, 4 * static_cast<int>(mostPoints)) / 4.0;
  }
  const double n = in.ConsumeBool() ? anyDouble(in) : double{fuzz::anyFloat(in)};
  return n > mostPoints && n < firstRefused ? std::fmod(n, mostPoints) : n;
}

/// Shape, buffer and elements.
template <class T>
struct Snapshot {
  explicit Snapshot(const array<T, 2>& a) : elements(a), members(a) {}
  bool operator==(const array<T, 2>& a) const {
    return members == support::Members(a) && support::sameBits(elements, a);
  }

  array<T, 2> elements;
  support::Members<array<T, 2>> members;
};

/// Fills y by `call`; says whether the count was refused, which has to leave y alone.
template <class T, class Call>
bool refused(array<T, 2>& y, Call call) {
  const Snapshot<T> before(y);
  try {
    call();
  } catch (const std::length_error& error) {
    require(before == y, "refused, y stays");
    require(std::string(error.what()).find("linspace") != std::string::npos, "says who refused");
    return true;
  }
  return false;
}

/// The points, and the given ends among them by their very bits.
template <class T>
void requireGrid(const array<T, 2>& y, const std::vector<T>& expected) {
  require(support::sameBits(y, support::row(expected)), "points");
  if (!expected.empty()) {
    require(identical(y[y.numel - 1], expected.back()), "the end is the one given");
  }
  if (expected.size() >= 2) {
    require(identical(y[0], expected.front()), "the start is the one given");
  }
}

void requireFloatGrid(FuzzedDataProvider& in) {
  const auto [d1, d2] = anyEnds(in);
  // Rounding moves no count across the gap that anyCount leaves.
  const auto n = static_cast<float>(anyCount(in));
  auto y = fuzz::usedArray<array<float, 2>>(in);
  const bool tooMany = refused(y, [&, d1 = d1, d2 = d2] { coder::linspace(d1, d2, n, y); });
  require(tooMany == (n >= firstRefused), "refuses what no array holds and nothing else");
  if (!tooMany) {
    const int numPoints = n >= 0.0F ? static_cast<int>(std::floor(n)) : 0;
    requireGrid(y, slowGrid(formFor(d1, d2), d1, d2, numPoints));
  }
}

void requireDoubleGrid(FuzzedDataProvider& in) {
  const double d2 = anyDouble(in);
  const double n = anyCount(in);
  auto y = fuzz::usedArray<array<double, 2>>(in);
  const Snapshot<double> before(y);
  const bool tooMany = refused(y, [&] { coder::linspace(d2, n, y); });
  require(tooMany == (n >= firstRefused), "refuses what no array holds and nothing else");
  if (!(n >= 0.0)) {
    require(before == y, "without a count y stays");
  } else if (!tooMany) {
    requireGrid(y, slowGrid(d2, static_cast<int>(std::floor(n))));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  if (in.ConsumeBool()) {
    requireFloatGrid(in);
  } else {
    requireDoubleGrid(in);
  }
  return 0;
}
