#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The groups to which SLP requests are sent (RFC 2608, section 6.1; RFC 3111, section 4.1).
namespace slp::wire {

inline constexpr std::uint16_t kPort = 427;
inline constexpr std::array<std::uint8_t, 4> kGroupV4{239, 255, 255, 253};

/// Scopes of IPv6 groups, as the fourth hexadecimal digit of FF0X.
enum class MulticastScope : std::uint8_t { kInterface = 1, kLink = 2, kRealm = 3, kAdmin = 4, kSite = 5 };

using GroupV6 = std::array<std::uint8_t, 16>;

/// FF0X::116: service type and attribute requests.
GroupV6 generalGroup(MulticastScope scope);
/// FF0X::123: requests for directory agents, and their adverts.
GroupV6 directoryAgentGroup(MulticastScope scope);
/// FF0X::1:1000 to FF0X::1:13FF: requests for services of a type, by a hash of its text.
GroupV6 serviceGroup(std::string_view serviceType, MulticastScope scope);
/// RFC 3111, section 4.1: 0 to 1023.
std::uint16_t serviceTypeHash(std::string_view serviceType);

}  // namespace slp::wire
