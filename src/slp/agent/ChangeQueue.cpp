#include "slp/agent/ChangeQueue.h"

#include <utility>

namespace slp::agent {

void ChangeQueue::add(const std::string& url) {
  const std::lock_guard lock(mMutex);
  if (!mChanges.everything) mChanges.urls.insert(url);
  if (mChanges.urls.size() > kMaxUrls) {
    mChanges.everything = true;
    mChanges.urls.clear();
  }
  if (!std::exchange(mSignalled, true)) mWakeup.signal();
}

void ChangeQueue::stop() {
  const std::lock_guard lock(mMutex);
  mChanges.stop = true;
  if (!std::exchange(mSignalled, true)) mWakeup.signal();
}

ChangeQueue::Changes ChangeQueue::take() {
  const std::lock_guard lock(mMutex);
  mWakeup.clear();
  mSignalled = false;
  return std::exchange(mChanges, {});
}

}  // namespace slp::agent
