#pragma once

#include <chrono>
#include <functional>

namespace host {

/// Tells the service manager that the server lives, as long as it does: the front's loop, which must come by for that,
/// and the threads behind it, which must take up work. A server that hangs tells nothing, and is started anew. For one
/// thread, the front's.
class Watchdog {
 public:
  /// How long the oldest request has been waiting for a thread.
  using LongestWait = std::function<std::chrono::milliseconds()>;

  /// No request waits that long behind others: each is answered after a fraction of it, whatever its thread does.
  static constexpr std::chrono::minutes kLongestWait{5};

  /// `alive` gives the sign of life.
  Watchdog(LongestWait longestWait, std::function<void()> alive);

  /// Comes from the front's loop, more often than the manager waits.
  void beat();

 private:
  const LongestWait mLongestWait;
  const std::function<void()> mAlive;
  bool mIsStuck = false;
};

}  // namespace host
