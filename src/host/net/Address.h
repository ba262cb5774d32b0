#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// An address of either family, IPv6 without brackets, with a zone ("fe80::1%eth0") or without.
bool isIpAddress(std::string_view text);

/// A host name as it may stand in a URL: labels of letters, digits, "-" and "_", at most 253 characters. One whose last
/// label is a number is none, because resolvers read "10.1" as an address.
bool isHostName(std::string_view text);

/// True for what no other machine can be reached under: loopback, unspecified, multicast, and link-local without a
/// zone. Also for what is not an address.
bool isUnusableForPeers(std::string_view text);

/// 127.0.0.0/8, also inside IPv6, and ::1.
bool isLoopbackAddress(std::string_view text);

/// The one way to write an address: as the system does, lower case and shortened, with its zone if it has one. What is
/// no address stands for itself.
std::string canonicalAddress(std::string_view text);

/// An IPv6 address in brackets, anything else as it is.
std::string bracketed(std::string_view host);

/// A network that this machine is attached to.
struct Link {
  std::string address;    ///< the machine's own address on it
  unsigned prefixLength;  ///< 0 to 32, 0 to 128
};

/// The links of the interfaces with these names, as the kernel has them now.
std::vector<Link> linksOf(const std::vector<std::string>& interfaces);

/// The links of the interfaces that this server tells others of.
std::vector<Link> ownLinks();

/// Whether an address is inside one of the links' networks.
bool isOnLink(std::string_view address, const std::vector<Link>& links);

}  // namespace host
