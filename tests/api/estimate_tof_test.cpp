#include "flightpath/api/entry/estimate_tof.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <new>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "simulated_channel.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/same_bits.h"

using support::sameBits;

namespace {

constexpr std::uint32_t spacing_Hz = 312500;
constexpr double speedOfLight_mps = 299792458.0;

CSI toCSI(const std::vector<creal32_T>& samples) {
  return {spacing_Hz, static_cast<std::uint16_t>(samples.size()), samples.data()};
}

std::vector<creal32_T> channel(const std::vector<SimulatedPath>& paths, int N, double snr_dB,
                               std::uint64_t seed) {
  std::mt19937_64 random(seed);
  return simulateChannel(paths, {N, static_cast<double>(spacing_Hz), snr_dB}, random);
}

std::vector<creal32_T> threePaths(int N, std::uint64_t seed) {
  return channel({{40e-9, 1.0, 0.3}, {110e-9, 0.7, 1.9}, {200e-9, 0.5, -2.2}}, N, 30.0, seed);
}

void expectSame(const ToFEstimate& a, const ToFEstimate& b) {
  ASSERT_EQ(a.Distances.size(), b.Distances.size());
  ASSERT_EQ(a.TimesOfFlight.size(), b.TimesOfFlight.size());
  for (std::size_t k = 0; k < a.Distances.size(); ++k) {
    EXPECT_TRUE(sameBits(a.Distances[k], b.Distances[k])) << k;
    EXPECT_TRUE(sameBits(a.TimesOfFlight[k], b.TimesOfFlight[k])) << k;
  }
}

/// Root mean square error of the one distance of a forced single path, in radians a subcarrier.
double phaseErrorOfSinglePath(int N, double snr_dB, int trials) {
  const double delay_s = 73e-9;
  const double toRadians = 6.283185307179586 * spacing_Hz / speedOfLight_mps;
  double squares = 0.0;
  for (int trial = 0; trial < trials; ++trial) {
    const std::vector<creal32_T> x =
        channel({{delay_s, 1.0, 0.5}}, N, snr_dB, static_cast<std::uint64_t>(trial));
    const double error_m =
        MUSIC::estimateToF(toCSI(x), 1).Distances.at(0) - delay_s * speedOfLight_mps;
    squares += std::pow(error_m * toRadians, 2);
  }
  return std::sqrt(squares / trials);
}

}  // namespace

TEST(EstimateToF, NothingMeasuredFindsNoPath) {
  const creal32_T unread{1.0F, 0.0F};
  for (const CSI& csi : {CSI{spacing_Hz, 0, &unread}, CSI{spacing_Hz, 0, nullptr},
                         CSI{spacing_Hz, 64, nullptr}, CSI{0, 0, nullptr}}) {
    for (const int forced : {-1, 0, 2, 3, 255}) {
      const ToFEstimate found = forced < 0
                                    ? MUSIC::estimateToF(csi)
                                    : MUSIC::estimateToF(csi, static_cast<unsigned char>(forced));
      EXPECT_TRUE(found.Distances.empty()) << forced;
      EXPECT_TRUE(found.TimesOfFlight.empty()) << forced;
    }
  }
}

// The closed form has no phase step to average: 0 / 0.
TEST(EstimateToF, OnePathForcedOnTooFewSamplesIsOneNaN) {
  const std::vector<creal32_T> one = {{1.0F, 2.0F}};
  for (const CSI& csi : {CSI{spacing_Hz, 0, nullptr}, CSI{spacing_Hz, 64, nullptr}, toCSI(one)}) {
    const ToFEstimate found = MUSIC::estimateToF(csi, 1);
    ASSERT_EQ(found.Distances.size(), 1U);
    ASSERT_EQ(found.TimesOfFlight.size(), 1U);
    EXPECT_TRUE(std::isnan(found.Distances[0]));
    EXPECT_TRUE(std::isnan(found.TimesOfFlight[0]));
  }
}

// EXACT relation; BOUND for the distance: (N + 8) half units of a turn, in metres.
TEST(EstimateToF, OneCleanPathForced) {
  constexpr int N = 64;
  const std::vector<creal32_T> x = channel({{73e-9, 1.0, 0.5}}, N, rtInf, 1);
  const ToFEstimate found = MUSIC::estimateToF(toCSI(x), 1);
  ASSERT_EQ(found.Distances.size(), 1U);
  ASSERT_EQ(found.TimesOfFlight.size(), 1U);
  EXPECT_TRUE(sameBits(found.TimesOfFlight[0], found.Distances[0] / 299792458.0));
  EXPECT_TRUE(
      sameBits(found.Distances[0], static_cast<double>(static_cast<float>(found.Distances[0]))))
      << "a float until then";
  EXPECT_NEAR(found.Distances[0], 73e-9 * speedOfLight_mps,
              (N + 8) * 0x1p-24 * speedOfLight_mps / spacing_Hz);
}

// EXACT
TEST(EstimateToF, TimesAreTheDistancesOverTheExactSpeedOfLight) {
  for (const int forced : {0, 1, 2, 3, 10, 48, 255}) {
    const ToFEstimate found =
        MUSIC::estimateToF(toCSI(threePaths(64, 3)), static_cast<unsigned char>(forced));
    ASSERT_EQ(found.Distances.size(), found.TimesOfFlight.size()) << forced;
    EXPECT_LE(found.Distances.size(), static_cast<std::size_t>(forced));
    for (std::size_t k = 0; k < found.Distances.size(); ++k) {
      EXPECT_TRUE(sameBits(found.TimesOfFlight[k], found.Distances[k] / 299792458.0)) << forced;
    }
  }
}

// EXACT: what the entry point stands for.
TEST(EstimateToF, IsTheEstimatorWithItsDefaults) {
  const std::vector<creal32_T> x = threePaths(64, 5);
  for (const int forced : {-1, 1, 2, 3}) {
    ToFEstimationParameters p;
    coder::array<float, 2> count;
    if (forced >= 0) {
      count = support::row({static_cast<float>(forced)});
    }
    p.init(64.0F, 312500.0F, {}, count, 0, 1, 1, {}, {});
    MUSICLib obj;
    ToFResult expected;
    obj.MUSICToF(support::column(x), &p, &expected);
    const ToFEstimate found =
        forced < 0 ? MUSIC::estimateToF(toCSI(x))
                   : MUSIC::estimateToF(toCSI(x), static_cast<unsigned char>(forced));
    ASSERT_EQ(found.Distances.size(), static_cast<std::size_t>(expected.Distances.numel));
    for (int k = 0; k < expected.Distances.numel; ++k) {
      EXPECT_TRUE(sameBits(found.Distances[static_cast<std::size_t>(k)],
                           static_cast<double>(expected.Distances[k])));
    }
  }
}

// EXACT
TEST(EstimateToF, KeepsNoState) {
  const std::vector<creal32_T> x = threePaths(64, 7);
  const ToFEstimate first = MUSIC::estimateToF(toCSI(x));
  MUSIC::estimateToF(toCSI(threePaths(30, 8)), 2);
  expectSame(MUSIC::estimateToF(toCSI(x)), first);
}

TEST(EstimateToF, ReadsARecordThatCarriesMore) {
  struct Receiver : CSI {
    int antenna = 0;
    double gain_dB = 0.0;
  };
  const std::vector<creal32_T> x = threePaths(64, 7);
  Receiver record;
  static_cast<CSI&>(record) = toCSI(x);
  expectSame(MUSIC::estimateToF(record), MUSIC::estimateToF(toCSI(x)));
}

TEST(EstimateToF, EveryCallSetsOneBlasThread) {
  const std::vector<creal32_T> x = threePaths(16, 1);
  const int before = support::callCounts().blasThreadSettings;
  MUSIC::estimateToF(toCSI(x));
  EXPECT_EQ(support::callCounts().blasThreadSettings, before + 1);
  MUSIC::estimateToF(CSI{spacing_Hz, 0, nullptr}, 1);
  EXPECT_EQ(support::callCounts().blasThreadSettings, before + 2);
}

TEST(EstimateToF, DestroysEveryPlanItMade) {
  const support::CallCounts before = support::callCounts();
  MUSIC::estimateToF(toCSI(threePaths(64, 1)), 3);
  const support::CallCounts& after = support::callCounts();
  EXPECT_GT(after.fftPlans, before.fftPlans);
  EXPECT_EQ(after.fftPlans - before.fftPlans, after.fftPlansDestroyed - before.fftPlansDestroyed);
}

TEST(EstimateToF, RefusingPlannerIsBadAlloc) {
  const support::RefusingPlanner refusing;
  EXPECT_THROW(MUSIC::estimateToF(toCSI(threePaths(64, 1)), 3), std::bad_alloc);
}

TEST(EstimateToF, MostSubcarriersAreRefusedAtOnce) {
  const std::vector<creal32_T> x(65535, creal32_T{1.0F, 0.0F});
  for (const unsigned char forced :
       {static_cast<unsigned char>(1), static_cast<unsigned char>(3)}) {
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(MUSIC::estimateToF(toCSI(x), forced), std::length_error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "KiB";
  }
}

TEST(EstimateToF, NonFiniteSamplesGiveNoPath_OrNaNInClosedForm) {
  for (const float bad : {rtNaNF, rtInfF, rtMinusInfF}) {
    std::vector<creal32_T> x = threePaths(32, 1);
    x[5].re = bad;
    EXPECT_TRUE(MUSIC::estimateToF(toCSI(x)).Distances.empty());
    EXPECT_EQ(MUSIC::estimateToF(toCSI(x), 1).Distances.size(), 1U);
  }
}

TEST(EstimateToF, AnySpacingIsTaken) {
  const std::vector<creal32_T> x = threePaths(16, 1);
  for (const std::uint32_t spacing : {0U, 1U, 4294967295U}) {
    const CSI csi{spacing, 16, x.data()};
    EXPECT_EQ(MUSIC::estimateToF(csi, 1).Distances.size(), 1U) << spacing;
    EXPECT_LE(MUSIC::estimateToF(csi, 3).Distances.size(), 3U) << spacing;
  }
}

// EXACT
TEST(EstimateToF, FourThreadsGetTheSerialResults) {
  constexpr int numThreads = 4;
  constexpr int perThread = 6;
  std::vector<std::vector<creal32_T>> records;
  std::vector<ToFEstimate> serial;
  for (int k = 0; k < numThreads * perThread; ++k) {
    records.push_back(threePaths(32 + k, static_cast<std::uint64_t>(k)));
    serial.push_back(MUSIC::estimateToF(toCSI(records.back()), 3));
  }
  std::vector<ToFEstimate> concurrent(records.size());
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < numThreads; ++t) {
    threads.emplace_back([&records, &concurrent, t] {
      for (std::size_t k = t; k < records.size(); k += numThreads) {
        concurrent[k] = MUSIC::estimateToF(toCSI(records[k]), 3);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (std::size_t k = 0; k < serial.size(); ++k) {
    EXPECT_FALSE(serial[k].Distances.empty()) << k;
    expectSame(concurrent[k], serial[k]);
  }
}

// MODEL: the sum of the phase steps telescopes, so that its noise is that of two samples' phases,
// each of variance 1/(2 SNR): standard deviation sqrt(1/SNR) / (N - 1). That is sqrt(N/6) times
// the Cramer-Rao bound sqrt(6 / (SNR N^3)) for a single tone. The root mean square of 400 trials
// scatters by 1/sqrt(800) = 3.5 %; four of those.
TEST(EstimateToF, SinglePathErrsAsMuchAsTheClosedFormMust) {
  for (const int N : {16, 64}) {
    for (const double snr_dB : {20.0, 30.0}) {
      const double snr = std::pow(10.0, snr_dB / 10.0);
      const double expected = std::sqrt(1.0 / snr) / (N - 1);
      const double error = phaseErrorOfSinglePath(N, snr_dB, 400);
      EXPECT_NEAR(error / expected, 1.0, 0.14) << N << ", " << snr_dB << " dB";
      EXPECT_GT(error, std::sqrt(6.0 / (snr * N * N * N))) << "no estimate beats the bound";
    }
  }
}

// MODEL: three paths a beam width apart at 30 dB. The bound on each is some centimetres; the rest
// is the pull of coherent neighbours.
TEST(EstimateToF, FindsThreeSimulatedPaths) {
  for (std::uint64_t seed = 1; seed <= 5; ++seed) {
    const ToFEstimate found = MUSIC::estimateToF(toCSI(threePaths(64, seed)), 3);
    ASSERT_EQ(found.Distances.size(), 3U) << seed;
    EXPECT_NEAR(found.Distances[0], 40e-9 * speedOfLight_mps, 0.3) << seed;
    EXPECT_NEAR(found.Distances[1], 110e-9 * speedOfLight_mps, 0.3) << seed;
    EXPECT_NEAR(found.Distances[2], 200e-9 * speedOfLight_mps, 0.3) << seed;
  }
}
