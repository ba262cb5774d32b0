#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/Result.h"

namespace host {

/// Where to listen.
struct ListenAddress {
  std::string address;     ///< an IPv4 or IPv6 address without brackets; "" for every address of the machine
  std::uint16_t port = 0;  ///< 0: any free port

  friend bool operator==(const ListenAddress&, const ListenAddress&) = default;
};

/// Reads "192.0.2.1:8443", "[2001:db8::1]:8443", "[fe80::1%eth0]:8443", "*:8443" or ":8443". Names are not looked up:
/// what a service listens on should not depend on a name server.
Result<ListenAddress> parseListenAddress(std::string_view text);

/// The text that reads back to it; "*:8443" for every address.
std::string toString(const ListenAddress& listen);

}  // namespace host
