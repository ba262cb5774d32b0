#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "slp/net/Wakeup.h"

namespace slp::api {

/// One call of the API under way on a handle, shared by the thread that makes it and by those who may end it.
class Call {
 public:
  Call();

  /// From now on no callback begins, and every wait of the call ends. Any thread.
  void cancel();
  bool cancelled() const;
  /// Waits for a callback that is running, so that what it was given may go; the thread that runs it does not wait for
  /// itself. `patience` bounds the wait, because the callback may wait for a lock of whoever closes.
  void awaitCallback(std::chrono::milliseconds patience);

  /// Runs a callback with no lock held. False, without running it, once the call is cancelled; else what it returned.
  template <typename Callback>
  bool run(Callback&& callback) {
    if (!enter()) return false;
    const Leaving leaving{*this};
    return callback();
  }

  /// Signalled from the moment of cancellation. Made when first asked for, because it costs a descriptor, and most
  /// calls do not wait. Throws std::system_error when there is none left.
  net::Wakeup& wakeup();

 private:
  struct Leaving {
    Call& call;
    ~Leaving() { call.leave(); }
  };
  bool enter();
  void leave();

  const std::thread::id mThread;
  mutable std::mutex mMutex;
  std::condition_variable mLeft;
  bool mCancelled = false;
  bool mInCallback = false;
  std::optional<net::Wakeup> mWakeup;
};

}  // namespace slp::api
