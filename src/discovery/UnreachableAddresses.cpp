#include "discovery/UnreachableAddresses.h"

#include <iterator>

namespace discovery {

UnreachableAddresses::UnreachableAddresses(std::size_t limit) : mLimit(limit) {}

void UnreachableAddresses::add(const std::string& address) {
  const std::lock_guard lock(mMutex);
  if (mLimit == 0 || mPlaces.contains(address)) return;
  if (mInOrder.size() >= mLimit) {
    mPlaces.erase(mInOrder.front());
    mInOrder.pop_front();
  }
  std::list<std::string> added{address};
  mPlaces.emplace(added.front(), added.begin());
  mInOrder.splice(mInOrder.end(), added);
}

bool UnreachableAddresses::remove(const std::string& address) {
  const std::lock_guard lock(mMutex);
  const auto found = mPlaces.find(address);
  if (found == mPlaces.end()) return false;
  const auto place = found->second;
  mPlaces.erase(found);
  mInOrder.erase(place);
  return true;
}

bool UnreachableAddresses::contains(const std::string& address) const {
  const std::lock_guard lock(mMutex);
  return mPlaces.contains(address);
}

std::size_t UnreachableAddresses::size() const {
  const std::lock_guard lock(mMutex);
  return mInOrder.size();
}

std::vector<std::string> UnreachableAddresses::all() const {
  const std::lock_guard lock(mMutex);
  return {mInOrder.begin(), mInOrder.end()};
}

}  // namespace discovery
