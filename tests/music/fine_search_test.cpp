#include "flightpath/music/detail/fine_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/array_allocations.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

array<float, 2> even(const array<float, 1>& coarse, float coarseResolution, float fineResolution) {
  array<float, 2> candidates = support::row({9.0F, 9.0F});
  flightpath::evenCandidates(coarse, coarseResolution, fineResolution, 1, candidates);
  return candidates;
}

array<float, 2> onGrid(const array<float, 1>& coarse, const std::vector<float>& grid,
                       float coarseResolution) {
  array<float, 2> candidates = support::row({9.0F, 9.0F});
  flightpath::gridCandidates(coarse, grid, coarseResolution, candidates);
  return candidates;
}

/// 2 Rc / Rf + 1 points, rounded to float after each operation as IEEE 754 asks. A quotient of two
/// floats formed in double rounds to the same float as the exact one.
int pointsByHand(float coarseResolution, float fineResolution) {
  const double doubled = 2.0 * static_cast<double>(coarseResolution);  // exact
  const auto quotient = static_cast<float>(doubled / static_cast<double>(fineResolution));
  const auto count = static_cast<float>(static_cast<double>(quotient) + 1.0);
  return static_cast<int>(std::floor(static_cast<double>(count)));
}

/// The M - 1 vectors of a unit matrix behind the first one.
array<creal32_T, 2> unitNoise(int M) {
  array<creal32_T, 2> noise;
  noise.set_size(M, M - 1);
  for (int k = 0; k + 1 < M; ++k) {
    noise(k + 1, k) = {1.0F, 0.0F};
  }
  return noise;
}

struct Refined {
  array<float, 1> spectrum = column({9.0F});
  array<float, 2> freqs = support::row({9.0F, 9.0F});
  array<float, 2> peakValues = support::row({9.0F, 9.0F});
};

Refined refine(const array<creal32_T, 2>& noise, const array<float, 2>& candidates) {
  Refined r;
  flightpath::refine(noise, candidates, r.spectrum, r.freqs, r.peakValues);
  return r;
}

}  // namespace

// EXACT: whole numbers and halves.
TEST(EvenCandidates, SurroundEveryCoarsePeak) {
  const array<float, 2> Z = even(column({10.0F, 20.0F}), 1.0F, 0.5F);
  EXPECT_TRUE(
      sameBits(Z, support::matrix<float>(
                      5, 2, {9.0F, 9.5F, 10.0F, 10.5F, 11.0F, 19.0F, 19.5F, 20.0F, 20.5F, 21.0F})));
}

// EXACT: a caller's default steps, coarse 1 / (30 N) and fine a fiftieth of it. Rounding decides
// whether the quotient comes out at 100 or just below it.
TEST(EvenCandidates, Are100Or101ByTheFloatFormula) {
  std::set<int> seen;
  for (int N = 1; N <= 260; ++N) {
    const float coarse = 1.0F / (30.0F * static_cast<float>(N));
    const float fine = coarse / 50.0F;
    const array<float, 2> Z = even(column({0.25F}), coarse, fine);
    const int expected = pointsByHand(coarse, fine);
    ASSERT_EQ(Z.size[0], expected) << N;
    EXPECT_EQ(Z.size[1], 1) << N;
    EXPECT_TRUE(sameBits(Z[0], -coarse + 0.25F)) << N;
    EXPECT_TRUE(sameBits(Z[expected - 1], coarse + 0.25F)) << N;
    EXPECT_EQ(Z[50] == 0.25F, expected == 101) << N << ": the middle of an odd count is the peak";
    seen.insert(expected);
  }
  EXPECT_EQ(seen, (std::set<int>{100, 101}));
}

TEST(EvenCandidates, CountFollowsTheResolutions) {
  struct Row {
    float coarse;
    float fine;
    int expected;
    const char* why;
  };
  const Row rows[] = {
      {1.0F, 1.0F, 3, "both ends and the peak"},
      {1.0F, 2.0F, 2, "both ends"},
      {1.0F, 2.1F, 1, "1.95 points"},
      {1.0F, 0.9F, 3, "3.2 points"},
      {1.0F, rtInfF, 1, "one point"},
      {1.0F, -1.0F, 0, "a negative count"},
      {1.0F, -2.0F, 0, "a count of zero"},
      {1.0F, -4.0F, 0, "half a point"},
      {1.0F, rtNaNF, 0, "NaN"},
      {rtNaNF, 1.0F, 0, "NaN"},
      {rtInfF, rtInfF, 0, "inf / inf"},
      {0.0F, 0.0F, 0, "0 / 0"},
      {0.0F, 1.0F, 1, "one point"},
      {-1.0F, -1.0F, 3, "two signs cancel"},
      {rtMinusInfF, 1.0F, 0, "minus infinity points"},
  };
  for (const Row& row : rows) {
    const array<float, 2> Z = even(column({0.5F, 0.25F}), row.coarse, row.fine);
    EXPECT_EQ(Z.size[0], row.expected) << row.why;
    EXPECT_EQ(Z.size[1], 2) << row.why;
  }
}

// EXACT: a grid of one point is its end.
TEST(EvenCandidates, OnePointIsTheUpperEnd) {
  EXPECT_TRUE(sameBits(even(column({0.5F}), 0.25F, 1.0F), support::row({0.75F})));
}

TEST(EvenCandidates, TooManyAreRefused_NamingTheResolution_AlsoWithoutACoarsePeak) {
  struct Row {
    float coarse;
    float fine;
    const char* why;
  };
  const Row rows[] = {{1.0F, 1e-30F, "2e30 points"},
                      {1.0F, 0.0F, "infinitely many"},
                      {rtInfF, 1.0F, "infinitely many"},
                      {-1.0F, -0.0F, "infinitely many"},
                      {1073741824.0F, 1.0F, "2^31 points, the first count beyond an array"}};
  for (const Row& row : rows) {
    for (const array<float, 1>& coarse : {array<float, 1>(), column({0.1F})}) {
      try {
        even(coarse, row.coarse, row.fine);
        ADD_FAILURE() << row.why << ", " << coarse.numel << " peaks";
      } catch (const std::length_error& error) {
        EXPECT_NE(std::string(error.what()).find("FineResolution"), std::string::npos)
            << error.what();
      }
    }
  }
}

// The largest of the arrays to come is refused before a byte is taken for any: with M = 48 each point
// brings 48 elements of steering vectors, with 60 peaks 60 candidates.
TEST(EvenCandidates, TooManyForWhatIsMadeOfThem_AreRefusedBeforeMemoryIsTaken) {
  struct Row {
    int M;
    int peaks;
    float fine;
    const char* why;
  };
  const Row rows[] = {
      {48, 3, 1e-8F, "200,000,001 points, 9.6e9 steering elements"},
      {48, 60, 5e-8F, "40,000,001 points, 2.4e9 candidates"},
      {33038210, 1, 0x1p-5F, "65 points, one more than such steering vectors have"}};
  for (const Row& row : rows) {
    array<float, 1> coarse;
    coarse.set_size(row.peaks);
    array<float, 2> candidates = support::row({9.0F});
    const support::AllocationWatch watch;
    try {
      flightpath::evenCandidates(coarse, 1.0F, row.fine, row.M, candidates);
      ADD_FAILURE() << row.why;
    } catch (const std::length_error& error) {
      EXPECT_NE(std::string(error.what()).find("FineResolution"), std::string::npos)
          << error.what();
    }
    EXPECT_EQ(watch.made(), 0) << row.why;
    EXPECT_TRUE(sameBits(candidates, support::row({9.0F}))) << row.why;
  }
}

TEST(EvenCandidates, WithoutACoarsePeakTheSteeringVectorsDoNotCount) {
  array<float, 2> candidates;
  flightpath::evenCandidates({}, 1.0F, 0x1p-5F, 33038210, candidates);
  EXPECT_EQ(candidates.size[0], 65);
  EXPECT_EQ(candidates.size[1], 0);
}

TEST(EvenCandidates, AsManyAsFitAreMade) {
  array<float, 2> candidates;
  flightpath::evenCandidates(column({0.0F}), 1.0F, 0x1p-5F, 33038209, candidates);
  EXPECT_EQ(candidates.size[0], 65);
}

TEST(EvenCandidates, WithoutACoarsePeakThereIsNoColumn) {
  const array<float, 2> Z = even({}, 1.0F, 0.5F);
  EXPECT_EQ(Z.size[0], 5);
  EXPECT_EQ(Z.size[1], 0);
}

// EXACT: the caller's points, untouched.
TEST(GridCandidates, AreThePointsCloserThanTheResolution_InGridOrder) {
  struct Row {
    std::vector<float> coarse;
    std::vector<float> grid;
    float resolution;
    int m;
    std::vector<float> expected;
    const char* why;
  };
  const float nan = rtNaNF;
  const Row rows[] = {
      {{1.0F}, {0.0F, 0.5F, 1.0F, 1.5F, 2.0F}, 1.0F, 3, {0.5F, 1.0F, 1.5F}, "strictly closer"},
      {{1.0F}, {0.0F, 2.0F}, 1.0F, 0, {}, "exactly at the resolution is too far"},
      {{1.0F}, {1.5F, 0.5F, 1.0F}, 1.0F, 3, {1.5F, 0.5F, 1.0F}, "any order of the grid is kept"},
      {{1.0F}, {1.0F, 1.0F}, 1.0F, 2, {1.0F, 1.0F}, "repeated points stay"},
      {{0.0F, 10.0F},
       {-0.5F, 0.0F, 0.5F, 9.5F, 10.0F},
       1.0F,
       2,
       {-0.5F, 0.0F, 9.5F, 10.0F},
       "the fewest rule: the first two of three"},
      {{0.0F, 10.0F, 20.0F}, {0.0F, 10.0F}, 1.0F, 0, {}, "one peak without a point empties all"},
      {{0.0F}, {}, 1.0F, 0, {}, "empty grid"},
      {{0.0F}, {nan, 0.5F}, 1.0F, 1, {0.5F}, "NaN is near nothing"},
      {{0.0F}, {rtInfF, rtMinusInfF}, 1.0F, 0, {}, "nor is infinity"},
      {{0.0F},
       {0.5F, 3.0F, rtInfF},
       rtInfF,
       2,
       {0.5F, 3.0F},
       "infinite resolution: all finite ones"},
      {{0.0F}, {0.0F}, 0.0F, 0, {}, "no distance is below zero"},
      {{0.0F}, {0.0F}, -1.0F, 0, {}, "nor below a negative resolution"},
      {{0.0F}, {0.0F}, nan, 0, {}, "nor below NaN"},
      {{nan}, {0.0F}, 1.0F, 0, {}, "a NaN peak has no neighbours"},
  };
  for (const Row& row : rows) {
    const array<float, 2> Z = onGrid(column(row.coarse), row.grid, row.resolution);
    EXPECT_EQ(Z.size[0], row.m) << row.why;
    EXPECT_EQ(Z.size[1], static_cast<int>(row.coarse.size())) << row.why;
    EXPECT_EQ(support::toVector(Z), row.expected) << row.why;
  }
}

TEST(GridCandidates, WithoutACoarsePeakThereAreNone) {
  EXPECT_EQ(onGrid({}, {0.0F, 1.0F}, 1.0F).numel, 0);
}

// EXACT: with no noise eigenvector every value is +inf, a tie that the first candidate wins.
TEST(Refine, FirstOfEqualsWins) {
  array<creal32_T, 2> noNoise;
  noNoise.set_size(4, 0);
  const Refined r =
      refine(noNoise, support::matrix<float>(3, 2, {0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F}));
  EXPECT_TRUE(sameBits(r.freqs, support::row({0.1F, 0.4F})));
  EXPECT_TRUE(sameBits(r.peakValues, support::row({rtInfF, rtInfF})));
  EXPECT_EQ(r.spectrum.numel, 6);
}

// BOUND: for one noise vector (1, -1) / sqrt 2 the noise energy is 1 - cos 2 pi f, so that the
// spectrum is largest at f = 0 and falls with |f|. 20 / ln 10 times the relative rounding of an
// energy of this size, some 10 eps.
TEST(Refine, ColumnsOneAfterTheOther_LargestValueOfEach) {
  const float h = std::sqrt(0.5F);
  const array<creal32_T, 2> noise = support::matrix<creal32_T>(2, 1, {{h, 0.0F}, {-h, 0.0F}});
  const std::vector<float> z = {-0.25F, 0.125F, 0.25F, 0.5F, 0.375F, -0.25F};
  const Refined r = refine(noise, support::matrix<float>(3, 2, z));
  EXPECT_TRUE(sameBits(r.freqs, support::row({0.125F, -0.25F})));
  ASSERT_EQ(r.spectrum.numel, 6);
  for (int k = 0; k < 6; ++k) {
    const double energy = 1.0 - std::cos(6.283185307179586 * z[static_cast<std::size_t>(k)]);
    EXPECT_NEAR(r.spectrum[k], 20.0 * std::log10(1.0 / energy), 8.7 * 10.0 * 0x1p-23);
  }
  EXPECT_TRUE(sameBits(r.peakValues, support::row({r.spectrum[1], r.spectrum[5]})));
}

TEST(Refine, NaNCandidateLosesAgainstANumber) {
  const Refined r = refine(unitNoise(3), support::matrix<float>(2, 1, {rtNaNF, 0.25F}));
  EXPECT_TRUE(sameBits(r.freqs, support::row({0.25F})));
  EXPECT_TRUE(std::isnan(r.spectrum[0]));
}

TEST(Refine, AllNaNTakesTheFirst) {
  const Refined r = refine(unitNoise(3), support::matrix<float>(2, 1, {rtNaNF, rtInfF}));
  EXPECT_TRUE(std::isnan(r.freqs[0]));
  EXPECT_TRUE(std::isnan(r.peakValues[0]));
}

TEST(Refine, EmptyColumnsReportNoPath) {
  for (const auto& [rows, cols] : {std::pair(0, 0), std::pair(0, 3), std::pair(5, 0)}) {
    array<float, 2> candidates;
    candidates.set_size(rows, cols);
    const int before = support::callCounts().matrixProducts;
    const Refined r = refine(unitNoise(3), candidates);
    EXPECT_EQ(r.spectrum.numel, 0) << rows << " x " << cols;
    for (const array<float, 2>& list : {r.freqs, r.peakValues}) {
      EXPECT_EQ(list.size[0], 1) << rows << " x " << cols;
      EXPECT_EQ(list.size[1], 0) << rows << " x " << cols;
    }
    EXPECT_EQ(support::callCounts().matrixProducts, before) << rows << " x " << cols;
  }
}

TEST(Refine, OneMatrixProductAColumn) {
  array<float, 2> candidates;
  candidates.set_size(7, 4);
  const int before = support::callCounts().matrixProducts;
  refine(unitNoise(3), candidates);
  EXPECT_EQ(support::callCounts().matrixProducts - before, 4);
}
