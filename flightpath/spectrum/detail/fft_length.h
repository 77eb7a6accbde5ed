#pragma once

namespace flightpath {

/// Longest FFT that a search may ask for. A grid beyond it resolves finer than a float's frequency
/// axis can hold, and costs gigabytes.
constexpr float longestFFT = 16777216.0F;  // 2^24

}  // namespace flightpath
