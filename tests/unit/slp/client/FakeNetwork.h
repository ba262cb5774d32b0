#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <queue>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "slp/client/Transport.h"
#include "slp/wire/Message.h"

namespace slp::test {

using client::Transport;
using Milliseconds = std::chrono::milliseconds;

/// How a request came to an agent of the fake network.
enum class Via { kGroup, kDatagram, kStream };

/// What listens at an address: the answers that it makes, and what its ports do.
struct FakeAgent {
  using Answer = std::function<std::vector<std::string>(const wire::Message& request, Via via)>;
  enum class Port { kOpen, kRefuses, kSilent };

  net::Endpoint endpoint;
  Answer answer;
  Port udp = Port::kOpen;
  Port tcp = Port::kOpen;
  bool hearsGroup = true;
  bool heedsPreviousResponders = true;
  Milliseconds delay{0};
  std::optional<net::Endpoint> answersFrom;  ///< another port or address than its own
};

/// A network in memory with a clock of its own: it delays, loses, repeats and reorders datagrams as it is told to, in
/// the same way for the same seed.
class FakeNetwork final : public Transport {
 public:
  explicit FakeNetwork(std::uint32_t seed = 1) : mRandom(seed) {}

  // The conditions.
  double lossEachWay = 0;
  bool repeatsAnswers = false;
  Milliseconds latency{1};
  Milliseconds jitter{0};
  std::size_t interfaces = 1;
  std::map<std::string, std::vector<net::Address>, std::less<>> names;
  Milliseconds resolving{0};  ///< what the look-up of a name takes
  std::optional<TimePoint> cancelAt;
  std::string tiedTo;

  FakeAgent& add(FakeAgent agent);
  void remove(const net::Address& address) { mAgents.erase(address); }
  /// Time passes while nobody waits: in a callback.
  void elapse(Milliseconds time);
  Milliseconds elapsed() const { return std::chrono::duration_cast<Milliseconds>(mNow - TimePoint{}); }
  /// Forgets what was sent and what is under way.
  void startAnew();

  // What was sent.
  struct Sent {
    std::string bytes;
    Via via;
    net::Endpoint to;  ///< not of a multicast
    Group group;       ///< of a multicast
    Milliseconds at;
  };
  std::vector<Sent> sent;
  std::size_t countOf(Via via) const;
  std::size_t countTo(const net::Endpoint& to) const;
  std::size_t openStreams() const { return mOpen.size(); }
  std::size_t resolved = 0;
  std::size_t sentBeforeResolving = 0;

  // Transport.
  std::size_t multicast(std::string_view message, Group group, std::string_view serviceType) override;
  std::string networks() const override { return tiedTo; }
  bool sendTo(std::string_view message, const net::Endpoint& to) override;
  StreamId openStream(const net::Endpoint& to, std::string_view message) override;
  void closeStream(StreamId stream) override { mOpen.erase(stream); }
  Event wait(TimePoint until) override;
  std::vector<net::Address> resolve(std::string_view host) override;
  TimePoint now() const override { return mNow; }
  void pauseClock() override { mPaused = true; }
  void resumeClock() override { mPaused = false; }

 private:
  struct Arrival {
    EventKind kind;
    std::string bytes;
    net::Endpoint from;
    StreamId stream = 0;
  };
  bool loses();
  TimePoint arrivalTime(Milliseconds delay);
  void deliver(FakeAgent& agent, std::string_view message, Via via);
  void arrive(TimePoint when, Arrival arrival) { mArrivals.emplace(when, std::move(arrival)); }

  TimePoint mNow{};
  bool mPaused = false;
  std::mt19937 mRandom;
  std::map<net::Address, FakeAgent> mAgents;
  std::multimap<TimePoint, Arrival> mArrivals;
  Arrival mCurrent{};
  std::set<StreamId> mOpen;
  StreamId mLastStream = 0;
};

net::Address address(std::string_view text);
net::Endpoint endpoint(std::string_view text, std::uint16_t port = 427);

/// A message that answers `request`.
std::string reply(const wire::Message& request, const wire::Body& body, bool overflow = false);
std::string serviceReply(const wire::Message& request, const std::vector<std::string>& urls, bool overflow = false,
                         std::uint16_t lifetime = 100);
/// An agent with these services of the type asked for, which is silent to the group when it has none.
FakeAgent serviceAgent(const net::Endpoint& at, std::vector<std::string> urls);
/// An agent with these attributes, whatever it is asked for.
FakeAgent attributeAgent(const net::Endpoint& at, std::string attributes);
/// A directory agent, which answers the search for itself and knows these services.
FakeAgent directoryAgent(const net::Endpoint& at, std::vector<std::string> urls, std::string scopes = "DEFAULT");

}  // namespace slp::test
