#include "csi_frame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "sequence_count.h"

using flightpath::TonePreset;

namespace {

using Bytes = std::vector<std::uint8_t>;

FrameFault parse(const Bytes& bytes, CsiFrame& frame) {
  // Of its very length, so that a sanitizer sees what reads beyond.
  const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
  return parseFrame({exact.data(), exact.size()}, frame);
}

FrameFault faultOf(const Bytes& bytes) {
  CsiFrame frame;
  return parse(bytes, frame);
}

void append(Bytes& bytes, std::initializer_list<int> more) {
  for (const int byte : more) {
    bytes.push_back(static_cast<std::uint8_t>(byte));
  }
}

/// Written by hand: version 1, int16, tones -2 and -1, sequence 0x04030201, 312500 Hz.
Bytes plainFrame() {
  Bytes bytes;
  append(bytes, {'F', 'P', 'C', 'S', 1, 0, 0, 0, 1, 2, 3, 4, 0xB4, 0xC4, 0x04, 0});
  append(bytes, {0xFE, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0});
  append(bytes, {1, 0, 0xFF, 0xFF, 0xFF, 0x7F, 0, 0x80});  // 1 - i, 32767 - 32768 i
  return bytes;
}

/// A byte changed.
Bytes with(Bytes bytes, std::size_t at, int value) {
  bytes[at] = static_cast<std::uint8_t>(value);
  return bytes;
}

CsiFrame frameOf(std::size_t count, int firstTone) {
  CsiFrame frame;
  frame.sequence = 7;
  frame.spacing_Hz = 78125;
  frame.tones.resize(count);
  std::iota(frame.tones.begin(), frame.tones.end(), firstTone);
  for (std::size_t k = 0; k < count; ++k) {
    frame.samples.emplace_back(0.1F * static_cast<float>(k) - 3.0F, 1.5F);
  }
  return frame;
}

/// A capture of so many samples: at each tone (tone, 1000 + |tone|), all of which an int16 holds.
Bytes capture(int count) {
  Bytes bytes;
  append(bytes, {0x11, 0x11, 0xC4, 0x88, 1, 2, 3, 4, 5, 6, 0x34, 0x12, 0, 0, 6, 0x10, 0x6A, 0});
  for (int k = 0; k < count; ++k) {
    const int tone = k < count / 2 ? k : k - count;
    for (const int part : {tone, 1000 + std::abs(tone)}) {
      append(bytes, {part & 0xFF, (part >> 8) & 0xFF});
    }
  }
  return bytes;
}

FrameFault parseAs(const Bytes& bytes, CaptureTones kind, CsiFrame& frame) {
  return parseCapture({bytes.data(), bytes.size()}, kind, frame);
}

}  // namespace

// EXACT: the layout of docs/live.md, byte by byte.
TEST(CsiFrame, IsReadAsTheLayoutSays) {
  CsiFrame frame;
  ASSERT_EQ(parse(plainFrame(), frame), FrameFault::None);
  EXPECT_EQ(frame.sequence, 0x04030201U);
  EXPECT_EQ(frame.spacing_Hz, 312500U);
  EXPECT_EQ(frame.tones, (std::vector<int>{-2, -1}));
  const std::vector<std::complex<float>> expected = {{1.0F, -1.0F}, {32767.0F, -32768.0F}};
  EXPECT_EQ(frame.samples, expected);
}

// EXACT: as float32; BOUND as int16: half a step of the largest part over 32767, and its rounding.
TEST(CsiFrame, WhatWasWrittenIsRead) {
  for (const std::size_t count : {std::size_t{1}, std::size_t{64}, mostFrameSamples}) {
    const CsiFrame sent = frameOf(count, -20);
    CsiFrame got;
    const Bytes floats = encodeFrame(sent, SampleFormat::Float32);
    ASSERT_EQ(parse(floats, got), FrameFault::None) << count;
    EXPECT_LE(floats.size(), longestFrame);
    EXPECT_EQ(got.sequence, sent.sequence);
    EXPECT_EQ(got.spacing_Hz, sent.spacing_Hz);
    EXPECT_EQ(got.tones, sent.tones);
    EXPECT_EQ(got.samples, sent.samples);
    ASSERT_EQ(parse(encodeFrame(sent, SampleFormat::Int16), got), FrameFault::None) << count;
    float largest = 0.0F;
    for (const auto z : sent.samples) {
      largest = std::max({largest, std::fabs(z.real()), std::fabs(z.imag())});
    }
    for (std::size_t k = 0; k < count; ++k) {
      const auto back = got.samples[k] * (largest / 32767.0F);
      EXPECT_LE(std::fabs(back.real() - sent.samples[k].real()), 0.501F * largest / 32767.0F);
      EXPECT_LE(std::fabs(back.imag() - sent.samples[k].imag()), 0.501F * largest / 32767.0F);
    }
  }
}

TEST(CsiFrame, AllZeroStaysZero) {
  CsiFrame sent = frameOf(4, 0);
  sent.samples.assign(4, {});
  CsiFrame got;
  ASSERT_EQ(parse(encodeFrame(sent, SampleFormat::Int16), got), FrameFault::None);
  EXPECT_EQ(got.samples, sent.samples);
}

// Storage is reused: nothing of a longer frame, nor of one that was refused, is left.
TEST(CsiFrame, AFrameHasNothingOfTheOneBefore) {
  CsiFrame frame;
  ASSERT_EQ(parse(encodeFrame(frameOf(100, 0), SampleFormat::Float32), frame), FrameFault::None);
  CsiFrame bad = frameOf(9, 0);
  bad.samples[8] = std::numeric_limits<float>::infinity();
  ASSERT_EQ(parse(encodeFrame(bad, SampleFormat::Float32), frame), FrameFault::NotFinite);
  ASSERT_EQ(parse(plainFrame(), frame), FrameFault::None);
  EXPECT_EQ(frame.samples.size(), 2U);
  EXPECT_EQ(frame.tones.size(), 2U);
}

TEST(CsiFrame, PresetsHaveTheTonesOfTheirNames) {
  const TonePreset presets[] = {TonePreset::Legacy20, TonePreset::HT20,      TonePreset::HT40,
                                TonePreset::VHT80,    TonePreset::Grouped20, TonePreset::Grouped40,
                                TonePreset::HE20,     TonePreset::HE40,      TonePreset::HE80,
                                TonePreset::HE160,    TonePreset::Sounding};
  for (std::size_t i = 0; i < std::size(presets); ++i) {
    const std::vector<int> tones = tonesOf(presets[i]);
    Bytes bytes = encodeFrame(frameOf(tones.size(), 3), SampleFormat::Int16);
    bytes[6] = static_cast<std::uint8_t>(i + 1);
    CsiFrame frame;
    ASSERT_EQ(parse(bytes, frame), FrameFault::None) << i;
    EXPECT_EQ(frame.tones, tones) << i;
    bytes = encodeFrame(frameOf(tones.size() - 1, 3), SampleFormat::Int16);
    bytes[6] = static_cast<std::uint8_t>(i + 1);
    EXPECT_EQ(parse(bytes, frame), FrameFault::WrongTones) << i << ", a sample fewer";
  }
  EXPECT_EQ(faultOf(with(plainFrame(), 6, 12)), FrameFault::WrongTones);
  EXPECT_EQ(faultOf(with(plainFrame(), 6, 255)), FrameFault::WrongTones);
}

// At every length but its own a frame is refused, and nothing is read beyond.
TEST(CsiFrame, EveryOtherLengthIsRefused) {
  const Bytes whole = encodeFrame(frameOf(5, 0), SampleFormat::Float32);
  for (std::size_t size = 0; size < whole.size() + 20; ++size) {
    Bytes cut = whole;
    cut.resize(size);
    const FrameFault expected = size < 24              ? FrameFault::Short
                                : size == whole.size() ? FrameFault::None
                                                       : FrameFault::WrongLength;
    EXPECT_EQ(faultOf(cut), expected) << size;
  }
}

TEST(CsiFrame, WhatIsWrongIsNamed) {
  const Bytes good = plainFrame();
  struct Row {
    Bytes bytes;
    FrameFault expected;
    const char* why;
  };
  const Row rows[] = {
      {with(good, 0, 'f'), FrameFault::WrongMagic, "first byte of the magic"},
      {with(good, 3, 0), FrameFault::WrongMagic, "last byte of the magic"},
      {with(good, 4, 0), FrameFault::WrongVersion, "no version"},
      {with(good, 4, 2), FrameFault::WrongVersion, "a later one"},
      {with(good, 5, 2), FrameFault::WrongVersion, "a format that there is not"},
      {with(good, 5, 1), FrameFault::WrongLength, "int16 samples called float32"},
      {with(with(good, 20, 0), 21, 0), FrameFault::WrongTones, "no sample"},
      {with(good, 20, 1), FrameFault::WrongLength, "a sample fewer than there are"},
      {with(good, 20, 3), FrameFault::WrongLength, "a sample more"},
      {with(with(good, 20, 0xFF), 21, 0xFF), FrameFault::TooLarge, "65535 samples"},
      {with(with(good, 20, 0x01), 21, 0x08), FrameFault::TooLarge, "2049 samples"},
      {with(with(good, 20, 0x00), 21, 0x08), FrameFault::WrongLength, "2048 are not too many"},
      {with(good, 19, 0x7F), FrameFault::WrongTones, "a first tone whose last would overflow"},
      {with(good, 19, 0x80), FrameFault::WrongTones, "a first tone at the other end"},
      {with(with(with(good, 12, 0), 13, 0), 14, 0), FrameFault::WrongSpacing, "0 Hz"},
      {with(good, 7, 99), FrameFault::None, "what is not looked at"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(faultOf(row.bytes), row.expected) << row.why;
  }
}

TEST(CsiFrame, NotANumberInEitherPartOfAnySampleIsRefused) {
  for (const float bad :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity()}) {
    for (std::size_t part = 0; part < 6; ++part) {
      Bytes bytes = encodeFrame(frameOf(3, 0), SampleFormat::Float32);
      std::memcpy(&bytes[24 + 4 * part], &bad, 4);
      EXPECT_EQ(faultOf(bytes), FrameFault::NotFinite) << bad << " as part " << part;
    }
  }
}

// EXACT: every tone that is kept has its own sample, whatever the size.
TEST(Capture, TonesComeOutOfFftOrderWithoutNullTones) {
  struct Row {
    int count;
    CaptureTones kind;
    TonePreset preset;
  };
  for (const Row& row : {Row{64, CaptureTones::HT, TonePreset::HT20},
                         Row{64, CaptureTones::Legacy, TonePreset::Legacy20},
                         Row{128, CaptureTones::HT, TonePreset::HT40},
                         Row{128, CaptureTones::Legacy, TonePreset::HT40},
                         Row{256, CaptureTones::HT, TonePreset::VHT80}}) {
    CsiFrame frame;
    ASSERT_EQ(parseAs(capture(row.count), row.kind, frame), FrameFault::None) << row.count;
    EXPECT_EQ(frame.tones, tonesOf(row.preset));
    EXPECT_EQ(frame.sequence, 0x1234U);
    EXPECT_EQ(frame.spacing_Hz, 312500U);
    ASSERT_EQ(frame.samples.size(), frame.tones.size());
    for (std::size_t k = 0; k < frame.tones.size(); ++k) {
      const auto tone = static_cast<float>(frame.tones[k]);
      EXPECT_EQ(frame.samples[k], std::complex<float>(tone, 1000.0F + std::fabs(tone)));
    }
  }
}

TEST(Capture, WhatIsWrongIsNamed) {
  CsiFrame frame;
  const Bytes good = capture(64);
  for (std::size_t size = 0; size < good.size() + 8; ++size) {
    Bytes cut = good;
    cut.resize(size);
    const FrameFault expected = size < 18             ? FrameFault::Short
                                : size == good.size() ? FrameFault::None
                                                      : FrameFault::WrongLength;
    EXPECT_EQ(parseAs(cut, CaptureTones::HT, frame), expected) << size;
  }
  EXPECT_EQ(parseAs(with(good, 0, 0x12), CaptureTones::HT, frame), FrameFault::WrongMagic);
  EXPECT_EQ(parseAs(with(good, 1, 0x12), CaptureTones::HT, frame), FrameFault::WrongMagic);
  EXPECT_EQ(parseAs(capture(512), CaptureTones::HT, frame), FrameFault::WrongLength);
  EXPECT_EQ(parseAs(plainFrame(), CaptureTones::HT, frame), FrameFault::WrongMagic);
}

TEST(FrameFault, EachIsSaidInWordsOfItsOwn) {
  for (std::size_t i = 0; i < numFrameFaults; ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      EXPECT_STRNE(toString(static_cast<FrameFault>(i)), toString(static_cast<FrameFault>(k)));
    }
  }
  EXPECT_EQ(static_cast<std::size_t>(FrameFault::NotFinite) + 1, numFrameFaults);
}

// EXACT
TEST(SequenceCount, TellsWhatIsLostFromWhatIsLateAndFromARestart) {
  struct Row {
    unsigned bits;
    std::vector<std::uint32_t> sequence;
    std::uint64_t lost, late, restarts;
    const char* why;
  };
  const Row rows[] = {
      {32, {}, 0, 0, 0, "nothing came"},
      {32, {5, 6, 7}, 0, 0, 0, "it may begin anywhere"},
      {32, {0x7FFFFFFFU}, 0, 0, 0, "also there"},
      {32, {5, 7, 10}, 3, 0, 0, "one, then two missing"},
      {32, {5, 5, 6, 6}, 0, 0, 0, "antennas of a packet"},
      {32, {5, 8, 6, 9}, 2, 1, 0, "6 was late, and 9 follows 8"},
      {32, {0xFFFFFFFEU, 0xFFFFFFFFU, 0, 2}, 1, 0, 0, "the numbers wrap"},
      {16, {0xFFFEU, 0xFFFFU, 0, 2}, 1, 0, 0, "after 16 bits too"},
      {16, {1, 0xFFFFU, 2}, 0, 1, 0, "back over the wrap"},
      {32, {0xFFFE, 0xFFFF, 0}, 0, 0, 1, "16 bits are no wrap of 32"},
      {32, {0, 1024}, 1023, 0, 0, "the farthest step"},
      {32, {0, 1025}, 0, 0, 1, "beyond"},
      {32, {1024, 0, 1025}, 0, 1, 0, "the farthest step back"},
      {32, {1025, 0, 1, 2}, 0, 0, 1, "beyond: what follows is in order again"},
      {32, {0, 0x80000000U, 0x80000001U}, 0, 0, 1, "half way round"},
  };
  for (const Row& row : rows) {
    SequenceCount count(row.bits);
    for (const std::uint32_t sequence : row.sequence) {
      count.take(sequence);
    }
    EXPECT_EQ(count.lost, row.lost) << row.why;
    EXPECT_EQ(count.late, row.late) << row.why;
    EXPECT_EQ(count.restarts, row.restarts) << row.why;
  }
}
