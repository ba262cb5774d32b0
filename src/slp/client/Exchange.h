#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "slp/client/Transport.h"

namespace slp::client {

/// One request to one peer by unicast (RFC 2608, sections 6.2 and 6.3): datagrams with growing waits, then a TCP
/// connection. Driven by its owner, who passes on what the transport brings, and says when there is room for a
/// connection. For one thread.
class Exchange {
 public:
  using TimePoint = Transport::TimePoint;

  /// What exchanges of a search have in common.
  struct Terms {
    std::string request;
    std::vector<std::chrono::milliseconds> waits;  ///< behind each try by datagram
    std::size_t maxDatagram = 0;                   ///< a longer request goes by TCP at once
  };
  /// What a connection may take to a peer that was silent to every datagram, and every connection to come about while
  /// others wait: a few round trips of any network in one site.
  static constexpr std::chrono::milliseconds kWaitForSilent{500};
  enum class State { kWaiting, kDatagrams, kWantsStream, kStream, kAnswered, kRefused, kSilent };

  /// `again`: the peer has been asked before (by multicast), so that the first try here is a repetition, too.
  Exchange(const net::Endpoint& peer, std::shared_ptr<const Terms> terms, bool again);

  const net::Endpoint& peer() const { return mPeer; }
  State state() const { return mState; }
  bool over() const { return mState >= State::kAnswered; }
  bool heard() const { return mHeard; }
  /// Whether `advance` will have something to do, and when.
  bool timed() const { return mState == State::kDatagrams || mState == State::kStream; }
  TimePoint due() const { return mDue; }
  /// When the connection has had its time to come about; never, once it has.
  TimePoint givesWayAt() const { return mGivesWayAt; }
  bool owns(Transport::StreamId stream) const { return mState == State::kStream && mStream == stream; }

  /// Starts, or does what is due: the next try, the wish for TCP, giving up.
  void advance(Transport& transport, TimePoint now);
  /// For one that wants it.
  void openStream(Transport& transport, TimePoint now);
  void streamConnected(TimePoint now);
  /// The whole answer is there.
  void answered(Transport& transport);
  /// The answer did not fit its datagram: the peer is to be asked over TCP.
  void overflowed();
  void refused();
  void streamFailed(Transport& transport);
  /// Gives up, wherever it stands.
  void abandon(Transport& transport);

 private:
  bool isTooLong() const { return mTerms->request.size() > mTerms->maxDatagram; }
  void tryDatagram(Transport& transport, TimePoint now);
  void end(Transport& transport, State state);

  net::Endpoint mPeer;
  std::shared_ptr<const Terms> mTerms;
  bool mAgain;
  bool mHeard = false;  ///< at least a part of the answer has come
  State mState = State::kWaiting;
  std::size_t mTries = 0;
  Transport::StreamId mStream = 0;
  TimePoint mDue{};
  TimePoint mGivesWayAt = TimePoint::max();
};

}  // namespace slp::client
