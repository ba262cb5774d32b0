#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include "slp/net/Address.h"

namespace slp::client {

/// The rounds of a search by multicast (RFC 2608, section 6.3): a request, a wait, and again, with a growing list of
/// those who have answered, until two successive rounds bring nobody new or the list of waits is used up. Pure; for one
/// thread.
class Convergence {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  enum class Step { kWait, kSend, kDone };

  /// `waits`: behind each request. `room`: bytes of a list of previous responders that still fits the datagram.
  Convergence(std::vector<std::chrono::milliseconds> waits, std::size_t room);

  /// To be called first, and whenever `due` is reached: kSend begins a round, in which the request is to be sent now.
  Step step(TimePoint now);
  TimePoint due() const { return mDue; }
  bool done() const { return mDone; }
  void stop() { mDone = true; }
  /// How many requests have been sent.
  std::size_t rounds() const { return mRound; }

  /// Somebody has answered a request to the group; when for the first time, this round brings news.
  void answered(const net::Address& responder);
  /// Somebody has answered otherwise: it is spared further requests, but the rounds need not go on for it.
  void list(const net::Address& responder);
  bool knows(const net::Address& responder) const { return mResponders.contains(responder); }
  /// As many of the responders as there is room for, those that came first. RFC 2608 ends the search when the list is
  /// full; here it goes on with what fits, so that a large network is found whole.
  const std::string& previousResponders() const { return mList; }

 private:
  bool add(const net::Address& responder);

  std::vector<std::chrono::milliseconds> mWaits;
  std::size_t mRoom;
  std::size_t mRound = 0;
  std::size_t mSilentRounds = 0;
  bool mNews = false;
  bool mDone = false;
  TimePoint mDue{};
  std::unordered_set<net::Address, net::AddressHash> mResponders;
  std::string mList;
};

}  // namespace slp::client
