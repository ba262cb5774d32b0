#include "slp/api/Call.h"

namespace slp::api {

Call::Call() : mThread(std::this_thread::get_id()) {}

void Call::cancel() {
  const std::lock_guard lock(mMutex);
  mCancelled = true;
  if (mWakeup) mWakeup->signal();
}

bool Call::cancelled() const {
  const std::lock_guard lock(mMutex);
  return mCancelled;
}

net::Wakeup& Call::wakeup() {
  const std::lock_guard lock(mMutex);
  if (!mWakeup) {
    mWakeup.emplace();
    if (mCancelled) mWakeup->signal();
  }
  return *mWakeup;
}

void Call::awaitCallback(std::chrono::milliseconds patience) {
  if (mThread == std::this_thread::get_id()) return;
  std::unique_lock lock(mMutex);
  mLeft.wait_for(lock, patience, [this] { return !mInCallback; });
}

bool Call::enter() {
  const std::lock_guard lock(mMutex);
  mInCallback = !mCancelled;
  return mInCallback;
}

void Call::leave() {
  const std::lock_guard lock(mMutex);
  mInCallback = false;
  mLeft.notify_all();
}

}  // namespace slp::api
