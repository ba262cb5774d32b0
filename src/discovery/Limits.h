#pragma once

#include <cstddef>

// What the inventory holds at most. Whatever it is told comes from a network that anybody may speak on.
namespace discovery {

/// Servers in each list that discovery fills. Beyond it new addresses are left out until others have gone.
constexpr std::size_t kMaxServers = 16'384;
/// Servers that users searched for. Nothing takes one out before the process ends.
constexpr std::size_t kMaxSearchedHosts = 4'096;
/// Servers that were announced on the multicast group.
constexpr std::size_t kMaxAnnouncedServers = 16'384;
/// Addresses that are not asked again; the oldest gives way to the newest.
constexpr std::size_t kMaxUnreachableAddresses = 16'384;
/// Service URLs that one discovery pass collects.
constexpr std::size_t kMaxServiceUrls = 16'384;

/// Bytes of an address or host name that stands for a server.
constexpr std::size_t kMaxAddressLength = 255;
/// Bytes of the attributes of one server; no attribute reply is longer.
constexpr std::size_t kMaxAttributesLength = 65'536;
/// Bytes of a server's record as text; a real one has less than a thousand.
constexpr std::size_t kMaxRecordLength = 65'536;

}  // namespace discovery
