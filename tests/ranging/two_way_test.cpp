#include "flightpath/ranging/two_way.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "tests/support/ranging.h"
#include "tests/support/tones.h"

using flightpath::combineTwoWay;
using flightpath::CsiRows;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::speedOfLight_mps;

namespace {

using Complex = std::complex<double>;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double channelSpacing_Hz = 1e6;

struct Direct {
  double distance_m;
  double amplitude;
  double phase_rad;
};

/// What two devices measured of each other, tone by tone.
struct Exchange {
  std::vector<int> tones;
  std::vector<Complex> initiator;
  std::vector<Complex> reflector;
};

/// 79 channels, of which five to seven are lost. At each, both oscillators begin anew, at any phase.
Exchange exchange(const std::vector<Direct>& paths, double snr_dB, std::mt19937_64& random) {
  std::vector<int> channels = support::range(0, 78);
  std::shuffle(channels.begin(), channels.end(), random);
  channels.resize(79 - std::uniform_int_distribution<std::size_t>(5, 7)(random));
  std::sort(channels.begin(), channels.end());
  std::uniform_real_distribution<double> anyPhase(0.0, 2.0 * std::numbers::pi);
  std::normal_distribution<double> noise(0.0, std::sqrt(0.5 * std::pow(10.0, -snr_dB / 10.0)));
  Exchange made{channels, {}, {}};
  for (const int t : channels) {
    Complex h;
    for (const Direct& path : paths) {
      const double turns = path.distance_m / speedOfLight_mps * channelSpacing_Hz * t;
      h += std::polar(path.amplitude, path.phase_rad - 2.0 * std::numbers::pi * turns);
    }
    const Complex turn = std::polar(1.0, anyPhase(random) - anyPhase(random));
    made.initiator.push_back(h * turn + Complex(noise(random), noise(random)));
    made.reflector.push_back(h * std::conj(turn) + Complex(noise(random), noise(random)));
  }
  return made;
}

RangingOptions twoWay(const std::vector<int>& tones) {
  RangingOptions how;
  how.SubcarrierSpacing = channelSpacing_Hz;
  how.RoundTrip = true;
  how.Tones = tones;
  return how;
}

PathSet estimate(const std::vector<Complex>& samples, const RangingOptions& how) {
  return Ranger(static_cast<std::uint32_t>(samples.size()), how).estimate(samples);
}

/// Whether one of the paths lies within this many of its deviations of the distance.
bool isFound(const PathSet& found, double distance_m, double deviations) {
  return std::any_of(found[0].begin(), found[0].end(), [&](const flightpath::Path& path) {
    return std::fabs(path.Distance_m - distance_m) < deviations * path.Deviation_m &&
           path.Deviation_m < 0.2;
  });
}

template <class First, class Second>
std::string refusal(const First& initiator, const Second& reflector) {
  try {
    combineTwoWay(initiator, reflector);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

}  // namespace

// EXACT: whole numbers.
TEST(TwoWay, EverySampleIsTheProductOfBoth) {
  const std::vector<std::complex<float>> x = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
  const std::vector<Complex> y = {{1, 0}, {0, 1}, {2, -1}, {-1, 3}};
  const std::vector<Complex> expected = {{1, 2}, {-4, 3}, {16, 7}, {-31, 13}};
  EXPECT_EQ(combineTwoWay({x, 2}, {y, 2}), expected);
  EXPECT_EQ(combineTwoWay({y, 2}, {x, 2}), expected);
  EXPECT_EQ(combineTwoWay(x, y), expected) << "one measurement of four samples";
}

// EXACT: each side has the stride of its own storage, and the answer none.
TEST(TwoWay, StridesAreThoseOfEitherSide) {
  std::vector<creal32_T> x(11, creal32_T{99, 99});
  std::vector<Complex> y(9, Complex(-99, -99));
  for (int row = 0; row < 3; ++row) {
    for (int k = 0; k < 2; ++k) {
      x[static_cast<std::size_t>(4 * row + k)] = {static_cast<float>(1 + row), 0.0F};
      y[static_cast<std::size_t>(3 * row + k)] = Complex(0, 1 + k);
    }
  }
  x.resize(10);  // without the padding of the last row
  const std::vector<Complex> expected = {{0, 1}, {0, 2}, {0, 2}, {0, 4}, {0, 3}, {0, 6}};
  EXPECT_EQ(combineTwoWay({x, 2, 4}, {y, 2, 3}), expected);
}

// EXACT: what no float holds. 1 + 2^-40 times 2^100 leaves a float's digits and 2^200 its range.
TEST(TwoWay, ProductsAreOfDoublePrecision) {
  const std::vector<Complex> x = {{1.0 + 0x1p-40, 0.0}, {0x1p100, 0.0}};
  const std::vector<Complex> y = {{0x1p100, 0.0}, {0.0, 0x1p100}};
  EXPECT_EQ(combineTwoWay(x, y)[0], Complex(0x1p100 + 0x1p60, 0.0));
  const std::vector<creal32_T> large = {{0x1p100F, 0.0F}};
  EXPECT_EQ(combineTwoWay(large, large)[0], Complex(0x1p200, 0.0));
}

TEST(TwoWay, NotANumberStaysWhereItIs) {
  const std::vector<Complex> ones(3, Complex(1, 1));
  for (const Complex bad : {Complex(notANumber, 0), Complex(0, notANumber)}) {
    std::vector<Complex> x = ones;
    x[1] = bad;
    for (const auto& z : {combineTwoWay(x, ones), combineTwoWay(ones, x)}) {
      EXPECT_EQ(z[0], Complex(0, 2));
      EXPECT_TRUE(std::isnan(z[1].real()) && std::isnan(z[1].imag()));
      EXPECT_EQ(z[2], Complex(0, 2));
    }
  }
}

// EXACT: a vector that held more keeps its storage, and nothing of what it held.
TEST(TwoWay, AVectorIsReused) {
  std::vector<Complex> out(100, Complex(7, 7));
  const Complex* const storage = out.data();
  const std::vector<Complex> x = {{1, 1}, {2, 0}};
  combineTwoWay(x, x, out);
  EXPECT_EQ(out, (std::vector<Complex>{{0, 2}, {4, 0}}));
  EXPECT_EQ(out.data(), storage);
  const std::vector<Complex> longer(3);
  EXPECT_THROW(combineTwoWay(x, longer, out), std::invalid_argument);
  EXPECT_EQ(out, (std::vector<Complex>{{0, 2}, {4, 0}})) << "as it was";
}

TEST(TwoWay, NothingGivesNothing) {
  const std::vector<Complex> none;
  EXPECT_TRUE(combineTwoWay(none, none).empty());
  EXPECT_TRUE(combineTwoWay({none, 4}, {none, 4}).empty());
}

// EXACT
TEST(TwoWay, WhatDoesNotMatchIsNamedOnBothSides) {
  const std::vector<Complex> x(12);
  EXPECT_EQ(refusal(CsiRows(x, 4), CsiRows(x, 6)),
            "combineTwoWay: the initiator has 4 samples per row, the reflector 6");
  EXPECT_EQ(refusal(CsiRows(x, 4), CsiRows(x.data(), 8, 4)),
            "combineTwoWay: the initiator has 3 rows, the reflector 2");
  EXPECT_EQ(refusal(CsiRows(x, 4), CsiRows(x, 4, 8)),
            "combineTwoWay: the initiator has 3 rows, the reflector 2");
  EXPECT_EQ(
      refusal(CsiRows(x, 5), CsiRows(x, 5)),
      "combineTwoWay: initiator: 12 samples are no whole number of rows of 5 with a stride of 5");
  EXPECT_EQ(refusal(CsiRows(x, 4), CsiRows(static_cast<const Complex*>(nullptr), 12, 4)),
            "combineTwoWay: reflector: the samples are null");
  EXPECT_EQ(refusal(CsiRows(x, 4), CsiRows(x, 4, 3)),
            "combineTwoWay: reflector: a row stride of 3 samples is shorter than a row of 4");
  EXPECT_EQ(refusal(CsiRows(x, 0), CsiRows(x, 0)),
            "combineTwoWay: initiator: 12 samples in rows of 0");
}

// MODEL: per side 25 or 30 dB. Halved, two paths leave three components and three paths six. Where
// these lie 2.5 m apart, a cell being 1.9 m, or three of them 1.5 m at 30 dB, all paths are found within five
// deviations (five, since the noise of the products grows with the channel's magnitude, which the
// deviations do not know). What one side measured alone has no path in it.
TEST(TwoWay, DistancesComeOutOfTheProductsAndNotOfOneSide) {
  struct Row {
    std::vector<double> distances_m;
    double snr_dB;
  };
  std::mt19937_64 random(79);
  std::uniform_real_distribution<double> anyPhase(0.0, 2.0 * std::numbers::pi);
  for (const Row& row : {Row{{2.0, 5.0}, 30.0}, Row{{3.0, 9.0}, 25.0}, Row{{4.0, 9.0, 20.0}, 25.0},
                         Row{{3.0, 10.0, 22.0}, 30.0}}) {
    for (int trial = 0; trial < 20; ++trial) {
      std::vector<Direct> paths;
      double amplitude = 1.0;
      for (const double distance_m : row.distances_m) {
        paths.push_back({distance_m, amplitude, anyPhase(random)});
        amplitude *= 0.7;
      }
      const Exchange made = exchange(paths, row.snr_dB, random);
      RangingOptions how = twoWay(made.tones);
      how.EarliestDistance = -10.0;
      how.LatestDistance = 60.0;
      const PathSet combined = estimate(combineTwoWay(made.initiator, made.reflector), how);
      ASSERT_FALSE(combined[0].empty());
      EXPECT_NEAR(combined[0][0].Distance_m, row.distances_m[0], 0.35) << "the first is the first";
      const PathSet alone = estimate(made.initiator, how);
      for (const double distance_m : row.distances_m) {
        EXPECT_TRUE(isFound(combined, distance_m, 5.0)) << distance_m << ", trial " << trial;
        EXPECT_FALSE(isFound(alone, distance_m, 5.0)) << distance_m << ", trial " << trial;
      }
    }
  }
}
