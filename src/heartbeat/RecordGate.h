#pragma once

#include <atomic>
#include <mutex>
#include <shared_mutex>

namespace heartbeat {

/// Lets records through while it is open, as it is at first. Safe for every thread.
class RecordGate {
 public:
  RecordGate() = default;
  RecordGate(const RecordGate&) = delete;
  RecordGate& operator=(const RecordGate&) = delete;

  void open() { mIsOpen = true; }
  /// Returns when nobody is inside any more. Not to be called from inside.
  void close() {
    mIsOpen = false;
    const std::lock_guard lock(mInside);
  }
  bool isOpen() const { return mIsOpen; }

  /// Does the work inside, unless the gate is closed. Many may be inside at once.
  template <typename Work>
  void pass(Work work) {
    // Looked at before the lock is taken, too: otherwise a flood of records could keep `close` waiting.
    if (!mIsOpen) return;
    const std::shared_lock lock(mInside);
    if (mIsOpen) work();
  }

 private:
  std::atomic<bool> mIsOpen = true;
  std::shared_mutex mInside;
};

}  // namespace heartbeat
