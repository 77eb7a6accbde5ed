#pragma once

#include <flightpath/flightpath.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

/// A numeric address and port, IPv4 or IPv6, as the socket calls take it.
using UdpAddress = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

inline UdpAddress udpAddress(const std::string& address, std::uint16_t port) {
  addrinfo hints = {};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (error != 0) {
    throw std::runtime_error(address + ": " + gai_strerror(error));
  }
  return {found, &freeaddrinfo};
}

/// A datagram socket, closed with its owner.
class UdpSocket {
 public:
  explicit UdpSocket(const addrinfo& of)
      : descriptor_(socket(of.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    require(descriptor_ >= 0, "socket");
  }
  ~UdpSocket() { close(descriptor_); }
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  int descriptor() const { return descriptor_; }

  void bindTo(const addrinfo& address) {
    require(bind(descriptor_, address.ai_addr, address.ai_addrlen) == 0, "bind");
  }

  /// The port that it is bound to, which the system chose where 0 was asked for.
  std::uint16_t port() const {
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    require(getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "getsockname");
    char text[NI_MAXSERV] = {};
    require(getnameinfo(reinterpret_cast<sockaddr*>(&address), size, nullptr, 0, text, sizeof text,
                        NI_NUMERICSERV | NI_DGRAM) == 0,
            "getnameinfo");
    return static_cast<std::uint16_t>(std::stoul(text));
  }

  static void require(bool good, const char* call) {
    if (!good) {
      throw std::system_error(errno, std::generic_category(), call);
    }
  }

 private:
  int descriptor_;
};

/// Room for the datagrams that one system call takes.
class UdpInbox {
 public:
  /// longest  bytes of a datagram that are of use; of a longer one, one byte more is kept, which shows
  explicit UdpInbox(std::size_t longest) : size_(longest + 1), bytes_(most * size_) {
    for (std::size_t i = 0; i < most; ++i) {
      parts_[i] = {&bytes_[i * size_], size_};
      messages_[i].msg_hdr.msg_iov = &parts_[i];
      messages_[i].msg_hdr.msg_iovlen = 1;
    }
  }

  UdpInbox(const UdpInbox&) = delete;
  UdpInbox& operator=(const UdpInbox&) = delete;

  /// Takes what waits, at most `limit` datagrams: how many there were.
  std::size_t receive(const UdpSocket& socket, std::uint64_t limit) {
    const auto room = static_cast<unsigned>(std::min<std::uint64_t>(limit, most));
    const int got = recvmmsg(socket.descriptor(), messages_.data(), room, MSG_DONTWAIT, nullptr);
    UdpSocket::require(got >= 0 || errno == EAGAIN || errno == EINTR, "recvmmsg");
    return static_cast<std::size_t>(std::max(got, 0));
  }

  flightpath::Span<const std::uint8_t> operator[](std::size_t i) const {
    return {&bytes_[i * size_], messages_[i].msg_len};
  }

 private:
  static constexpr std::size_t most = 64;

  std::size_t size_;
  std::vector<std::uint8_t> bytes_;
  std::array<iovec, most> parts_ = {};
  std::array<mmsghdr, most> messages_ = {};
};
