#pragma once

#include <mutex>
#include <set>
#include <string>

#include "slp/net/Wakeup.h"

namespace slp::agent {

/// Tells the agent's thread which URLs have changed. Safe for every thread. Bounded: of too many URLs only is kept that
/// there are many.
class ChangeQueue {
 public:
  static constexpr std::size_t kMaxUrls = 16'384;

  struct Changes {
    std::set<std::string> urls;
    bool everything = false;  ///< compare all
    bool stop = false;
  };

  void add(const std::string& url);
  void stop();
  /// For the agent's thread: readable when there is something to take.
  int fd() const { return mWakeup.fd(); }
  Changes take();

 private:
  net::Wakeup mWakeup;
  std::mutex mMutex;
  Changes mChanges;
  bool mSignalled = false;
};

}  // namespace slp::agent
