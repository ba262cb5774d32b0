#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace slp::config {

using Milliseconds = std::chrono::milliseconds;

/// What the properties say, as values with their types: a copy is taken when an operation starts, and never changes.
/// The defaults are those of the table in PropertyTable.cpp; docs/slp.md says what each is for.
struct Settings {
  std::string scopes = "DEFAULT";                       ///< net.slp.useScopes
  std::vector<std::string> directoryAgents;             ///< net.slp.DAAddresses: hosts or addresses
  bool broadcastOnly = false;                           ///< net.slp.isBroadcastOnly
  bool passiveDaDetection = true;                       ///< net.slp.passiveDADetection
  int multicastTtl = 255;                               ///< net.slp.multicastTTL: 1 to 255
  std::chrono::seconds daActiveDiscoveryInterval{900};  ///< net.slp.DAActiveDiscoveryInterval: 0 for never
  Milliseconds multicastMaximumWait{15'000};            ///< net.slp.multicastMaximumWait
  /// net.slp.multicastTimeouts: the wait behind each request of a search by multicast. Silence in two successive ones
  /// ends the search, so that one with all answers in takes 750 ms.
  std::vector<Milliseconds> multicastTimeouts;
  std::vector<Milliseconds> daDiscoveryTimeouts;  ///< net.slp.DADiscoveryTimeouts
  std::vector<Milliseconds> datagramTimeouts;     ///< net.slp.datagramTimeouts: behind each try by unicast
  Milliseconds randomWaitBound{1'000};            ///< net.slp.randomWaitBound
  /// net.slp.MTU: the largest datagram that is sent, the headers of IP and UDP included.
  std::size_t mtu = 1'400;
  std::vector<std::string> interfaces;  ///< net.slp.interfaces: addresses or names; empty: every suitable one
  std::string saAttributes;             ///< net.slp.SAAttributes
  std::string locale = "en";            ///< net.slp.locale
  int maxResults = -1;                  ///< net.slp.maxResults: -1 for all
  std::vector<std::string> typeHint;    ///< net.slp.typeHint
  // Ours:
  std::uint16_t port = 427;               ///< net.slp.port: for trials without privilege
  bool useIpv4 = true;                    ///< net.slp.useIPv4
  bool useIpv6 = true;                    ///< net.slp.useIPv6
  bool allowRemoteRegistrations = false;  ///< net.slp.allowRemoteRegistrations

  /// What is left of the MTU for a message in a datagram of IPv4 or IPv6 (the larger headers are taken: 48 bytes).
  std::size_t maxDatagramMessage() const { return mtu - 48; }

  Settings();  ///< the defaults
  bool operator==(const Settings&) const = default;
};

}  // namespace slp::config
