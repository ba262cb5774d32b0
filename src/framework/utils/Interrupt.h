#pragma once

#include <chrono>
#include <condition_variable>

/// The waits of the process: what `Condition`, `Thread` and `shutdown` share, so that a shutdown can end the waits of
/// threads that are being joined. One lock guards it all; it is held for moments only.
namespace utils::interrupt {

/// What is kept of one `Thread`. Touched only by the functions below.
struct ThreadMark {
  bool beingJoined = false;
};

/// Names the mark of the calling thread; a thread that the framework did not make has none.
void setCurrent(ThreadMark* mark);
ThreadMark* current();

/// Marks a thread as being joined and, when the host is shutting down, ends its wait.
void markJoined(ThreadMark& mark);

/// One wait of the calling thread on a condition. It counts from construction on, so no notification is lost between
/// the release of the caller's lock and the wait itself.
class Wait {
 public:
  explicit Wait(const void* condition);
  ~Wait();
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;

  /// True when notified; false when the time ran out or a shutdown ended the wait.
  bool until(std::chrono::steady_clock::time_point deadline);

 private:
  friend struct Waits;
  const void* const mCondition;
  ThreadMark* const mMark;
  std::condition_variable mWake;
  bool mNotified = false;
};

/// Notifies the wait on a condition that began first, or all of them.
void notify(const void* condition, bool all);

}  // namespace utils::interrupt
