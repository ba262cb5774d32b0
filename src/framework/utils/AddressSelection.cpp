#include "framework/utils/AddressSelection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <fnmatch.h>
#include <linux/if_addr.h>
#include <net/if.h>
#include <netinet/in.h>
#include <tuple>

namespace utils {
namespace {

bool matchesAny(const std::vector<std::string>& patterns, const std::string& name) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [&](const std::string& pattern) { return fnmatch(pattern.c_str(), name.c_str(), 0) == 0; });
}

bool isUsable(const MachineNetwork::Link& link, const InterfaceFilter& filter) {
  if ((link.flags & IFF_UP) == 0 || (link.flags & IFF_LOOPBACK) != 0) return false;
  if (!filter.include.empty() && !matchesAny(filter.include, link.name)) return false;
  return !matchesAny(filter.exclude, link.name);
}

bool isUsableIPv4(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return false;
  const std::uint32_t host = ntohl(address.s_addr);
  const bool unspecified = host == 0;
  const bool loopback = host >> 24 == 127;
  const bool linkLocal = host >> 16 == 0xA9FE;
  return !unspecified && !loopback && !linkLocal;
}

bool isUsableIPv6(const std::string& text) {
  in6_addr address{};
  if (inet_pton(AF_INET6, text.c_str(), &address) != 1) return false;
  return !IN6_IS_ADDR_UNSPECIFIED(&address) && !IN6_IS_ADDR_LOOPBACK(&address) && !IN6_IS_ADDR_LINKLOCAL(&address);
}

bool isUsable(const MachineNetwork::Address& address) {
  if ((address.flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED | IFA_F_DEPRECATED)) != 0) return false;
  if (address.family == AF_INET) return isUsableIPv4(address.text);
  // The same bit says "secondary" of an IPv4 address, which is as good as any.
  return address.family == AF_INET6 && (address.flags & IFA_F_TEMPORARY) == 0 && isUsableIPv6(address.text);
}

/// The interface of the best default route, 0 when there is none.
int defaultLink(const std::vector<MachineNetwork::DefaultRoute>& routes) {
  const auto rank = [](const MachineNetwork::DefaultRoute& route) {
    return std::make_tuple(route.family != AF_INET, route.metric);
  };
  const auto best = std::min_element(routes.begin(), routes.end(),
                                     [&](const auto& left, const auto& right) { return rank(left) < rank(right); });
  return best == routes.end() ? 0 : best->linkIndex;
}

NetworkInterface describe(const MachineNetwork::Link& link, const std::vector<MachineNetwork::Address>& addresses) {
  NetworkInterface interface {
    link.name, link.mac, {}, {}
  };
  for (const auto& address : addresses) {
    if (address.linkIndex != link.index || !isUsable(address)) continue;
    (address.family == AF_INET ? interface.ipV4 : interface.ipV6).push_back(address.text);
  }
  return interface;
}

}  // namespace

std::vector<NetworkInterface> selectInterfaces(const MachineNetwork& network, const InterfaceFilter& filter) {
  std::vector<MachineNetwork::Link> links;
  std::copy_if(network.links.begin(), network.links.end(), std::back_inserter(links),
               [&](const auto& link) { return isUsable(link, filter); });
  const int first = defaultLink(network.defaultRoutes);
  std::stable_partition(links.begin(), links.end(), [&](const auto& link) { return link.index == first; });

  std::vector<NetworkInterface> interfaces;
  for (const auto& link : links) {
    auto interface = describe(link, network.addresses);
    if (!interface.ipV4.empty() || !interface.ipV6.empty()) interfaces.push_back(std::move(interface));
  }
  return interfaces;
}

}  // namespace utils
