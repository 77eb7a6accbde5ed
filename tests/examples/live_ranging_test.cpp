#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "child_program.h"
#include "csi_file.h"
#include "csi_frame.h"
#include "udp_socket.h"

// Both programs, over loopback. Nothing here waits for a clock but where it would otherwise wait for ever.

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr double tau_s = 100e-9;
constexpr double distance_m = 29.9792;

/// A receiver on a port that the system chose.
class Receiver {
 public:
  explicit Receiver(std::vector<std::string> options) : program_(command(std::move(options))) {
    const std::string& text = program_.readUntil("quality\n");
    const std::size_t at = text.find("port ");
    port_ =
        at == std::string::npos ? 1 : static_cast<std::uint16_t>(std::stoi(text.substr(at + 5)));
    address_.emplace(udpAddress("127.0.0.1", port_));
    socket_.emplace(**address_);
  }

  std::uint16_t port() const { return port_; }
  ChildProgram& program() { return program_; }

  void send(const Bytes& bytes) {
    const auto sent = sendto(socket_->descriptor(), bytes.data(), bytes.size(), 0,
                             (*address_)->ai_addr, (*address_)->ai_addrlen);
    EXPECT_EQ(sent, static_cast<ssize_t>(bytes.size()));
  }

 private:
  static std::vector<std::string> command(std::vector<std::string> options) {
    options.insert(options.begin(), {LIVE_RANGING, "--port", "0"});
    return options;
  }

  ChildProgram program_;
  std::uint16_t port_ = 0;
  std::optional<UdpAddress> address_;
  std::optional<UdpSocket> socket_;
};

/// One path of 100 ns and a little of everything else, over tones from the first one on.
CsiFrame onePath(std::uint32_t sequence, std::size_t count = 64, int first = 0) {
  CsiFrame frame;
  frame.sequence = sequence;
  frame.spacing_Hz = 312500;
  frame.tones.resize(count);
  std::iota(frame.tones.begin(), frame.tones.end(), first);
  for (const int tone : frame.tones) {
    const double turns = tau_s * 312500.0 * tone;
    const auto z = std::polar(1.0, -2.0 * M_PI * turns) + std::polar(1e-3, 1.7 * tone * tone);
    frame.samples.emplace_back(z);
  }
  return frame;
}

Bytes datagram(std::uint32_t sequence) {
  return encodeFrame(onePath(sequence), SampleFormat::Float32);
}

/// The same path as a capture of 64 tones, with nonsense where nothing was sent.
Bytes capture(std::uint16_t sequence, int lastTone) {
  Bytes bytes = {0x11, 0x11, 0xC4, 0x88, 1, 2, 3, 4, 5, 6};
  bytes.push_back(static_cast<std::uint8_t>(sequence & 0xFFU));
  bytes.push_back(static_cast<std::uint8_t>(sequence >> 8U));
  bytes.resize(18);
  const CsiFrame all = onePath(0, 64, -32);
  for (int k = 0; k < 64; ++k) {
    const int tone = k < 32 ? k : k - 64;
    const bool isSent = tone != 0 && std::abs(tone) <= lastTone;
    const auto z = all.samples[static_cast<std::size_t>(tone + 32)];
    for (const float part : {z.real(), z.imag()}) {
      const int value = isSent ? static_cast<int>(std::lround(1000.0F * part)) : 30000;
      bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
      bytes.push_back(static_cast<std::uint8_t>((value >> 8) & 0xFF));
    }
  }
  return bytes;
}

/// What the program printed of its packets.
struct Line {
  std::uint32_t sequence;
  double distance_m;
  double deviation_m;
  std::size_t paths;
};

std::vector<Line> linesOf(const std::string& printed) {
  std::vector<Line> lines;
  std::istringstream in(printed);
  for (std::string text; std::getline(in, text);) {
    Line line = {};
    if (std::sscanf(text.c_str(), "%u %lf %lf %zu", &line.sequence, &line.distance_m,
                    &line.deviation_m, &line.paths) == 4) {
      lines.push_back(line);
    }
  }
  return lines;
}

bool has(const std::string& printed, const std::string& text) {
  return printed.find(text) != std::string::npos;
}

void expectOnePath(const Line& line, std::uint32_t sequence) {
  EXPECT_EQ(line.sequence, sequence);
  EXPECT_NEAR(line.distance_m, distance_m, 0.005) << sequence;
  EXPECT_LT(line.deviation_m, 0.01);
}

}  // namespace

// EXACT to the digits printed: every answer is that of a Ranger given the file's rows.
TEST(LiveRanging, AReplayedFileIsAnsweredRowByRow) {
  const std::string path = FLIGHTPATH_DATA_DIR "/sounding_51.csv";
  Receiver receiver({"--count", "20", "--idle", "60", "--round-trip"});
  ChildProgram sender({REPLAY_CSI, path, "--port", std::to_string(receiver.port()), "--rate",
                       "1000", "--count", "20"});
  EXPECT_EQ(sender.finish(), 0);
  EXPECT_EQ(sender.printed(), "20 packets sent\n");
  EXPECT_EQ(receiver.program().finish(), 0);
  const std::string& printed = receiver.program().printed();
  EXPECT_TRUE(has(printed, "# 20 packets in ")) << printed;
  EXPECT_TRUE(has(printed, " s, 0 lost, 0 late, 0 restarts, 1 layouts\n")) << printed;
  EXPECT_FALSE(has(printed, "refused")) << printed;

  const CsiFile file = readCsiFile(path);
  flightpath::RangingOptions how;
  how.SubcarrierSpacing = file.spacing_Hz;
  how.RoundTrip = true;
  flightpath::Ranger ranger(51, how);
  std::size_t at = printed.find("quality\n") + 8;
  for (std::uint32_t i = 0; i < 20; ++i) {
    const flightpath::PathSet found = ranger.estimate(file.measurements[i % 16]);
    char expected[64] = {};
    ASSERT_FALSE(found[0].empty());
    std::snprintf(expected, sizeof expected, "%10u  %10.3f  %13.3f  %5zu  %s\n", i,
                  found[0][0].Distance_m, found[0][0].Deviation_m, found[0].size(),
                  toString(found[0].info().Quality));
    EXPECT_EQ(printed.substr(at, std::string(expected).size()), expected);
    at += std::string(expected).size();
  }
}

// As int16 the samples are rounded: BOUND, a hundredth of a deviation or the last digit.
TEST(LiveRanging, SamplesMayComeAsInt16) {
  Receiver receiver({"--count", "1", "--idle", "60"});
  receiver.send(encodeFrame(onePath(7), SampleFormat::Int16));
  EXPECT_EQ(receiver.program().finish(), 0);
  const std::vector<Line> lines = linesOf(receiver.program().printed());
  ASSERT_EQ(lines.size(), 1U);
  expectOnePath(lines[0], 7);
}

TEST(LiveRanging, WhatIsNoMeasurementIsCountedAndEndsNothing) {
  Receiver receiver({"--count", "3", "--idle", "60"});
  receiver.send(datagram(10));
  receiver.send({});
  receiver.send(Bytes(23, 'F'));
  Bytes bad = datagram(11);
  bad[0] = 'X';
  receiver.send(bad);
  bad = datagram(12);
  bad[4] = 9;
  receiver.send(bad);
  bad = datagram(13);
  bad.pop_back();
  receiver.send(bad);
  bad.resize(60000);
  receiver.send(bad);
  bad = encodeFrame(onePath(13, mostFrameSamples), SampleFormat::Float32);
  ASSERT_EQ(bad.size(), longestFrame);
  bad.push_back(0);  // and not a byte more is taken
  receiver.send(bad);
  bad = datagram(13);
  bad[20] = bad[21] = 0xFF;
  bad.resize(24);
  receiver.send(bad);
  bad = datagram(14);
  bad[6] = 77;
  receiver.send(bad);
  bad = datagram(15);
  bad[12] = bad[13] = bad[14] = 0;
  receiver.send(bad);
  CsiFrame notFinite = onePath(4000000000U);
  notFinite.samples[40] = std::numeric_limits<float>::quiet_NaN();
  receiver.send(encodeFrame(notFinite, SampleFormat::Float32));
  receiver.send(datagram(16));
  receiver.send(datagram(14));
  EXPECT_EQ(receiver.program().finish(), 0);
  const std::string& printed = receiver.program().printed();
  const std::vector<Line> lines = linesOf(printed);
  ASSERT_EQ(lines.size(), 3U) << printed;
  expectOnePath(lines[0], 10);
  expectOnePath(lines[1], 16);
  expectOnePath(lines[2], 14);
  EXPECT_TRUE(has(printed, "# 3 packets in ")) << printed;
  EXPECT_TRUE(has(printed, " s, 5 lost, 1 late, 0 restarts, 1 layouts\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 2 too short for a header\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 1 of another magic\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 1 of another version\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 3 of another length than the header says\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 1 with too many samples\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 1 with wrong tones\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 1 without a spacing\n")) << printed;
  EXPECT_TRUE(has(printed, "# refused: 1 with a sample that is NaN or infinite\n")) << printed;
}

TEST(LiveRanging, AMeasurementWithoutAPathHasALine) {
  Receiver receiver({"--count", "2", "--idle", "60"});
  CsiFrame nothing = onePath(1);
  nothing.samples.assign(64, {});
  receiver.send(encodeFrame(nothing, SampleFormat::Float32));
  receiver.send(datagram(2));
  EXPECT_EQ(receiver.program().finish(), 0);
  EXPECT_TRUE(
      has(receiver.program().printed(), "         1           -              -      0  -\n"))
      << receiver.program().printed();
}

// Frames of two layouts, by turns: each is answered by its own, in order.
TEST(LiveRanging, AChangeOfLayoutIsFollowed) {
  Receiver receiver({"--count", "7", "--idle", "60"});
  for (std::uint32_t i = 0; i < 6; ++i) {
    receiver.send(encodeFrame(onePath(i, i % 2 == 0 ? 64 : 48), SampleFormat::Float32));
  }
  CsiFrame wide = onePath(6);
  wide.spacing_Hz *= 2;
  receiver.send(encodeFrame(wide, SampleFormat::Float32));
  EXPECT_EQ(receiver.program().finish(), 0);
  const std::vector<Line> lines = linesOf(receiver.program().printed());
  ASSERT_EQ(lines.size(), 7U);
  for (std::uint32_t i = 0; i < 6; ++i) {
    expectOnePath(lines[i], i);
  }
  EXPECT_NEAR(lines[6].distance_m, distance_m / 2, 0.005);
  EXPECT_TRUE(has(receiver.program().printed(), "7 layouts\n"));
}

TEST(LiveRanging, CapturesAreRangedWithoutTheirNullTones) {
  for (const bool isLegacy : {false, true}) {
    Receiver receiver({"--count", "4", "--idle", "60", "--capture", isLegacy ? "legacy" : "ht"});
    const std::uint16_t sequences[] = {0xFFFE, 0xFFFE, 0xFFFF, 1};
    receiver.send(datagram(3));
    for (const std::uint16_t sequence : sequences) {
      receiver.send(capture(sequence, isLegacy ? 26 : 28));
    }
    EXPECT_EQ(receiver.program().finish(), 0);
    const std::string& printed = receiver.program().printed();
    const std::vector<Line> lines = linesOf(printed);
    ASSERT_EQ(lines.size(), 4U) << printed;
    for (std::size_t i = 0; i < 4; ++i) {
      expectOnePath(lines[i], sequences[i]);
    }
    EXPECT_TRUE(has(printed, " s, 1 lost, 0 late, 0 restarts, 1 layouts\n")) << printed;
    EXPECT_TRUE(has(printed, "# refused: 1 of another magic\n")) << printed;
  }
}

TEST(LiveRanging, SignalsEndItWithAReport) {
  for (const int number : {SIGINT, SIGTERM}) {
    Receiver receiver({"--idle", "60"});
    receiver.send(datagram(1));
    receiver.program().readUntil("29.9");
    receiver.program().signal(number);
    EXPECT_EQ(receiver.program().finish(), 0);
    EXPECT_TRUE(has(receiver.program().printed(), "# 1 packets in "))
        << receiver.program().printed();
  }
  Receiver untouched({});
  untouched.program().signal(SIGTERM);
  EXPECT_EQ(untouched.program().finish(), 0);
  EXPECT_TRUE(has(untouched.program().printed(), "# 0 packets in 0.000 s"))
      << "before anything came";
}

TEST(LiveRanging, EndsWhereNothingComes) {
  Receiver receiver({"--idle", "1"});
  EXPECT_EQ(receiver.program().finish(), 0);
  EXPECT_TRUE(has(receiver.program().printed(), "# 0 packets in 0.000 s"));
}

TEST(LiveRanging, APortThatIsTakenIsNamed) {
  Receiver first({"--idle", "60"});
  ChildProgram second({LIVE_RANGING, "--port", std::to_string(first.port())});
  EXPECT_EQ(second.finish(), 1);
  EXPECT_TRUE(has(second.printed(), "live_ranging: bind: Address already in use\n"))
      << second.printed();
}
