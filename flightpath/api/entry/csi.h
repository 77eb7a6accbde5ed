#pragma once

#include <cstdint>

#include "flightpath/runtime/complex.h"

/// One measurement of a channel: a complex sample per subcarrier. Read only.
///
/// The record is the caller's. One that carries more (antenna, time, gain) derives from it.
///
/// SubcarrierSpacing  hertz between adjacent subcarriers
/// NumSubcarriers     number of samples
/// Samples            that many samples in subcarrier order; a path of delay tau appears as
///                    exp(-i 2 pi k SubcarrierSpacing tau), unambiguous for |tau| below
///                    1 / (2 SubcarrierSpacing). Null reads as no samples
struct CSI {
  std::uint32_t SubcarrierSpacing;
  std::uint16_t NumSubcarriers;
  const creal32_T* Samples;
};
