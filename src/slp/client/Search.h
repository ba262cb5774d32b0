#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "slp/client/Collector.h"
#include "slp/client/Convergence.h"
#include "slp/client/DirectoryAgents.h"
#include "slp/client/Exchange.h"
#include "slp/client/KnownResponders.h"
#include "slp/client/Request.h"
#include "slp/config/Settings.h"

namespace slp::client {

/// Whom a search asks, all at once.
struct Plan {
  std::vector<net::Endpoint> hosts;  ///< those whom the question is about
  bool directoryAgents = false;      ///< those that serve the scopes
  bool thisMachine = false;          ///< the agent of another process here
  bool ownAgent = false;             ///< the agent of this machine is our own, which has said what it knows
  bool multicast = false;            ///< everybody; with `directoryAgents` only for the scopes that none of them serves
  bool more = false;                 ///< another plan follows, and needs time, too
};

/// Asks one question: drives the rounds by multicast and the exchanges by unicast over a transport, and gives the
/// answers to a collector. May run several plans, one after another; the time limit is that of all. For one thread.
class Search {
 public:
  Search(Request request, const config::Settings& settings, Transport& transport, DirectoryAgents& directoryAgents,
         KnownResponders& responders, Collector& collector);
  ~Search();
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  /// Until everybody asked has answered or been silent, the collector has enough, or the search is stopped.
  void run(const Plan& plan);
  /// Whether another plan makes sense.
  bool over() const { return mOver; }
  /// Says how it went.
  Outcome conclude();
  /// Whether one of the hosts of the plans has answered.
  bool hostAnswered() const { return mHostAnswered; }

 private:
  enum class Purpose : std::uint8_t { kHost, kDirectoryAgent, kThisMachine, kKnown, kRest };
  struct Peer {
    Exchange exchange;
    Purpose purpose;
    std::string scopes;  ///< of a directory agent
    bool served = false;
    bool settled = false;
  };

  // Asking.
  void begin(const Plan& plan);
  Peer& ask(const net::Endpoint& endpoint, Purpose purpose);
  void askDirectoryAgents();
  void configureDirectoryAgents();
  void askKnownResponders();
  void startWaiting();
  void drive(Peer& peer, TimePoint now);
  void openStreams(TimePoint now);
  Peer* nextForStream();
  bool streamsAreWanted() const { return !mWantStream.empty() || !mWantRest.empty(); }
  bool needsMulticast() const;
  bool isServed(std::string_view scope) const;
  Convergence roundsOf(const Request& request, const std::vector<config::Milliseconds>& waits) const;
  void beginMulticast();
  void beginDiscovery();

  // Time.
  void advance();
  void advanceExchanges(TimePoint now);
  void advanceRounds(TimePoint now);
  void advanceDiscovery(TimePoint now);
  TimePoint nextDue() const;
  bool idle() const;
  void giveUp(bool known);
  void settle(Peer& peer);

  // Answers.
  void handle(const Transport::Event& event);
  void datagram(const Transport::Event& event);
  void streamMessage(const Transport::Event& event);
  void streamConnected(Peer& peer);
  void streamFailed(Peer& peer);
  void reply(const wire::Message& message, const net::Endpoint& from, Peer* peer, bool whole);
  void cutReply(const net::Endpoint& from);
  void askForRest(const net::Endpoint& from, Peer* peer);
  void takeResults(const wire::Message& message, const Source& source, const Peer* peer);
  void hear(const net::Endpoint& from, const Peer* peer, bool useful);
  void discovered(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from);
  void noteError(wire::ErrorCode error, const Peer* peer);
  Peer* peerOf(const net::Endpoint& from);
  Peer* peerOf(Transport::StreamId stream);
  void end(End end);
  SLPError errorOfNothing() const;

  Request mRequest;
  std::optional<std::string> mKey;
  const config::Settings& mSettings;
  Transport& mTransport;
  DirectoryAgents& mDirectoryAgents;
  KnownResponders& mResponders;
  Collector& mCollector;
  std::shared_ptr<const Exchange::Terms> mTerms;

  Plan mPlan;
  std::deque<Peer> mPeers;  ///< never shrinks: pointers stay good
  std::map<net::Endpoint, Peer*> mPeerOfEndpoint;
  std::size_t mUnsettled = 0;
  std::deque<Peer*> mWaiting;
  TimePoint mNextTurn{};  ///< when more of those that wait may start
  std::size_t mStartsOfTurn = 0;
  std::multimap<TimePoint, Peer*> mTimers;  ///< with some that are no longer meant
  std::deque<Peer*> mWantStream;
  std::deque<Peer*> mWantRest;    ///< the same for those that strangers have named: after all others
  std::vector<Peer*> mStreaming;  ///< at most limits::kMaxExchanges
  std::optional<Convergence> mRounds;
  std::optional<Request> mDiscoveryRequest;
  std::optional<Convergence> mDiscovery;
  bool mDiscoveryAnswered = false;
  TimePoint mDeadline{};
  std::optional<TimePoint> mKnownDeadline;
  std::optional<TimePoint> mChosenDeadline;  ///< of those that are asked before others
  std::size_t mEventsSinceAdvance = 0;

  bool mOver = false;
  End mEnd = End::kComplete;
  bool mKnownAsked = false;
  bool mTooLong = false;      ///< for a datagram
  bool mNoInterface = false;  ///< nothing went out by multicast
  bool mUnasked = false;      ///< time was up before everybody had been asked
  bool mAnswered = false;     ///< somebody has answered without an error
  bool mHostAnswered = false;
  bool mHostRefused = false;
  bool mHostSilent = false;
  std::optional<wire::ErrorCode> mError;
};

}  // namespace slp::client
