#include "support/FakeHeartBeat.h"

#include <utility>

namespace support {
namespace {

/// In place between tests and while the process ends, so that no packet leaves the machine then either.
FakeHeartBeat gSilence;

std::string nameOf(int kind) {
  return kind < 0 ? "join " : kind == 0 ? "register " : "deregister ";
}

}  // namespace

FakeHeartBeat::FakeHeartBeat() : mBefore(setInstance(this)) {}

FakeHeartBeat::~FakeHeartBeat() {
  setInstance(mBefore);
}

void FakeHeartBeat::performMulticast(const char* serviceUrl, int kind, unsigned short lifetime,
                                     std::string attributes) {
  {
    const std::lock_guard lock(mMutex);
    mAnnouncements.push_back({serviceUrl, kind, lifetime, std::move(attributes)});
  }
  note(nameOf(kind) + serviceUrl);
}

void FakeHeartBeat::invokeThread() {
  note("listen");
}

void FakeHeartBeat::terminateThread() {
  note("silence");
}

std::vector<FakeHeartBeat::Announcement> FakeHeartBeat::announcements() const {
  const std::lock_guard lock(mMutex);
  return mAnnouncements;
}

std::vector<std::string> FakeHeartBeat::calls() const {
  const std::lock_guard lock(mMutex);
  return mCalls;
}

void FakeHeartBeat::clear() {
  const std::lock_guard lock(mMutex);
  mAnnouncements.clear();
  mCalls.clear();
}

void FakeHeartBeat::onCall(std::function<void()> action) {
  const std::lock_guard lock(mMutex);
  mOnCall = std::move(action);
}

void FakeHeartBeat::note(std::string call) {
  std::function<void()> action;
  {
    const std::lock_guard lock(mMutex);
    mCalls.push_back(std::move(call));
    action = mOnCall;
  }
  if (action) action();
}

}  // namespace support
