#pragma once

#include "framework/utils/Mutex.h"

namespace utils {

/// A condition to wait on with a lock held. Safe for every thread; must outlive the waits on it.
class Condition {
 public:
  Condition() = default;
  ~Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  /// Releases the lock, waits for at most that many milliseconds and takes the lock again. True when notified, false
  /// when the time ran out. While the host is shutting down it returns false early in a thread that is being joined,
  /// and only there.
  bool timed_wait(Lock* lock, int milliseconds);
  void notify_one();
  void notify_all();
};

}  // namespace utils
