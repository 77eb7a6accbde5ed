#include "flightpath/spectrum/fir_response.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/dft_model.h"
#include "tests/support/same_bits.h"

using support::callCounts;
using support::column;
using support::sameBits;

namespace {

using Column = coder::array<creal32_T, 1>;

Column real(std::initializer_list<float> values) {
  std::vector<creal32_T> taps;
  for (const float v : values) {
    taps.push_back({v, 0.0F});
  }
  return column(taps);
}

Column response(MUSICLib& obj, const Column& taps, double n) {
  Column h;
  coder::firfreqz(&obj, taps, n, h);
  return h;
}

Column response(const Column& taps, double n) {
  MUSICLib obj;
  return response(obj, taps, n);
}

void expectWithinBound(const Column& h, std::span<const creal32_T> taps, std::size_t n) {
  ASSERT_EQ(h.numel, static_cast<int>(n));
  const std::vector<support::Complex> model = support::dft(taps, n);
  const double bound = support::fftBound(taps, n);
  for (std::size_t k = 0; k < n; ++k) {
    const support::Complex value = support::toDouble(h[static_cast<int>(k)]);
    EXPECT_LE(std::abs(value - model[k]), bound)
        << taps.size() << " taps, bin " << k << " of " << n;
  }
}

}  // namespace

// EXACT: sums of small integers.
TEST(FirFreqz, HandWorkedResponses) {
  struct Row {
    Column taps;
    double points;
    Column expected;
    const char* why;
  };
  const Column ones5 = real({1, 1, 1, 1, 1});
  const Row rows[] = {
      {real({1}), 4.0, real({1, 1, 1, 1}), "padded impulse"},
      {ones5, 2.0, real({5, 1}), "folded to (3, 2)"},
      {ones5, 1.0, real({5}), "folded to one point"},
      {ones5, 4.9, real({5, 1, 1, 1}), "4.9 points are 4"},
      {real({1, 1, 1, 1}), 4.9, real({4, 0, 0, 0}), "as many taps as whole points"},
      {real({1, 2}), 2.0, real({3, -1}), "as many taps as points"},
      {real({7}), 1.0, real({7}), "one tap, one point"},
      {real({1}), 4.9, real({1, 1, 1, 1}), "padded to the whole points"},
      {Column(), 3.0, real({0, 0, 0}), "no taps: zeros"},
      {Column(), 0.0, Column(), "no taps, no points"},
  };
  for (const Row& r : rows) {
    EXPECT_TRUE(sameBits(response(r.taps, r.points), r.expected)) << r.why;
  }
}

// EXACT: units and integers. The forward direction turns a delay into a falling phase.
TEST(FirFreqz, OneSampleOfDelayTurnsTheOtherWay) {
  const Column h = response(real({0, 1}), 4.0);
  const Column expected = column({creal32_T{1, 0}, {0, -1}, {-1, 0}, {0, 1}});
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(h[k].re, expected[k].re) << k;
    EXPECT_EQ(h[k].im, expected[k].im) << k;
  }
}

TEST(FirFreqz, PointCountBelowOneGivesAnEmptyResponse) {
  for (const double points : {0.0, -0.0, 0.5, 0.999, -1.0, -1e300, rtMinusInf, rtNaN}) {
    for (const Column& taps : {Column(), real({1}), real({1, 2, 3})}) {
      MUSICLib obj;
      Column h = real({9, 9});
      const support::CallCounts before = callCounts();
      coder::firfreqz(&obj, taps, points, h);
      EXPECT_EQ(h.numel, 0) << points;
      EXPECT_EQ(h.size[0], 0) << points;
      EXPECT_EQ(callCounts().fftPlans, before.fftPlans) << points;
    }
  }
}

TEST(FirFreqz, MorePointsThanAnArrayHoldsAreALengthError) {
  for (const double points : {2147483648.0, 1e18, 1e300, rtInf}) {
    for (const Column& taps : {Column(), real({1, 2, 3})}) {
      EXPECT_THROW(response(taps, points), std::length_error) << points;
    }
  }
}

TEST(FirFreqz, NoTapsCostNoFFT) {
  const support::CallCounts before = callCounts();
  response(Column(), 16.0);
  EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
  EXPECT_EQ(callCounts().fftExecutions, before.fftExecutions);
}

// EXACT: each row's sums differ with the order of the addends, 2^24 + 1 being no float.
TEST(FirFreqz, FoldingStartsWithTheTailAndGoesOnInOrder) {
  constexpr float big = 16777216.0F;  // 2^24
  struct Row {
    std::vector<float> evenTaps;  // those that fold onto the first of two points
    float expected;
    const char* why;
  };
  const Row rows[] = {
      {{big, -big, 1.0F}, 0.0F, "(1 + big) - big; the tail last would give 1"},
      {{-big, big, 1.0F}, 1.0F, "(1 - big) + big"},
      {{big, -big, big, 1.0F}, big, "blocks in order after the tail"},
      {{1.0F, big, -big, 0.0F}, 0.0F, "(0 + 1 + big) - big"},
      {{big, -big, 1.0F, 0.0F}, 1.0F, "(0 + big - big) + 1; from the back it would be 0"},
  };
  for (const Row& r : rows) {
    std::vector<creal32_T> taps;
    for (const float v : r.evenTaps) {
      taps.push_back({v, -v});
      taps.push_back({0.0F, 0.0F});
    }
    taps.pop_back();  // the last block stays incomplete
    const Column h = response(column(taps), 2.0);
    for (int k = 0; k < 2; ++k) {
      EXPECT_EQ(h[k].re, r.expected) << r.why;
      EXPECT_EQ(h[k].im, -r.expected) << r.why;
    }
  }
}

// EXACT: a folded response is that of the folded taps.
TEST(FirFreqz, WholeBlocksFoldWithoutATail) {
  const Column folded = response(real({1, 2, 3, 4, 5, 6}), 3.0);
  EXPECT_TRUE(sameBits(folded, response(real({5, 7, 9}), 3.0)));
}

// BOUND: k eps sum|b| a value, k from the number of FFT stages and folded blocks.
TEST(FirFreqz, AgreesWithThePlainTransform) {
  unsigned seed = 0;
  for (const std::size_t n : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 12U, 30U, 64U, 97U, 100U, 256U}) {
    for (const std::size_t taps : {1U, 2U, 5U, 8U, 63U, 64U, 65U, 200U, 256U}) {
      const std::vector<creal32_T> b = support::randomTaps(taps, ++seed);
      expectWithinBound(response(column(b), static_cast<double>(n)), b, n);
    }
  }
}

TEST(FirFreqz, NonFiniteTapReachesEveryPoint) {
  const creal32_T undefined = {rtNaNF, rtNaNF};
  const Column h = response(column({creal32_T{1, 0}, undefined, {1, 0}}), 4.0);
  for (int k = 0; k < 4; ++k) {
    EXPECT_TRUE(sameBits(h[k], undefined)) << k;
  }
}

TEST(FirFreqz, TapsStayAsTheyWere) {
  for (const double points : {4.0, 8.0, 16.0, 3.0}) {
    const Column taps = column(support::randomTaps(8, 3));
    const Column copy = taps;
    response(taps, points);
    EXPECT_TRUE(sameBits(taps, copy)) << points;
  }
}

// EXACT: the same plan on the same numbers.
TEST(FirFreqz, OutputMayHoldAnythingBefore) {
  const Column taps = column(support::randomTaps(8, 3));
  for (const double points : {4.0, 8.0, 16.0, 3.0}) {
    MUSICLib obj;
    Column used = column(support::randomTaps(40, 4));
    coder::firfreqz(&obj, taps, points, used);
    EXPECT_TRUE(sameBits(used, response(obj, taps, points))) << points;
  }
}

TEST(FirFreqz, PlansOncePerLength) {
  MUSICLib obj;
  const Column taps = column(support::randomTaps(8, 3));
  const support::CallCounts before = callCounts();
  for (int i = 0; i < 5; ++i) {
    response(obj, taps, 8.0);
    response(obj, taps, 32.0);
    response(obj, taps, 3.0);
  }
  EXPECT_EQ(callCounts().fftPlans - before.fftPlans, 3);
  EXPECT_EQ(callCounts().fftExecutions - before.fftExecutions, 15);
}

// BOUND as above. The second element of an array has another alignment than the first.
TEST(FirFreqz, ArraysOfOtherAlignmentGetPlansOfTheirOwn) {
  MUSICLib obj;
  std::vector<creal32_T> storage = support::randomTaps(17, 5);
  std::vector<creal32_T> outStorage(17);
  const std::span<const creal32_T> taps = std::span(storage).subspan(1);
  const Column shiftedTaps = support::columnView(storage.data() + 1, 16);
  const int before = callCounts().fftPlans;
  expectWithinBound(response(obj, column(taps), 16.0), taps, 16);
  EXPECT_EQ(callCounts().fftPlans, before + 1);
  expectWithinBound(response(obj, shiftedTaps, 16.0), taps, 16);
  EXPECT_EQ(callCounts().fftPlans, before + 2) << "the taps are transformed where they stand";

  Column shiftedOut = support::columnView(outStorage.data() + 1, 16);
  coder::firfreqz(&obj, shiftedTaps, 16.0, shiftedOut);
  EXPECT_EQ(callCounts().fftPlans, before + 3);
  EXPECT_EQ(shiftedOut.data, outStorage.data() + 1) << "a view that is large enough is kept";
  expectWithinBound(shiftedOut, taps, 16);
}

TEST(FirFreqz, RefusingPlannerIsBadAlloc_TheObjectStaysUsable) {
  MUSICLib obj;
  const std::vector<creal32_T> taps = support::randomTaps(8, 6);
  const int executions = callCounts().fftExecutions;
  for (const double points : {8.0, 16.0, 3.0}) {
    const support::RefusingPlanner refusing;
    EXPECT_THROW(response(obj, column(taps), points), std::bad_alloc) << points;
    EXPECT_THROW(response(obj, column(taps), points), std::bad_alloc) << "asked again";
  }
  EXPECT_EQ(callCounts().fftExecutions, executions) << "a null plan is never run";
  for (const std::size_t points : {8U, 16U, 3U}) {
    expectWithinBound(response(obj, column(taps), static_cast<double>(points)), taps, points);
  }
}

TEST(FftShift, RotatesRightByHalfRoundedDown) {
  struct Row {
    std::vector<float> x;
    std::vector<float> expected;
    const char* why;
  };
  const Row rows[] = {
      {{}, {}, "empty"},
      {{1}, {1}, "one element"},
      {{1, 2}, {2, 1}, "two elements"},
      {{1, 2, 3}, {3, 1, 2}, "three elements"},
      {{1, 2, 3, 4}, {3, 4, 1, 2}, "even"},
      {{1, 2, 3, 4, 5}, {4, 5, 1, 2, 3}, "odd"},
      {{1, 2, 3, 4, 5, 6, 7}, {5, 6, 7, 1, 2, 3, 4}, "odd, longer"},
      {{rtNaNF, -0.0F, rtInfF}, {rtInfF, rtNaNF, -0.0F}, "values are moved, not computed"},
  };
  for (const Row& r : rows) {
    coder::array<float, 1> x = column(r.x);
    const float* const buffer = x.data;
    coder::fftshift(x);
    EXPECT_TRUE(sameBits(x, column(r.expected))) << r.why;
    EXPECT_EQ(x.data, buffer) << "in place";
  }
}

TEST(FftShift, PutsElementZeroInTheMiddle) {
  for (int n = 1; n <= 65; ++n) {
    coder::array<float, 1> x;
    x.set_size(n);
    for (int i = 0; i < n; ++i) {
      x[i] = static_cast<float>(i);
    }
    coder::fftshift(x);
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(x[(i + n / 2) % n], static_cast<float>(i)) << n;
    }
  }
}
