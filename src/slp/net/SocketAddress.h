#pragma once

#include <sys/socket.h>

#include "slp/net/Address.h"

namespace slp::net {

/// An endpoint in the form of the socket calls.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;

  SocketAddress() = default;
  explicit SocketAddress(const Endpoint& endpoint);
  /// Every address of the machine.
  static SocketAddress any(Family family, std::uint16_t port);

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// What the kernel wrote into a socket address of `length` bytes; nothing for what is neither IPv4 nor IPv6.
std::optional<Endpoint> endpointOf(const void* address, std::size_t length);

/// The address in its bytes; IPv4 mapped into IPv6 becomes IPv4. The zone is kept where an address needs one.
Address addressV4(const void* fourBytes);
Address addressV6(const void* sixteenBytes, std::uint32_t zone);

/// AF_INET or AF_INET6.
int domainOf(Family family);

}  // namespace slp::net
