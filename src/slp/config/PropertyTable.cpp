#include <algorithm>
#include <array>

#include "slp/config/Properties.h"
#include "slp/config/PropertyValues.h"

namespace slp::config {
namespace {

constexpr bool kFileOnly = true;
constexpr bool kAnyTime = false;
constexpr std::int64_t kHour = 3'600'000;  // ms
constexpr std::int64_t kMaxMtu = 65'535;
/// Below what IPv4 promises to deliver (RFC 791) hardly a message fits.
constexpr std::int64_t kMinMtu = 576;

/// A row: name, default, unit, who may set it, meaning, reader.
constexpr std::array kTable{
    // Scopes and directory agents (RFC 2614, sections 2.1.1 and 2.1.2)
    Property{"net.slp.useScopes", "DEFAULT", "", kFileOnly, "the scopes in which services are registered and sought",
             value<&Settings::scopes, readScopes>},
    Property{"net.slp.DAAddresses", "", "", kFileOnly, "hosts or addresses of directory agents",
             value<&Settings::directoryAgents, readStrings>},

    // Network (section 2.1.5)
    Property{"net.slp.isBroadcastOnly", "false", "", kFileOnly, "broadcast over IPv4 in place of multicast",
             value<&Settings::broadcastOnly, readFlag>},
    Property{"net.slp.passiveDADetection", "true", "", kAnyTime, "learn of directory agents by their adverts",
             value<&Settings::passiveDaDetection, readFlag>},
    Property{"net.slp.multicastTTL", "255", "hops", kAnyTime, "how many routers a multicast request may pass",
             number<&Settings::multicastTtl, 1, 255>},
    Property{"net.slp.DAActiveDiscoveryInterval", "900", "s", kAnyTime,
             "between searches for directory agents; 0: never",
             duration<&Settings::daActiveDiscoveryInterval, 0, 65'535>},
    Property{"net.slp.multicastMaximumWait", "15000", "ms", kAnyTime, "the longest search by multicast",
             duration<&Settings::multicastMaximumWait, 1, kHour>},
    // Agents of a LAN answer within milliseconds: two short silent rounds and the wait after the last answer make
    // 750 ms. Lossy and far networks have the later rounds, and searches go on as long as something new arrives.
    Property{"net.slp.multicastTimeouts", "250,250,250,500,1000,2000,4000,4000", "ms", kAnyTime,
             "the wait behind each request of a search by multicast",
             value<&Settings::multicastTimeouts, readTimeouts>},
    // Runs beside the search and delays nothing, but what it finds counts for a long while, and a directory agent may
    // be some routers away: so it has twice the patience of a search.
    Property{"net.slp.DADiscoveryTimeouts", "500,500,1000,2000,4000", "ms", kAnyTime,
             "the same for a search for directory agents", value<&Settings::daDiscoveryTimeouts, readTimeouts>},
    // Six tries within 1.5 s: with 30% of the datagrams lost each way, two of a hundred exchanges fail by them, and
    // there is time left for TCP before a user calls it slow.
    Property{"net.slp.datagramTimeouts", "100,150,200,250,300,500", "ms", kAnyTime,
             "the wait behind each try of a request by unicast", value<&Settings::datagramTimeouts, readTimeouts>},
    Property{"net.slp.randomWaitBound", "1000", "ms", kAnyTime, "the longest of the random waits",
             duration<&Settings::randomWaitBound, 0, kHour>},
    Property{"net.slp.MTU", "1400", "bytes", kAnyTime,
             "the largest datagram that is sent, with the headers of IP and UDP",
             number<&Settings::mtu, kMinMtu, kMaxMtu>},
    Property{"net.slp.interfaces", "", "", kAnyTime, "addresses or names of the interfaces to use; empty: all suitable",
             value<&Settings::interfaces, readStrings>},

    // Agents (sections 2.1.6 and 2.1.7)
    Property{"net.slp.SAAttributes", "", "", kAnyTime, "attributes that the service agent tells of itself",
             text<&Settings::saAttributes>},
    Property{"net.slp.locale", "en", "", kAnyTime, "the language of requests and registrations",
             value<&Settings::locale, readLanguage>},
    Property{"net.slp.maxResults", "-1", "", kAnyTime, "results that one search hands out; -1: all",
             value<&Settings::maxResults, readMaxResults>},

    // Our own
    Property{"net.slp.port", "427", "", kAnyTime, "the port of all agents; another one is for trials without privilege",
             number<&Settings::port, 1, 65'535>},
    Property{"net.slp.useIPv4", "true", "", kAnyTime, "speak over IPv4", value<&Settings::useIpv4, readFlag>},
    Property{"net.slp.useIPv6", "true", "", kAnyTime, "speak over IPv6", value<&Settings::useIpv6, readFlag>},
    Property{"net.slp.allowRemoteRegistrations", "false", "", kAnyTime, "take registrations of other machines",
             value<&Settings::allowRemoteRegistrations, readFlag>},

    // Kept and returned as text for programs that ask for them (sections 2.1.1, 2.1.3, 2.1.4, 2.1.7 and 2.1.8)
    Property{"net.slp.isDA", "false", "", kAnyTime, "without effect: this library is no directory agent",
             withoutEffect},
    Property{"net.slp.DAHeartBeat", "10800", "s", kAnyTime, "without effect: this library is no directory agent",
             withoutEffect},
    Property{"net.slp.DAAttributes", "", "", kAnyTime, "without effect: this library is no directory agent",
             withoutEffect},
    Property{"net.slp.traceDATraffic", "false", "", kAnyTime, "without effect: the library does not trace",
             withoutEffect},
    Property{"net.slp.traceMsg", "false", "", kAnyTime, "without effect: the library does not trace", withoutEffect},
    Property{"net.slp.traceDrop", "false", "", kAnyTime, "without effect: the library does not trace", withoutEffect},
    Property{"net.slp.traceReg", "false", "", kAnyTime, "without effect: the library does not trace", withoutEffect},
    Property{"net.slp.serializedRegURL", "", "", kAnyTime, "without effect: registrations come from programs only",
             withoutEffect},
    Property{"net.slp.typeHint", "", "", kAnyTime, "without effect: no agents are asked for their scopes",
             withoutEffect},
    Property{"net.slp.securityEnabled", "false", "", kAnyTime, "without effect: nothing is signed or verified",
             withoutEffect},
};

}  // namespace

std::span<const Property> propertyTable() {
  return kTable;
}

const Property* findProperty(std::string_view name) {
  const auto* const row =
      std::find_if(kTable.begin(), kTable.end(), [&](const Property& property) { return property.name == name; });
  return row == kTable.end() ? nullptr : row;
}

Settings::Settings() {
  for (const auto& property : kTable)
    property.read(property.defaultValue, *this);
}

}  // namespace slp::config
