#include "slp/wire/MulticastGroups.h"

namespace slp::wire {
namespace {

GroupV6 group(MulticastScope scope, std::uint16_t high, std::uint16_t low) {
  GroupV6 bytes{};
  bytes[0] = 0xFF;
  bytes[1] = static_cast<std::uint8_t>(scope);
  bytes[12] = static_cast<std::uint8_t>(high >> 8U);
  bytes[13] = static_cast<std::uint8_t>(high & 0xFFU);
  bytes[14] = static_cast<std::uint8_t>(low >> 8U);
  bytes[15] = static_cast<std::uint8_t>(low & 0xFFU);
  return bytes;
}

}  // namespace

GroupV6 generalGroup(MulticastScope scope) {
  return group(scope, 0, 0x116);
}

GroupV6 directoryAgentGroup(MulticastScope scope) {
  return group(scope, 0, 0x123);
}

GroupV6 serviceGroup(std::string_view serviceType, MulticastScope scope) {
  return group(scope, 1, static_cast<std::uint16_t>(0x1000U + serviceTypeHash(serviceType)));
}

std::uint16_t serviceTypeHash(std::string_view serviceType) {
  std::uint32_t hash = 0;
  for (const char character : serviceType)
    hash = hash * 33U + static_cast<std::uint8_t>(character);
  return static_cast<std::uint16_t>(hash & 0x3FFU);
}

}  // namespace slp::wire
