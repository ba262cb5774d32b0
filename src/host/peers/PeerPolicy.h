#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Result.h"
#include "host/net/Address.h"

namespace host {

/// Reads "192.0.2.0/24", "2001:db8::/32", or a single address. The failure says how to write it.
Result<Link> readNetwork(std::string_view text);

/// Which addresses other servers may have, so that no record makes this server call where it should not. Immutable.
///
/// Nobody is at multicast, broadcast or unspecified addresses. The machine's loopback addresses are allowed only by a
/// network that is itself a part of the loopback range. IPv4 inside of IPv6 counts as IPv4.
class PeerPolicy {
 public:
  using OwnLinks = std::function<std::vector<Link>()>;

  /// With the networks that are allowed. Without any: the private ranges (RFC 1918, section 3; RFC 4193), the
  /// link-local ones (RFC 3927; RFC 4291, section 2.5.6), and the links of this machine, as they are when it is asked.
  PeerPolicy(std::vector<Link> networks, OwnLinks ownLinks);

  /// Why the address is not called, in words; nothing when it is allowed. Safe for every thread when `ownLinks` is.
  std::optional<std::string> refusal(std::string_view address) const;

 private:
  bool isAllowed(const std::string& address) const;

  const bool mIsConfigured;
  std::vector<Link> mLoopback;
  std::vector<Link> mNetworks;
  const OwnLinks mOwnLinks;
};

}  // namespace host
