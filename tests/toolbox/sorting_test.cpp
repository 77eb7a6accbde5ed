#include "flightpath/toolbox/sorting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numeric>
#include <random>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_sort.h"

using coder::array;
using support::sortedPositions;

namespace {

/// A NaN that can be told from its fellows by its bits.
float numberedNaN(std::uint32_t payload) { return std::bit_cast<float>(0x7FC00000U + payload); }

std::vector<std::uint32_t> bitsAt(const std::vector<float>& x, const std::vector<int>& positions) {
  std::vector<std::uint32_t> bits;
  for (const int p : positions) {
    bits.push_back(std::bit_cast<std::uint32_t>(x[static_cast<std::size_t>(p - 1)]));
  }
  return bits;
}

std::vector<std::uint32_t> bitsOf(const array<float, 1>& x) {
  std::vector<std::uint32_t> bits;
  for (const float value : x) {
    bits.push_back(std::bit_cast<std::uint32_t>(value));
  }
  return bits;
}

// Raw bits: NaNs and zeros must not only be equal but the very ones that stood there.
void expectSorted(const std::vector<float>& values, const char* kind) {
  array<float, 1> up = support::column(values);
  coder::internal::sort(up);
  ASSERT_EQ(bitsOf(up), bitsAt(values, sortedPositions(values, std::less<>(), false)))
      << kind << ", ascending, " << values.size();
  array<float, 1> down = support::column(values);
  array<int, 1> idx = support::column(std::vector<int>(3, -1));
  coder::internal::sort(down, idx);
  const std::vector<int> positions = sortedPositions(values, std::greater<>(), true);
  ASSERT_EQ(support::toVector(idx), positions) << kind << ", descending, " << values.size();
  ASSERT_EQ(bitsOf(down), bitsAt(values, positions)) << kind << ", descending, " << values.size();
}

using Random = std::mt19937_64;

struct Kind {
  const char* name;
  std::function<float(Random&, int)> value;  // of the element at a 0-based position
};

float uniform(Random& random) {
  return std::uniform_real_distribution<float>(-100.0F, 100.0F)(random);
}

int below(Random& random, int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); }

const Kind kinds[] = {
    {"distinct values", [](Random& random, int) { return uniform(random); }},
    {"many ties", [](Random& random, int) { return static_cast<float>(below(random, 4)); }},
    {"a few NaNs",
     [](Random& random, int k) {
       return below(random, 50) == 0 ? numberedNaN(static_cast<unsigned>(k)) : uniform(random);
     }},
    {"every other value a NaN",
     [](Random& random, int k) {
       return below(random, 2) == 0 ? numberedNaN(static_cast<unsigned>(k)) : uniform(random);
     }},
    {"edges of the floats",
     [](Random& random, int k) {
       const float edges[] = {
           rtInfF,   rtMinusInfF, 0.0F,   -0.0F, numberedNaN(static_cast<unsigned>(k)),
           1.0e-45F, -1.0e-45F,   3.4e38F};
       return edges[below(random, 8)];
     }},
    {"rising", [](Random&, int k) { return static_cast<float>(k); }},
    {"falling", [](Random&, int k) { return static_cast<float>(-k); }},
    {"a saw", [](Random&, int k) { return static_cast<float>(k % 7); }},
};

struct SortRow {
  std::vector<float> x;
  std::vector<float> ascending;
  std::vector<float> descending;
  std::vector<int> idx;
  const char* why;
};

const SortRow sortRows[] = {
    {{}, {}, {}, {}, "empty"},
    {{5}, {5}, {5}, {1}, "one element"},
    {{rtNaNF}, {rtNaNF}, {rtNaNF}, {1}, "one NaN"},
    {{3, rtNaNF, 1, rtNaNF, 2},
     {1, 2, 3, rtNaNF, rtNaNF},
     {rtNaNF, rtNaNF, 3, 2, 1},
     {2, 4, 1, 5, 3},
     "NaNs last ascending, first descending, in order of appearance"},
    {{2, 5, 5, 1}, {1, 2, 5, 5}, {5, 5, 2, 1}, {2, 3, 1, 4}, "equal values keep their order"},
    {{rtNaNF, rtNaNF, rtNaNF},
     {rtNaNF, rtNaNF, rtNaNF},
     {rtNaNF, rtNaNF, rtNaNF},
     {1, 2, 3},
     "nothing but NaNs"},
    {{rtInfF, 0, rtMinusInfF, rtNaNF},
     {rtMinusInfF, 0, rtInfF, rtNaNF},
     {rtNaNF, rtInfF, 0, rtMinusInfF},
     {4, 1, 2, 3},
     "infinities are ordinary values"},
    {{0.0F, -0.0F, 0.0F},
     {0.0F, -0.0F, 0.0F},
     {0.0F, -0.0F, 0.0F},
     {1, 2, 3},
     "zeros of either sign are equal"},
};

}  // namespace

// EXACT
TEST(Sort, AscendingPutsNaNsLast) {
  for (const SortRow& row : sortRows) {
    array<float, 1> x = support::column(row.x);
    coder::internal::sort(x);
    EXPECT_TRUE(support::sameBits(x, support::column(row.ascending))) << row.why;
  }
}

// EXACT
TEST(Sort, DescendingPutsNaNsFirstAndTellsWhereValuesStood) {
  for (const SortRow& row : sortRows) {
    array<float, 1> x = support::column(row.x);
    array<int, 1> idx;
    coder::internal::sort(x, idx);
    EXPECT_TRUE(support::sameBits(x, support::column(row.descending))) << row.why;
    EXPECT_TRUE(support::sameBits(idx, support::column(row.idx))) << row.why;
  }
}

// EXACT: every length up to four blocks of 256 and beyond, both routines, against a stable sort.
TEST(Sort, AgreesWithAStableSortForEveryLength) {
  for (const Kind& kind : kinds) {
    Random random(21);
    for (int n = 0; n <= 1100; ++n) {
      std::vector<float> values;
      for (int k = 0; k < n; ++k) {
        values.push_back(kind.value(random, k));
      }
      ASSERT_NO_FATAL_FAILURE(expectSorted(values, kind.name));
    }
  }
}

// EXACT: the number of values that are left without the NaNs, not the length, makes the blocks.
TEST(Sort, BlocksAreCountedWithoutTheNaNs) {
  for (const int numbers : {0, 1, 2, 255, 256, 257, 511, 512, 513, 768}) {
    Random random(22);
    std::vector<float> values;
    for (int k = 0; k < numbers; ++k) {
      values.push_back(static_cast<float>(below(random, 100)));
    }
    for (unsigned k = 0; k < 300; ++k) {
      values.push_back(numberedNaN(k));
    }
    std::ranges::shuffle(values, random);
    ASSERT_NO_FATAL_FAILURE(expectSorted(values, "300 NaNs among the numbers"));
  }
}

// EXACT: four values in every order, ties included, which is all that a group can hold.
TEST(Sort, OrdersEveryGroupOfUpToFour) {
  for (int n = 1; n <= 5; ++n) {
    int combinations = 1;
    for (int k = 0; k < n; ++k) {
      combinations *= 5;
    }
    for (int code = 0; code < combinations; ++code) {
      std::vector<float> values;
      for (int k = 0, rest = code; k < n; ++k, rest /= 5) {
        values.push_back(rest % 5 == 4 ? numberedNaN(static_cast<unsigned>(k))
                                       : static_cast<float>(rest % 5));
      }
      ASSERT_NO_FATAL_FAILURE(expectSorted(values, "small"));
    }
  }
}
