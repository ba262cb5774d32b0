#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "discovery/Limits.h"

namespace discovery {

/// The service URLs that a discovery pass has collected, in the order of their arrival, repeated ones included. Safe
/// for every thread.
class ServiceUrls {
 public:
  explicit ServiceUrls(std::size_t limit = kMaxServiceUrls);
  ServiceUrls(const ServiceUrls&) = delete;
  ServiceUrls& operator=(const ServiceUrls&) = delete;

  /// False when there is no room.
  bool add(const std::string& url);
  void clear();
  std::size_t size() const;
  std::vector<std::string> all() const;

 private:
  const std::size_t mLimit;
  mutable std::mutex mMutex;  ///< guards what follows
  std::vector<std::string> mUrls;
};

}  // namespace discovery
