#include "flightpath/toolbox/run_merging.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/array_allocations.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::sameBits;

namespace {

constexpr int guard = 3;  // elements behind a stretch, which nobody may touch

using Merge = void (*)(array<int, 1>&, array<float, 1>&, int, int, int, array<int, 1>&,
                       array<float, 1>&);

struct Order {
  const char* name;
  Merge runs;
  Merge block;
  bool (*before)(float, float);
};

const Order orders[] = {
    {"ascending", coder::internal::b_mergeRuns, coder::internal::b_merge_block,
     [](float left, float right) { return left < right; }},
    {"descending", coder::internal::mergeRuns, coder::internal::merge_block,
     [](float left, float right) { return left > right; }},
};

/// Values with the positions that belong to them, and what a stable sort makes of a stretch.
struct Keyed {
  array<int, 1> idx;
  array<float, 1> x;

  explicit Keyed(const std::vector<float>& values) : x(support::column(values)) {
    idx.set_size(x.numel);
    std::iota(idx.begin(), idx.end(), 1000);
  }

  void stableSort(int first, int last, bool (*before)(float, float)) {
    std::vector<int> order(static_cast<std::size_t>(last - first));
    std::iota(order.begin(), order.end(), first);
    std::ranges::stable_sort(order, [&](int a, int b) { return before(x[a], x[b]); });
    const Keyed old = *this;
    for (int k = first; k < last; ++k) {
      x[k] = old.x[order[static_cast<std::size_t>(k - first)]];
      idx[k] = old.idx[order[static_cast<std::size_t>(k - first)]];
    }
  }
};

/// Values from a small alphabet, so that ties are everywhere; zeros of both
/// signs and the infinities are in it.
Keyed randomValues(int count, std::uint64_t seed) {
  const float alphabet[] = {0.0F, -0.0F, 1.0F, 2.0F, -3.0F, rtInfF, rtMinusInfF};
  std::mt19937_64 random(seed);
  std::uniform_int_distribution<std::size_t> pick(0, std::size(alphabet) - 1);
  std::vector<float> values(static_cast<std::size_t>(count));
  std::ranges::generate(values, [&] { return alphabet[pick(random)]; });
  return Keyed(values);
}

/// Work arrays of n elements and a few more, which nobody may touch.
struct Work {
  static constexpr int mark = 77;
  array<int, 1> idx;
  array<float, 1> x;

  explicit Work(int n) : first_(n) {
    idx.set_size(n + guard);
    x.set_size(n + guard);
    std::fill(idx.begin(), idx.end(), mark);
    std::fill(x.begin(), x.end(), static_cast<float>(mark));
  }

  bool guardIsIntact() const {
    return std::all_of(idx.begin() + first_, idx.end(), [](int v) { return v == mark; }) &&
           std::all_of(x.begin() + first_, x.end(), [](float v) { return v == mark; });
  }

 private:
  int first_;
};

void expectSame(const Keyed& result, const Keyed& expected, const std::string& what) {
  ASSERT_TRUE(sameBits(result.x, expected.x)) << what;
  ASSERT_TRUE(sameBits(result.idx, expected.idx)) << what;
}

void expectRunsMerged(const Order& order, int offset, int np, int nq) {
  const int end = offset + np + nq;
  Keyed keyed = randomValues(end + guard, static_cast<unsigned>(np * 100 + nq));
  keyed.stableSort(offset, offset + np, order.before);
  keyed.stableSort(offset + np, end, order.before);
  Keyed expected = keyed;
  expected.stableSort(offset, end, order.before);
  Work work(np + nq);
  const support::AllocationWatch watch;
  order.runs(keyed.idx, keyed.x, offset, np, nq, work.idx, work.x);
  ASSERT_EQ(watch.made(), 0);
  ASSERT_TRUE(work.guardIsIntact());
  expectSame(keyed, expected,
             std::string(order.name) + " " + std::to_string(np) + " + " + std::to_string(nq));
}

void expectBlockMerged(const Order& order, int offset, int n, int level) {
  const int end = offset + n;
  Keyed keyed = randomValues(end + guard, static_cast<unsigned>(n));
  for (int first = offset; first < end; first += 1 << level) {
    keyed.stableSort(first, std::min(first + (1 << level), end), order.before);
  }
  Keyed expected = keyed;
  expected.stableSort(offset, end, order.before);
  Work work(n);
  const support::AllocationWatch watch;
  order.block(keyed.idx, keyed.x, offset, n, level, work.idx, work.x);
  ASSERT_EQ(watch.made(), 0);
  ASSERT_TRUE(work.guardIsIntact());
  expectSame(
      keyed, expected,
      std::string(order.name) + " " + std::to_string(n) + ", level " + std::to_string(level));
}

}  // namespace

// All checks in this file are of the class EXACT. They compare whole arrays: what lies outside the
// stretch has to stay as it was.

TEST(MergeRuns, MakesOneStableRunOfTwo) {
  for (const Order& order : orders) {
    for (const int offset : {0, 1, 5}) {
      for (int np = 0; np <= 9; ++np) {
        for (int nq = 0; nq <= 9; ++nq) {
          ASSERT_NO_FATAL_FAILURE(expectRunsMerged(order, offset, np, nq));
        }
      }
      ASSERT_NO_FATAL_FAILURE(expectRunsMerged(order, offset, 256, 1));
      ASSERT_NO_FATAL_FAILURE(expectRunsMerged(order, offset, 1, 256));
      ASSERT_NO_FATAL_FAILURE(expectRunsMerged(order, offset, 256, 300));
    }
  }
}

TEST(MergeRuns, TakesTheLeftOfTwoEquals) {
  Keyed up({9, 1, 2, 1, 2, 9});
  Work work(4);
  coder::internal::b_mergeRuns(up.idx, up.x, 1, 2, 2, work.idx, work.x);
  EXPECT_TRUE(sameBits(up.x, support::column<float>({9, 1, 1, 2, 2, 9})));
  EXPECT_TRUE(sameBits(up.idx, support::column({1000, 1001, 1003, 1002, 1004, 1005})));
  Keyed down({9, 2, 1, 2, 1, 9});
  coder::internal::mergeRuns(down.idx, down.x, 1, 2, 2, work.idx, work.x);
  EXPECT_TRUE(sameBits(down.x, support::column<float>({9, 2, 2, 1, 1, 9})));
  EXPECT_TRUE(sameBits(down.idx, support::column({1000, 1001, 1003, 1002, 1004, 1005})));
}

TEST(MergeRuns, RunsThatNeedNoMoveKeepTheirPlaces) {
  for (const Order& order : orders) {
    const float first = order.before(1.0F, 2.0F) ? 1.0F : 2.0F;
    Keyed keyed({first, first, 3.0F - first});
    const Keyed before = keyed;
    Work work(3);
    order.runs(keyed.idx, keyed.x, 0, 2, 1, work.idx, work.x);
    expectSame(keyed, before, order.name);
  }
}

TEST(MergeBlock, MergesRunsOfEveryLevel) {
  for (const Order& order : orders) {
    for (const int offset : {0, 1, 5}) {
      for (int level = 0; level <= 6; ++level) {
        for (int n = 0; n <= 70; ++n) {
          ASSERT_NO_FATAL_FAILURE(expectBlockMerged(order, offset, n, level));
        }
      }
    }
  }
}

TEST(MergeBlock, MergesLongStretchesWithATail) {
  for (const Order& order : orders) {
    for (const int level : {0, 2, 8}) {
      for (const int n : {255, 256, 257, 511, 512, 513, 767, 768, 769, 1000, 1023, 1025}) {
        ASSERT_NO_FATAL_FAILURE(expectBlockMerged(order, 7, n, level));
      }
    }
  }
}

TEST(MergeBlock, AStretchOfOneRunStaysAsItIs) {
  for (const Order& order : orders) {
    Keyed keyed({4, 3, 5, 1});  // in no order: a merge of anything would show
    const Keyed before = keyed;
    Work work(4);
    order.block(keyed.idx, keyed.x, 0, 4, 2, work.idx, work.x);
    expectSame(keyed, before, "one run of four");
    order.block(keyed.idx, keyed.x, 0, 4, 30, work.idx, work.x);
    expectSame(keyed, before, "the highest level");
    order.block(keyed.idx, keyed.x, 4, 0, 0, work.idx, work.x);
    expectSame(keyed, before, "no element");
  }
}
