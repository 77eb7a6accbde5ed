#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

#include "tests/support/columns.h"
#include "tests/support/ranging.h"

using flightpath::Estimate;
using flightpath::Outcome;
using flightpath::PathSet;
using support::options;
using support::Samples;

namespace {

template <class Set, class = void>
constexpr bool hasColumn = false;
template <class Set>
constexpr bool hasColumn<Set, std::void_t<decltype(std::declval<Set>().distances_m())>> = true;

template <class Set, class = void>
constexpr bool hasOffsets = false;
template <class Set>
constexpr bool hasOffsets<Set, std::void_t<decltype(std::declval<Set>().offsets())>> = true;

}  // namespace

// for (double d : ranger.estimate(csi).distances_m()) reads what is gone already, as found[0] would.
TEST(PathSet, ColumnsOfATemporaryDoNotCompile) {
  EXPECT_TRUE(hasColumn<const PathSet&>);
  EXPECT_FALSE(hasColumn<PathSet>);
  EXPECT_TRUE(hasOffsets<const PathSet&>);
  EXPECT_FALSE(hasOffsets<PathSet>);
}

// const auto& info = found[0].info(); found[0] is a temporary.
TEST(PathSet, WhatIsSaidOfATemporaryIsAValue) {
  EXPECT_FALSE(std::is_reference_v<decltype(std::declval<Estimate>().info())>);
  EXPECT_FALSE(std::is_reference_v<decltype(std::declval<PathSet>().context())>);
}

// EXACT: the context is that of the Ranger that filled the set last, not first.
TEST(PathSet, RefilledByAnotherRangerItHasThatOnesContext) {
  flightpath::Ranger first(64, options());
  flightpath::Ranger second(30, support::withSpacing(78125.0));
  PathSet out = first.estimate(Samples(64, {1.0F, 0.0F}));
  second.estimate(Samples(30, {1.0F, 0.0F}), out);
  EXPECT_EQ(out.context().NumSubcarriers, 30U);
  EXPECT_EQ(out.context().SubcarrierSpacing, 78125.0);
  EXPECT_DOUBLE_EQ(out.context().UnambiguousRange_m, 299792458.0 / 78125.0);
}

// EXACT: as it was given, also where single precision would round it.
TEST(PathSet, ItsContextHasTheSpacingAsGiven) {
  constexpr double spacing = 312500.01;
  ASSERT_NE(spacing, static_cast<double>(static_cast<float>(spacing)));
  flightpath::Ranger ranger(8, support::withSpacing(spacing));
  const PathSet found = ranger.estimate(Samples(8));
  EXPECT_EQ(found.context().SubcarrierSpacing, spacing);
}

TEST(Outcome, EachHasTheWordsThatItsCommentHas) {
  EXPECT_EQ(std::string(toString(Outcome::Found)), "found");
  EXPECT_EQ(std::string(toString(Outcome::NoSignal)), "no signal stands out of the noise");
  EXPECT_EQ(std::string(toString(Outcome::NothingAboveThreshold)), "no peak passed the threshold");
}
