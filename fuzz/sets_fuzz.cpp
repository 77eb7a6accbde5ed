// The sorted union beside a set that every value is looked up in, and the search for the first flag.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/toolbox/sets.h"
#include "fuzz/support/any_array.h"
#include "fuzz/support/identical.h"
#include "fuzz/support/require.h"
#include "tests/support/slow_union.h"

using coder::array;
using fuzz::identical;
using fuzz::require;

namespace {

constexpr std::size_t longest = 300;

/// Any numbers, from a few that repeat to the ends of the range.
std::vector<int> anyNumbers(FuzzedDataProvider& in) {
  const int widest = in.PickValueInArray({1, 3, 20, 1000, std::numeric_limits<int>::max()});
  const int ends[] = {
      std::numeric_limits<int>::min(),     std::numeric_limits<int>::min() + 1, -1, 0,
      std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::max()};
  std::vector<int> numbers;
  while (in.remaining_bytes() > 0 && numbers.size() < longest && in.ConsumeBool()) {
    const bool atEnd = in.ConsumeIntegralInRange(0, 7) == 0;
    const int number =
        atEnd ? in.PickValueInArray(ends) : in.ConsumeIntegralInRange(-widest, widest);
    const auto repeats = in.ConsumeIntegralInRange<std::size_t>(1, 4);
    numbers.insert(numbers.end(), repeats, number);
  }
  return numbers;
}

struct Outputs {
  array<int, 1> c;
  array<int, 1> ia;
  array<int, 1> ib;

  explicit Outputs(FuzzedDataProvider& in)
      : c(fuzz::usedArray<array<int, 1>>(in)),
        ia(fuzz::usedArray<array<int, 1>>(in)),
        ib(fuzz::usedArray<array<int, 1>>(in)) {}
};

void requireUnion(FuzzedDataProvider& in) {
  Outputs out(in);
  // A caller that does not sort gets no union, but what it gets stays inside of its arrays.
  const bool ascending = in.ConsumeIntegralInRange(0, 7) != 7;
  std::vector<int> first = anyNumbers(in);
  std::vector<int> second = anyNumbers(in);
  if (ascending) {
    std::ranges::sort(first);
    std::ranges::sort(second);
  }
  const array<int, 1> a = fuzz::tightColumn(first);
  const array<int, 1> b = fuzz::tightColumn(second);
  coder::do_vectors(a, b, out.c, out.ia, out.ib);
  require(identical(a, first) && identical(b, second), "the inputs stay");
  require(out.c.numel == out.ia.numel + out.ib.numel, "a position for every value");
  if (ascending) {
    const support::Union expected = support::slowUnite(first, second);
    require(identical(out.c, expected.c), "union");
    require(identical(out.ia, expected.ia), "positions in a");
    require(identical(out.ib, expected.ib), "positions in b");
  }
}

void requireFirstFlag(FuzzedDataProvider& in) {
  const int numFlags = in.ConsumeIntegralInRange(0, 70);
  std::vector<unsigned char> flags(static_cast<std::size_t>(numFlags));
  const std::size_t zeros = in.ConsumeIntegralInRange<std::size_t>(0, flags.size());
  std::generate(flags.begin() + static_cast<std::ptrdiff_t>(zeros), flags.end(),
                [&] { return in.ConsumeIntegral<unsigned char>(); });
  const auto row = fuzz::tightMatrix(1, numFlags, flags);
  int expected = -5;
  for (int k = numFlags; k >= 1; --k) {
    expected = flags[static_cast<std::size_t>(k - 1)] != 0 ? k : expected;
  }
  int position = -5;
  int extents[2] = {-7, -7};
  coder::eml_find(row, &position, extents);
  require(position == expected, "position of the first flag, or nothing written");
  require(extents[0] == 1 && extents[1] == (expected > 0 ? 1 : 0), "extents of the position");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  if (in.ConsumeIntegralInRange(0, 7) != 0) {
    requireUnion(in);
  } else {
    requireFirstFlag(in);
  }
  return 0;
}
