#include "flightpath/ranging/tone_presets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "flightpath/likelihood/tone_set.h"

using flightpath::TonePreset;
using flightpath::tonesOf;

namespace {

/// What the standards' tables say of a set: how many, from where to where, and the widest hole that is
/// not measured in the middle, between the tones given.
struct Row {
  TonePreset preset;
  std::size_t count;
  int first, last;
  int below, above;  // the tones to both sides of the carrier, or of a hole
};

const std::vector<Row> rows = {{TonePreset::Legacy20, 52, -26, 26, -1, 1},
                               {TonePreset::HT20, 56, -28, 28, -1, 1},
                               {TonePreset::HT40, 114, -58, 58, -2, 2},
                               {TonePreset::VHT80, 242, -122, 122, -2, 2},
                               {TonePreset::Grouped20, 30, -28, 28, -1, 1},
                               {TonePreset::Grouped40, 30, -58, 58, -2, 2},
                               {TonePreset::HE20, 242, -122, 122, -2, 2},
                               {TonePreset::HE40, 484, -244, 244, -3, 3},
                               {TonePreset::HE80, 996, -500, 500, -3, 3},
                               {TonePreset::HE160, 1992, -1012, 1012, -12, 12},
                               {TonePreset::HE160, 1992, -1012, 1012, -515, -509},
                               {TonePreset::HE160, 1992, -1012, 1012, 509, 515},
                               {TonePreset::Sounding, 72, 2, 76, 22, 26}};

}  // namespace

// EXACT
TEST(TonePresets, CountsAndEdgesAreThoseOfTheStandards) {
  for (const Row& row : rows) {
    SCOPED_TRACE(static_cast<int>(row.preset));
    const std::vector<int> tones = tonesOf(row.preset);
    EXPECT_EQ(tones.size(), row.count);
    EXPECT_EQ(tones.front(), row.first);
    EXPECT_EQ(tones.back(), row.last);
    const auto above = std::find(tones.begin(), tones.end(), row.above);
    ASSERT_NE(above, tones.end());
    EXPECT_EQ(above[-1], row.below);
  }
}

// EXACT: all but the channels of low energy's sounding are laid out around the carrier, and only the
// reports that are grouped by two are not the same to both sides.
TEST(TonePresets, TonesAreSymmetricAroundTheCarrier) {
  for (const Row& row : rows) {
    if (row.preset == TonePreset::Sounding || row.preset == TonePreset::Grouped20) {
      continue;
    }
    std::vector<int> mirrored = tonesOf(row.preset);
    std::reverse(mirrored.begin(), mirrored.end());
    for (int& tone : mirrored) {
      tone = -tone;
    }
    EXPECT_EQ(mirrored, tonesOf(row.preset)) << static_cast<int>(row.preset);
  }
}

// EXACT
TEST(TonePresets, ReportsGroupedByTwoKeepBothEdges) {
  EXPECT_EQ(
      tonesOf(TonePreset::Grouped20),
      (std::vector<int>{-28, -26, -24, -22, -20, -18, -16, -14, -12, -10, -8, -6, -4, -2, -1,
                        1,   3,   5,   7,   9,   11,  13,  15,  17,  19,  21, 23, 25, 27, 28}));
}

// EXACT
TEST(TonePresets, SoundingLeavesOutTheAdvertisingChannelsAndTheirNeighbours) {
  const std::vector<int> tones = tonesOf(TonePreset::Sounding);
  for (const int channel : {0, 1, 23, 24, 25, 77, 78}) {
    EXPECT_EQ(std::count(tones.begin(), tones.end(), channel), 0) << channel;
  }
}

// EXACT: a set of tones takes each of them; none has a common stride but the reports grouped by four.
TEST(TonePresets, EveryPresetIsASetOfTones) {
  for (const Row& row : rows) {
    const flightpath::ToneSet set(tonesOf(row.preset), {});
    EXPECT_EQ(set.stride(), row.preset == TonePreset::Grouped40 ? 4 : 1);
  }
}

// EXACT
TEST(TonePresets, OthersAreRefused) {
  EXPECT_THROW(tonesOf(static_cast<TonePreset>(99)), std::invalid_argument);
}
