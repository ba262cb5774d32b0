#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "slp/agent/PeerSender.h"
#include "slp/agent/TransactionNumbers.h"
#include "slp/client/Convergence.h"
#include "slp/net/Address.h"

namespace slp::agent {

/// Looks for directory agents by multicast, with the list of those that have answered (RFC 2608, sections 6.3 and
/// 12.2.1), and asks single ones for their adverts by unicast. A state machine that sends by a PeerSender; time is the
/// caller's. For one thread.
class DirectoryAgentFinder {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Settings {
    std::string scopes;
    std::string language;
    std::vector<std::chrono::milliseconds> discoveryTimeouts;  ///< behind each multicast request
    std::vector<std::chrono::milliseconds> datagramTimeouts;   ///< behind each unicast request
    std::size_t maxDatagramMessage = 1'352;
  };

  /// A configured agent that was silent is asked again after this.
  static constexpr std::chrono::seconds kAskAgain{60};
  static constexpr std::size_t kMaxRumours = 16;
  static constexpr std::size_t kRumourTries = 3;

  DirectoryAgentFinder(Settings settings, PeerSender& sender, std::uint32_t seed);

  /// Starts the search by multicast, at `at`. One that is under way goes on.
  void search(TimePoint at);
  /// Asks this configured agent until it answers, and again after a while when it is silent. Once for each.
  void ask(const net::Endpoint& agent, TimePoint now);
  /// Asks one of which somebody has spoken, who may be anybody and speak of anybody: `kMaxRumours` at a time, and in
  /// few tries, so that whoever is spoken of hears no more than three times what was said.
  void check(const net::Endpoint& agent, TimePoint now);
  /// The agent is known: no need to ask it as a configured one.
  void known(const net::Endpoint& agent);

  /// An advert with this transaction number has come. False when nothing of ours asked for it.
  bool answered(const net::Endpoint& from, std::uint16_t xid);

  /// Sends what is due; returns the agents that were silent.
  std::vector<net::Endpoint> work(TimePoint now);
  std::optional<TimePoint> next() const;

 private:
  struct Question {
    std::uint16_t xid = 0;
    std::size_t tries = 0;
    TimePoint due;
    bool rumour = false;
  };

  void searchOn(TimePoint now);
  std::size_t rumours() const;
  std::string request(std::uint16_t xid, bool multicast, std::string_view previousResponders = {}) const;

  Settings mSettings;
  PeerSender& mSender;
  TransactionNumbers mXids;
  std::optional<client::Convergence> mRounds;  ///< of the search that is under way
  TimePoint mSearchDue{};
  std::uint16_t mSearchXid = 0;
  std::map<net::Endpoint, Question> mQuestions;
};

}  // namespace slp::agent
