#include "csi_frame.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

namespace {

using Bytes = flightpath::Span<const std::uint8_t>;
using flightpath::TonePreset;

constexpr std::uint8_t magic[] = {'F', 'P', 'C', 'S'};
constexpr std::uint8_t version = 1;
constexpr std::size_t headerSize = 24;
constexpr std::size_t captureHeaderSize = 18;
constexpr std::uint32_t captureSpacing_Hz = 312500;

/// By their number in the frame, from 1 on; 0 is a run of consecutive tones.
constexpr TonePreset presets[] = {
    TonePreset::Legacy20,  TonePreset::HT20,      TonePreset::HT40,    TonePreset::VHT80,
    TonePreset::Grouped20, TonePreset::Grouped40, TonePreset::HE20,    TonePreset::HE40,
    TonePreset::HE80,      TonePreset::HE160,     TonePreset::Sounding};

/// The least significant byte comes first.
std::uint32_t unsignedAt(Bytes bytes, std::size_t at, std::size_t size) {
  std::uint32_t value = 0;
  for (std::size_t i = size; i-- > 0;) {
    value = value << 8U | bytes[at + i];
  }
  return value;
}

std::int32_t signedAt(Bytes bytes, std::size_t at) {
  const std::uint32_t value = unsignedAt(bytes, at, 4);
  std::int32_t same = 0;
  std::memcpy(&same, &value, sizeof same);
  return same;
}

float int16At(Bytes bytes, std::size_t at) {
  const auto value = static_cast<int>(unsignedAt(bytes, at, 2));
  return static_cast<float>(value < 0x8000 ? value : value - 0x10000);
}

float float32At(Bytes bytes, std::size_t at) {
  static_assert(sizeof(float) == 4 && std::numeric_limits<float>::is_iec559);
  const std::uint32_t value = unsignedAt(bytes, at, 4);
  float same = 0.0F;
  std::memcpy(&same, &value, sizeof same);
  return same;
}

std::size_t sampleSize(SampleFormat format) { return format == SampleFormat::Int16 ? 4 : 8; }

std::complex<float> sampleAt(Bytes bytes, std::size_t at, SampleFormat format) {
  if (format == SampleFormat::Int16) {
    return {int16At(bytes, at), int16At(bytes, at + 2)};
  }
  return {float32At(bytes, at), float32At(bytes, at + 4)};
}

/// The tones of the header, or none where it has them wrong.
std::vector<int> tonesOfHeader(Bytes bytes, std::size_t count) {
  const std::uint8_t preset = bytes[6];
  if (preset > std::size(presets)) {
    return {};
  }
  std::vector<int> tones(count);
  if (preset > 0) {
    tones = tonesOf(presets[preset - 1]);
    return tones.size() == count ? tones : std::vector<int>();
  }
  const std::int32_t first = signedAt(bytes, 16);
  constexpr std::int32_t farthest = 1 << 24;
  if (first < -farthest || first > farthest) {
    return {};
  }
  std::iota(tones.begin(), tones.end(), first);
  return tones;
}

void append(std::vector<std::uint8_t>& bytes, std::uint32_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

void appendPart(std::vector<std::uint8_t>& bytes, float part, SampleFormat format, float scale) {
  if (format == SampleFormat::Int16) {
    append(bytes, static_cast<std::uint32_t>(std::lround(part * scale)), 2);
    return;
  }
  std::uint32_t same = 0;
  std::memcpy(&same, &part, sizeof same);
  append(bytes, same, 4);
}

/// What brings the largest part to the largest int16.
float int16Scale(const std::vector<std::complex<float>>& samples) {
  float largest = 0.0F;
  for (const std::complex<float> z : samples) {
    largest = std::max({largest, std::fabs(z.real()), std::fabs(z.imag())});
  }
  return largest > 0.0F ? 32767.0F / largest : 0.0F;
}

}  // namespace

const char* toString(FrameFault fault) {
  static const char* const words[numFrameFaults] = {"good",
                                                    "too short for a header",
                                                    "of another magic",
                                                    "of another version",
                                                    "with too many samples",
                                                    "with wrong tones",
                                                    "without a spacing",
                                                    "of another length than the header says",
                                                    "with a sample that is NaN or infinite"};
  return words[static_cast<std::size_t>(fault)];
}

FrameFault parseFrame(Bytes bytes, CsiFrame& frame) {
  if (bytes.size() < headerSize) {
    return FrameFault::Short;
  }
  if (!std::equal(std::begin(magic), std::end(magic), bytes.begin())) {
    return FrameFault::WrongMagic;
  }
  if (bytes[4] != version || bytes[5] > static_cast<std::uint8_t>(SampleFormat::Float32)) {
    return FrameFault::WrongVersion;
  }
  const auto format = static_cast<SampleFormat>(bytes[5]);
  const std::size_t count = unsignedAt(bytes, 20, 2);
  if (count > mostFrameSamples) {
    return FrameFault::TooLarge;
  }
  frame.tones = tonesOfHeader(bytes, count);
  if (frame.tones.empty()) {
    return FrameFault::WrongTones;
  }
  frame.sequence = unsignedAt(bytes, 8, 4);
  frame.spacing_Hz = unsignedAt(bytes, 12, 4);
  if (frame.spacing_Hz == 0) {
    return FrameFault::WrongSpacing;
  }
  if (bytes.size() != headerSize + count * sampleSize(format)) {
    return FrameFault::WrongLength;
  }
  frame.samples.clear();
  for (std::size_t k = 0; k < count; ++k) {
    frame.samples.push_back(sampleAt(bytes, headerSize + k * sampleSize(format), format));
    if (!std::isfinite(frame.samples[k].real()) || !std::isfinite(frame.samples[k].imag())) {
      return FrameFault::NotFinite;
    }
  }
  return FrameFault::None;
}

FrameFault parseCapture(Bytes bytes, CaptureTones kind, CsiFrame& frame) {
  if (bytes.size() < captureHeaderSize) {
    return FrameFault::Short;
  }
  if (bytes[0] != 0x11 || bytes[1] != 0x11) {
    return FrameFault::WrongMagic;
  }
  const std::size_t count = (bytes.size() - captureHeaderSize) / 4;
  if (bytes.size() != captureHeaderSize + 4 * count ||
      (count != 64 && count != 128 && count != 256)) {
    return FrameFault::WrongLength;
  }
  frame.tones = tonesOf(count == 256                   ? TonePreset::VHT80
                        : count == 128                 ? TonePreset::HT40
                        : kind == CaptureTones::Legacy ? TonePreset::Legacy20
                                                       : TonePreset::HT20);
  frame.sequence = unsignedAt(bytes, 10, 2);
  frame.spacing_Hz = captureSpacing_Hz;
  frame.samples.clear();
  for (const int tone : frame.tones) {
    // FFT order: the carrier first, tones below it behind those above.
    const auto at = static_cast<std::size_t>(tone < 0 ? tone + static_cast<int>(count) : tone);
    frame.samples.push_back(sampleAt(bytes, captureHeaderSize + 4 * at, SampleFormat::Int16));
  }
  return FrameFault::None;
}

std::vector<std::uint8_t> encodeFrame(const CsiFrame& frame, SampleFormat format) {
  std::vector<std::uint8_t> bytes(std::begin(magic), std::end(magic));
  append(bytes, version, 1);
  append(bytes, static_cast<std::uint8_t>(format), 1);
  append(bytes, 0, 2);
  append(bytes, frame.sequence, 4);
  append(bytes, frame.spacing_Hz, 4);
  append(bytes, static_cast<std::uint32_t>(frame.tones.front()), 4);
  append(bytes, static_cast<std::uint32_t>(frame.samples.size()), 2);
  append(bytes, 0, 2);
  const float scale = int16Scale(frame.samples);
  for (const std::complex<float> z : frame.samples) {
    appendPart(bytes, z.real(), format, scale);
    appendPart(bytes, z.imag(), format, scale);
  }
  return bytes;
}
