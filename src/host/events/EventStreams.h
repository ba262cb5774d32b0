#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/http/AnswerStream.h"

namespace host {

/// One client that listens. Between the front's thread, which takes the way to the client away, and the one that sends:
/// a lock of its own sees to it that the way is used by nobody once it is taken away. What sends only queues.
class EventStream : public AnswerStream {
 public:
  enum class State {
    kOpened,   ///< the front has not begun with it
    kJoined,   ///< waits for its greeting
    kGreeted,  ///< listens
    kOver
  };

  /// `whenJoined` is called by the front's thread and must return at once. `isStillAllowed` is asked before anything is
  /// sent; empty: it always is.
  EventStream(std::function<void()> whenJoined, std::function<bool()> isStillAllowed)
      : mWhenJoined(std::move(whenJoined)), mIsStillAllowed(std::move(isStillAllowed)) {}

  void begin(Send send) override;
  void end() override;

  State state() const;
  /// Sends a piece, the greeting at first. It is over when the client takes nothing any more, or is allowed nothing.
  void send(const std::string& piece);
  /// Ends the answer in order.
  void close();

 private:
  const std::function<void()> mWhenJoined;
  const std::function<bool()> mIsStillAllowed;
  mutable std::mutex mMutex;  ///< guards what follows
  State mState = State::kOpened;
  Send mSend;
};

/// The clients that listen, bounded in number. Safe for every thread.
class EventStreams {
 public:
  static constexpr std::size_t kMost = 256;
  using All = std::vector<std::shared_ptr<EventStream>>;

  explicit EventStreams(std::function<void()> whenJoined) : mWhenJoined(std::move(whenJoined)) {}

  /// A stream for one more; null when there are too many, or all is over.
  std::shared_ptr<EventStream> open(std::function<bool()> isStillAllowed);
  /// Those in one state.
  All in(EventStream::State state) const;
  /// Ends all, and lets in nobody any more.
  void close();

 private:
  All all() const;

  const std::function<void()> mWhenJoined;
  mutable std::mutex mMutex;  ///< guards what follows
  std::vector<std::weak_ptr<EventStream>> mStreams;
  bool mIsClosed = false;
};

}  // namespace host
