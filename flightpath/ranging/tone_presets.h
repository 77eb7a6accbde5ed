#pragma once

#include <vector>

#include "flightpath/runtime/export.h"

namespace flightpath {

/// The tones of receivers by their standards, as indices around the carrier.
///
/// IEEE Std 802.11-2020, at 312.5 kHz:
///   Legacy20    52   20 MHz, orthogonal frequency division multiplexing (clause 17)
///   HT20        56   20 MHz, high throughput (clause 19)
///   HT40        114  40 MHz, high throughput
///   VHT80       242  80 MHz, very high throughput (clause 21)
///   Grouped20   30   of HT20, as channel reports group them by two
///   Grouped40   30   of HT40, as channel reports group them by four
/// IEEE Std 802.11ax-2021, at 78.125 kHz, one resource unit over the whole channel (clause 27):
///   HE20        242  20 MHz
///   HE40        484  40 MHz
///   HE80        996  80 MHz
///   HE160       1992 160 MHz
/// Bluetooth Core Specification 6.0, channel sounding, at 1 MHz from 2402 MHz on:
///   Sounding    72   of 79 channels: without those for advertising and their neighbours, 0, 1, 23, 24,
///                    25, 77 and 78
enum class TonePreset {
  Legacy20,
  HT20,
  HT40,
  VHT80,
  Grouped20,
  Grouped40,
  HE20,
  HE40,
  HE80,
  HE160,
  Sounding
};

/// Their indices, ascending: what `RangingOptions::Tones` takes, in the order in which receivers report them.
///
///   options.Tones = flightpath::tonesOf(flightpath::TonePreset::HT20);
///   flightpath::Ranger ranger(56, options);
FLIGHTPATH_API std::vector<int> tonesOf(TonePreset preset);

}  // namespace flightpath
