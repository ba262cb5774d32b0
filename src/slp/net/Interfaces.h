#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "slp/net/Address.h"

namespace slp::net {

struct InterfaceAddress {
  Address address;
  unsigned prefix = 0;  ///< bits
  bool operator==(const InterfaceAddress&) const = default;
};

struct Interface {
  std::uint32_t index = 0;
  std::string name;
  bool loopback = false;
  bool multicast = false;
  std::vector<InterfaceAddress> addresses;
  bool operator==(const Interface&) const = default;

  const Address* firstOf(Family family) const;  ///< link-local ones of IPv6 last; null when there is none
  const Address* linkLocal() const;             ///< of IPv6
};

/// The interfaces that are up, with their addresses; nothing when they cannot be listed (there is no descriptor left).
std::optional<std::vector<Interface>> readInterfaces();
/// The same, none for nothing.
std::vector<Interface> listInterfaces();

/// Those on which SLP is spoken: loopback and those that cannot multicast left out, and when `wanted` names addresses
/// or interfaces, only those.
std::vector<Interface> suitableInterfaces(const std::vector<Interface>& all, const std::vector<std::string>& wanted);

bool isOwn(const std::vector<Interface>& all, const Address& address);
/// Whether the address is on a network to which one of the interfaces is attached: its datagrams need no router.
bool isOnLink(const std::vector<Interface>& all, const Address& address);

/// Says when links or addresses changed, by netlink (RTMGRP_LINK and the address groups). For one thread at a time.
class InterfaceMonitor {
 public:
  InterfaceMonitor();
  ~InterfaceMonitor();
  InterfaceMonitor(const InterfaceMonitor&) = delete;
  InterfaceMonitor& operator=(const InterfaceMonitor&) = delete;

  int fd() const { return mSocket; }  ///< to be polled for reading; -1 when there is no netlink
  bool changed();                     ///< takes what has arrived; does not block. An overrun counts as a change.

 private:
  int mSocket;
};

}  // namespace slp::net
