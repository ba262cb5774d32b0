#pragma once

#include <cstdint>
#include <vector>

#include "slp/agent/Registration.h"
#include "slp/net/Address.h"
#include "slp/net/Interfaces.h"

namespace slp::agent {

/// What the answer to a message depends on beside its bytes.
struct Source {
  net::Endpoint from;
  net::Address ownAddress;   ///< of ours, on the interface by which it came: the one to tell about ourselves
  bool sentToGroup = false;  ///< by multicast or broadcast, as the destination says; the flag alone is not believed
  bool tcp = false;
  bool onLink = false;  ///< the sender is on one of our networks, or on this machine
  Owner connection = kNoConnection;
  std::uint32_t interface = 0;  ///< the index of the interface by which a datagram came; 0: not known
};

/// Whether the sender is a program on this machine. Over IPv6 a neighbour could forge one of our addresses in a
/// datagram, which then does not come by the loopback interface; over IPv4 the kernel does not let it in.
bool isThisMachine(const Source& source, const std::vector<net::Interface>& interfaces);

}  // namespace slp::agent
