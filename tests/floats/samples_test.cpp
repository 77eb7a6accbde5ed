#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "tests/floats/bad_values.h"
#include "tests/floats/records.h"
#include "tests/support/same_bits.h"

using support::BadValue;
using support::badValues;
using support::estimateRecord;
using support::Part;
using support::Record;
using support::recordSpacing_Hz;
using support::sameBits;
using support::withSample;

namespace {

constexpr double halfPeriod_m = 0.5 * support::lightSpeed_mps / recordSpacing_Hz;

void expectSame(const ToFEstimate& a, const ToFEstimate& b) {
  ASSERT_EQ(a.Distances.size(), b.Distances.size());
  for (std::size_t k = 0; k < a.Distances.size(); ++k) {
    EXPECT_TRUE(sameBits(a.Distances[k], b.Distances[k])) << k;
    EXPECT_TRUE(sameBits(a.TimesOfFlight[k], b.TimesOfFlight[k])) << k;
  }
}

void expectConsistent(const ToFEstimate& found, int forced) {
  ASSERT_EQ(found.Distances.size(), found.TimesOfFlight.size());
  if (forced >= 0) {
    EXPECT_LE(found.Distances.size(), static_cast<std::size_t>(forced));
  }
  for (std::size_t k = 0; k < found.Distances.size(); ++k) {
    EXPECT_TRUE(sameBits(found.TimesOfFlight[k], found.Distances[k] / support::lightSpeed_mps));
  }
}

/// The angle of a phase step, with the rules for its edges.
double plainAngle(float re, float im) {
  if (std::isnan(re) || std::isnan(im)) {
    return support::notANumber;
  }
  if (std::isinf(re) && std::isinf(im)) {
    return std::atan2(im > 0.0F ? 1.0 : -1.0, re > 0.0F ? 1.0 : -1.0);
  }
  if (re == 0.0F) {
    return im == 0.0F ? 0.0 : std::copysign(std::numbers::pi / 2.0, im);
  }
  return std::atan2(static_cast<double>(im), static_cast<double>(re));
}

/// The closed form: the products overflow in float, the sum and the quotients are taken in double.
double plainClosedForm_m(const Record& x) {
  double sum = 0.0;
  for (std::size_t k = 0; k + 1 < x.size(); ++k) {
    const float re = x[k].re * x[k + 1].re + x[k].im * x[k + 1].im;
    const float im = x[k].re * x[k + 1].im - x[k].im * x[k + 1].re;
    sum += plainAngle(re, im);
  }
  const double turns = -sum / static_cast<double>(x.size() - 1) / (2.0 * std::numbers::pi);
  return turns / recordSpacing_Hz * support::lightSpeed_mps;
}

/// Calls check(record, value, forced) with every part of every sample replaced by every bad value.
template <class Check>
void forEverySpoiltRecord(const Record& good, const std::vector<int>& forcedCounts, Check check) {
  for (const BadValue& bad : badValues) {
    for (std::size_t at = 0; at < good.size(); ++at) {
      for (const Part part : {Part::Real, Part::Imaginary, Part::Both}) {
        for (const int forced : forcedCounts) {
          SCOPED_TRACE(testing::Message() << bad.name << " at " << at << ", part "
                                          << static_cast<int>(part) << ", forced " << forced);
          check(withSample(good, at, part, bad.value), bad.value, forced);
        }
      }
    }
  }
}

}  // namespace

// EXACT: a sample that is not finite, or whose square is not, leaves no eigenvector: no signal is
// counted, the spectrum is flat or NaN, and no peak stands out of it, also where paths are forced.
TEST(BadSamples, NoPathWhereTheCovarianceIsNotFinite) {
  for (const int N : {2, 3, 13}) {
    forEverySpoiltRecord(support::ordinaryRecord(N, 2, 30.0, 4), {-1, 0, 2, 3, 255},
                         [](const Record& x, float value, int forced) {
                           if (support::vanishes(value)) {
                             return;
                           }
                           const ToFEstimate found = estimateRecord(x, forced);
                           EXPECT_TRUE(found.Distances.empty());
                           EXPECT_TRUE(found.TimesOfFlight.empty());
                         });
  }
}

// EXACT: every product of a subnormal is lost in the sum that it joins, of four subvectors here. Two
// subnormal parts still have an angle: where the closed form may answer, only one part is replaced.
TEST(BadSamples, SubnormalsCountAsZero) {
  const Record good = support::ordinaryRecord(13, 2, 30.0, 4);
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const Part part : {Part::Real, Part::Imaginary, Part::Both}) {
      for (const int forced : {-1, 0, 2, 3}) {
        if (forced < 0 && part == Part::Both) {
          continue;
        }
        const ToFEstimate expected = estimateRecord(withSample(good, at, part, 0.0F), forced);
        for (const BadValue& bad : badValues) {
          if (support::vanishes(bad.value)) {
            SCOPED_TRACE(testing::Message() << bad.name << " at " << at << ", forced " << forced);
            expectSame(estimateRecord(withSample(good, at, part, bad.value), forced), expected);
          }
        }
      }
    }
  }
}

// BOUND: N - 1 angles and their sum in float, each within pi eps; as a part of the period. NaN
// exactly where a phase step is NaN: then the mean of all is.
TEST(BadSamples, ClosedFormFollowsTheRulesOfTheAngle) {
  for (const int N : {2, 3, 13}) {
    const double bound = N * 0x1p-23 * halfPeriod_m;
    forEverySpoiltRecord(support::ordinaryRecord(N, 1, 30.0, 4), {1},
                         [bound](const Record& x, float /*value*/, int forced) {
                           const ToFEstimate found = estimateRecord(x, forced);
                           ASSERT_EQ(found.Distances.size(), 1U);
                           const double expected = plainClosedForm_m(x);
                           ASSERT_EQ(std::isnan(found.Distances[0]), std::isnan(expected));
                           if (!std::isnan(expected)) {
                             EXPECT_NEAR(found.Distances[0], expected, bound);
                             EXPECT_LE(std::fabs(found.Distances[0]), halfPeriod_m + bound);
                           }
                         });
  }
}

// EXACT
TEST(BadSamples, AnswerTwiceAlike) {
  forEverySpoiltRecord(support::ordinaryRecord(8, 2, 30.0, 4), {-1, 1, 3},
                       [](const Record& x, float /*value*/, int forced) {
                         const ToFEstimate first = estimateRecord(x, forced);
                         expectConsistent(first, forced);
                         expectSame(estimateRecord(x, forced), first);
                       });
}

// Every sample the same bad value.
TEST(BadSamples, WholeRecordsOfOneValue) {
  for (const BadValue& bad : badValues) {
    for (int N = 1; N <= 40; ++N) {
      const Record x(static_cast<std::size_t>(N), {bad.value, bad.value});
      SCOPED_TRACE(testing::Message() << bad.name << ", N " << N);
      for (const int forced : {-1, 0, 3, 40}) {
        const ToFEstimate found = estimateRecord(x, forced);
        expectConsistent(found, forced);
        if (forced == -1 || forced == 0) {
          EXPECT_TRUE(found.Distances.empty()) << "squares are not finite, or all zero";
        }
      }
      EXPECT_EQ(estimateRecord(x, 1).Distances.size(), 1U);
    }
  }
}
