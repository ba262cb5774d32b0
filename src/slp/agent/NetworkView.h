#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "slp/agent/Responder.h"
#include "slp/net/Interfaces.h"
#include "slp/net/UdpSocket.h"

namespace slp::agent {

/// The interfaces of this machine as they were last listed, and what they say of those who send to us. For one thread.
class NetworkView {
 public:
  /// `wanted`: addresses or names of the interfaces to speak on; empty for all.
  explicit NetworkView(std::vector<std::string> wanted) : mWanted(std::move(wanted)) {}

  void set(std::vector<net::Interface> all);
  const std::vector<net::Interface>& all() const { return mAll; }
  /// Those on which requests by multicast are sent and taken.
  const std::vector<net::Interface>& suitable() const { return mSuitable; }

  bool isOwn(const net::Address& address) const { return address.isLoopback() || net::isOwn(mAll, address); }

  /// Nothing for what is not to be answered: it came by an interface that is not ours to speak on.
  std::optional<Source> sourceOf(const net::Datagram& datagram) const;
  Source sourceOf(const net::Endpoint& peer, const net::Address& to, Owner connection) const;
  /// Where to send the answer from: by the interface by which the request came, and from the address that it was sent
  /// to. To this machine itself the kernel finds the way.
  void address(net::Outgoing& answer, const net::Datagram& request, const Source& source) const;

 private:
  const std::vector<net::Interface>* only(std::uint32_t index) const;

  std::vector<std::string> mWanted;
  std::vector<net::Interface> mAll;
  std::vector<net::Interface> mSuitable;
  std::vector<std::vector<net::Interface>> mEach;  ///< lists of one, for questions about one
};

}  // namespace slp::agent
