#include "slp/client/MulticastPlan.h"

#include <algorithm>
#include <array>

#include "slp/wire/MulticastGroups.h"

namespace slp::client {
namespace {

/// What stands for everybody where there is no multicast.
constexpr std::array<std::uint8_t, 4> kBroadcast{255, 255, 255, 255};

wire::GroupV6 groupV6(Transport::Group group, std::string_view serviceType, wire::MulticastScope scope) {
  switch (group) {
    case Transport::Group::kService:
      return wire::serviceGroup(serviceType, scope);
    case Transport::Group::kDirectoryAgent:
      return wire::directoryAgentGroup(scope);
    case Transport::Group::kGeneral:
      break;
  }
  return wire::generalGroup(scope);
}

/// The address to send from: the one that was named, else the first of the family. Null when there is none.
const net::Address* sourceOf(const net::Interface& interface, const std::vector<std::string>& wanted,
                             net::Family family) {
  for (const auto& own : interface.addresses) {
    const bool named = std::any_of(wanted.begin(), wanted.end(), [&](const std::string& text) {
      const auto address = net::Address::parse(text);
      return address && address->family == own.address.family && address->bytes == own.address.bytes;
    });
    if (named && own.address.family == family) return &own.address;
  }
  return interface.firstOf(family);
}

net::Outgoing datagram(const net::Interface& interface, const net::Address& from, const net::Address& to,
                       std::uint16_t port) {
  net::Outgoing out;
  out.to = {to, port};
  out.interface = interface.index;
  out.from = from;
  out.useFrom = true;
  return out;
}

}  // namespace

std::vector<net::Outgoing> planMulticast(const std::vector<net::Interface>& interfaces,
                                         const std::vector<std::string>& wanted, const config::Settings& settings,
                                         Transport::Group group, std::string_view serviceType) {
  std::vector<net::Outgoing> datagrams;
  const auto toAllV4 = net::Address::v4(settings.broadcastOnly ? kBroadcast : wire::kGroupV4);
  const bool v6 = settings.useIpv6 && !settings.broadcastOnly;
  for (const auto& interface : interfaces) {
    const auto* v4From = settings.useIpv4 ? sourceOf(interface, wanted, net::Family::kV4) : nullptr;
    if (v4From != nullptr) datagrams.push_back(datagram(interface, *v4From, toAllV4, settings.port));
    const auto* any = v6 ? sourceOf(interface, wanted, net::Family::kV6) : nullptr;
    if (any == nullptr) continue;
    // RFC 3111, section 4.2.2: the source must reach at least as far as the group.
    const auto* linkLocal = interface.linkLocal() != nullptr ? interface.linkLocal() : any;
    const auto toLink = net::Address::v6(groupV6(group, serviceType, wire::MulticastScope::kLink), interface.index);
    datagrams.push_back(datagram(interface, *linkLocal, toLink, settings.port));
    if (any->isLinkLocal()) continue;
    const auto toSite = net::Address::v6(groupV6(group, serviceType, wire::MulticastScope::kSite));
    datagrams.push_back(datagram(interface, *any, toSite, settings.port));
  }
  return datagrams;
}

}  // namespace slp::client
