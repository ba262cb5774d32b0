#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "slp/agent/DirectoryAgentFinder.h"
#include "slp/agent/DirectoryAgentRegistrar.h"
#include "slp/agent/EventLoop.h"
#include "slp/agent/HostLookup.h"
#include "slp/agent/NetworkView.h"
#include "slp/agent/PeerSender.h"
#include "slp/agent/Registry.h"
#include "slp/config/Settings.h"
#include "slp/net/MessageStream.h"
#include "slp/net/UdpSocket.h"

namespace slp::agent {

/// Finds directory agents and registers with them, over sockets of its own. For one thread.
class DirectoryAgentService final : public PeerSender {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Whatever is referred to outlives the service.
  DirectoryAgentService(EventLoop& loop, client::DirectoryAgents& agents, const Registry& registry,
                        const NetworkView& view, const config::Settings& settings);
  ~DirectoryAgentService() override;

  /// An advert that nobody asked for. Its source may be forged, and what an agent is told aimed at somebody else: it is
  /// only a reason to ask.
  void heard(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from);
  /// What is registered under the URL may have changed.
  void changed(const std::string& url, TimePoint now);
  void everythingChanged(TimePoint now);
  void withdrawAll(TimePoint now);
  bool idle(TimePoint now) const { return mRegistrar.idle(now); }

  void work(TimePoint now);
  std::optional<TimePoint> next() const;

  void datagram(const net::Endpoint& to, std::string_view message) override;
  void stream(const net::Endpoint& to, std::string_view message) override;
  void multicast(std::string_view message) override;

 private:
  struct Stream {
    net::MessageStream messages;
    TimePoint used;
  };

  net::UdpSocket& socket(net::Family family);
  void receive(net::Family family);
  void take(std::span<const std::byte> bytes, const net::Endpoint& from, TimePoint now);
  void learn(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from, TimePoint now);
  std::optional<client::DirectoryAgent> knownAt(const net::Address& address) const;
  void streamReady(const net::Endpoint& peer);
  void closeStream(std::map<net::Endpoint, Stream>::iterator stream);
  void configure(TimePoint now);
  void search(TimePoint now);
  void follow(TimePoint now);
  void closeIdleStreams(TimePoint now);

  EventLoop& mLoop;
  client::DirectoryAgents& mAgents;
  const NetworkView& mView;
  config::Settings mSettings;
  DirectoryAgentFinder mFinder;
  DirectoryAgentRegistrar mRegistrar;
  net::UdpSocket mUdpV4;
  net::UdpSocket mUdpV6;
  std::map<net::Endpoint, Stream> mStreams;
  std::set<net::Endpoint> mEndedStreams;  ///< whose end the registrar is still to be told
  std::unique_ptr<HostLookup> mLookup;
  std::optional<std::uint64_t> mGeneration;
  TimePoint mNextLook{};    ///< at the list of agents, which changes with time, too
  TimePoint mNextSearch{};  ///< for agents, or for the question whether somebody else has searched
  TimePoint mNextConfiguration{};
  bool mAnyAgents = false;
  bool mWithdrawn = false;
};

}  // namespace slp::agent
