#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "heartbeat/AnnounceRecord.h"

namespace heartbeat {

/// Every address of this machine.
inline sockaddr_in anyAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  return address;
}

/// Where records are sent.
inline sockaddr_in groupAddress() {
  sockaddr_in address = anyAddress(kAnnouncePort);
  inet_pton(AF_INET, kAnnounceGroup, &address.sin_addr);
  return address;
}

/// The group on the interface of that index; 0 leaves the choice to the routes.
inline ip_mreqn membershipOn(unsigned int interface) {
  ip_mreqn membership{};
  membership.imr_multiaddr = groupAddress().sin_addr;
  membership.imr_ifindex = static_cast<int>(interface);
  return membership;
}

/// False, with errno set, when the system refuses.
inline bool joinGroup(int socket, unsigned int interface) {
  const ip_mreqn membership = membershipOn(interface);
  return setsockopt(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == 0;
}

}  // namespace heartbeat
