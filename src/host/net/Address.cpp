#include "host/net/Address.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <bit>
#include <cctype>
#include <cstddef>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <optional>
#include <span>
#include <sys/socket.h>

#include "framework/utils/IpAddress.h"
#include "framework/utils/System.h"

namespace host {
namespace {

constexpr std::size_t kMaxHostName = 253;
constexpr std::size_t kMaxLabel = 63;

/// An address as the network carries it: 4 or 16 bytes.
struct Bytes {
  std::array<unsigned char, 16> data{};
  std::size_t size = 0;

  std::span<const unsigned char> view() const { return {data.data(), size}; }
};

Bytes toBytes(int family, std::string_view text) {
  Bytes bytes;
  bytes.size = family == AF_INET ? 4 : 16;
  inet_pton(family, std::string(text).c_str(), bytes.data.data());
  return bytes;
}

std::optional<Bytes> parse(std::string_view text) {
  if (utils::isIPv4Text(text)) return toBytes(AF_INET, text);
  if (utils::isIPv6Text(text)) return toBytes(AF_INET6, text.substr(0, text.find('%')));
  return std::nullopt;
}

bool isLabel(std::string_view label) {
  return !label.empty() && label.size() <= kMaxLabel && label.front() != '-' && label.back() != '-' &&
         std::all_of(label.begin(), label.end(),
                     [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; });
}

bool isNumber(std::string_view label) {
  if (label.size() > 1 && label[0] == '0' && (label[1] == 'x' || label[1] == 'X')) return true;
  return std::all_of(label.begin(), label.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

bool samePrefix(std::span<const unsigned char> left, std::span<const unsigned char> right, unsigned bits) {
  const std::size_t whole = bits / 8;
  if (!std::equal(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(whole), right.begin())) return false;
  const unsigned rest = bits % 8;
  if (rest == 0) return true;
  const auto mask = static_cast<unsigned char>(0xFFU << (8 - rest));
  return (left[whole] & mask) == (right[whole] & mask);
}

unsigned countBits(const void* mask, std::size_t size) {
  const auto bytes = std::span(static_cast<const unsigned char*>(mask), size);
  unsigned bits = 0;
  for (const unsigned char byte : bytes) {
    bits += static_cast<unsigned>(std::popcount(byte));
  }
  return bits;
}

std::optional<Link> linkOf(const ifaddrs& entry) {
  if (entry.ifa_addr == nullptr || entry.ifa_netmask == nullptr) return std::nullopt;
  std::array<char, INET6_ADDRSTRLEN> text{};
  const int family = entry.ifa_addr->sa_family;
  const void* address = nullptr;
  const void* mask = nullptr;
  if (family == AF_INET) {
    address = &reinterpret_cast<const sockaddr_in*>(entry.ifa_addr)->sin_addr;
    mask = &reinterpret_cast<const sockaddr_in*>(entry.ifa_netmask)->sin_addr;
  } else if (family == AF_INET6) {
    address = &reinterpret_cast<const sockaddr_in6*>(entry.ifa_addr)->sin6_addr;
    mask = &reinterpret_cast<const sockaddr_in6*>(entry.ifa_netmask)->sin6_addr;
  } else {
    return std::nullopt;
  }
  if (inet_ntop(family, address, text.data(), text.size()) == nullptr) return std::nullopt;
  return Link{text.data(), countBits(mask, family == AF_INET ? 4 : 16)};
}

bool isUnusableIpV4(std::span<const unsigned char> bytes) {
  return bytes[0] == 0 || bytes[0] == 127 || bytes[0] >= 224;
}

bool isUnusableIpV6(std::span<const unsigned char> bytes, bool hasZone) {
  const std::span head = bytes.first(10);
  const bool mostlyZero = std::all_of(head.begin(), head.end(), [](unsigned char byte) { return byte == 0; });
  if (mostlyZero && bytes[10] == 0xFF && bytes[11] == 0xFF) return true;  // IPv4 in disguise
  if (mostlyZero && std::count(bytes.begin(), bytes.end() - 1, 0) == 15 && bytes[15] <= 1) return true;
  const bool multicast = bytes[0] == 0xFF;
  const bool linkLocal = bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80;
  return multicast || (linkLocal && !hasZone);
}

}  // namespace

bool isIpAddress(std::string_view text) {
  return utils::isIPv4Text(text) || utils::isIPv6Text(text);
}

bool isHostName(std::string_view text) {
  if (text.empty() || text.size() > kMaxHostName) return false;
  std::string_view last;
  while (true) {
    const auto dot = text.find('.');
    last = text.substr(0, dot);
    if (!isLabel(last)) return false;
    if (dot == std::string_view::npos || dot + 1 == text.size()) break;
    text.remove_prefix(dot + 1);
  }
  return !isNumber(last);
}

bool isUnusableForPeers(std::string_view text) {
  const auto bytes = parse(text);
  if (!bytes) return true;
  const bool hasZone = text.find('%') != std::string_view::npos;
  return bytes->size == 4 ? isUnusableIpV4(bytes->view()) : isUnusableIpV6(bytes->view(), hasZone);
}

bool isLoopbackAddress(std::string_view text) {
  const auto bytes = parse(text);
  if (!bytes) return false;
  if (bytes->size == 4) return bytes->data[0] == 127;
  in6_addr address{};
  std::copy(bytes->data.begin(), bytes->data.end(), std::begin(address.s6_addr));
  if (IN6_IS_ADDR_V4MAPPED(&address) != 0) return address.s6_addr[12] == 127;
  return IN6_IS_ADDR_LOOPBACK(&address) != 0;
}

std::string canonicalAddress(std::string_view text) {
  const auto bytes = parse(text);
  if (!bytes) return std::string(text);
  std::array<char, INET6_ADDRSTRLEN> plain{};
  inet_ntop(bytes->size == 4 ? AF_INET : AF_INET6, bytes->data.data(), plain.data(), plain.size());
  const auto zone = text.find('%');
  return plain.data() + std::string(zone == std::string_view::npos ? "" : text.substr(zone));
}

std::string bracketed(std::string_view host) {
  return host.find(':') == std::string_view::npos ? std::string(host) : "[" + std::string(host) + "]";
}

std::vector<Link> linksOf(const std::vector<std::string>& interfaces) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return {};
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, freeifaddrs);
  std::vector<Link> links;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (std::find(interfaces.begin(), interfaces.end(), entry->ifa_name) == interfaces.end()) continue;
    if (auto link = linkOf(*entry)) links.push_back(std::move(*link));
  }
  return links;
}

std::vector<Link> ownLinks() {
  std::vector<std::string> names;
  for (const auto& interface : utils::System::get_instance()->getNetworkInterfaces()) {
    names.push_back(interface.name);
  }
  return linksOf(names);
}

bool isOnLink(std::string_view address, const std::vector<Link>& links) {
  const auto bytes = parse(address);
  if (!bytes) return false;
  return std::any_of(links.begin(), links.end(), [&](const Link& link) {
    const auto own = parse(link.address);
    return own && own->size == bytes->size && link.prefixLength <= 8 * own->size &&
           samePrefix(own->view(), bytes->view(), link.prefixLength);
  });
}

}  // namespace host
