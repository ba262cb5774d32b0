#include "slp/net/ControlMessages.h"

#include <cstring>
#include <netinet/in.h>

#include "slp/net/SocketAddress.h"

namespace slp::net {
namespace {

template <typename Info>
std::size_t put(ControlBuffer& buffer, int level, int type, const Info& info) {
  static_assert(CMSG_SPACE(sizeof(Info)) <= sizeof(buffer.bytes));
  buffer.bytes.fill(std::byte{0});
  cmsghdr header{};
  header.cmsg_level = level;
  header.cmsg_type = type;
  header.cmsg_len = CMSG_LEN(sizeof(info));
  std::memcpy(buffer.bytes.data(), &header, sizeof(header));
  std::memcpy(buffer.bytes.data() + CMSG_LEN(0), &info, sizeof(info));
  return CMSG_SPACE(sizeof(info));
}

template <typename Info>
Info get(const cmsghdr* message) {
  Info info{};
  std::memcpy(&info, CMSG_DATA(message), sizeof(info));
  return info;
}

}  // namespace

std::size_t ControlBuffer::putPacketInfo(Family family, std::uint32_t interface, const Address* from) {
  if (family == Family::kV4) {
    in_pktinfo info{};
    info.ipi_ifindex = static_cast<int>(interface);
    if (from != nullptr) std::memcpy(&info.ipi_spec_dst, from->bytes.data(), sizeof(info.ipi_spec_dst));
    return put(*this, IPPROTO_IP, IP_PKTINFO, info);
  }
  in6_pktinfo info{};
  info.ipi6_ifindex = interface;
  if (from != nullptr) std::memcpy(&info.ipi6_addr, from->bytes.data(), sizeof(info.ipi6_addr));
  return put(*this, IPPROTO_IPV6, IPV6_PKTINFO, info);
}

std::optional<PacketInfo> packetInfoOf(msghdr& header) {
  for (cmsghdr* message = CMSG_FIRSTHDR(&header); message != nullptr; message = CMSG_NXTHDR(&header, message)) {
    if (message->cmsg_level == IPPROTO_IP && message->cmsg_type == IP_PKTINFO) {
      const auto info = get<in_pktinfo>(message);
      return PacketInfo{addressV4(&info.ipi_addr), static_cast<std::uint32_t>(info.ipi_ifindex)};
    }
    if (message->cmsg_level == IPPROTO_IPV6 && message->cmsg_type == IPV6_PKTINFO) {
      const auto info = get<in6_pktinfo>(message);
      return PacketInfo{addressV6(&info.ipi6_addr, info.ipi6_ifindex), info.ipi6_ifindex};
    }
  }
  return std::nullopt;
}

}  // namespace slp::net
