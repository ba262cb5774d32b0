#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "slp/client/Transport.h"
#include "slp/config/Settings.h"
#include "slp/net/Interfaces.h"
#include "slp/net/MessageStream.h"
#include "slp/net/UdpSocket.h"
#include "slp/net/Wakeup.h"

namespace slp::client {

/// The real network. Each search has one of its own; `cancel` of the handle ends its waiting.
class SocketTransport final : public Transport {
 public:
  /// `interfaces`: addresses or names that the handle is tied to; empty for those of the settings. `cancel` must
  /// outlive the transport; once it is signalled every wait answers kCancelled.
  SocketTransport(const config::Settings& settings, const std::vector<std::string>& interfaces, net::Wakeup& cancel);
  ~SocketTransport() override;

  std::size_t multicast(std::string_view message, Group group, std::string_view serviceType) override;
  std::string networks() const override;
  bool sendTo(std::string_view message, const net::Endpoint& to) override;
  StreamId openStream(const net::Endpoint& to, std::string_view message) override;
  void closeStream(StreamId stream) override;
  Event wait(TimePoint until) override;
  std::vector<net::Address> resolve(std::string_view host) override;
  TimePoint now() const override;
  void pauseClock() override;
  void resumeClock() override;

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace slp::client
