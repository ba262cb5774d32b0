#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <sys/socket.h>

#include "slp/net/Address.h"

namespace slp::net {

/// Room for the control message of one datagram: its addresses and its interface.
struct ControlBuffer {
  alignas(cmsghdr) std::array<std::byte, 128> bytes{};

  /// Says by which interface (0: any) and from which address (null: any) a datagram is to leave. The length used.
  std::size_t putPacketInfo(Family family, std::uint32_t interface, const Address* from);
};

struct PacketInfo {
  Address to;
  std::uint32_t interface = 0;
};

/// Where a received datagram was sent, and by which interface it came.
std::optional<PacketInfo> packetInfoOf(msghdr& header);

}  // namespace slp::net
