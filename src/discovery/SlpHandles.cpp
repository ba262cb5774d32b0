#include "discovery/SlpHandles.h"

#include <algorithm>
#include <utility>

namespace discovery {
namespace {

/// Another library need not bear that a handle is closed while a call uses it.
#ifdef SD_SYSTEM_SLP
constexpr bool kCanCancel = false;
#else
constexpr bool kCanCancel = true;
#endif

}  // namespace

SlpHandles::~SlpHandles() {
  closeLeftOpen();
}

SLPHandle SlpHandles::current() const {
  const std::lock_guard lock(mMutex);
  return mUnderWay.empty() ? nullptr : mUnderWay.back();
}

void SlpHandles::cancelSearches() {
  if (!kCanCancel) return;
  std::set<SLPHandle> searches;
  {
    const std::lock_guard lock(mMutex);
    searches.swap(mSearches);
    std::erase_if(mUnderWay, [&](SLPHandle handle) { return searches.contains(handle); });
  }
  for (const SLPHandle handle : searches)
    SLPClose(handle);
}

void SlpHandles::closeLeftOpen() {
  std::deque<SLPHandle> handles;
  {
    const std::lock_guard lock(mMutex);
    handles.swap(mLeftOpen);
  }
  for (const SLPHandle handle : handles)
    SLPClose(handle);
}

std::size_t SlpHandles::leftOpen() const {
  const std::lock_guard lock(mMutex);
  return mLeftOpen.size();
}

void SlpHandles::opened(SLPHandle handle, Use use) {
  const std::lock_guard lock(mMutex);
  mUnderWay.push_back(handle);
  if (use == Use::kSearch) mSearches.insert(handle);
}

void SlpHandles::close(SLPHandle handle) {
  {
    const std::lock_guard lock(mMutex);
    if (std::erase(mUnderWay, handle) == 0) return;
    mSearches.erase(handle);
  }
  SLPClose(handle);
}

void SlpHandles::leaveOpen(SLPHandle handle) {
  SLPHandle oldest = nullptr;
  {
    const std::lock_guard lock(mMutex);
    if (std::erase(mUnderWay, handle) == 0) return;
    mSearches.erase(handle);
    mLeftOpen.push_back(handle);
    if (mLeftOpen.size() <= kMaxLeftOpen) return;
    oldest = mLeftOpen.front();
    mLeftOpen.pop_front();
  }
  SLPClose(oldest);
}

bool SlpHandles::isUnderWay(SLPHandle handle) const {
  const std::lock_guard lock(mMutex);
  return std::find(mUnderWay.begin(), mUnderWay.end(), handle) != mUnderWay.end();
}

SlpHandle::SlpHandle(SlpHandles& handles, SlpHandles::Use use)
    : mHandles(handles), mError(SLPOpen("en", SLP_FALSE, &mHandle)) {
  if (mError == SLP_OK) {
    mHandles.opened(mHandle, use);
  } else {
    mHandle = nullptr;
  }
}

SlpHandle::~SlpHandle() {
  close();
}

bool SlpHandle::isOpen() const {
  return mHandle != nullptr && mHandles.isUnderWay(mHandle);
}

void SlpHandle::close() {
  if (mHandle != nullptr) mHandles.close(std::exchange(mHandle, nullptr));
}

void SlpHandle::leaveOpen() {
  if (mHandle != nullptr) mHandles.leaveOpen(std::exchange(mHandle, nullptr));
}

}  // namespace discovery
