#include "slp/net/SocketAddress.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

namespace slp::net {
namespace {

constexpr std::array<std::uint8_t, 12> kMappedPrefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

}  // namespace

int domainOf(Family family) {
  return family == Family::kV4 ? AF_INET : AF_INET6;
}

Address addressV4(const void* fourBytes) {
  Address address;
  std::memcpy(address.bytes.data(), fourBytes, 4);
  return address;
}

Address addressV6(const void* sixteenBytes, std::uint32_t zone) {
  const auto* bytes = static_cast<const std::uint8_t*>(sixteenBytes);
  if (std::memcmp(bytes, kMappedPrefix.data(), kMappedPrefix.size()) == 0)
    return addressV4(bytes + kMappedPrefix.size());
  Address address;
  address.family = Family::kV6;
  std::memcpy(address.bytes.data(), bytes, address.bytes.size());
  if (address.isLinkLocal()) address.zone = zone;
  return address;
}

SocketAddress::SocketAddress(const Endpoint& endpoint) {
  if (endpoint.address.family == Family::kV4) {
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(endpoint.port);
    std::memcpy(&v4.sin_addr, endpoint.address.bytes.data(), sizeof(v4.sin_addr));
    std::memcpy(&storage, &v4, sizeof(v4));
    length = sizeof(v4);
  } else {
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(endpoint.port);
    v6.sin6_scope_id = endpoint.address.zone;
    std::memcpy(&v6.sin6_addr, endpoint.address.bytes.data(), sizeof(v6.sin6_addr));
    std::memcpy(&storage, &v6, sizeof(v6));
    length = sizeof(v6);
  }
}

SocketAddress SocketAddress::any(Family family, std::uint16_t port) {
  Endpoint endpoint;
  endpoint.address.family = family;
  endpoint.port = port;
  return SocketAddress(endpoint);
}

std::optional<Endpoint> endpointOf(const void* address, std::size_t length) {
  sa_family_t domain = AF_UNSPEC;
  if (address == nullptr || length < sizeof(domain)) return std::nullopt;
  std::memcpy(&domain, address, sizeof(domain));
  if (domain == AF_INET && length >= sizeof(sockaddr_in)) {
    sockaddr_in v4{};
    std::memcpy(&v4, address, sizeof(v4));
    return Endpoint{addressV4(&v4.sin_addr), ntohs(v4.sin_port)};
  }
  if (domain == AF_INET6 && length >= sizeof(sockaddr_in6)) {
    sockaddr_in6 v6{};
    std::memcpy(&v6, address, sizeof(v6));
    return Endpoint{addressV6(&v6.sin6_addr, v6.sin6_scope_id), ntohs(v6.sin6_port)};
  }
  return std::nullopt;
}

}  // namespace slp::net
