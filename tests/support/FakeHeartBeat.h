#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "heartbeat/HeartBeat.h"

namespace support {

/// A heartbeat that remembers what it is asked for, in place of the real one for its lifetime. Programs that link it
/// announce nothing at any time. Safe for every thread.
class FakeHeartBeat : public heartbeat::HeartBeat {
 public:
  struct Announcement {
    std::string url;
    int kind = 0;
    unsigned short lifetime = 0;
    std::string attributes;
  };

  FakeHeartBeat();
  ~FakeHeartBeat();
  FakeHeartBeat(const FakeHeartBeat&) = delete;
  FakeHeartBeat& operator=(const FakeHeartBeat&) = delete;

  void performMulticast(const char* serviceUrl, int kind, unsigned short lifetime, std::string attributes) override;
  void invokeThread() override;
  void terminateThread() override;

  std::vector<Announcement> announcements() const;
  /// All calls in their order: "join URL", "register URL", "deregister URL", "listen", "silence".
  std::vector<std::string> calls() const;
  void clear();
  /// Runs in every call, after it was noted; it may throw.
  void onCall(std::function<void()> action);

 private:
  void note(std::string call);

  heartbeat::HeartBeat* const mBefore;
  mutable std::mutex mMutex;  ///< guards what follows
  std::vector<Announcement> mAnnouncements;
  std::vector<std::string> mCalls;
  std::function<void()> mOnCall;
};

}  // namespace support
