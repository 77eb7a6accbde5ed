#include "flightpath/ranging/path_set.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "simulated_channel.h"
#include "tests/support/ranging.h"

using flightpath::Estimate;
using flightpath::Outcome;
using flightpath::Path;
using flightpath::PathSet;
using support::options;
using support::Samples;
using support::spacing_Hz;

namespace {

constexpr std::size_t N = 64;

/// Three estimates: two paths, all zero, and one path.
PathSet mixedSet() {
  std::mt19937_64 random(3);
  Samples rows =
      simulateChannel({{150e-9, 1.0, 0.4}, {520e-9, 0.9, 2.0}}, {N, spacing_Hz, 40.0}, random);
  rows.resize(2 * N);
  const Samples one = simulateChannel({{300e-9, 1.0, 0.4}}, {N, spacing_Hz, 40.0}, random);
  rows.insert(rows.end(), one.begin(), one.end());
  return flightpath::Ranger(N, options()).estimate({rows, N});
}

template <class Set, class = void>
constexpr bool canIndex = false;
template <class Set>
constexpr bool canIndex<Set, std::void_t<decltype(std::declval<Set>()[0])>> = true;

}  // namespace

TEST(PathSet, IsARangeOfEstimatesWhichAreRangesOfPaths) {
  const PathSet found = mixedSet();
  ASSERT_EQ(found.size(), 3U);
  std::vector<std::size_t> counts;
  std::vector<double> distances_m;
  for (const Estimate estimate : found) {
    counts.push_back(estimate.size());
    for (const Path path : estimate) {
      distances_m.push_back(path.Distance_m);
      EXPECT_EQ(path.Delay_s, path.Distance_m / 299792458.0);
    }
  }
  EXPECT_EQ(counts, (std::vector<std::size_t>{2, 0, 1}));
  EXPECT_EQ(distances_m,
            std::vector<double>(found.distances_m().begin(), found.distances_m().end()));
}

// EXACT: element k of estimate i is where the columns have it.
TEST(PathSet, RecordsAndColumnsSayTheSame) {
  const PathSet found = mixedSet();
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Estimate estimate = found[i];
    EXPECT_EQ(estimate.info().NumSignals, found.numSignals()[i]);
    EXPECT_EQ(estimate.info().Result, found.outcomes()[i]);
    for (std::size_t k = 0; k < estimate.size(); ++k) {
      const std::size_t at = found.offsets()[i] + k;
      EXPECT_EQ(estimate[k].Distance_m, found.distances_m()[at]);
      EXPECT_EQ(estimate[k].Delay_s, found.delays_s()[at]);
      EXPECT_EQ(estimate[k].Peak_dB, found.peaks_dB()[at]);
    }
  }
}

TEST(PathSet, CheckedAccessThrowsBehindTheEnd) {
  const PathSet found = mixedSet();
  EXPECT_EQ(found.at(2).size(), 1U);
  EXPECT_EQ(found.at(0).at(1).Distance_m, found[0][1].Distance_m);
  EXPECT_THROW(found.at(3), std::out_of_range);
  EXPECT_THROW(found[0].at(2), std::out_of_range);
  EXPECT_THROW(found[1].at(0), std::out_of_range);
  const PathSet none;
  EXPECT_THROW(none.at(0), std::out_of_range);
}

TEST(PathSet, IsEmptyBeforeAnyEstimate) {
  const PathSet none;
  EXPECT_TRUE(none.empty());
  EXPECT_TRUE(none.complete());
  EXPECT_EQ(none.begin(), none.end());
  EXPECT_TRUE(none.offsets().empty());
}

// An iterator outlives the estimate that it came from: it looks into the set.
TEST(PathSet, IteratorsLookIntoTheSet) {
  const PathSet found = mixedSet();
  auto path = found[0].begin();
  EXPECT_EQ(path->Distance_m, found.distances_m()[0]);
  EXPECT_EQ((*path++).Distance_m, found.distances_m()[0]);
  EXPECT_EQ(path->Distance_m, found.distances_m()[1]);
  EXPECT_EQ(++path, found[0].end());
  EXPECT_EQ(std::distance(found.begin(), found.end()), 3);
  EXPECT_EQ(found.begin()->size(), 2U);
}

TEST(PathSet, EstimatesOfATemporaryDoNotCompile) {
  EXPECT_TRUE(canIndex<const PathSet&>);
  EXPECT_FALSE(canIndex<PathSet>);
}

TEST(PathSet, CarriesItsContext) {
  const flightpath::RangingContext context = mixedSet().context();
  EXPECT_EQ(context.NumSubcarriers, N);
  EXPECT_EQ(context.SubcarrierSpacing, 312500.0);
  EXPECT_DOUBLE_EQ(context.UnambiguousRange_m, 299792458.0 / 312500.0);
  EXPECT_DOUBLE_EQ(context.ResolutionCell_m, 299792458.0 / 20e6);
  // BOUND: the step is a float; 1 / 1500 of the cell.
  EXPECT_NEAR(context.GridStep_m * 1500.0 / context.ResolutionCell_m, 1.0, 4 * 0x1p-24);
}

TEST(Outcome, IsSaidInWords) {
  for (const Outcome outcome :
       {Outcome::Found, Outcome::NoSignal, Outcome::NothingAboveThreshold, Outcome::BadSamples}) {
    EXPECT_NE(std::string(toString(outcome)), "unknown");
  }
  EXPECT_EQ(std::string(toString(Outcome::BadSamples)), "a sample is NaN or infinite");
}
