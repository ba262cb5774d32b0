#include "host/http/StreamQueue.h"

#include <algorithm>

namespace host {

bool StreamQueue::push(std::string piece) {
  bool taken = false;
  {
    const std::lock_guard lock(mMutex);
    if (mClosed) return false;
    const std::size_t behind = mNext.empty() ? 0 : mBehind + piece.size();
    mOverflowed = behind > kMaxBehind;
    mClosed = mOverflowed || piece.empty();
    taken = !mOverflowed;
    if (!mClosed) {
      mBehind = behind;
      mNext.push_back(std::move(piece));
    }
  }
  mWake();
  return taken;
}

std::optional<std::string> StreamQueue::take() {
  const std::lock_guard lock(mMutex);
  std::string batch;
  while (batch.size() < kMaxBatch) {
    if (mTaken == mCurrent.size()) {
      if (mNext.empty()) break;
      mCurrent = std::move(mNext.front());
      mTaken = 0;
      mNext.pop_front();
      mBehind -= mNext.empty() ? 0 : mNext.front().size();
    }
    const std::size_t count = std::min(mCurrent.size() - mTaken, kMaxBatch - batch.size());
    batch.append(mCurrent, mTaken, count);
    mTaken += count;
  }
  if (mTaken == mCurrent.size()) {
    mCurrent = {};
    mTaken = 0;
  }
  if (batch.empty() && mClosed) return std::nullopt;
  return batch;
}

void StreamQueue::close() {
  const std::lock_guard lock(mMutex);
  mClosed = true;
}

bool StreamQueue::hasOverflowed() const {
  const std::lock_guard lock(mMutex);
  return mOverflowed;
}

}  // namespace host
