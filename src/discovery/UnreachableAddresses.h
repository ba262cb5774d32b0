#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "discovery/Limits.h"

namespace discovery {

/// The addresses that did not give their details when they were asked, in the order in which they failed. Safe for
/// every thread. Looking one up does not scan. A full list drops its oldest address, which then may be asked again.
class UnreachableAddresses {
 public:
  explicit UnreachableAddresses(std::size_t limit = kMaxUnreachableAddresses);
  UnreachableAddresses(const UnreachableAddresses&) = delete;
  UnreachableAddresses& operator=(const UnreachableAddresses&) = delete;

  /// An address that is there keeps its place.
  void add(const std::string& address);
  /// Whether it was there.
  bool remove(const std::string& address);
  bool contains(const std::string& address) const;
  std::size_t size() const;
  std::vector<std::string> all() const;

 private:
  const std::size_t mLimit;
  mutable std::mutex mMutex;  ///< guards what follows
  std::list<std::string> mInOrder;
  std::unordered_map<std::string_view, std::list<std::string>::iterator> mPlaces;  ///< keys are views into the list
};

}  // namespace discovery
