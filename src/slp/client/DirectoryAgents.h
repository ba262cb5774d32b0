#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "slp/net/Address.h"
#include "slp/wire/Message.h"

namespace slp::client {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

struct DirectoryAgent {
  net::Endpoint endpoint;
  std::string url;  ///< empty of a configured one that has not been heard yet
  std::string scopes;
  std::string attributes;
  std::uint32_t bootTime = 0;
  bool configured = false;
};

/// Where an advert says that its agent is; nothing when it is not to be believed (see DirectoryAgents::learn).
std::optional<net::Endpoint> advertisedEndpoint(std::string_view url, const net::Endpoint& from, std::uint16_t port);

/// The directory agents that the process knows: configured, found, or heard. Its searches ask them, its agent registers
/// with them. Safe for every thread. At most limits::kMaxDirectoryAgents; when there are more, configured ones first,
/// then those that were learnt last.
class DirectoryAgents {
 public:
  enum class Change { kNone, kNew, kRestarted, kGone };

  /// Names are resolved by the caller. A configured agent stays, but is passed over for a while when it was silent.
  void configure(const std::vector<net::Endpoint>& endpoints, std::string_view scopes);
  /// Whether the configured hosts are to be looked up: they are others than at the last claim, or that was a minute
  /// ago.
  bool claimConfiguration(const std::vector<std::string>& hosts, TimePoint now);
  /// Takes an advert: a boot time of 0 takes the agent out, a greater one than before says that it has restarted. The
  /// agent is where the advert came from, at the port of its URL, else `port`. A URL that names another address is
  /// refused, because it would send us to somebody who has said nothing; only what is heard on loopback may speak of
  /// others.
  Change learn(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from, std::uint16_t port, TimePoint now);
  /// It did not answer: it is out, until it is heard again (a configured one: until `now` plus a minute).
  void silent(const net::Endpoint& endpoint, TimePoint now);
  /// Those that serve at least one of the scopes and are not passed over.
  std::vector<DirectoryAgent> serving(std::string_view scopes, TimePoint now) const;
  std::vector<DirectoryAgent> all() const;
  /// Whether it is time to look for directory agents; true at most once per `interval`, and never when it is 0.
  bool claimDiscovery(TimePoint now, std::chrono::seconds interval);
  /// Whoever has claimed it could not do it: the next one may.
  void releaseDiscovery();
  /// Grows with every change; lets the agent see cheaply that there is something to do.
  std::uint64_t generation() const;

 private:
  struct Entry {
    DirectoryAgent agent;
    TimePoint passedOverUntil{};
  };
  Entry* find(const net::Address& address);
  Entry* placeForConfigured();
  bool makePlace();
  Change remove(const net::Address& address, TimePoint now);

  mutable std::mutex mMutex;
  std::vector<Entry> mEntries;
  std::vector<std::string> mHosts;
  TimePoint mNextLookup{};
  TimePoint mNextDiscovery{};
  bool mDiscovered = false;
  std::uint64_t mGeneration = 0;
};

}  // namespace slp::client
