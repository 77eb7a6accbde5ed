#pragma once

#include <flightpath/flightpath.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Channel measurements as datagrams. docs/live.md has both forms, byte by byte.
///
/// Everything here is a function of the bytes alone.

/// One measurement: the samples of the tones that carry one, and where these lie.
struct CsiFrame {
  std::uint32_t sequence = 0;
  std::uint32_t spacing_Hz = 0;
  std::vector<int> tones;  // as many as samples, ascending
  std::vector<std::complex<float>> samples;
};

/// What is wrong with a datagram, in the order in which it is looked for.
enum class FrameFault {
  None,
  Short,         // ends within the header
  WrongMagic,    // another protocol
  WrongVersion,  // of the form, or of its samples
  TooLarge,      // more samples than a receiver takes
  WrongTones,    // a preset that there is not, no sample, or not one per tone of the preset
  WrongSpacing,  // zero
  WrongLength,   // not what the header says
  NotFinite,     // a sample is NaN or infinite
};
constexpr std::size_t numFrameFaults = 9;

/// In words: "of another length than the header says".
const char* toString(FrameFault fault);

/// The most samples of a frame, and the bytes of such a frame.
constexpr std::size_t mostFrameSamples = 2048;
constexpr std::size_t longestFrame = 24 + 8 * mostFrameSamples;

/// Which tones a frame of 64 samples in FFT order holds: the packet decides, and the frame does not say.
enum class CaptureTones { HT, Legacy };

/// The frame of this library. `frame` is that of the bytes only where there is no fault; its storage is
/// reused.
FrameFault parseFrame(flightpath::Span<const std::uint8_t> bytes, CsiFrame& frame);

/// The 64-tone open capture firmware's frame: 64, 128 or 256 samples, of which those of the guard tones and
/// around the carrier are left out.
FrameFault parseCapture(flightpath::Span<const std::uint8_t> bytes, CaptureTones kind,
                        CsiFrame& frame);

enum class SampleFormat : std::uint8_t { Int16, Float32 };

/// The datagram that `parseFrame` reads. The tones must be consecutive; as Int16, the samples are scaled so
/// that the largest part is 32767.
std::vector<std::uint8_t> encodeFrame(const CsiFrame& frame, SampleFormat format);
