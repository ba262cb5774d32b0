#include "host/security/LoginThrottle.h"

#include <algorithm>
#include <utility>

#include "host/security/Origin.h"

namespace host {
namespace {

std::string pairOf(const std::string& user, const std::string& address) {
  return user + ' ' + address;
}

template <typename Table>
void takeBack(Table& counts, const std::string& key) {
  const auto count = counts.find(key);
  if (count != counts.end() && --count->second.failures == 0) counts.erase(count);
}

}  // namespace

LoginThrottle::LoginThrottle(unsigned int attempts, Clock::duration lockOut, Now now)
    : mNow(std::move(now)), mAttempts(attempts), mLockOut(lockOut) {}

void LoginThrottle::setLimits(unsigned int attempts, Clock::duration lockOut) {
  const std::lock_guard lock(mMutex);
  mAttempts = attempts;
  mLockOut = lockOut;
}

std::optional<std::chrono::seconds> LoginThrottle::admit(const std::string& user, const std::string& address) {
  const std::lock_guard lock(mMutex);
  const std::string pair = pairOf(user, address);
  const std::string network = networkOf(address);
  const unsigned int wide = kWiderTimes * mAttempts;
  auto wait = waitFor(mPairs, pair, pauseAfter(failuresOf(mPairs, pair)));
  const bool strange = isStranger(user, address);
  if (strange && failuresOf(mNetworks, network) >= wide) wait = std::max(wait, waitFor(mNetworks, network, mLockOut));
  if (strange && failuresOf(mUsers, user) >= wide) {
    wait = std::max(wait, waitFor(mUsers, user, kPauseOfStrangers));
  }
  if (wait > Clock::duration::zero()) return std::chrono::ceil<std::chrono::seconds>(wait);
  add(mPairs, pair);
  add(mNetworks, network);
  add(mUsers, user);
  return std::nullopt;
}

void LoginThrottle::succeeded(const std::string& user, const std::string& address) {
  const std::lock_guard lock(mMutex);
  const std::string pair = pairOf(user, address);
  mPairs.erase(pair);
  takeBack(mNetworks, networkOf(address));
  takeBack(mUsers, user);
  mKnown[pair] = mNow();
  if (mKnown.size() <= kMostEntries) return;
  mKnown.erase(
      std::min_element(mKnown.begin(), mKnown.end(), [](const auto& a, const auto& b) { return a.second < b.second; }));
}

void LoginThrottle::withdrawn(const std::string& user, const std::string& address) {
  const std::lock_guard lock(mMutex);
  takeBack(mPairs, pairOf(user, address));
  takeBack(mNetworks, networkOf(address));
  takeBack(mUsers, user);
}

bool LoginThrottle::isLockedOut(const std::string& user, const std::string& address) const {
  const std::lock_guard lock(mMutex);
  return failuresOf(mPairs, pairOf(user, address)) >= mAttempts ||
         (isStranger(user, address) && failuresOf(mNetworks, networkOf(address)) >= kWiderTimes * mAttempts);
}

unsigned int LoginThrottle::failuresOf(const Counts& counts, const std::string& key) const {
  const auto count = counts.find(key);
  const bool isFresh = count != counts.end() && mNow() - count->second.last < mLockOut;
  return isFresh ? count->second.failures : 0;
}

LoginThrottle::Clock::duration LoginThrottle::waitFor(const Counts& counts, const std::string& key,
                                                      Clock::duration pause) const {
  const auto count = counts.find(key);
  return count == counts.end() ? Clock::duration::zero() : count->second.last + pause - mNow();
}

LoginThrottle::Clock::duration LoginThrottle::pauseAfter(unsigned int failures) const {
  if (failures >= mAttempts) return mLockOut;
  if (failures <= kFreeFailures) return Clock::duration::zero();
  const unsigned int doublings = std::min(failures - kFreeFailures - 1, 6U);
  return std::min<Clock::duration>(std::chrono::seconds(1U << doublings), kLongestDelay);
}

bool LoginThrottle::isStranger(const std::string& user, const std::string& address) const {
  return !isLoopbackAddress(address) && !mKnown.contains(pairOf(user, address));
}

void LoginThrottle::add(Counts& counts, const std::string& key) {
  if (failuresOf(counts, key) == 0) counts.erase(key);
  if (!counts.contains(key)) makeRoom(counts);
  Count& count = counts[key];
  ++count.failures;
  count.last = mNow();
}

void LoginThrottle::makeRoom(Counts& counts) const {
  if (counts.size() < kMostEntries) return;
  std::erase_if(counts, [this](const auto& each) { return mNow() - each.second.last >= mLockOut; });
  if (counts.size() < kMostEntries) return;
  counts.erase(std::min_element(counts.begin(), counts.end(),
                                [](const auto& a, const auto& b) { return a.second.last < b.second.last; }));
}

}  // namespace host
