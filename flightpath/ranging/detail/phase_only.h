#pragma once

#include <span>

namespace flightpath {

/// Whether the samples carry phase alone: at least eight, none of them zero, whose magnitudes differ by
/// the rounding of a format, 1e-6 of their size.
///
/// re, im  parts of one row, finite, the largest about 1
bool isPhaseOnly(std::span<const double> re, std::span<const double> im);

}  // namespace flightpath
