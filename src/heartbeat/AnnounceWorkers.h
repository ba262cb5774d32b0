#pragma once

#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace heartbeat {

/// The threads that receive records. For one thread at a time.
class AnnounceWorkers {
 public:
  static constexpr std::size_t kCount = 5;

  AnnounceWorkers() = default;
  AnnounceWorkers(const AnnounceWorkers&) = delete;
  AnnounceWorkers& operator=(const AnnounceWorkers&) = delete;

  /// Starts what is missing of them, each on `body`. False when one cannot be made, which is logged; those that could
  /// be run on. An exception that leaves the body ends its thread and is logged.
  bool start(const std::function<void()>& body);
  /// Waits for the end of all. To be called before the end of the object.
  void join();

 private:
  std::vector<std::thread> mThreads;
};

}  // namespace heartbeat
