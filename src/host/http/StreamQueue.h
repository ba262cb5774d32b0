#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace host {

/// What lies between those who send pieces to one client and the front, which writes them. A piece of any size passes;
/// what is bounded is what may lie behind the one that is next. Safe for every thread.
class StreamQueue {
 public:
  static constexpr std::size_t kMaxBehind = 256 * 1024;
  static constexpr std::size_t kMaxBatch = 64 * 1024;

  /// `wake` is called by the thread of `push`, when there is something for the front to do that it may not know of.
  explicit StreamQueue(std::function<void()> wake) : mWake(std::move(wake)) {}

  /// False when the piece will not be taken; when too much lay here, nothing further is taken either. An empty piece
  /// closes.
  bool push(std::string piece);

  /// The next bytes in their order, at most `kMaxBatch`, and "" when there are none now; nothing when there will be no
  /// more.
  std::optional<std::string> take();

  /// Takes nothing further; what lies here can still be taken.
  void close();

  /// Whether it was closed because the client leaves too much lying.
  bool hasOverflowed() const;

 private:
  const std::function<void()> mWake;
  mutable std::mutex mMutex;
  std::string mCurrent;  ///< the piece that is being taken
  std::size_t mTaken = 0;
  std::deque<std::string> mNext;
  std::size_t mBehind = 0;  ///< bytes of all but the first of `mNext`
  bool mClosed = false;
  bool mOverflowed = false;
};

}  // namespace host
