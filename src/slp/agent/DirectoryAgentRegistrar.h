#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "slp/agent/PeerSender.h"
#include "slp/agent/ToldRegistrations.h"
#include "slp/agent/TransactionNumbers.h"
#include "slp/client/DirectoryAgents.h"
#include "slp/net/Address.h"

namespace slp::agent {

/// Registers with directory agents (RFC 2608, sections 8.3, 10.6, 12.2 and 12.3): every registration with each agent
/// that serves one of its scopes, again before its lifetime ends and when the agent has restarted. What is to be sent
/// leaves by a PeerSender, and the time is the caller's. For one thread.
class DirectoryAgentRegistrar {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  /// What there is to tell.
  struct Services {
    std::function<std::vector<Registration>(const std::string& url)> of;   ///< in every language, with what is left
    std::function<std::vector<Variant>(const std::string& url)> variants;  ///< the same, without its texts
    std::function<std::vector<std::string>()> urls;
  };

  struct Settings {
    std::vector<std::chrono::milliseconds> datagramTimeouts;  ///< behind each try
    std::chrono::milliseconds randomWaitBound{1'000};         ///< before a new agent is told anything
    std::size_t maxDatagramMessage = 1'352;                   ///< longer messages go over TCP
  };

  /// Requests that one agent has to answer at the same time.
  static constexpr std::size_t kMaxUnderWay = 16;
  /// A message over TCP has its answer by then.
  static constexpr std::chrono::seconds kStreamTimeout{10};

  /// `sender` outlives the registrar. `seed` starts the transaction numbers and the random waits.
  DirectoryAgentRegistrar(Settings settings, PeerSender& sender, Services services, std::uint32_t seed);

  /// The agents to register with, whenever they have changed: new ones are told everything after a random wait, those
  /// that restarted, too; the others are forgotten.
  void follow(const std::vector<client::DirectoryAgent>& agents, TimePoint now);
  /// What is registered under the URL has changed.
  void changed(const std::string& url, TimePoint now);
  /// The same for everything that is registered or has been told.
  void everythingChanged(TimePoint now);
  void withdrawAll(TimePoint now);

  /// An acknowledgement that has come from `from`. False when it answers nothing of ours.
  bool acknowledged(const net::Endpoint& from, std::uint16_t xid, wire::ErrorCode error, TimePoint now);
  /// The stream to the agent has ended.
  void streamEnded(const net::Endpoint& agent, TimePoint now);

  /// Sends what is due. The agents that have turned out to be silent are forgotten and returned.
  std::vector<net::Endpoint> work(TimePoint now);
  std::optional<TimePoint> next() const;
  /// Whether every agent knows what it is to know, for the time being.
  bool idle(TimePoint now) const;

 private:
  struct Flight {
    ToldRegistrations::Task task;
    std::string message;
    bool stream = false;
    std::size_t tries = 0;
    TimePoint begun;
    TimePoint deadline;
    std::optional<std::chrono::seconds> refresh;
  };
  struct Agent {
    client::DirectoryAgent known;
    std::chrono::seconds minimumRefresh{0};
    TimePoint start;  ///< nothing is sent before
    TimePoint heard;
    ToldRegistrations told;
    std::map<std::uint16_t, Flight> flights;
  };

  void tell(Agent& agent, const std::string& url, const std::vector<Variant>& variants, TimePoint now);
  bool overdue(Agent& agent, TimePoint now);
  void fill(Agent& agent, TimePoint now);
  std::optional<Flight> prepare(const Agent& agent, const ToldRegistrations::Task& task, std::uint16_t xid);
  void launch(Agent& agent, Flight& flight, TimePoint now);
  TimePoint afterRandomWait(TimePoint now);

  Settings mSettings;
  PeerSender& mSender;
  Services mServices;
  std::uint32_t mRandom;
  TransactionNumbers mXids;
  std::map<net::Endpoint, Agent> mAgents;
};

}  // namespace slp::agent
