#include "framework/utils/NetlinkMessages.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <string>

namespace utils::netlink {
namespace {

/// Reads a fixed part; its bytes need not be aligned.
template <typename T>
std::optional<T> read(Bytes bytes) {
  if (bytes.size() < sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

/// What lies behind `length` bytes and the padding that follows them.
Bytes after(Bytes bytes, std::size_t length) {
  const std::size_t padded = (length + 3) & ~std::size_t{3};
  return bytes.subspan(std::min(padded, bytes.size()));
}

/// Calls `visit(type, value)` for each attribute up to the first malformed one.
template <typename Visit>
void forEachAttribute(Bytes bytes, Visit visit) {
  while (const auto header = read<rtattr>(bytes)) {
    if (header->rta_len < sizeof(rtattr) || header->rta_len > bytes.size()) return;
    visit(header->rta_type & NLA_TYPE_MASK, bytes.subspan(sizeof(rtattr), header->rta_len - sizeof(rtattr)));
    bytes = after(bytes, header->rta_len);
  }
}

std::string readName(Bytes value) {
  const std::string text(reinterpret_cast<const char*>(value.data()), value.size());
  return text.substr(0, text.find('\0'));
}

std::string readMac(Bytes value) {
  constexpr char kHex[] = "0123456789abcdef";
  const auto isZero = [](std::byte byte) { return byte == std::byte{0}; };
  if (value.size() != 6 || std::all_of(value.begin(), value.end(), isZero)) return "";
  std::string text;
  for (const std::byte byte : value) {
    if (!text.empty()) text += ':';
    text += kHex[std::to_integer<unsigned int>(byte) >> 4];
    text += kHex[std::to_integer<unsigned int>(byte) & 15];
  }
  return text;
}

std::string readAddressText(int family, Bytes value) {
  const std::size_t length = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
  char text[INET6_ADDRSTRLEN] = "";
  if ((family != AF_INET && family != AF_INET6) || value.size() != length) return "";
  return inet_ntop(family, value.data(), text, sizeof text) != nullptr ? text : "";
}

/// The interface of a route's first hop.
int readFirstHop(Bytes value) {
  const auto hop = read<rtnexthop>(value);
  return hop ? hop->rtnh_ifindex : 0;
}

}  // namespace

std::optional<Message> nextMessage(Bytes& rest) {
  const auto header = read<nlmsghdr>(rest);
  if (!header || header->nlmsg_len < sizeof(nlmsghdr) || header->nlmsg_len > rest.size()) return std::nullopt;
  const Bytes payload = rest.subspan(sizeof(nlmsghdr), header->nlmsg_len - sizeof(nlmsghdr));
  rest = after(rest, header->nlmsg_len);
  return Message{header->nlmsg_type, header->nlmsg_flags, header->nlmsg_seq, payload};
}

std::optional<MachineNetwork::Link> readLink(Bytes payload) {
  const auto fixed = read<ifinfomsg>(payload);
  if (!fixed) return std::nullopt;
  MachineNetwork::Link link;
  link.index = fixed->ifi_index;
  link.flags = fixed->ifi_flags;
  forEachAttribute(after(payload, sizeof(ifinfomsg)), [&](int type, Bytes value) {
    if (type == IFLA_IFNAME) link.name = readName(value);
    if (type == IFLA_ADDRESS) link.mac = readMac(value);
  });
  if (link.name.empty()) return std::nullopt;
  return link;
}

std::optional<MachineNetwork::Address> readAddress(Bytes payload) {
  const auto fixed = read<ifaddrmsg>(payload);
  if (!fixed) return std::nullopt;
  MachineNetwork::Address address;
  address.linkIndex = static_cast<int>(fixed->ifa_index);
  address.family = fixed->ifa_family;
  address.flags = fixed->ifa_flags;
  std::string local;  // on a point-to-point link the other attribute is the far end
  forEachAttribute(after(payload, sizeof(ifaddrmsg)), [&](int type, Bytes value) {
    if (type == IFA_LOCAL) local = readAddressText(address.family, value);
    if (type == IFA_ADDRESS) address.text = readAddressText(address.family, value);
    if (type == IFA_FLAGS) address.flags = read<std::uint32_t>(value).value_or(address.flags);
  });
  if (!local.empty()) address.text = local;
  if (address.text.empty()) return std::nullopt;
  return address;
}

std::optional<MachineNetwork::DefaultRoute> readDefaultRoute(Bytes payload) {
  const auto fixed = read<rtmsg>(payload);
  if (!fixed || fixed->rtm_dst_len != 0 || fixed->rtm_type != RTN_UNICAST || fixed->rtm_table != RT_TABLE_MAIN) {
    return std::nullopt;
  }
  MachineNetwork::DefaultRoute route;
  route.family = fixed->rtm_family;
  forEachAttribute(after(payload, sizeof(rtmsg)), [&](int type, Bytes value) {
    if (type == RTA_OIF) route.linkIndex = read<int>(value).value_or(0);
    if (type == RTA_MULTIPATH && route.linkIndex == 0) route.linkIndex = readFirstHop(value);
    if (type == RTA_PRIORITY) route.metric = read<std::uint32_t>(value).value_or(0);
  });
  if (route.linkIndex == 0) return std::nullopt;
  return route;
}

}  // namespace utils::netlink
