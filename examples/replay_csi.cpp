// Sends the measurements of a file as datagrams, over and over, as `live_ranging` receives them:
//
//   replay_csi FILE.csv [--address A] [--port P] [--rate R] [--count N] [--int16]

#include <chrono>
#include <cstdio>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "command_line.h"
#include "csi_file.h"
#include "csi_frame.h"
#include "udp_socket.h"

namespace {

struct Options {
  bool help = false;
  std::string file;
  std::string address = "127.0.0.1";
  std::uint16_t port = 5500;
  std::uint32_t rate_Hz = 100;
  std::optional<std::uint32_t> count;  // once through the file
  SampleFormat format = SampleFormat::Float32;
};

CsiFrame frameOf(const CsiFile& file, std::uint32_t sequence) {
  CsiFrame frame;
  frame.sequence = sequence;
  frame.spacing_Hz = file.spacing_Hz;
  for (const creal32_T z : file.measurements[sequence % file.measurements.size()]) {
    frame.samples.emplace_back(z.re, z.im);
  }
  frame.tones.resize(frame.samples.size());
  std::iota(frame.tones.begin(), frame.tones.end(), 0);
  return frame;
}

void run(const Options& options) {
  const CsiFile file = readCsiFile(options.file);
  const UdpAddress address = udpAddress(options.address, options.port);
  const UdpSocket socket(*address);
  const auto begin = std::chrono::steady_clock::now();
  const std::uint32_t count =
      options.count.value_or(static_cast<std::uint32_t>(file.measurements.size()));
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::vector<std::uint8_t> bytes = encodeFrame(frameOf(file, i), options.format);
    const auto sent = sendto(socket.descriptor(), bytes.data(), bytes.size(), 0, address->ai_addr,
                             address->ai_addrlen);
    UdpSocket::require(sent == static_cast<ssize_t>(bytes.size()), "sendto");
    const std::chrono::duration<double> due(options.rate_Hz == 0 ? 0.0
                                                                 : (i + 1.0) / options.rate_Hz);
    std::this_thread::sleep_until(
        begin + std::chrono::duration_cast<std::chrono::steady_clock::duration>(due));
  }
  std::printf("%u packets sent\n", count);
}

void printUsage(std::FILE* out) {
  std::fputs(
      "usage: replay_csi FILE.csv [--address A] [--port P] [--rate R] [--count N] [--int16]\n"
      "  --address  numeric address to send to, 127.0.0.1\n"
      "  --port     5500\n"
      "  --rate     packets per second, 100; 0 for as fast as possible\n"
      "  --count    packets in all, from the file's first measurement again behind its last; once\n"
      "             through the file\n"
      "  --int16    samples as pairs of int16 instead of float32\n",
      out);
}

bool readOption(int letter, Options& options) {
  switch (letter) {
    case 'a':
      options.address = optarg;
      return true;
    case 'p':
      return assign(numberIn<std::uint16_t>(optarg), options.port);
    case 'r':
      return assign(numberIn<std::uint32_t>(optarg), options.rate_Hz);
    case 'n':
      return assign(numberIn<std::uint32_t>(optarg), options.count);
    case 's':
      options.format = SampleFormat::Int16;
      return true;
    case 'h':
      return options.help = true;
    default:
      return false;
  }
}

/// The command line, or nothing where it cannot be used.
std::optional<Options> parseOptions(int argc, char** argv) {
  static const option known[] = {{"address", required_argument, nullptr, 'a'},
                                 {"port", required_argument, nullptr, 'p'},
                                 {"rate", required_argument, nullptr, 'r'},
                                 {"count", required_argument, nullptr, 'n'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {"int16", no_argument, nullptr, 's'},
                                 {}};
  std::optional<Options> options = readOptions(argc, argv, known, readOption);
  if (!options || options->help) {
    return options;
  }
  if (optind + 1 != argc) {
    return {};
  }
  options->file = argv[optind];
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  return answer("replay_csi", parseOptions(argc, argv), printUsage, run);
}
