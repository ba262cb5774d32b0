#include "framework/utils/Condition.h"

#include <chrono>

#include "framework/utils/Interrupt.h"

namespace utils {
namespace {

/// Lets go of a lock for a scope.
class Release {
 public:
  explicit Release(std::unique_lock<std::mutex>& lock) : mLock(lock), mHeld(lock.owns_lock()) {
    if (mHeld) mLock.unlock();
  }
  ~Release() {
    if (mHeld) mLock.lock();
  }
  Release(const Release&) = delete;
  Release& operator=(const Release&) = delete;

 private:
  std::unique_lock<std::mutex>& mLock;
  const bool mHeld;
};

}  // namespace

bool Condition::timed_wait(Lock* lock, int milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  interrupt::Wait wait(this);
  const Release released(lock->mLock);
  return wait.until(deadline);
}

void Condition::notify_one() {
  interrupt::notify(this, false);
}

void Condition::notify_all() {
  interrupt::notify(this, true);
}

}  // namespace utils
