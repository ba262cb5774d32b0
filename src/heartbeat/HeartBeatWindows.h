#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "framework/utils/Thread.h"
#include "heartbeat/AnnounceListener.h"
#include "heartbeat/AnnounceRecord.h"
#include "heartbeat/AnnounceWorkers.h"
#include "heartbeat/HeartBeat.h"
#include "heartbeat/RecordGate.h"

namespace discovery {

/// The process's announcer and listener: the fixed names, each handed on to what does the work. Sockets and workers are
/// made at the first `invokeThread` and stay until the library is unloaded, which ends and joins every thread.
class HeartBeatWindows : public heartbeat::HeartBeat {
 public:
  static HeartBeatWindows* getInstance();

  HeartBeatWindows(const HeartBeatWindows&) = delete;
  HeartBeatWindows& operator=(const HeartBeatWindows&) = delete;

  /// A null URL counts as an empty one.
  void performMulticast(const char* serviceUrl, int kind, unsigned short lifetime, std::string attributes) override;
  /// Returns before the listener is set up. On one that lives it renews the memberships; what failed before is tried
  /// again.
  void invokeThread() override;
  void terminateThread() override;

  /// Does what the record says, unless the listener has been terminated. Null says nothing. May be called by many
  /// threads at once, and not from inside itself.
  void HandleIncomingData(const heartbeat::AnnounceRecord* record);

 private:
  HeartBeatWindows();
  ~HeartBeatWindows();

  static void startSLPNotificationThread();
  /// Both are true when all is in place, be it from before.
  bool CreateNetConnections();
  bool CreateWorkers();
  void WorkerThread();

  void waitForRelease();
  /// Ends and joins the waiting thread. With `mStarting` held.
  void releaseThread();

  heartbeat::RecordGate mGate;
  heartbeat::AnnounceListener mListener;
  heartbeat::AnnounceWorkers mWorkers;

  std::mutex mStarting;  ///< guards the pointers
  std::unique_ptr<utils::Thread> mThread;
  /// A thread that was terminated waits on as before, so somebody has to join it in the end.
  std::unique_ptr<utils::Thread> mTerminatedThread;

  std::mutex mWaiting;  ///< guards what follows
  std::condition_variable mReleased;
  bool mIsReleased = false;
};

}  // namespace discovery
