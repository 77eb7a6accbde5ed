#include "flightpath/music/detail/subspaces.h"

#include <gtest/gtest.h>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::sameBits;

namespace {

/// Every element tells its row and column.
array<creal32_T, 2> numbered(int rows, int cols) {
  array<creal32_T, 2> E;
  E.set_size(rows, cols);
  for (int j = 0; j < cols; ++j) {
    for (int i = 0; i < rows; ++i) {
      E(i, j) = {static_cast<float>(i + 1), static_cast<float>(j + 1)};
    }
  }
  return E;
}

struct Row {
  float s;
  int signalColumns;
  int noiseColumns;
  const char* why;
};

// M = 4
const Row rows[] = {
    {rtNaNF, 0, 4, "NaN reads as no signal"},
    {rtMinusInfF, 0, 4, "limited from below"},
    {-5.0F, 0, 4, "limited from below"},
    {-1.0F, 0, 4, "s + 1 = 0 is limited to column 1"},
    {-0.5F, 0, 4, "s + 1 = 0.5 truncates to 0, limited to column 1"},
    {0.0F, 0, 4, "no signal"},
    {0.5F, 0, 4, "s + 1 = 1.5 truncates to column 1"},
    {1.0F, 1, 3, "one signal"},
    {2.0F, 2, 2, "two signals"},
    {2.9F, 2, 2, "truncated"},
    {3.0F, 3, 1, "M - 1"},
    {3.5F, 3, 0, "s + 1 = 4.5 > M: no noise, though one column is no signal either"},
    {4.0F, 4, 0, "M"},
    {5.0F, 4, 0, "M + 1"},
    {255.0F, 4, 0, "the largest count of the entry point"},
    {1e10F, 4, 0, "beyond an int"},
    {rtInfF, 4, 0, "limited from above"},
};

}  // namespace

// EXACT
TEST(NoiseSubspace, HoldsTheColumnsBehindTheSignals_Conjugated) {
  const array<creal32_T, 2> E = numbered(4, 4);
  for (const Row& row : rows) {
    array<creal32_T, 2> noise = numbered(2, 7);
    flightpath::noiseSubspace(E, row.s, noise);
    ASSERT_EQ(noise.size[0], 4) << row.s << ": " << row.why;
    ASSERT_EQ(noise.size[1], row.noiseColumns) << row.s << ": " << row.why;
    for (int j = 0; j < row.noiseColumns; ++j) {
      for (int i = 0; i < 4; ++i) {
        const creal32_T e = E(i, j + 4 - row.noiseColumns);
        EXPECT_TRUE(sameBits(noise(i, j), creal32_T{e.re, -e.im})) << row.s << ": " << row.why;
      }
    }
  }
}

TEST(NoiseSubspace, LeavesTheEigenvectorsAlone) {
  const array<creal32_T, 2> E = numbered(4, 4);
  array<creal32_T, 2> noise;
  flightpath::noiseSubspace(E, 1.0F, noise);
  EXPECT_TRUE(sameBits(E, numbered(4, 4)));
}

// EXACT
TEST(KeepSignalSubspace, KeepsTheLeadingColumnsAsTheyAre) {
  for (const Row& row : rows) {
    array<creal32_T, 2> E = numbered(4, 4);
    flightpath::keepSignalSubspace(E, row.s);
    EXPECT_TRUE(sameBits(E, numbered(4, row.signalColumns))) << row.s << ": " << row.why;
  }
}

TEST(Subspaces, OfNothingAreEmpty) {
  for (const float s : {0.0F, 1.0F, rtNaNF, rtInfF}) {
    array<creal32_T, 2> E;
    array<creal32_T, 2> noise = numbered(2, 2);
    flightpath::noiseSubspace(E, s, noise);
    flightpath::keepSignalSubspace(E, s);
    EXPECT_EQ(noise.numel, 0) << s;
    EXPECT_EQ(E.numel, 0) << s;
  }
}

TEST(Subspaces, OfOneDimension) {
  array<creal32_T, 2> E = numbered(1, 1);
  array<creal32_T, 2> noise;
  flightpath::noiseSubspace(E, 0.0F, noise);
  EXPECT_EQ(noise.size[1], 1);
  flightpath::noiseSubspace(E, 1.0F, noise);
  EXPECT_EQ(noise.size[0], 1);
  EXPECT_EQ(noise.size[1], 0);
}
