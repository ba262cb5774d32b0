#include "slp/agent/RateLimiter.h"

#include <algorithm>

namespace slp::agent {

RateLimiter::RateLimiter(double perSecond, double burst, std::size_t maxSources)
    : mPerSecond(perSecond), mBurst(burst), mMaxSources(std::max<std::size_t>(maxSources, 1)) {}

bool RateLimiter::admit(const net::Address& source, TimePoint now) {
  if (!allows(source, now)) return false;
  charge(source, 1, now);
  return true;
}

bool RateLimiter::allows(const net::Address& source, TimePoint now) {
  return source.isLoopback() || bucketOf(source, now).tokens >= 1;
}

void RateLimiter::charge(const net::Address& source, double datagrams, TimePoint now) {
  if (!source.isLoopback()) bucketOf(source, now).tokens -= datagrams;
}

RateLimiter::Bucket& RateLimiter::bucketOf(const net::Address& source, TimePoint now) {
  if (const auto found = mBySource.find(source); found != mBySource.end()) {
    mOrder.splice(mOrder.begin(), mOrder, found->second);
    Bucket& bucket = mOrder.front();
    const std::chrono::duration<double> passed = std::max(now - bucket.filled, TimePoint::duration::zero());
    bucket.tokens = std::min(mBurst, bucket.tokens + passed.count() * mPerSecond);
    bucket.filled = std::max(now, bucket.filled);
    return bucket;
  }
  if (mOrder.size() >= mMaxSources) {
    mBySource.erase(mOrder.back().source);
    mOrder.pop_back();
  }
  mOrder.push_front({source, mBurst, now});
  mBySource.emplace(source, mOrder.begin());
  return mOrder.front();
}

}  // namespace slp::agent
