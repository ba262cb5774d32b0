#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>

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

}  // namespace heartbeat
