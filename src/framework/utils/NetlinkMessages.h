#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "framework/utils/MachineNetwork.h"

/// Reads the messages of a route netlink socket. Pure functions over bytes; what is cut short or malformed reads as
/// nothing.
namespace utils::netlink {

using Bytes = std::span<const std::byte>;

struct Message {
  std::uint16_t type = 0;
  std::uint16_t flags = 0;
  std::uint32_t sequence = 0;
  Bytes payload;
};

/// Cuts the first message off `rest`; nothing at the end.
std::optional<Message> nextMessage(Bytes& rest);

std::optional<MachineNetwork::Link> readLink(Bytes payload);
std::optional<MachineNetwork::Address> readAddress(Bytes payload);
/// Nothing for a route that is not a default route of the main table.
std::optional<MachineNetwork::DefaultRoute> readDefaultRoute(Bytes payload);

}  // namespace utils::netlink
