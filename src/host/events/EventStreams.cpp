#include "host/events/EventStreams.h"

#include <algorithm>

namespace host {
namespace {

/// What the front takes for the end of the answer.
constexpr const char* kEnd = "";

}  // namespace

void EventStream::begin(Send send) {
  {
    const std::lock_guard lock(mMutex);
    if (mState == State::kOver) return void(send(kEnd));
    mState = State::kJoined;
    mSend = std::move(send);
  }
  mWhenJoined();
}

void EventStream::end() {
  const std::lock_guard lock(mMutex);
  mState = State::kOver;
  mSend = nullptr;
}

EventStream::State EventStream::state() const {
  const std::lock_guard lock(mMutex);
  return mState;
}

void EventStream::send(const std::string& piece) {
  if (mIsStillAllowed && !mIsStillAllowed()) return close();
  const std::lock_guard lock(mMutex);
  if (!mSend) return;
  mState = State::kGreeted;
  if (mSend(piece)) return;
  mState = State::kOver;
  mSend = nullptr;
}

void EventStream::close() {
  const std::lock_guard lock(mMutex);
  mState = State::kOver;
  if (mSend) mSend(kEnd);
  mSend = nullptr;
}

std::shared_ptr<EventStream> EventStreams::open(std::function<bool()> isStillAllowed) {
  auto stream = std::make_shared<EventStream>(mWhenJoined, std::move(isStillAllowed));
  const std::lock_guard lock(mMutex);
  mStreams.erase(std::remove_if(mStreams.begin(), mStreams.end(), [](const auto& each) { return each.expired(); }),
                 mStreams.end());
  if (mIsClosed || mStreams.size() >= kMost) return nullptr;
  mStreams.push_back(stream);
  return stream;
}

EventStreams::All EventStreams::all() const {
  All streams;
  const std::lock_guard lock(mMutex);
  for (const auto& each : mStreams) {
    if (auto stream = each.lock()) streams.push_back(std::move(stream));
  }
  return streams;
}

EventStreams::All EventStreams::in(EventStream::State state) const {
  All streams = all();
  streams.erase(
      std::remove_if(streams.begin(), streams.end(), [state](const auto& each) { return each->state() != state; }),
      streams.end());
  return streams;
}

void EventStreams::close() {
  {
    const std::lock_guard lock(mMutex);
    mIsClosed = true;
  }
  for (const auto& stream : all()) {
    stream->close();
  }
}

}  // namespace host
