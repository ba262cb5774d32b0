#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

#include "slp/agent/ChangeQueue.h"
#include "slp/agent/DirectoryAgentService.h"
#include "slp/agent/EventLoop.h"
#include "slp/agent/NetworkView.h"
#include "slp/agent/PortClient.h"
#include "slp/agent/PortHolder.h"
#include "slp/agent/PortServer.h"
#include "slp/agent/Registry.h"
#include "slp/config/Settings.h"
#include "slp/net/Interfaces.h"
#include "slp/net/Memberships.h"

namespace slp::agent {

/// What the agent's thread does: serves the port of this machine when it has it, otherwise registers with whoever has
/// it, and tries to succeed him. Made by the thread that starts the agent, then run by one of its own.
class AgentLoop {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// How long the end may take that is owed to others.
  static constexpr std::chrono::milliseconds kFarewell{250};
  /// How soon whoever has the port is connected to again, doubled each time up to the second, unless he has kept the
  /// connection for longer. The port itself is tried at once, too: it may be free.
  static constexpr std::chrono::milliseconds kFirstRetry{50};
  static constexpr std::chrono::milliseconds kLastRetry{5'000};

  /// What is referred to outlives the loop. `port` may hold its sockets already.
  AgentLoop(Registry& registry, client::DirectoryAgents& directoryAgents, const config::Settings& settings,
            PortHolder port);
  ~AgentLoop();
  AgentLoop(const AgentLoop&) = delete;
  AgentLoop& operator=(const AgentLoop&) = delete;

  /// Until `changes().stop()`; lets no exception out.
  void run() noexcept;
  ChangeQueue& changes() { return mChanges; }
  bool holdsPort() const { return mHoldsPort; }

 private:
  void turn();
  void farewell();
  void takeChanges();
  void serve();
  void serveDirectoryAgents();
  void tryPort(TimePoint now);
  void portClientEnded(PortClient::End end);
  void networkChanged();
  bool refreshView(TimePoint now);
  void refreshNetwork(TimePoint now);
  void refreshGroups(TimePoint now);
  void expire(TimePoint now);
  void work(TimePoint now);
  std::optional<TimePoint> next() const;

  Registry& mRegistry;
  client::DirectoryAgents& mDirectoryAgents;
  config::Settings mSettings;
  ChangeQueue mChanges;
  EventLoop mLoop;
  net::InterfaceMonitor mMonitor;
  NetworkView mView;
  net::Memberships mMemberships;
  PortHolder mPort;
  std::unique_ptr<DirectoryAgentService> mDirectoryAgentService;
  std::unique_ptr<PortServer> mServer;  ///< tells the service above, to its own end
  std::unique_ptr<PortClient> mClient;
  std::atomic<bool> mHoldsPort{false};
  bool mStopping = false;
  std::optional<TimePoint> mNextTry;  ///< for the port
  TimePoint mNextConnection{};
  TimePoint mConnected{};
  std::chrono::milliseconds mRetry = kFirstRetry;
  std::optional<TimePoint> mNetworkDue;
  std::optional<TimePoint> mGroupsDue;
  std::uint64_t mTypesGeneration = 0;
};

}  // namespace slp::agent
