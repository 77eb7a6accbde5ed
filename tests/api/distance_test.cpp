#include "flightpath/api/distance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using support::matrix;
using support::row;
using support::sameBits;

namespace {

using Matrix = coder::array<float, 2>;

constexpr float lightSpeed = 299792448.0F;  // the float nearest to 299792458

// Double holds every product of two floats, and has digits enough that rounding its quotient once
// more to float gives the correctly rounded float quotient: single operations by another road.
float product(float a, float b) { return static_cast<float>(static_cast<double>(a) * b); }
float quotient(float a, float b) { return static_cast<float>(static_cast<double>(a) / b); }

std::vector<float> randomValues(float low, float high) {
  std::mt19937_64 engine(20240);
  std::uniform_real_distribution<float> uniform(low, high);
  std::vector<float> values(500);
  for (float& v : values) {
    v = uniform(engine);
  }
  return values;
}

Matrix toFrequencies(const Matrix& d, float df) {
  Matrix nf;
  distance2NF(d, df, nf);
  return nf;
}

Matrix toRowOfDistances(const Matrix& nf, float df) {
  Matrix d;
  nf2Distance(nf, df, d);
  return d;
}

Matrix toDistances(const Matrix& nf, float df) {
  Matrix d;
  b_nf2Distance(nf, df, d);
  return d;
}

}  // namespace

// BOUND: the text gives five digits; half a unit of the last one.
TEST(Distance2NF, OneMetreAt312500Hz) {
  EXPECT_NEAR(distance2NF(1.0F, 312500.0F), 0.0010424, 5e-8);
}

// BOUND: four roundings of half an epsilon there and back, hence 2 * eps.
TEST(NF2Distance, BringsADistanceBackUpToRounding) {
  for (const float metres : {1.0F, 0.1F, 12.75F, 930.0F}) {
    const Matrix back = toRowOfDistances(row({distance2NF(metres, 312500.0F)}), 312500.0F);
    EXPECT_NEAR(back[0], metres, 2.0F * std::numeric_limits<float>::epsilon() * metres);
  }
}

// EXACT: one rounding an operation, the product first.
TEST(Distance2NF, MultipliesBeforeItDivides) {
  constexpr float df = 120345.7F;
  const std::vector<float> distances = randomValues(-50.0F, 2000.0F);
  const Matrix nf = toFrequencies(row(distances), df);
  int toldApart = 0;
  for (int i = 0; i < nf.numel; ++i) {
    const float d = distances[static_cast<std::size_t>(i)];
    const float expected = quotient(product(d, df), lightSpeed);
    EXPECT_TRUE(sameBits(distance2NF(d, df), expected)) << d;
    EXPECT_TRUE(sameBits(nf[i], expected)) << d;
    toldApart += product(d, quotient(df, lightSpeed)) != expected ? 1 : 0;
  }
  EXPECT_GT(toldApart, 0) << "the values must tell the two orders apart";
}

// EXACT: one rounding an operation, the quotient first.
TEST(NF2Distance, DividesBeforeItMultiplies) {
  constexpr float df = 120345.7F;
  const std::vector<float> freqs = randomValues(-0.5F, 0.5F);
  const Matrix d = toRowOfDistances(row(freqs), df);
  const Matrix b_d = toDistances(row(freqs), df);
  int toldApart = 0;
  for (int i = 0; i < d.numel; ++i) {
    const float nf = freqs[static_cast<std::size_t>(i)];
    const float expected = product(quotient(nf, df), lightSpeed);
    EXPECT_TRUE(sameBits(d[i], expected)) << nf;
    EXPECT_TRUE(sameBits(b_d[i], expected)) << nf;
    toldApart += quotient(product(nf, lightSpeed), df) != expected ? 1 : 0;
  }
  EXPECT_GT(toldApart, 0) << "the values must tell the two orders apart";
}

TEST(Distance2NF, ProductThatOverflowsStaysInfinite) {
  EXPECT_EQ(distance2NF(3.0e38F, 312500.0F), rtInfF) << "a division first would stay finite";
  EXPECT_EQ(distance2NF(-3.0e38F, 312500.0F), rtMinusInfF);
  EXPECT_TRUE(std::isnan(distance2NF(rtNaNF, 312500.0F)));
}

TEST(Conversions, SpacingOfZeroGivesInfiniteDistancesAndZeroFrequencies) {
  const Matrix nf = row({0.25F, -0.25F, 0.0F, rtNaNF});
  const Matrix expected = row({rtInfF, rtMinusInfF, rtNaNF, rtNaNF});
  EXPECT_TRUE(sameBits(toRowOfDistances(nf, 0.0F), expected));
  EXPECT_TRUE(sameBits(toDistances(nf, 0.0F), expected));
  EXPECT_TRUE(sameBits(toFrequencies(row({7.5F, 0.0F}), 0.0F), row({0.0F, 0.0F})));
}

// EXACT: powers of two are chosen for df and c cancels; the shapes are what is tested.
TEST(Conversions, RowFormsKeepTheFirstElements_TheOtherFormKeepsTheShape) {
  struct Row {
    int rows;
    int cols;
    int rowLength;
    const char* why;
  };
  const Row table[] = {
      {3, 2, 2, "more elements than columns: the first two in storage order"},
      {2, 3, 3, "half of the elements"},
      {1, 4, 4, "a row is converted whole"},
      {4, 1, 1, "a column gives its first element"},
      {1, 0, 0, "empty row"},
      {0, 0, 0, "never sized"},
      {3, 0, 0, "no columns"},
      {0, 3, 0, "columns without an element to read"},
  };
  for (const Row& t : table) {
    std::vector<float> values;
    for (int i = 0; i < t.rows * t.cols; ++i) {
      values.push_back(static_cast<float>(i + 1));
    }
    const Matrix input = matrix(t.rows, t.cols, values);
    std::vector<float> metres;
    for (const float v : values) {
      metres.push_back(v * lightSpeed);
    }
    const std::vector<float> first(metres.begin(), metres.begin() + t.rowLength);
    EXPECT_TRUE(sameBits(toRowOfDistances(input, 1.0F), row(first))) << t.why;
    EXPECT_TRUE(sameBits(toDistances(input, 1.0F), matrix(t.rows, t.cols, metres))) << t.why;
    const Matrix back = toFrequencies(matrix(t.rows, t.cols, metres), 1.0F);
    const std::vector<float> firstValues(values.begin(), values.begin() + t.rowLength);
    EXPECT_TRUE(sameBits(back, row(firstValues))) << t.why;
  }
}

TEST(Conversions, OutputsAreOverwrittenWhateverTheyHeld) {
  const Matrix input = row({2.0F, 4.0F});
  Matrix nf = matrix(3, 3, std::vector<float>(9, -1.0F));
  const float* const buffer = nf.data;
  distance2NF(input, lightSpeed, nf);
  EXPECT_TRUE(sameBits(nf, input));
  EXPECT_EQ(nf.data, buffer) << "a buffer that is large enough is kept";

  Matrix d = matrix(5, 1, std::vector<float>(5, -1.0F));
  nf2Distance(input, lightSpeed, d);
  EXPECT_TRUE(sameBits(d, input));

  Matrix b_d = matrix(5, 1, std::vector<float>(5, -1.0F));
  b_nf2Distance(matrix(2, 1, std::vector<float>{2.0F, 4.0F}), lightSpeed, b_d);
  EXPECT_TRUE(sameBits(b_d, matrix(2, 1, std::vector<float>{2.0F, 4.0F})));
}
