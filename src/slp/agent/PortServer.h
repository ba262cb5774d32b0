#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "slp/agent/Connections.h"
#include "slp/agent/EventLoop.h"
#include "slp/agent/NetworkView.h"
#include "slp/agent/PortHolder.h"
#include "slp/agent/RateLimiter.h"
#include "slp/agent/Registry.h"
#include "slp/agent/Responder.h"
#include "slp/config/Settings.h"

namespace slp::agent {

/// Serves the port of this machine: answers datagrams and connections from the registry. For one thread.
class PortServer {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Events {
    /// Another process or machine has registered or withdrawn this URL.
    std::function<void(const std::string& url)> changed;
    Responder::AdvertSink advert;
  };

  /// `port` holds its sockets already; it, the registry and the view outlive the server.
  PortServer(EventLoop& loop, PortHolder& port, Registry& registry, const NetworkView& view,
             const config::Settings& settings, Events events);
  ~PortServer();
  PortServer(const PortServer&) = delete;
  PortServer& operator=(const PortServer&) = delete;

  /// To be called when the view has changed.
  void networkChanged();
  void work(TimePoint now);
  std::optional<TimePoint> next() const;

 private:
  void watch(net::Family family);
  void accept(net::Family family);
  std::span<const net::Datagram>& waiting(net::Family family) { return mWaiting[family == net::Family::kV4 ? 0 : 1]; }
  void answerDatagrams(net::Family family);
  void charge(const net::Address& source, TimePoint since);
  bool answer(const net::Datagram& request, TimePoint now, net::Outgoing& out);
  void answerPeer(Connections::Peer& peer, std::span<const std::byte> message, std::string& reply);
  void peerEnded(const Connections::Peer& peer);

  EventLoop& mLoop;
  PortHolder& mPort;
  Registry& mRegistry;
  const NetworkView& mView;
  Events mEvents;
  Responder mResponder;
  RateLimiter mLimiter;
  Connections mConnections;
  std::array<std::span<const net::Datagram>, 2> mWaiting;  ///< received, but not answered in the last turn
  std::vector<net::Outgoing> mAnswers;
  TimePoint mNextSweep{};
  std::optional<TimePoint> mAcceptAgain;
};

}  // namespace slp::agent
