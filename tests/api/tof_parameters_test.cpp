#include "flightpath/api/tof_parameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "flightpath/api/music_parameters.h"
#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using support::matrix;
using support::row;
using support::sameBits;

namespace {

using Matrix = coder::array<float, 2>;

constexpr float eps = std::numeric_limits<float>::epsilon();
constexpr float lightSpeed = 299792448.0F;  // the float nearest to 299792458

// Double holds every product of two floats, and has digits enough that rounding its quotient once
// more to float gives the correctly rounded float quotient: single operations by another road.
float product(float a, float b) { return static_cast<float>(static_cast<double>(a) * b); }
float quotient(float a, float b) { return static_cast<float>(static_cast<double>(a) / b); }
float normalised(float metres, float spacing) {
  return quotient(product(metres, spacing), lightSpeed);
}

/// Settings with nothing optional given.
ToFEstimationParameters plain(float numSubcarriers = 64.0F, float spacing_Hz = 312500.0F) {
  ToFEstimationParameters p;
  p.init(numSubcarriers, spacing_Hz, Matrix(), Matrix(), 0, 1, 1, Matrix(), Matrix());
  return p;
}

b_MUSICParameters converted(ToFEstimationParameters& p) {
  b_MUSICParameters out;
  p.getMUSICParameters(out);
  return out;
}

void expectEqual(const b_MUSICParameters& a, const b_MUSICParameters& b) {
  EXPECT_TRUE(sameBits(a.NormalizedScanningFreqs, b.NormalizedScanningFreqs));
  EXPECT_TRUE(sameBits(a.InputNumSignals, b.InputNumSignals));
  EXPECT_EQ(a.ForceClassic, b.ForceClassic);
  EXPECT_EQ(a.OptPhaseSlopeForOneSignalCase, b.OptPhaseSlopeForOneSignalCase);
  EXPECT_EQ(a.MeasurementContinual, b.MeasurementContinual);
  EXPECT_TRUE(sameBits(a.CoarseResolution, b.CoarseResolution));
  EXPECT_TRUE(sameBits(a.FineResolution, b.FineResolution));
}

const Matrix emptyRow = matrix(1, 0, std::vector<float>());

struct RowRule {
  Matrix given;
  Matrix stored;
  const char* why;
};

/// What becomes of an array that is stored as a row.
const RowRule rowRules[] = {
    {matrix(2, 3, std::vector<float>{1, 2, 3, 4, 5, 6}), row({1.0F, 2.0F, 3.0F}),
     "2 x 3 keeps its first three stored elements"},
    {matrix(3, 1, std::vector<float>{7, 8, 9}), row({7.0F}), "a column keeps its first element"},
    {Matrix(), emptyRow, "never sized: 1 x 0"},
    {matrix(2, 0, std::vector<float>()), emptyRow, "no columns"},
    {matrix(0, 4, std::vector<float>()), emptyRow, "columns without an element: absent"},
};

}  // namespace

TEST(ToFParameters, StartWithoutStorage) {
  const ToFEstimationParameters p;
  for (const Matrix* a :
       {&p.ScanningDistances, &p.InputNumSignals, &p.CoarseResolution, &p.FineResolution}) {
    EXPECT_EQ(a->data, nullptr);
    EXPECT_EQ(a->numel, 0);
    EXPECT_EQ(a->capacity, 0);
    EXPECT_EQ(a->size[0], 0);
    EXPECT_EQ(a->size[1], 0);
  }
}

TEST(ToFParametersInit, StoresEveryArgumentInItsField) {
  ToFEstimationParameters p;
  p.init(30.0F, 1.25e6F, row({1.0F, 2.0F}), row({3.0F}), 4, 5, 255, row({6.0F}), row({7.0F}));
  EXPECT_EQ(p.NumSubcarriers, 30.0F);
  EXPECT_EQ(p.SubcarrierSpacing, 1.25e6F);
  EXPECT_TRUE(sameBits(p.ScanningDistances, row({1.0F, 2.0F})));
  EXPECT_TRUE(sameBits(p.InputNumSignals, row({3.0F})));
  EXPECT_EQ(p.ForceClassic, 4);
  EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, 5);
  EXPECT_EQ(p.MeasurementContinual, 255);
  EXPECT_TRUE(sameBits(p.CoarseResolution, row({6.0F})));
  EXPECT_TRUE(sameBits(p.FineResolution, row({7.0F})));
}

TEST(ToFParametersInit, ChecksAndClampsNothing) {
  ToFEstimationParameters p;
  p.init(rtNaNF, rtMinusInfF, row({-1.0F, rtNaNF}), row({-2.5F}), 0, 0, 0, row({0.0F}),
         row({rtInfF}));
  EXPECT_TRUE(sameBits(p.NumSubcarriers, rtNaNF));
  EXPECT_TRUE(sameBits(p.SubcarrierSpacing, rtMinusInfF));
  EXPECT_TRUE(sameBits(p.ScanningDistances, row({-1.0F, rtNaNF})));
  EXPECT_TRUE(sameBits(p.InputNumSignals, row({-2.5F})));
  EXPECT_TRUE(sameBits(p.CoarseResolution, row({0.0F})));
  EXPECT_TRUE(sameBits(p.FineResolution, row({rtInfF})));
}

TEST(ToFParametersInit, StoresArraysAsRows) {
  for (const RowRule& r : rowRules) {
    ToFEstimationParameters p;
    p.init(1.0F, 1.0F, r.given, r.given, 0, 0, 0, r.given, r.given);
    EXPECT_TRUE(sameBits(p.ScanningDistances, r.stored)) << r.why;
    EXPECT_TRUE(sameBits(p.InputNumSignals, r.stored)) << r.why;
    EXPECT_TRUE(sameBits(p.CoarseResolution, r.stored)) << r.why;
    EXPECT_TRUE(sameBits(p.FineResolution, r.stored)) << r.why;
  }
}

TEST(ToFParametersSetters, StoreArraysAsRows) {
  for (const RowRule& r : rowRules) {
    EXPECT_NO_THROW(ToFEstimationParameters::a__validate_ScanningDistances(r.given)) << r.why;
    EXPECT_NO_THROW(ToFEstimationParameters::a__validate_InputNumSignals(r.given)) << r.why;
    ToFEstimationParameters p;
    p.set_ScanningDistances(r.given);
    EXPECT_TRUE(sameBits(p.ScanningDistances, r.stored)) << r.why;
    EXPECT_EQ(p.InputNumSignals.numel, 0) << "the other field stays";
    p = ToFEstimationParameters();
    p.set_InputNumSignals(r.given);
    EXPECT_TRUE(sameBits(p.InputNumSignals, r.stored)) << r.why;
    EXPECT_EQ(p.ScanningDistances.numel, 0) << "the other field stays";
  }
}

TEST(ToFParametersSetters, TakeEveryByteForASwitchOfTheirOwn) {
  ToFEstimationParameters p;
  for (int value = 0; value < 256; ++value) {
    p.set_ForceClassic(static_cast<unsigned char>(value));
    p.set_OptPhaseSlopeForOneSignalCase(static_cast<unsigned char>((value + 1) % 256));
    p.set_MeasurementContinual(static_cast<unsigned char>((value + 2) % 256));
    EXPECT_EQ(p.ForceClassic, value);
    EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, (value + 1) % 256);
    EXPECT_EQ(p.MeasurementContinual, (value + 2) % 256);
  }
}

TEST(ToFParametersSetters, TakeEveryNumberForAFieldOfTheirOwn) {
  ToFEstimationParameters p;
  for (const float value : {64.0F, 0.0F, -1.0F, rtInfF, rtNaNF}) {
    EXPECT_NO_THROW(ToFEstimationParameters::a__validate_NumSubcarriers(value));
    EXPECT_NO_THROW(ToFEstimationParameters::a__validate_SubcarrierSpacing(value));
    p.set_NumSubcarriers(value);
    p.set_SubcarrierSpacing(0.125F);
    EXPECT_TRUE(sameBits(p.NumSubcarriers, value));
    p.set_NumSubcarriers(0.5F);
    p.set_SubcarrierSpacing(value);
    EXPECT_TRUE(sameBits(p.SubcarrierSpacing, value));
    EXPECT_EQ(p.NumSubcarriers, 0.5F);
  }
}

TEST(ToFParametersSetters, MakeOneByOneWhateverWasThere) {
  for (const float value : {0.5F, 0.0F, -1.0F, rtInfF, rtNaNF}) {
    EXPECT_NO_THROW(ToFEstimationParameters::a__validate_CoarseResolution(value));
    ToFEstimationParameters p;
    p.set_CoarseResolution(value);
    EXPECT_TRUE(sameBits(p.CoarseResolution, row({value})));
    EXPECT_EQ(p.FineResolution.numel, 0) << "the other field stays";
    p.CoarseResolution = row({1.0F, 2.0F, 3.0F});
    p.FineResolution = matrix(3, 1, std::vector<float>{1, 2, 3});
    p.set_FineResolution(value);
    EXPECT_TRUE(sameBits(p.FineResolution, row({value})));
    EXPECT_EQ(p.CoarseResolution.numel, 3) << "the other field stays";
    p.set_CoarseResolution(value);
    EXPECT_TRUE(sameBits(p.CoarseResolution, row({value})));
  }
}

// EXACT: one float product; 2e7 is representable.
TEST(ToFBandwidth, IsCountTimesSpacing) {
  EXPECT_TRUE(sameBits(plain().getBandwidth(), 2.0e7F));
  EXPECT_TRUE(sameBits(plain(53.7F, 312499.9F).getBandwidth(), product(53.7F, 312499.9F)));
  EXPECT_TRUE(sameBits(plain(0.0F, rtInfF).getBandwidth(), rtNaNF));
}

// EXACT: three quotients, each rounded once.
TEST(ToFOptimalResolutions, AreQuotientsOfTheBandwidthInOrder) {
  for (const float count : {64.0F, 1.0F, 53.0F, 114.0F, 242.5F}) {
    for (const float spacing : {312500.0F, 78125.0F, 120345.7F}) {
      float fine = 0.0F;
      const float coarse = plain(count, spacing).getOptimalResolutions(fine);
      const float expected = quotient(quotient(lightSpeed, product(count, spacing)), 30.0F);
      EXPECT_TRUE(sameBits(coarse, expected)) << count << " x " << spacing;
      EXPECT_TRUE(sameBits(fine, quotient(expected, 50.0F))) << count << " x " << spacing;
    }
  }
}

// BOUND: half a unit of the last digit of 299792448 / 2e7 / 30 and / 50, worked out by hand.
TEST(ToFOptimalResolutions, AreHalfAMetreAndACentimetreAt20MHz) {
  float fine = 0.0F;
  EXPECT_NEAR(plain().getOptimalResolutions(fine), 0.499654, 5e-7);
  EXPECT_NEAR(fine, 0.00999308, 5e-9);
}

// BOUND: coarse has four rounded operations, fine five, each of half an epsilon.
TEST(ToFGetMUSICParameters, DefaultStepsDependOnTheCountAlone) {
  for (const float spacing : {312500.0F, 78125.0F, 120000.0F}) {
    ToFEstimationParameters p = plain(64.0F, spacing);
    const b_MUSICParameters out = converted(p);
    EXPECT_NEAR(out.CoarseResolution, 1.0 / 1920, 2.0 * eps / 1920) << spacing;
    EXPECT_NEAR(out.FineResolution, 1.0 / 96000, 2.5 * eps / 96000) << spacing;
  }
}

TEST(ToFGetMUSICParameters, StoresTheDefaultsInTheCallersObject) {
  ToFEstimationParameters p = plain();
  float fine = 0.0F;
  const float coarse = p.getOptimalResolutions(fine);
  converted(p);
  EXPECT_TRUE(sameBits(p.CoarseResolution, row({coarse})));
  EXPECT_TRUE(sameBits(p.FineResolution, row({fine})));
}

// EXACT: what is given is converted, what is absent comes from the bandwidth.
TEST(ToFGetMUSICParameters, FillsInOnlyTheResolutionsThatAreAbsent) {
  float fine = 0.0F;
  const float coarse = plain().getOptimalResolutions(fine);
  const Matrix rowsButNoElement = matrix(0, 3, std::vector<float>());
  struct Row {
    Matrix coarseGiven;
    Matrix fineGiven;
    float coarseUsed;
    float fineUsed;
    const char* why;
  };
  const Row rows[] = {
      {Matrix(), Matrix(), coarse, fine, "both default"},
      {row({3.0F}), Matrix(), 3.0F, fine, "fine from the bandwidth, not from the coarse step"},
      {Matrix(), row({0.25F}), coarse, 0.25F, "coarse from the bandwidth"},
      {row({3.0F}), row({0.25F}), 3.0F, 0.25F, "nothing to fill in"},
      {row({rtNaNF}), row({0.0F}), rtNaNF, 0.0F, "given values are never replaced"},
      {row({3.0F, 4.0F}), Matrix(), 3.0F, fine, "the first of several"},
      {rowsButNoElement, rowsButNoElement, coarse, fine, "0 x n counts as absent"},
  };
  for (const Row& r : rows) {
    ToFEstimationParameters p = plain();
    p.CoarseResolution = r.coarseGiven;
    p.FineResolution = r.fineGiven;
    const b_MUSICParameters out = converted(p);
    EXPECT_TRUE(sameBits(p.CoarseResolution[0], r.coarseUsed)) << r.why;
    EXPECT_TRUE(sameBits(p.FineResolution[0], r.fineUsed)) << r.why;
    EXPECT_TRUE(sameBits(out.CoarseResolution, normalised(r.coarseUsed, 312500.0F))) << r.why;
    EXPECT_TRUE(sameBits(out.FineResolution, normalised(r.fineUsed, 312500.0F))) << r.why;
  }
}

TEST(ToFGetMUSICParameters, GivenResolutionsKeepTheirStoredShape) {
  ToFEstimationParameters p = plain();
  p.CoarseResolution = row({3.0F, 4.0F});
  converted(p);
  EXPECT_TRUE(sameBits(p.CoarseResolution, row({3.0F, 4.0F})));
}

// EXACT: metres times spacing over c, element by element.
TEST(ToFGetMUSICParameters, ConvertsTheGridAndPassesTheRest) {
  ToFEstimationParameters p;
  p.init(64.0F, 312500.0F, row({1.5F, -2.0F, 33.3F}), row({2.0F}), 7, 0, 255, Matrix(), Matrix());
  const b_MUSICParameters out = converted(p);
  EXPECT_TRUE(sameBits(out.NormalizedScanningFreqs,
                       row({normalised(1.5F, 312500.0F), normalised(-2.0F, 312500.0F),
                            normalised(33.3F, 312500.0F)})));
  EXPECT_TRUE(sameBits(out.InputNumSignals, row({2.0F})));
  EXPECT_EQ(out.ForceClassic, 7) << "any byte passes";
  EXPECT_EQ(out.OptPhaseSlopeForOneSignalCase, 0);
  EXPECT_EQ(out.MeasurementContinual, 255) << "any byte passes";
  EXPECT_TRUE(sameBits(p.ScanningDistances, row({1.5F, -2.0F, 33.3F}))) << "read only";
}

TEST(ToFGetMUSICParameters, AbsentListsArriveAsEmptyRows) {
  ToFEstimationParameters p = plain();
  p.ScanningDistances.set_size(0, 5);
  p.InputNumSignals.set_size(0, 1);
  const b_MUSICParameters out = converted(p);
  EXPECT_TRUE(sameBits(out.NormalizedScanningFreqs, emptyRow));
  EXPECT_TRUE(sameBits(out.InputNumSignals, emptyRow));
}

TEST(ToFGetMUSICParameters, GivesTheSameWhenCalledTwice) {
  ToFEstimationParameters p;
  p.init(53.0F, 120345.7F, row({1.5F, 2.5F}), row({2.0F}), 1, 1, 0, Matrix(), Matrix());
  const b_MUSICParameters first = converted(p);
  expectEqual(converted(p), first);
}

TEST(ToFGetMUSICParameters, ReplacesEverythingThatTheOutputHeld) {
  ToFEstimationParameters other;
  other.init(8.0F, 1.0e6F, row(std::vector<float>(40, 1.0F)), row({9.0F}), 9, 9, 9, row({9.0F}),
             row({9.0F}));
  b_MUSICParameters reused = converted(other);
  ToFEstimationParameters p = plain();
  p.getMUSICParameters(reused);
  expectEqual(reused, converted(p));
}

TEST(ToFGetMUSICParameters, BandwidthOfZeroGivesInfiniteSteps) {
  ToFEstimationParameters noSubcarriers = plain(0.0F, 312500.0F);
  const b_MUSICParameters infinite = converted(noSubcarriers);
  EXPECT_TRUE(sameBits(noSubcarriers.CoarseResolution, row({rtInfF})));
  EXPECT_TRUE(sameBits(noSubcarriers.FineResolution, row({rtInfF})));
  EXPECT_EQ(infinite.CoarseResolution, rtInfF);
  EXPECT_EQ(infinite.FineResolution, rtInfF);

  ToFEstimationParameters noSpacing = plain(64.0F, 0.0F);
  const b_MUSICParameters undefined = converted(noSpacing);
  EXPECT_TRUE(sameBits(noSpacing.CoarseResolution, row({rtInfF})));
  EXPECT_TRUE(std::isnan(undefined.CoarseResolution)) << "inf times 0";
  EXPECT_TRUE(std::isnan(undefined.FineResolution)) << "inf times 0";
}
