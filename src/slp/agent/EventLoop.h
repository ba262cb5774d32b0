#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

#include "slp/net/Descriptor.h"

namespace slp::agent {

/// Waits for descriptors and calls their handlers (epoll, level-triggered). A handler may watch and forget descriptors,
/// its own too. For one thread.
class EventLoop {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Handler = std::function<void()>;

  EventLoop();

  /// Calls `handler` while the descriptor can be read, or written when `writing`; always when it has failed.
  void watch(int fd, Handler handler);
  /// Changes what is waited for.
  void waitFor(int fd, bool reading, bool writing);
  /// To be called before the descriptor is closed.
  void forget(int fd);

  /// Waits until something is ready or `until` has come, and calls the handlers of what is ready, each once.
  void run(std::optional<TimePoint> until);

 private:
  struct Watch {
    std::shared_ptr<Handler> handler;
    std::uint32_t serial;  ///< tells a new descriptor from the one that had its number before
    std::uint32_t events;
  };
  void control(int operation, int fd, const Watch& watch);

  net::Descriptor mEpoll;
  std::uint32_t mSerial = 0;
  std::unordered_map<int, Watch> mWatches;
};

}  // namespace slp::agent
