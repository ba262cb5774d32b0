#pragma once

#include <chrono>
#include <mutex>
#include <optional>

namespace discovery {

/// Says whether a record that strangers can cause at will is due: the first one is, and then one per interval. Safe for
/// every thread.
class LogThrottle {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr Clock::duration kInterval = std::chrono::seconds(10);

  bool admits(Clock::time_point now = Clock::now()) {
    const std::lock_guard lock(mMutex);
    if (mLast && now - *mLast < kInterval) return false;
    mLast = now;
    return true;
  }

 private:
  std::mutex mMutex;
  std::optional<Clock::time_point> mLast;
};

}  // namespace discovery
