#include <gtest/gtest.h>

#include "flightpath/api/music_parameters.h"

// EXACT: what a caller who fills field by field starts from.
TEST(MUSICParameters, StartWithoutGridCountSwitchesOrResolutions) {
  const MUSICParameters p;
  EXPECT_EQ(p.NormalizedScanningFreqs.numel, 0);
  EXPECT_EQ(p.InputNumSignals.data, 0.0F);
  EXPECT_EQ(p.InputNumSignals.size[0], 0);
  EXPECT_EQ(p.InputNumSignals.size[1], 0);
  EXPECT_EQ(p.ForceClassic, 0);
  EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, 0);
  EXPECT_EQ(p.MeasurementContinual, 0);
  EXPECT_EQ(p.CoarseResolution, 0.0F);
  EXPECT_EQ(p.FineResolution, 0.0F);
}
