#pragma once

#include <chrono>
#include <net/if.h>
#include <poll.h>
#include <string>
#include <vector>

#include "slp/net/UdpSocket.h"

/// What the tests of the sockets share.
namespace slp::net {

/// Waits for the descriptor; false when nothing has come at the deadline, which only ends a failed test.
inline bool isReady(int fd, short events = POLLIN, std::chrono::milliseconds deadline = std::chrono::seconds(20)) {
  pollfd entry{fd, events, 0};
  return ::poll(&entry, 1, static_cast<int>(deadline.count())) > 0;
}

inline std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline std::uint32_t loopbackIndex() {
  return if_nametoindex("lo");
}

/// A datagram as it came, with bytes of its own.
struct Received {
  std::string text;
  Endpoint from;
  Address to;
  std::uint32_t interface = 0;
};

/// Waits until `count` datagrams have come.
inline std::vector<Received> receiveSome(UdpSocket& socket, std::size_t count) {
  std::vector<Received> all;
  while (all.size() < count && isReady(socket.fd()))
    for (const auto& datagram : socket.receive())
      all.push_back({textOf(datagram.bytes), datagram.from, datagram.to, datagram.interface});
  return all;
}

inline Outgoing toLoopback(std::string text, Family family, std::uint16_t port) {
  Outgoing datagram;
  datagram.bytes = std::move(text);
  datagram.to = {Address::loopback(family), port};
  return datagram;
}

}  // namespace slp::net
