#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <string>

namespace slp::api {

/// Keeps texts that callers were given and do not free. The same text is kept once; when there are too many, the one
/// that was asked for longest ago goes. Safe for every thread.
class RecentTexts {
 public:
  explicit RecentTexts(std::size_t capacity) : mCapacity(capacity) {}
  const char* keep(std::string text);

 private:
  const std::size_t mCapacity;
  std::mutex mMutex;
  std::list<std::string> mTexts;  ///< asked for longest ago first
};

}  // namespace slp::api
