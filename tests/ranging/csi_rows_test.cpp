#include "flightpath/ranging/csi_rows.h"

#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <random>
#include <type_traits>
#include <vector>

#include "simulated_channel.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"

using flightpath::CsiRows;
using flightpath::PathSet;
using flightpath::Ranger;
using support::columnsOf;
using support::options;
using support::Samples;
using support::spacing_Hz;

namespace {

constexpr std::size_t N = 56;
constexpr std::size_t count = 5;

Samples batch() {
  std::mt19937_64 random(5);
  Samples all;
  for (std::size_t i = 0; i < count; ++i) {
    const auto paths = support::randomPaths(static_cast<int>(i), static_cast<int>(N), random);
    const Samples row = simulateChannel(paths, {static_cast<int>(N), spacing_Hz, 30.0}, random);
    all.insert(all.end(), row.begin(), row.end());
  }
  return all;
}

template <class Real>
std::vector<std::complex<Real>> as(const Samples& samples) {
  std::vector<std::complex<Real>> converted;
  for (const creal32_T z : samples) {
    converted.emplace_back(static_cast<Real>(z.re), static_cast<Real>(z.im));
  }
  return converted;
}

void expectSame(const PathSet& a, const PathSet& b) {
  EXPECT_EQ(columnsOf(a).distances_m, columnsOf(b).distances_m);
  EXPECT_EQ(columnsOf(a).peaks_dB, columnsOf(b).peaks_dB);
  EXPECT_EQ(columnsOf(a).offsets, columnsOf(b).offsets);
  EXPECT_EQ(columnsOf(a).numSignals, columnsOf(b).numSignals);
}

}  // namespace

// EXACT: the same samples in either type and precision.
TEST(CsiRows, TheTypeOfTheSamplesDoesNotMatter) {
  const Samples samples = batch();
  Ranger ranger(N, options());
  const PathSet expected = ranger.estimate({samples, N});
  ASSERT_GE(expected.distances_m().size(), 6U);
  expectSame(ranger.estimate({as<float>(samples), N}), expected);
  expectSame(ranger.estimate({as<double>(samples), N}), expected);
  expectSame(ranger.estimate({samples.data(), samples.size(), N}), expected);
}

// EXACT: a power of two beyond a float's range leaves the answers of double-precision samples alone.
TEST(CsiRows, DoublePrecisionSamplesMayLeaveTheRangeOfAFloat) {
  const Samples samples = batch();
  Ranger ranger(N, options());
  const PathSet expected = ranger.estimate({samples, N});
  for (const double factor : {0x1p600, 0x1p-600}) {
    std::vector<std::complex<double>> scaled = as<double>(samples);
    for (std::complex<double>& z : scaled) {
      z *= factor;
    }
    expectSame(ranger.estimate({scaled, N}), expected);
  }
}

// EXACT: gaps between rows are not read, padding behind the last row may be there or not.
TEST(CsiRows, RowsMayHaveGaps) {
  const Samples samples = batch();
  Ranger ranger(N, options());
  const PathSet expected = ranger.estimate({samples, N});
  constexpr std::size_t stride = N + 7;
  const creal32_T poison = {std::numeric_limits<float>::quiet_NaN(), 0.0F};
  Samples padded(count * stride, poison);
  for (std::size_t i = 0; i < count; ++i) {
    std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(i * N), N,
                padded.begin() + static_cast<std::ptrdiff_t>(i * stride));
  }
  expectSame(ranger.estimate({padded, N, stride}), expected);
  padded.resize((count - 1) * stride + N);
  padded.shrink_to_fit();
  expectSame(ranger.estimate({padded, N, stride}), expected);
}

TEST(CsiRows, AContainerAloneIsOneMeasurement) {
  const std::array<std::complex<float>, 3> three = {};
  const CsiRows rows = three;
  EXPECT_EQ(rows.samplesPerRow(), 3U);
  EXPECT_EQ(rows.numSamples(), 3U);
  EXPECT_EQ(rows.rowStride(), 3U);
  EXPECT_EQ(rows.precision(), CsiRows::Precision::Single);
  EXPECT_EQ(CsiRows(std::vector<std::complex<double>>(2)).precision(), CsiRows::Precision::Double);
}

TEST(CsiRows, OtherElementsAreNoSamples) {
  EXPECT_FALSE((std::is_constructible_v<CsiRows, const std::vector<float>&, std::size_t>));
  EXPECT_FALSE((std::is_constructible_v<CsiRows, const std::vector<std::complex<int>>&>));
  EXPECT_FALSE((std::is_constructible_v<CsiRows, const double*, std::size_t>));
  EXPECT_TRUE((std::is_constructible_v<CsiRows, const std::vector<creal32_T>&, std::size_t>));
}
