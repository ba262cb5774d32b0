#pragma once

#include <string>
#include <vector>

#include "slp/agent/PeerSender.h"
#include "slp/wire/Codec.h"

namespace slp::agent {

/// Keeps what would have been sent.
class FakePeers final : public PeerSender {
 public:
  enum class By { kDatagram, kStream, kMulticast };
  struct Sent {
    By by;
    net::Endpoint to;
    std::string bytes;
    /// The message, whose texts live as long as `bytes`.
    wire::Message message() const { return std::get<wire::Message>(wire::decode(wire::bytesOf(bytes))); }
    std::uint16_t xid() const { return message().header.xid; }
  };

  void datagram(const net::Endpoint& to, std::string_view message) override { put(By::kDatagram, to, message); }
  void stream(const net::Endpoint& to, std::string_view message) override { put(By::kStream, to, message); }
  void multicast(std::string_view message) override { put(By::kMulticast, {}, message); }

  std::vector<Sent> take() { return std::exchange(mSent, {}); }

 private:
  void put(By by, const net::Endpoint& to, std::string_view message) {
    mSent.push_back({by, to, std::string(message)});
  }
  std::vector<Sent> mSent;
};

inline net::Endpoint endpoint(const std::string& address, std::uint16_t port = 427) {
  return {net::Address::parse(address).value(), port};
}

}  // namespace slp::agent
