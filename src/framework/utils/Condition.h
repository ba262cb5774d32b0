#pragma once

#include <condition_variable>
#include <memory>

#include "framework/utils/Mutex.h"

namespace utils {

/// A condition to wait on with a lock held.
class Condition {
 public:
  Condition();
  ~Condition();
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  /// Waits for at most that many milliseconds; false when the time ran out. While the host is shutting down it returns
  /// false early in a thread that is being joined, and only there.
  bool timed_wait(Lock* lock, int milliseconds);
  void notify_one();
  void notify_all();

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace utils
