#include "slp/agent/RateLimiter.h"

#include <algorithm>

namespace slp::agent {

RateLimiter::RateLimiter(double perSecond, double burst, std::size_t maxSources)
    : mPerSecond(perSecond), mBurst(burst), mMaxSources(std::max<std::size_t>(maxSources, 1)) {}

bool RateLimiter::admit(const net::Address& source, TimePoint now) {
  if (source.isLoopback()) return true;
  auto& bucket = bucketOf(source, now);
  const std::chrono::duration<double> passed = std::max(now - bucket.filled, TimePoint::duration::zero());
  bucket.tokens = std::min(mBurst, bucket.tokens + passed.count() * mPerSecond);
  bucket.filled = std::max(now, bucket.filled);
  if (bucket.tokens < 1) return false;
  bucket.tokens -= 1;
  return true;
}

RateLimiter::Bucket& RateLimiter::bucketOf(const net::Address& source, TimePoint now) {
  if (const auto found = mBySource.find(source); found != mBySource.end()) {
    mOrder.splice(mOrder.begin(), mOrder, found->second);
    return mOrder.front();
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
