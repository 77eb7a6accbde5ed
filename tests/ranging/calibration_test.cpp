#include "flightpath/ranging/calibration.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "flightpath/ranging/tone_presets.h"
#include "tests/support/receiver.h"
#include "tests/support/tones.h"

using flightpath::Calibration;
using support::ComplexRows;
using support::measureThrough;
using support::range;
using support::ripplingResponse;
using support::spacing_Hz;
using support::speedOfLight_mps;

namespace {

using Complex = std::complex<double>;

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double cable_m = 7.0;

Calibration calibrate(const ComplexRows& rows, const std::vector<int>& tones,
                      double distance_m = cable_m) {
  return Calibration::measure({rows, tones.size()}, spacing_Hz, distance_m, tones);
}

/// The farthest of corrections times responses from their mean, as a part of it.
double leftOver(const Calibration& calibration, const ComplexRows& response) {
  ComplexRows flat;
  Complex mean;
  for (std::size_t i = 0; i < calibration.tones().size(); ++i) {
    flat.push_back(calibration.corrections()[i] * response[calibration.positions()[i]]);
    mean += flat.back() / static_cast<double>(calibration.tones().size());
  }
  double farthest = 0.0;
  for (const Complex z : flat) {
    farthest = std::max(farthest, std::abs(z / mean - 1.0));
  }
  return farthest;
}

/// The mean square error of the response, as a part of its mean square.
double responseError(const Calibration& calibration, const ComplexRows& response) {
  Complex likeness;
  double found = 0.0;
  double truth = 0.0;
  for (std::size_t i = 0; i < response.size(); ++i) {
    const Complex r = 1.0 / calibration.corrections()[i];
    likeness += std::conj(response[i]) * r;
    found += std::norm(r);
    truth += std::norm(response[i]);
  }
  return 1.0 - std::norm(likeness) / found / truth;
}

ComplexRows joined(ComplexRows a, const ComplexRows& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::string refusal(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

}  // namespace

// BOUND: k eps with k = 1e4: phases of some 100 radians and distances over c lose about 100 eps each, in
// the rows and again where the path is divided out; three rows.
TEST(Calibration, WithoutNoiseCorrectionsMakeTheReceiverFlat) {
  for (const std::vector<int>& tones :
       {range(0, 63), range(-28, 28), flightpath::tonesOf(flightpath::TonePreset::HT20)}) {
    const ComplexRows response = ripplingResponse(tones, 32e-9);
    const ComplexRows rows = measureThrough(response, tones, cable_m, 0.0, 1, 3);
    const Calibration calibration = calibrate(rows, tones);
    EXPECT_LT(leftOver(calibration, response), 1e4 * eps) << tones.size();
    EXPECT_EQ(calibration.tones(), tones);
    EXPECT_EQ(calibration.numSubcarriers(), tones.size());
    EXPECT_EQ(calibration.subcarrierSpacing(), spacing_Hz);
    EXPECT_EQ(calibration.numReferences(), 3U);
    EXPECT_EQ(calibration.numOutliers(), 0U);
    EXPECT_TRUE(calibration.missingTones().empty());
    EXPECT_FALSE(calibration.empty());
  }
}

// BOUND: k eps, k = 1e4 as above. Noise behind the division has the power 1 / |r|^2.
TEST(Calibration, WeightsAreThePowerOfTheResponseOfMean1) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response = ripplingResponse(tones);
  const Calibration calibration =
      calibrate(measureThrough(response, tones, cable_m, 0.0, 1, 2), tones);
  double mean = 0.0;
  for (const Complex r : response) {
    mean += std::norm(r) / 64.0;
  }
  for (std::size_t k = 0; k < response.size(); ++k) {
    EXPECT_NEAR(calibration.weights()[k], std::norm(response[k]) / mean, 1e4 * eps);
    EXPECT_NEAR(calibration.weights()[k] * std::norm(calibration.corrections()[k]), 1.0, 10 * eps);
  }
}

// BOUND: 1e-18 s, to which a fit without noise comes by its last step: 1e-12 of the period of 3.2 us.
TEST(Calibration, DelayIsTheReceiversOwnBesidesTheKnownDistance) {
  for (const std::vector<int>& tones :
       {range(0, 63), flightpath::tonesOf(flightpath::TonePreset::HT20), range(-60, 60, 4)}) {
    for (const double delay_s : {0.0, 32e-9, -250e-9}) {
      for (const double distance_m : {0.0, 3.0, 40.0, -5.0}) {
        ComplexRows response;
        for (const int t : tones) {
          response.push_back(std::polar(1.0, -2.0 * std::numbers::pi * t * spacing_Hz * delay_s));
        }
        const ComplexRows rows = measureThrough(response, tones, distance_m, 0.0, 2);
        EXPECT_NEAR(calibrate(rows, tones, distance_m).delay_s(), delay_s, 1e-18)
            << tones.size() << " tones, " << distance_m << " m";
      }
    }
  }
}

// MODEL: noise of n rows in the response is 1 / n of that of one; the mean of 63 squares of two parts
// has a deviation of 9 % (1 / sqrt(2 * 63)), and of 20 trials 2 %. Five of these.
TEST(Calibration, NoiseOfTheResponseFallsWithTheNumberOfReferences) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response(64, 1.0);
  for (const int n : {1, 4, 32}) {
    double error = 0.0;
    for (unsigned seed = 0; seed < 20; ++seed) {
      const ComplexRows rows = measureThrough(response, tones, cable_m, 0.01, seed, n);
      error += responseError(calibrate(rows, tones), response) / 20.0;
    }
    EXPECT_NEAR(error * n / 0.01 * 64.0 / 63.0, 1.0, 0.1) << n;
  }
}

// EXACT: tones without a sample are left out, and every list goes on with the right one behind them.
TEST(Calibration, TonesOfNothingAreMissing) {
  const std::vector<int> tones = range(-4, 4);
  ComplexRows rows = measureThrough(ripplingResponse(tones), tones, cable_m, 0.0, 3, 3);
  for (std::size_t row = 0; row < 3; ++row) {
    Complex* const at = &rows[row * 9];
    at[0] = 0.0;
    at[2] *= 1e-4;  // -80 dB
    at[4] = row == 0 ? Complex(1.0) : Complex(0.0, notANumber);
    at[8] = row == 1 ? Complex(1.0) : Complex(-inf, 0.0);
  }
  const Calibration calibration = calibrate(rows, tones);
  EXPECT_EQ(calibration.tones(), (std::vector<int>{-3, -1, 1, 2, 3}));
  EXPECT_EQ(calibration.missingTones(), (std::vector<int>{-4, -2, 0, 4}));
  EXPECT_EQ(calibration.positions(), (std::vector<std::size_t>{1, 3, 5, 6, 7}));
  EXPECT_EQ(calibration.numSubcarriers(), 9U);
  EXPECT_EQ(calibration.numOutliers(), 0U);
  EXPECT_EQ(calibration.corrections().size(), 5U);
  EXPECT_EQ(calibration.weights().size(), 5U);
  EXPECT_LT(leftOver(calibration, ripplingResponse(tones)), 1e4 * eps);
}

// BOUND: powers of 0.9 and 1.1 of the limit of 1e-6.
TEST(Calibration, ATonesPowerDecidesBeside1e6thOfTheStrongest) {
  const std::vector<int> tones = range(0, 3);
  for (const auto& [power, numMissing] : {std::pair(0.9e-6, 1U), std::pair(1.1e-6, 0U)}) {
    const ComplexRows row = {2.0, 1.0, 2.0 * std::sqrt(power), 1.0};
    EXPECT_EQ(calibrate(row, tones).missingTones().size(), numMissing) << power;
  }
}

// EXACT: outliers leave nothing behind, wherever they stand, the first row included.
TEST(Calibration, RowsOfSomethingElseAreLeftOutAndCounted) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response = ripplingResponse(tones);
  const ComplexRows good = measureThrough(response, tones, cable_m, 0.01, 4, 12);
  const ComplexRows blocked = measureThrough(response, tones, 60.0, 0.01, 5);
  ComplexRows weak = measureThrough(response, tones, cable_m, 1.0, 6);  // 0 dB
  ComplexRows bad = measureThrough(response, tones, cable_m, 0.01, 7);
  bad[63] = {1.0, notANumber};
  const ComplexRows zero(64);
  const Calibration expected = calibrate(good, tones);
  EXPECT_EQ(expected.numOutliers(), 0U);
  for (const ComplexRows& rows : {joined(joined(blocked, zero), joined(joined(bad, weak), good)),
                                  joined(joined(good, joined(weak, bad)), joined(zero, blocked))}) {
    const Calibration found = calibrate(rows, tones);
    EXPECT_EQ(found.numOutliers(), 4U);
    EXPECT_EQ(found.numReferences(), 16U);
    EXPECT_EQ(found.corrections(), expected.corrections());
    EXPECT_EQ(found.weights(), expected.weights());
    EXPECT_EQ(found.delay_s(), expected.delay_s());
  }
}

// MODEL: one of three is enough to be seen; of two that differ none is known to be the wrong one.
TEST(Calibration, AMajorityDecidesWhatAnOutlierIs) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response = ripplingResponse(tones);
  const ComplexRows good = measureThrough(response, tones, cable_m, 0.01, 8, 2);
  const ComplexRows other = measureThrough(response, tones, 60.0, 0.01, 9);
  EXPECT_EQ(calibrate(joined(other, good), tones).numOutliers(), 1U);
  EXPECT_EQ(calibrate(joined(good, other), tones).numOutliers(), 1U);
  const ComplexRows one(good.begin(), good.begin() + 64);
  EXPECT_EQ(calibrate(joined(one, other), tones).numOutliers(), 0U);
}

// MODEL: beside two that are of something else, one of 15 dB more noise is seen too.
TEST(Calibration, AFarOutlierDoesNotHideANearOne) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response = ripplingResponse(tones);
  const ComplexRows good = measureThrough(response, tones, cable_m, 1e-4, 10, 6);
  const ComplexRows near = measureThrough(response, tones, cable_m, 3e-3, 11);
  const ComplexRows far = measureThrough(response, tones, 200.0, 1e-4, 12, 2);
  EXPECT_EQ(calibrate(joined(joined(far, near), good), tones).numOutliers(), 3U);
}

// MODEL: of 64 tones, noise alone never reaches twice its median, some eight deviations.
TEST(Calibration, NoiseMakesNoOutliers) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response = ripplingResponse(tones);
  for (const double noisePower : {0.0, 1e-8, 0.01, 0.1}) {
    for (const int n : {1, 2, 3, 4, 5, 100}) {
      for (unsigned seed = 0; seed < 10; ++seed) {
        const ComplexRows rows = measureThrough(response, tones, cable_m, noisePower, seed, n);
        EXPECT_EQ(calibrate(rows, tones).numOutliers(), 0U) << n << " rows, " << noisePower;
      }
    }
  }
}

// BOUND: k eps, k = 1e4 as above: rows align in phase and power, from one end of a double to the other.
TEST(Calibration, TheUnitOfARowDoesNotMatter) {
  const std::vector<int> tones = range(0, 63);
  const ComplexRows response = ripplingResponse(tones);
  ComplexRows rows = measureThrough(response, tones, cable_m, 0.0, 13, 3);
  for (std::size_t k = 0; k < 64; ++k) {
    rows[k] *= 1e300;
    rows[64 + k] *= Complex(0.0, 1e-300);
  }
  const Calibration calibration = calibrate(rows, tones);
  EXPECT_LT(leftOver(calibration, response), 1e4 * eps);
  EXPECT_EQ(calibration.numOutliers(), 0U);
}

// EXACT: single precision is read as it is, with a stride where rows have one.
TEST(Calibration, RowsAreReadInTheirPrecisionAndAtTheirStride) {
  const std::vector<int> tones = range(0, 15);
  const ComplexRows rows = measureThrough(ripplingResponse(tones), tones, cable_m, 0.01, 14, 3);
  std::vector<std::complex<float>> single(3 * 20, {9.0F, 9.0F});
  ComplexRows rounded(rows.size());
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const std::complex<float> z(rows[k]);
    single[k / 16 * 20 + k % 16] = z;
    rounded[k] = z;
  }
  EXPECT_EQ(Calibration::measure({single, 16, 20}, spacing_Hz, cable_m).corrections(),
            Calibration::measure({rounded, 16}, spacing_Hz, cable_m).corrections());
}

// EXACT: no tones are 0 ... N - 1.
TEST(Calibration, WithoutTonesTheyCountFromZero) {
  const std::vector<int> tones = range(0, 15);
  const ComplexRows rows = measureThrough(ripplingResponse(tones), tones, cable_m, 0.01, 15, 2);
  const Calibration counted = Calibration::measure({rows, 16}, spacing_Hz, cable_m);
  EXPECT_EQ(counted.tones(), tones);
  EXPECT_EQ(counted.corrections(), calibrate(rows, tones).corrections());
}

// EXACT
TEST(Calibration, WhatIsNoReferenceIsRefusedByName) {
  const ComplexRows good(6, 1.0);
  const ComplexRows zero(6);
  const ComplexRows bad(6, {notANumber, 0.0});
  const ComplexRows oneTone = {0.0, 1.0, 0.0, 0.0, 1.0, 0.0};
  struct Row {
    flightpath::CsiRows rows;
    double spacing, distance;
    std::vector<int> tones;
    const char* expected;
  };
  const Row table[] = {
      {{good, 3}, 0.0, 1.0, {}, "subcarrierSpacing: 0 is not a finite number above 0"},
      {{good, 3}, -2.0, 1.0, {}, "subcarrierSpacing: -2 is not a finite number above 0"},
      {{good, 3}, inf, 1.0, {}, "subcarrierSpacing: inf is not a finite number above 0"},
      {{good, 3}, notANumber, 1.0, {}, "subcarrierSpacing: nan is not a finite number above 0"},
      {{good, 3}, 1e6, notANumber, {}, "distance_m: nan is not a finite number"},
      {{good, 3}, 1e6, -inf, {}, "distance_m: -inf is not a finite number"},
      {{good, 3}, 1e6, 1.0, {0, 1}, "tones: there are 2 for rows of 3 samples"},
      {{good, 3}, 1e6, 1.0, {0, 1, 2, 3}, "tones: there are 4 for rows of 3 samples"},
      {{good, 3},
       1e6,
       1.0,
       {0, 5, 5},
       "tones: 5 behind 5 at position 2, but they are strictly increasing"},
      {{good, 3},
       1e6,
       1.0,
       {0, -1, 5},
       "tones: -1 behind 0 at position 1, but they are strictly increasing"},
      {{good, 1}, 1e6, 1.0, {}, "references: rows of 1 samples are not within 2 ... 65535"},
      {{good.data(), 0, 0},
       1e6,
       1.0,
       {},
       "references: rows of 0 samples are not within 2 ... 65535"},
      {{good.data(), 0, 65536},
       1e6,
       1.0,
       {},
       "references: rows of 65536 samples are not within 2 ... 65535"},
      {{good, 4},
       1e6,
       1.0,
       {},
       "references: 6 samples are no whole number of rows of 4 with a stride of 4"},
      {{static_cast<const Complex*>(nullptr), 6, 3},
       1e6,
       1.0,
       {},
       "references: the samples are null"},
      {{good.data(), 0, 3},
       1e6,
       1.0,
       {},
       "references: none of 0 rows is finite and has a sample that is not zero"},
      {{zero, 3},
       1e6,
       1.0,
       {},
       "references: none of 2 rows is finite and has a sample that is not zero"},
      {{bad, 3},
       1e6,
       1.0,
       {},
       "references: none of 2 rows is finite and has a sample that is not zero"},
      {{oneTone, 3}, 1e6, 1.0, {}, "references: of 3 tones only 1 can be used"},
  };
  for (const Row& row : table) {
    EXPECT_EQ(
        refusal([&] { Calibration::measure(row.rows, row.spacing, row.distance, row.tones); }),
        std::string("Calibration::measure: ") + row.expected);
  }
}

// EXACT
TEST(Calibration, NoneHasNothing) {
  const Calibration none;
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.numSubcarriers(), 0U);
  EXPECT_EQ(none.subcarrierSpacing(), 0.0);
  EXPECT_EQ(none.delay_s(), 0.0);
  EXPECT_EQ(none.numReferences(), 0U);
  EXPECT_EQ(none.numOutliers(), 0U);
  EXPECT_TRUE(none.tones().empty() && none.positions().empty() && none.corrections().empty());
  EXPECT_TRUE(none.weights().empty() && none.missingTones().empty());
}

// EXACT: a copy has the same lists, and keeps them when the other becomes something else.
TEST(Calibration, CopiesShareWhatWasMeasured) {
  const std::vector<int> tones = range(0, 3);
  Calibration calibration = calibrate(ComplexRows(4, 1.0), tones);
  const Calibration copy = calibration;
  EXPECT_EQ(&copy.tones(), &calibration.tones());
  calibration = Calibration();
  EXPECT_TRUE(calibration.empty());
  EXPECT_EQ(copy.tones(), tones);
}
