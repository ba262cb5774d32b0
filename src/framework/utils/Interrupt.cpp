#include "framework/utils/Interrupt.h"

#include <atomic>
#include <mutex>
#include <vector>

#include "framework/utils/Shutdown.h"

namespace utils {
namespace interrupt {

/// The state behind the functions. Never destroyed: threads may wait while the process ends.
struct Waits {
  std::mutex mutex;
  std::vector<Wait*> running;  ///< in the order in which they began
  std::atomic<bool> shuttingDown = false;

  static Waits& get() {
    static Waits* const waits = new Waits;
    return *waits;
  }

  bool ended(const Wait& wait) const { return shuttingDown && wait.mMark != nullptr && wait.mMark->beingJoined; }

  void wakeEnded() {
    for (Wait* wait : running) {
      if (ended(*wait)) wait->mWake.notify_one();
    }
  }

  void add(Wait* wait) { running.push_back(wait); }
  void remove(Wait* wait) { std::erase(running, wait); }

  void notify(const void* condition, bool all) {
    for (Wait* wait : running) {
      if (wait->mCondition != condition || wait->mNotified) continue;
      wait->mNotified = true;
      wait->mWake.notify_one();
      if (!all) return;
    }
  }
};

namespace {
thread_local ThreadMark* tMark = nullptr;
}

void setCurrent(ThreadMark* mark) {
  tMark = mark;
}

ThreadMark* current() {
  return tMark;
}

void markJoined(ThreadMark& mark) {
  Waits& waits = Waits::get();
  const std::lock_guard lock(waits.mutex);
  mark.beingJoined = true;
  waits.wakeEnded();
}

Wait::Wait(const void* condition) : mCondition(condition), mMark(tMark) {
  Waits& waits = Waits::get();
  const std::lock_guard lock(waits.mutex);
  waits.add(this);
}

Wait::~Wait() {
  Waits& waits = Waits::get();
  const std::lock_guard lock(waits.mutex);
  waits.remove(this);
}

bool Wait::until(std::chrono::steady_clock::time_point deadline) {
  Waits& waits = Waits::get();
  std::unique_lock lock(waits.mutex);
  mWake.wait_until(lock, deadline, [&] { return mNotified || waits.ended(*this); });
  return mNotified;
}

void notify(const void* condition, bool all) {
  Waits& waits = Waits::get();
  const std::lock_guard lock(waits.mutex);
  waits.notify(condition, all);
}

}  // namespace interrupt

namespace shutdown {

void begin() {
  auto& waits = interrupt::Waits::get();
  const std::lock_guard lock(waits.mutex);
  waits.shuttingDown = true;
  waits.wakeEnded();
}

bool inProgress() {
  return interrupt::Waits::get().shuttingDown;
}

void reset() {
  interrupt::Waits::get().shuttingDown = false;
}

}  // namespace shutdown
}  // namespace utils
