#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "tests/support/ranging.h"

// MODEL: what README.md warns of. 56 tones of an OFDM symbol without the one in the middle, packed
// together: one of 55 phase steps is twice as long, and the closed form takes their mean, 56 / 55 of
// the path, with nothing to show for it.
TEST(MissingTone, PackedTogetherStretchesThePathWithoutAWord) {
  constexpr double delay_s = 100e-9;
  std::vector<std::complex<double>> packed;
  for (int tone = -28; tone <= 28; ++tone) {
    if (tone != 0) {
      packed.push_back(std::polar(1.0, -6.283185307179586 * tone * support::spacing_Hz * delay_s));
    }
  }
  const support::PathSet found = flightpath::Ranger(56, support::options()).estimate(packed);
  ASSERT_EQ(found[0].size(), 1U);
  EXPECT_EQ(found[0].info().Result, flightpath::Outcome::Found);
  EXPECT_NEAR(found[0][0].Distance_m, 29.979 * 56.0 / 55.0, 0.005);
  EXPECT_NEAR(found[0][0].Distance_m, 30.52, 0.005);
}
