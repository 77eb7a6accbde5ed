// The sums in blocks beside a sum block by block, and the extremes of a column.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/toolbox/reductions.h"
#include "fuzz/support/any_array.h"
#include "fuzz/support/any_column.h"
#include "fuzz/support/identical.h"
#include "fuzz/support/require.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_extremes.h"
#include "tests/support/slow_sum.h"

using coder::array;
using fuzz::identical;
using fuzz::require;

namespace {

constexpr std::size_t block = 1024;
constexpr std::size_t longest = 4 * block + 1;

/// How many elements to add: all of them, a few around a seam, or any number.
int anyCount(FuzzedDataProvider& in) {
  switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return in.ConsumeIntegral<int>();
    case 1:
      return in.ConsumeIntegralInRange(1, 4) * static_cast<int>(block) +
             in.ConsumeIntegralInRange(-1, 1);
    case 2:
      return in.ConsumeIntegralInRange(0, static_cast<int>(longest));
    default:
      return std::numeric_limits<int>::max();
  }
}

void requireSum(FuzzedDataProvider& in) {
  const int vlen = anyCount(in);
  const fuzz::Column values = fuzz::anyColumn(in, longest, block);
  const array<float, 1> x = fuzz::tightColumn(values);
  const float sum = coder::blockedSummation(x, vlen);
  const fuzz::Column leading(values.begin(), values.begin() + std::clamp(vlen, 0, x.numel));
  require(support::sameBits(sum, support::slowBlockedSum(leading, block)), "sum in blocks");
  require(identical(x, values), "the elements stay");
}

void requireRowSums(FuzzedDataProvider& in) {
  auto y = fuzz::usedArray<array<float, 1>>(in);
  const std::size_t rows = in.ConsumeIntegralInRange<std::size_t>(0, 5);
  const fuzz::Column values = fuzz::anyColumn(in, longest, block);
  const std::size_t cols = rows == 0 ? values.size() : values.size() / rows;
  const fuzz::Column kept(values.begin(),
                          values.begin() + static_cast<std::ptrdiff_t>(rows * cols));
  const auto x =
      fuzz::tightMatrix(static_cast<std::int32_t>(rows), static_cast<std::int32_t>(cols), kept);
  coder::sum(x, y);
  fuzz::Column expected;
  for (std::size_t i = 0; i < rows; ++i) {
    fuzz::Column row;
    for (std::size_t j = 0; j < cols; ++j) {
      row.push_back(kept[i + j * rows]);
    }
    expected.push_back(support::slowBlockedSum(row, block));
  }
  require(support::sameBits(y, support::column(expected)), "row sums");
}

/// The extremes are elements: their very bits, but for a NaN, which any NaN is good for.
template <class T>
void requireElement(T value, const std::vector<T>& x, std::size_t position, const char* what) {
  const T expected = x.empty() ? std::numeric_limits<T>::quiet_NaN() : x[position];
  require(support::sameBits(value, expected), what);
}

void requireExtremes(FuzzedDataProvider& in) {
  constexpr std::size_t shortEnough = 300;  // the model looks at every pair
  const fuzz::Column floats = fuzz::anyColumn(in, shortEnough, 16);
  const std::vector<double> doubles(floats.begin(), floats.end());
  const std::size_t largest = support::slowFirstBest(floats, std::greater<>());
  int idx = -1;
  const float most = coder::internal::maximum(fuzz::tightColumn(floats), idx);
  requireElement(most, floats, largest, "maximum");
  require(idx == static_cast<int>(largest) + 1, "position of the maximum");
  const double least = coder::internal::minimum(fuzz::tightColumn(doubles));
  requireElement(least, doubles, support::slowFirstBest(doubles, std::less<>()), "minimum");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0:
    case 1:
      requireSum(in);
      break;
    case 2:
      requireRowSums(in);
      break;
    default:
      requireExtremes(in);
  }
  return 0;
}
