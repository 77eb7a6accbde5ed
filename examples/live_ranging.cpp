// Distances of channel measurements that come as datagrams, one line per packet:
//
//   live_ranging [--address A] [--port P] [--capture ht|legacy] [--round-trip] [--count N] [--idle SECONDS]
//
// It ends after N good packets, when nothing comes for so many seconds, or by SIGINT or SIGTERM, and then
// says what was lost and what was refused. docs/live.md describes the datagrams.

#include <poll.h>
#include <sys/eventfd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "command_line.h"
#include "csi_frame.h"
#include "live_ranger.h"
#include "udp_socket.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  bool help = false;
  std::string address = "127.0.0.1";
  std::uint16_t port = 5500;
  std::optional<CaptureTones> capture;
  bool roundTrip = false;
  std::uint64_t count = std::numeric_limits<std::uint64_t>::max();
  std::optional<int> idle_s;
};

/// Written to by a signal, whichever thread takes it, and waited for beside the socket.
int stopping = -1;

void stop(int /*signal*/) {
  const std::uint64_t once = 1;
  [[maybe_unused]] const auto written = write(stopping, &once, sizeof once);
}

void stopOnSignals() {
  stopping = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  UdpSocket::require(stopping >= 0, "eventfd");
  struct sigaction action = {};
  action.sa_handler = stop;
  action.sa_flags = SA_RESTART;
  UdpSocket::require(
      sigaction(SIGINT, &action, nullptr) == 0 && sigaction(SIGTERM, &action, nullptr) == 0,
      "sigaction");
}

/// False where it is time to end: by a signal, or since nothing came.
bool waitFor(const UdpSocket& socket, std::optional<int> idle_s) {
  pollfd both[] = {{socket.descriptor(), POLLIN, 0}, {stopping, POLLIN, 0}};
  const int ready = poll(both, 2, idle_s ? *idle_s * 1000 : -1);
  UdpSocket::require(ready >= 0 || errno == EINTR, "poll");
  return ready != 0 && both[1].revents == 0;
}

void run(const Options& options) {
  stopOnSignals();
  const UdpAddress address = udpAddress(options.address, options.port);
  UdpSocket socket(*address);
  const int wanted = 4 << 20;  // bytes of the kernel's buffer; it gives what it may
  setsockopt(socket.descriptor(), SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
  socket.bindTo(*address);
  std::printf("# listening on %s port %u\n# sequence  first [m]  deviation [m]  paths  quality\n",
              options.address.c_str(), static_cast<unsigned>(socket.port()));
  std::fflush(stdout);
  LiveRanger live(options.capture, options.roundTrip);
  UdpInbox inbox(longestFrame);
  std::optional<Clock::time_point> begin;
  Clock::time_point end;
  while (live.numGood() < options.count && waitFor(socket, options.idle_s)) {
    begin = begin.value_or(Clock::now());
    const std::size_t got = inbox.receive(socket, options.count - live.numGood());
    for (std::size_t i = 0; i < got; ++i) {
      live.take(inbox[i]);
    }
    live.answer();
    std::fflush(stdout);
    end = Clock::now();
  }
  live.report(begin ? std::chrono::duration<double>(end - *begin).count() : 0.0);
}

void printUsage(std::FILE* out) {
  std::fputs(
      "usage: live_ranging [--address A] [--port P] [--capture ht|legacy] [--round-trip]\n"
      "                    [--count N] [--idle SECONDS]\n"
      "  --address     numeric address to listen on, 127.0.0.1; 0.0.0.0 or :: for all\n"
      "  --port        5500; 0 for one that the system chooses\n"
      "  --capture     datagrams of the 64-tone open capture firmware, with the tones of ht or "
      "legacy\n"
      "                packets in 20 MHz\n"
      "  --round-trip  delays are twice those of the distances\n"
      "  --count       end after so many good packets\n"
      "  --idle        end when nothing comes for so many seconds, 1 to 86400\n",
      out);
}

std::optional<CaptureTones> captureNamed(const char* text) {
  if (std::strcmp(text, "legacy") == 0) {
    return CaptureTones::Legacy;
  }
  return std::strcmp(text, "ht") == 0 ? std::optional(CaptureTones::HT) : std::nullopt;
}

bool readOption(int letter, Options& options) {
  switch (letter) {
    case 'a':
      options.address = optarg;
      return true;
    case 'p':
      return assign(numberIn<std::uint16_t>(optarg), options.port);
    case 'c':
      return assign(captureNamed(optarg), options.capture);
    case 'r':
      return options.roundTrip = true;
    case 'n':
      return assign(numberIn<std::uint64_t>(optarg), options.count);
    case 'i':
      return assign(numberIn<int>(optarg), options.idle_s) && *options.idle_s >= 1 &&
             *options.idle_s <= 86400;
    case 'h':
      return options.help = true;
    default:
      return false;
  }
}

/// The command line, or nothing where it cannot be used.
std::optional<Options> parseOptions(int argc, char** argv) {
  static const option known[] = {
      {"address", required_argument, nullptr, 'a'}, {"port", required_argument, nullptr, 'p'},
      {"capture", required_argument, nullptr, 'c'}, {"round-trip", no_argument, nullptr, 'r'},
      {"count", required_argument, nullptr, 'n'},   {"help", no_argument, nullptr, 'h'},
      {"idle", required_argument, nullptr, 'i'},    {}};
  const std::optional<Options> options = readOptions(argc, argv, known, readOption);
  return optind == argc ? options : std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  return answer("live_ranging", parseOptions(argc, argv), printUsage, run);
}
