#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <unordered_map>

#include "slp/net/Address.h"

namespace slp::agent {

/// A token bucket for each source address; the least recently heard source goes when the table is full. For one thread.
class RateLimiter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  RateLimiter(double perSecond, double burst, std::size_t maxSources);
  /// Whether one more datagram of this source is to be looked at. Loopback always is.
  bool admit(const net::Address& source, TimePoint now);
  /// Whether `admit` would be true, which takes nothing.
  bool allows(const net::Address& source, TimePoint now);
  /// Takes as much as so many datagrams would, even if it is not there: the source has to wait the longer.
  void charge(const net::Address& source, double datagrams, TimePoint now);

 private:
  struct Bucket {
    net::Address source;
    double tokens;
    TimePoint filled;
  };
  /// With what has come into it since.
  Bucket& bucketOf(const net::Address& source, TimePoint now);

  double mPerSecond;
  double mBurst;
  std::size_t mMaxSources;
  std::list<Bucket> mOrder;  ///< most recently heard first
  std::unordered_map<net::Address, std::list<Bucket>::iterator, net::AddressHash> mBySource;
};

}  // namespace slp::agent
