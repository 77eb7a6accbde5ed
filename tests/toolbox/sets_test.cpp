#include "flightpath/toolbox/sets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_union.h"

using coder::array;
using support::slowUnite;
using support::Union;

namespace {

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

Union unite(const std::vector<int>& a, const std::vector<int>& b) {
  array<int, 1> c = support::column(std::vector<int>(20, -7));
  array<int, 1> ia;
  array<int, 1> ib = support::column({-7});
  coder::do_vectors(support::column(a), support::column(b), c, ia, ib);
  return {support::toVector(c), support::toVector(ia), support::toVector(ib)};
}

/// Every ascending vector of the values, each used at most twice.
std::vector<std::vector<int>> ascendingVectors(const std::vector<int>& values) {
  std::vector<std::vector<int>> vectors = {{}};
  for (const int value : values) {
    for (std::size_t k = 0, count = vectors.size(); k < count; ++k) {
      for (std::size_t repeats = 1; repeats <= 2; ++repeats) {
        vectors.push_back(vectors[k]);
        vectors.back().insert(vectors.back().end(), repeats, value);
      }
    }
  }
  return vectors;
}

}  // namespace

// All checks in this file are of the class EXACT.

TEST(SortedUnion, KeepsEveryValueOnceAndTellsWhereItStood) {
  struct Row {
    std::vector<int> a;
    std::vector<int> b;
    Union expected;
    const char* why;
  };
  const Row rows[] = {
      {{1, 1, 3}, {1, 2}, {{1, 2, 3}, {1, 3}, {2}}, "a value of both comes from a"},
      {{}, {}, {{}, {}, {}}, "both empty"},
      {{}, {4, 4, 6}, {{4, 6}, {}, {1, 3}}, "a empty"},
      {{4, 4, 6}, {}, {{4, 6}, {1, 3}, {}}, "b empty"},
      {{1, 2}, {3, 3, 4}, {{1, 2, 3, 4}, {1, 2}, {1, 3}}, "a in front, the rest of b run by run"},
      {{3, 3, 4}, {1, 2}, {{1, 2, 3, 4}, {1, 3}, {1, 2}}, "b in front, the rest of a run by run"},
      {{5, 5}, {5, 5, 5}, {{5}, {1}, {}}, "nothing of b is left"},
      {{highest}, {lowest}, {{lowest, highest}, {1}, {1}}, "a difference would overflow"},
      {{lowest}, {highest}, {{lowest, highest}, {1}, {1}}, "a difference would overflow"},
      {{lowest, 0, highest}, {lowest, highest}, {{lowest, 0, highest}, {1, 2, 3}, {}}, "extremes"},
      {{-2}, {-1}, {{-2, -1}, {1}, {1}}, "negative values"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(unite(row.a, row.b) == row.expected) << row.why;
  }
}

TEST(SortedUnion, AgreesWithASetForEveryPairOfShortVectors) {
  const auto vectors = ascendingVectors({lowest, -1, 0, highest});
  for (const std::vector<int>& a : vectors) {
    for (const std::vector<int>& b : vectors) {
      ASSERT_TRUE(unite(a, b) == slowUnite(a, b))
          << testing::PrintToString(a) << " and " << testing::PrintToString(b);
    }
  }
}

TEST(SortedUnion, AgreesWithASetForLongVectors) {
  std::mt19937_64 random(51);
  const auto ascending = [&](int n, int range) {
    std::vector<int> values(static_cast<std::size_t>(n));
    std::uniform_int_distribution<int> value(-range, range);
    std::ranges::generate(values, [&] { return value(random); });
    std::ranges::sort(values);
    return values;
  };
  for (int n = 0; n < 200; ++n) {
    const auto a = ascending(n, 50);
    const auto b = ascending(200 - n, n % 2 == 0 ? 50 : 1000000);
    ASSERT_TRUE(unite(a, b) == slowUnite(a, b)) << n;
  }
}

TEST(SortedUnion, InputsStayAsTheyWere) {
  const array<int, 1> a = support::column({1, 1, 3});
  const array<int, 1> b = support::column({1, 2});
  array<int, 1> c;
  array<int, 1> ia;
  array<int, 1> ib;
  coder::do_vectors(a, b, c, ia, ib);
  EXPECT_TRUE(support::sameBits(a, support::column({1, 1, 3})));
  EXPECT_TRUE(support::sameBits(b, support::column({1, 2})));
}

namespace {

struct Found {
  int position;
  int size[2];
};

Found findFirst(const array<unsigned char, 2>& flags) {
  Found found = {-7, {-7, -7}};
  coder::eml_find(flags, &found.position, found.size);
  return found;
}

array<unsigned char, 2> withExtents(int rows, int cols) {
  array<unsigned char, 2> flags;
  flags.set_size(rows, cols);
  return flags;
}

array<unsigned char, 2> flagRow(std::initializer_list<unsigned char> flags) {
  return support::row<unsigned char>(flags);
}

}  // namespace

TEST(FirstFlag, IsFoundAtItsPosition) {
  struct Row {
    array<unsigned char, 2> flags;
    int position;
    const char* why;
  };
  const Row rows[] = {
      {flagRow({1}), 1, "one flag"},
      {flagRow({1, 0, 1}), 1, "the first of two"},
      {flagRow({0, 0, 1}), 3, "the last"},
      {flagRow({0, 2, 1}), 2, "any value but zero is set"},
      {flagRow({0, 0, 255, 1}), 3, "the largest value"},
      {flagRow({0, 128}), 2, "only the highest bit"},
  };
  for (const Row& row : rows) {
    const Found found = findFirst(row.flags);
    EXPECT_EQ(found.position, row.position) << row.why;
    EXPECT_EQ(found.size[0], 1) << row.why;
    EXPECT_EQ(found.size[1], 1) << row.why;
  }
}

TEST(FirstFlag, IsNotFound_ThePositionStaysUntouched) {
  struct Row {
    array<unsigned char, 2> flags;
    const char* why;
  };
  const Row rows[] = {
      {array<unsigned char, 2>(), "never sized"},
      {withExtents(1, 0), "empty row"},
      {withExtents(0, 5), "columns without an element"},
      {withExtents(5, 0), "rows without an element"},
      {flagRow({0}), "one that is not set"},
      {flagRow({0, 0, 0}), "none set"},
  };
  for (const Row& row : rows) {
    const Found found = findFirst(row.flags);
    EXPECT_EQ(found.position, -7) << row.why;
    EXPECT_EQ(found.size[0], 1) << row.why;
    EXPECT_EQ(found.size[1], 0) << row.why;
  }
}

// A longer row leaves its flags in the buffer.
TEST(FirstFlag, IsNotSearchedBehindTheRow) {
  array<unsigned char, 2> flags = flagRow({0, 0, 1});
  flags.set_size(1, 2);
  EXPECT_EQ(findFirst(flags).size[1], 0);
  flags = flagRow({1, 1, 1});
  flags.set_size(0, 3);
  EXPECT_EQ(findFirst(flags).size[1], 0);
}
