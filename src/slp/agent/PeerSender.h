#pragma once

#include <string_view>

#include "slp/net/Address.h"

namespace slp::agent {

/// How the parts that talk with directory agents send. Nothing here waits; what cannot be sent is as good as lost.
class PeerSender {
 public:
  virtual ~PeerSender() = default;
  virtual void datagram(const net::Endpoint& to, std::string_view message) = 0;
  /// Over the connection to this peer, which is made when there is none.
  virtual void stream(const net::Endpoint& to, std::string_view message) = 0;
  /// To the directory agents of every network.
  virtual void multicast(std::string_view message) = 0;
};

}  // namespace slp::agent
