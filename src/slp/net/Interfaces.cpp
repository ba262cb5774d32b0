#include "slp/net/Interfaces.h"

#include <algorithm>
#include <bit>
#include <ifaddrs.h>
#include <map>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include "slp/net/SocketAddress.h"

namespace slp::net {
namespace {

/// The ones at the front of a network mask.
unsigned prefixOf(const sockaddr* mask, Family family) {
  if (mask == nullptr) return family == Family::kV4 ? 32 : 128;
  const void* const bytes = family == Family::kV4
                                ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(mask)->sin_addr)
                                : static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(mask)->sin6_addr);
  const std::size_t length = family == Family::kV4 ? sizeof(in_addr) : sizeof(in6_addr);
  unsigned prefix = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const int ones = std::countl_one(static_cast<const std::uint8_t*>(bytes)[i]);
    prefix += static_cast<unsigned>(ones);
    if (ones != 8) break;
  }
  return prefix;
}

/// The name of the device: an address of IPv4 may have a label of its own behind a colon.
std::string deviceOf(const char* label) {
  const std::string_view name(label);
  return std::string(name.substr(0, name.find(':')));
}

std::size_t lengthOf(const sockaddr& address) {
  if (address.sa_family == AF_INET) return sizeof(sockaddr_in);
  return address.sa_family == AF_INET6 ? sizeof(sockaddr_in6) : 0;
}

void addLink(std::map<std::string, Interface>& byName, const ifaddrs& entry) {
  Interface link;
  link.index = static_cast<std::uint32_t>(reinterpret_cast<const sockaddr_ll*>(entry.ifa_addr)->sll_ifindex);
  link.name = entry.ifa_name;
  link.loopback = (entry.ifa_flags & IFF_LOOPBACK) != 0;
  link.multicast = (entry.ifa_flags & IFF_MULTICAST) != 0;
  byName.emplace(link.name, std::move(link));
}

void addAddress(std::map<std::string, Interface>& byName, const ifaddrs& entry) {
  const auto link = byName.find(deviceOf(entry.ifa_name));
  const auto endpoint = endpointOf(entry.ifa_addr, lengthOf(*entry.ifa_addr));
  if (link == byName.end() || !endpoint) return;
  link->second.addresses.push_back({endpoint->address, prefixOf(entry.ifa_netmask, endpoint->address.family)});
}

/// Equal, where an address without a zone stands for those of every zone.
bool sameAddress(const Address& left, const Address& right) {
  return left.family == right.family && left.bytes == right.bytes &&
         (left.zone == right.zone || left.zone == 0 || right.zone == 0);
}

bool has(const Interface& interface, const Address& address) {
  return std::any_of(interface.addresses.begin(), interface.addresses.end(),
                     [&](const InterfaceAddress& own) { return sameAddress(own.address, address); });
}

bool isWanted(const Interface& interface, const std::vector<std::string>& wanted) {
  return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](const std::string& text) {
           const auto address = Address::parse(text);
           return address ? has(interface, *address) : text == interface.name;
         });
}

}  // namespace

const Address* Interface::firstOf(Family family) const {
  const Address* last = nullptr;
  for (const auto& own : addresses) {
    if (own.address.family != family) continue;
    if (family == Family::kV4 || !own.address.isLinkLocal()) return &own.address;
    if (last == nullptr) last = &own.address;
  }
  return last;
}

const Address* Interface::linkLocal() const {
  for (const auto& own : addresses)
    if (own.address.family == Family::kV6 && own.address.isLinkLocal()) return &own.address;
  return nullptr;
}

std::optional<std::vector<Interface>> readInterfaces() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return std::nullopt;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> entries(first, &freeifaddrs);
  const auto usable = [](const ifaddrs& entry) { return entry.ifa_addr != nullptr && (entry.ifa_flags & IFF_UP) != 0; };

  std::map<std::string, Interface> byName;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next)
    if (usable(*entry) && entry->ifa_addr->sa_family == AF_PACKET) addLink(byName, *entry);
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next)
    if (usable(*entry)) addAddress(byName, *entry);

  std::vector<Interface> interfaces;
  interfaces.reserve(byName.size());
  for (auto& [name, interface] : byName)
    interfaces.push_back(std::move(interface));
  std::sort(interfaces.begin(), interfaces.end(), [](const auto& l, const auto& r) { return l.index < r.index; });
  return interfaces;
}

std::vector<Interface> listInterfaces() {
  return readInterfaces().value_or(std::vector<Interface>());
}

std::vector<Interface> suitableInterfaces(const std::vector<Interface>& all, const std::vector<std::string>& wanted) {
  std::vector<Interface> suitable;
  for (const auto& interface : all)
    if (!interface.loopback && interface.multicast && !interface.addresses.empty() && isWanted(interface, wanted))
      suitable.push_back(interface);
  return suitable;
}

bool isOwn(const std::vector<Interface>& all, const Address& address) {
  return address.isLoopback() ||
         std::any_of(all.begin(), all.end(), [&](const Interface& interface) { return has(interface, address); });
}

bool isOnLink(const std::vector<Interface>& all, const Address& address) {
  if (isOwn(all, address)) return true;
  const auto attached = [&](const Interface& interface) {
    // A link-local address says nothing of its link but its zone.
    if (address.zone != 0) return interface.index == address.zone;
    return std::any_of(interface.addresses.begin(), interface.addresses.end(), [&](const InterfaceAddress& own) {
      // A prefix of no bits would make the whole world a neighbour.
      return own.prefix != 0 && sameNetwork(own.address, address, own.prefix);
    });
  };
  return std::any_of(all.begin(), all.end(), attached);
}

}  // namespace slp::net
