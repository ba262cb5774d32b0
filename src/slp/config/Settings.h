#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace slp::config {

using Milliseconds = std::chrono::milliseconds;

/// What the properties say, as values with their types: a copy is taken when an operation starts, and never changes.
/// The defaults are those of the table in PropertyTable.cpp, and of it alone; docs/slp.md says what each is for.
struct Settings {
  std::string scopes;                                ///< net.slp.useScopes
  std::vector<std::string> directoryAgents;          ///< net.slp.DAAddresses: hosts or addresses
  bool broadcastOnly = false;                        ///< net.slp.isBroadcastOnly
  bool passiveDaDetection = false;                   ///< net.slp.passiveDADetection
  int multicastTtl = 0;                              ///< net.slp.multicastTTL: 1 to 255
  std::chrono::seconds daActiveDiscoveryInterval{};  ///< net.slp.DAActiveDiscoveryInterval: 0 for never
  Milliseconds multicastMaximumWait{};               ///< net.slp.multicastMaximumWait
  /// net.slp.multicastTimeouts: the wait behind each request of a search by multicast. Silence in two successive ones
  /// ends the search, so that one with all answers in takes 750 ms.
  std::vector<Milliseconds> multicastTimeouts;
  std::vector<Milliseconds> daDiscoveryTimeouts;  ///< net.slp.DADiscoveryTimeouts
  std::vector<Milliseconds> datagramTimeouts;     ///< net.slp.datagramTimeouts: behind each try by unicast
  Milliseconds randomWaitBound{};                 ///< net.slp.randomWaitBound
  /// net.slp.MTU: the largest datagram that is sent, the headers of IP and UDP included.
  std::size_t mtu = 0;
  std::vector<std::string> interfaces;  ///< net.slp.interfaces: addresses or names; empty: every suitable one
  std::string saAttributes;             ///< net.slp.SAAttributes
  std::string locale;                   ///< net.slp.locale
  int maxResults = 0;                   ///< net.slp.maxResults: -1 for all
  // Ours:
  std::uint16_t port = 0;                 ///< net.slp.port: for trials without privilege
  bool useIpv4 = false;                   ///< net.slp.useIPv4
  bool useIpv6 = false;                   ///< net.slp.useIPv6
  bool allowRemoteRegistrations = false;  ///< net.slp.allowRemoteRegistrations

  /// What is left of the MTU for a message in a datagram of IPv4 or IPv6 (the larger headers are taken: 48 bytes).
  std::size_t maxDatagramMessage() const { return mtu - 48; }

  Settings();  ///< the defaults
  bool operator==(const Settings&) const = default;
};

}  // namespace slp::config
