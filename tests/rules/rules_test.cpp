#include <gtest/gtest.h>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/rules/count_limits.h"
#include "flightpath/rules/default_settings.h"
#include "flightpath/rules/one_path_route.h"
#include "flightpath/rules/peak_threshold.h"
#include "flightpath/rules/penalty.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/runtime/nonfinite.h"

// EXACT: whole numbers.
TEST(Penalty, CountsTheFreeParametersOfTheSignals) {
  EXPECT_EQ(flightpath::penalty(0, 34, true), 0.0);
  EXPECT_EQ(flightpath::penalty(1, 34, true), 34.0);
  EXPECT_EQ(flightpath::penalty(2, 34, true), 67.0);
  EXPECT_EQ(flightpath::penalty(1, 34, false), 67.0);
  EXPECT_EQ(flightpath::penalty(3, 34, false), 195.0);
  // 50,001 * 50,000 / 2: past what an int holds.
  EXPECT_EQ(flightpath::penalty(50000, 50000, true), 1250025000.0);
  EXPECT_EQ(flightpath::penalty(50000, 50000, false), 2500000000.0);
}

TEST(PeakThreshold, IsOneDeviationAboveTheMean) {
  EXPECT_EQ(flightpath::peakThreshold(-3.0F, 2.0F), -1.0F);
  EXPECT_EQ(flightpath::peakThreshold(-3.0, 0.5), -2.5);
}

TEST(OnePathRoute, IsForExactlyOneSignalWhereAllowed) {
  EXPECT_TRUE(flightpath::takesClosedForm(1.0F, true));
  EXPECT_FALSE(flightpath::takesClosedForm(1.0F, false));
  for (const float count : {0.0F, 0.999F, 1.001F, 2.0F, -1.0F, rtInfF, rtNaNF}) {
    EXPECT_FALSE(flightpath::takesClosedForm(count, true)) << count;
  }
}

TEST(SignalDimensions, AreWholeAndWithinWhatThereIs) {
  struct Row {
    float count;
    int expected;
    const char* why;
  };
  const Row rows[] = {{0.0F, 0, "none"},
                      {2.9F, 2, "truncated"},
                      {48.0F, 48, "all"},
                      {49.0F, 48, "more"},
                      {300.0F, 48, "a count above 255 is one like others"},
                      {rtInfF, 48, "inf"},
                      {-1.0F, 0, "negative"},
                      {rtNaNF, 0, "NaN"}};
  for (const Row& row : rows) {
    EXPECT_EQ(flightpath::signalDimensions(row.count, 48), row.expected) << row.why;
  }
}

TEST(SubvectorLength, IsThreeQuartersWithHalvesUpwards) {
  EXPECT_EQ(flightpath::subvectorLength(0), 0);
  EXPECT_EQ(flightpath::subvectorLength(1), 1);
  EXPECT_EQ(flightpath::subvectorLength(2), 2);
  EXPECT_EQ(flightpath::subvectorLength(3), 2);
  EXPECT_EQ(flightpath::subvectorLength(10), 8);
  EXPECT_EQ(flightpath::subvectorLength(64), 48);
}

TEST(DefaultSettings, SmoothAndAllowTheClosedForm_WithoutAnyArray) {
  ToFEstimationParameters parameters;
  flightpath::setDefaults(64.0F, 312500.0F, parameters);
  EXPECT_EQ(parameters.NumSubcarriers, 64.0F);
  EXPECT_EQ(parameters.SubcarrierSpacing, 312500.0F);
  EXPECT_EQ(parameters.ForceClassic, 0);
  EXPECT_NE(parameters.OptPhaseSlopeForOneSignalCase, 0);
  EXPECT_NE(parameters.MeasurementContinual, 0);
  for (const auto* absent : {&parameters.ScanningDistances, &parameters.InputNumSignals,
                             &parameters.CoarseResolution, &parameters.FineResolution}) {
    EXPECT_EQ(absent->size[1], 0);
  }
}
