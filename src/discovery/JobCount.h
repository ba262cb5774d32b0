#pragma once

#include <atomic>

namespace discovery {

/// Counts the jobs of discovery passes, for the observer. Safe for every thread.
class JobCount {
 public:
  void made() { ++mWaiting; }
  void begins();
  void ends(bool hasBegun);

  /// Tells the observer how many wait and run. Not to be called with a lock held.
  void tell() const;

 private:
  std::atomic<int> mWaiting = 0;
  std::atomic<int> mRunning = 0;
};

}  // namespace discovery
