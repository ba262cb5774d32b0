#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Waits until the condition holds; false when it still does not at the deadline, which is there to end a failed test
/// and says nothing about speed.
template <typename Condition>
bool waitFor(Condition condition, std::chrono::milliseconds deadline = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace support
