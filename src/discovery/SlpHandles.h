#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <set>
#include <slp.h>

namespace discovery {

/// The SLP handles that the engine holds, so that a stop can end what goes on with them. Safe for every thread;
/// outlives every `SlpHandle` that it knows.
class SlpHandles {
 public:
  /// What a handle is for: searches can be cancelled by a stop, a registration cannot, since it is the stop's own.
  enum class Use { kRegistration, kSearch };

  /// Further handles that were left open are closed, the oldest first.
  static constexpr std::size_t kMaxLeftOpen = 16;

  SlpHandles() = default;
  ~SlpHandles();
  SlpHandles(const SlpHandles&) = delete;
  SlpHandles& operator=(const SlpHandles&) = delete;

  /// The handle of the operation under way that opened one last, null without one.
  SLPHandle current() const;
  /// Closes the handles of all searches, which ends them. A search that opens its handle later is not met: it has to
  /// look, with its handle open, whether it should still begin. With an SLP library that is not ours it does nothing,
  /// and searches run to their end.
  void cancelSearches();
  /// Closes what was left open after failures.
  void closeLeftOpen();
  std::size_t leftOpen() const;

 private:
  friend class SlpHandle;

  void opened(SLPHandle handle, Use use);
  /// Closes the handle unless a cancellation has.
  void close(SLPHandle handle);
  void leaveOpen(SLPHandle handle);
  bool isUnderWay(SLPHandle handle) const;

  mutable std::mutex mMutex;  ///< guards what follows; not held while a handle is opened or closed
  std::deque<SLPHandle> mUnderWay;
  std::set<SLPHandle> mSearches;
  std::deque<SLPHandle> mLeftOpen;
};

/// One operation's own handle: language "en", synchronous; open from construction to destruction, on one thread.
class SlpHandle {
 public:
  SlpHandle(SlpHandles& handles, SlpHandles::Use use);
  ~SlpHandle();
  SlpHandle(const SlpHandle&) = delete;
  SlpHandle& operator=(const SlpHandle&) = delete;

  /// What opening it answered. Without `SLP_OK` there is no handle.
  SLPError error() const { return mError; }
  /// Null when there is none.
  SLPHandle get() const { return mHandle; }
  /// False, too, when a cancellation has closed it.
  bool isOpen() const;
  void close();
  /// Leaves the handle to `SlpHandles::closeLeftOpen`.
  void leaveOpen();

 private:
  SlpHandles& mHandles;
  SLPHandle mHandle = nullptr;
  SLPError mError;
};

}  // namespace discovery
