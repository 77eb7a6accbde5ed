// Both sorts beside the standard library's stable sort, and the merges that they are made of.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/toolbox/run_merging.h"
#include "flightpath/toolbox/sorting.h"
#include "fuzz/support/any_array.h"
#include "fuzz/support/any_column.h"
#include "fuzz/support/identical.h"
#include "fuzz/support/require.h"
#include "tests/support/slow_sort.h"

using coder::array;
using fuzz::identical;
using fuzz::require;

namespace {

constexpr std::size_t block = 256;           // what the sorts finish before they merge blocks
constexpr std::size_t longest = 11 * block;  // odd counts of runs on several levels, and a tail

using Before = std::function<bool(float, float)>;

/// The elements at 1-based positions.
template <class T>
std::vector<T> picked(const std::vector<T>& from, const std::vector<int>& positions) {
  std::vector<T> values(positions.size());
  std::ranges::transform(positions, values.begin(),
                         [&](int p) { return from[static_cast<std::size_t>(p - 1)]; });
  return values;
}

void requireSorts(FuzzedDataProvider& in) {
  auto idx = fuzz::usedArray<array<int, 1>>(in);
  const fuzz::Column values = fuzz::anyColumn(in, longest, block);
  array<float, 1> up = fuzz::tightColumn(values);
  coder::internal::sort(up);
  const std::vector<int> upwards = support::sortedPositions(values, std::less<>(), false);
  require(identical(up, picked(values, upwards)), "ascending");

  array<float, 1> down = fuzz::tightColumn(values);
  coder::internal::sort(down, idx);
  const std::vector<int> downwards = support::sortedPositions(values, std::greater<>(), true);
  require(identical(idx, downwards), "permutation of the descending sort");
  require(identical(down, picked(values, downwards)), "descending");
}

/// Values and the numbers that travel along.
struct Keyed {
  fuzz::Column x;
  std::vector<int> idx;

  /// Sorts the elements first ... last - 1, counted from 0.
  void sort(std::size_t first, std::size_t last, const Before& before) {
    const auto begin = static_cast<std::ptrdiff_t>(first);
    const auto end = static_cast<std::ptrdiff_t>(last);
    const fuzz::Column stretch(x.begin() + begin, x.begin() + end);
    const std::vector<int> numbers(idx.begin() + begin, idx.begin() + end);
    const std::vector<int> order = support::sortedPositions(stretch, before, false);
    std::ranges::copy(picked(stretch, order), x.begin() + begin);
    std::ranges::copy(picked(numbers, order), idx.begin() + begin);
  }
};

/// No NaN: the merges know none.
Keyed anyNumbers(FuzzedDataProvider& in) {
  const int first = in.ConsumeIntegralInRange(-9999, 9999);
  Keyed keyed = {fuzz::anyColumn(in, longest, block), {}};
  std::ranges::replace_if(
      keyed.x, [](float v) { return std::isnan(v); }, -0.0F);
  keyed.idx.resize(keyed.x.size());
  std::iota(keyed.idx.begin(), keyed.idx.end(), first);
  return keyed;
}

using Merge = void (*)(array<int, 1>& idx, array<float, 1>& x, int offset, int first, int second,
                       array<int, 1>& iwork, array<float, 1>& xwork);

struct Direction {
  Before before;
  Merge runs;
  Merge blocks;
};

const Direction directions[] = {
    {std::less<>(), coder::internal::b_mergeRuns, coder::internal::b_merge_block},
    {std::greater<>(), coder::internal::mergeRuns, coder::internal::merge_block}};

/// Merges a presorted stretch of n elements at `offset`, which has to become one sorted run; the
/// elements around it have to stay.
void requireMerge(Keyed keyed, std::size_t offset, std::size_t n, const Before& before, Merge merge,
                  int first, int second) {
  array<int, 1> idx = fuzz::tightColumn(keyed.idx);
  array<float, 1> x = fuzz::tightColumn(keyed.x);
  array<int, 1> iwork = fuzz::tightColumn(std::vector<int>(n));
  array<float, 1> xwork = fuzz::tightColumn(fuzz::Column(n));
  merge(idx, x, static_cast<int>(offset), first, second, iwork, xwork);
  keyed.sort(offset, offset + n, before);
  require(identical(idx, keyed.idx), "merged positions");
  require(identical(x, keyed.x), "merged values");
}

/// Which elements are merged, and how. Drawn before the column, which takes all bytes that it likes.
struct Plan {
  bool runs;
  const Direction& direction;
  int level;
  std::uint16_t before;  // elements in front of the stretch, behind it, and in the first run, each
  std::uint16_t behind;  // as far as there are so many
  std::uint16_t inFirstRun;

  explicit Plan(FuzzedDataProvider& in)
      : runs(in.ConsumeBool()),
        direction(directions[in.ConsumeBool() ? 1 : 0]),
        level(in.ConsumeIntegralInRange(0, in.ConsumeBool() ? 30 : 8)),
        before(in.ConsumeIntegralInRange<std::uint16_t>(0, in.ConsumeBool() ? longest : 3)),
        behind(in.ConsumeIntegralInRange<std::uint16_t>(0, in.ConsumeBool() ? longest : 3)),
        inFirstRun(in.ConsumeIntegralInRange<std::uint16_t>(0, longest)) {}
};

void requireMerges(FuzzedDataProvider& in) {
  const Plan plan(in);
  const Before& before = plan.direction.before;
  Keyed keyed = anyNumbers(in);
  const std::size_t offset = std::min<std::size_t>(plan.before, keyed.x.size());
  const std::size_t most = keyed.x.size() - offset;
  const std::size_t n = most - std::min<std::size_t>(plan.behind, most);
  if (plan.runs) {
    const std::size_t np = std::min<std::size_t>(plan.inFirstRun, n);
    keyed.sort(offset, offset + np, before);
    keyed.sort(offset + np, offset + n, before);
    requireMerge(keyed, offset, n, before, plan.direction.runs, static_cast<int>(np),
                 static_cast<int>(n - np));
    return;
  }
  const std::size_t run = std::size_t{1} << plan.level;
  for (std::size_t start = 0; start < n; start += run) {
    keyed.sort(offset + start, offset + std::min(start + run, n), before);
  }
  requireMerge(keyed, offset, n, before, plan.direction.blocks, static_cast<int>(n), plan.level);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  if (in.ConsumeBool()) {
    requireSorts(in);
  } else {
    requireMerges(in);
  }
  return 0;
}
