#include "discovery/HostTable.h"

#include <atomic>
#include <utility>

namespace discovery {

/// One state of the table. Readers are counted here and not by the pointer, because the count must be read in an order
/// that makes whatever a reader did with the map happen before the next write to it.
struct HostTable::Node {
  explicit Node(Map content = {}) : map(std::move(content)) {}

  Map map;
  std::atomic<std::size_t> readers = 0;
};

HostTable::HostTable() : mNode(std::make_shared<Node>()) {}

HostTable::~HostTable() = default;

HostTable::Snapshot HostTable::snapshot() const {
  const std::lock_guard lock(mMutex);
  mNode->readers.fetch_add(1, std::memory_order_relaxed);
  return Snapshot(&mNode->map, [node = mNode](const Map*) { node->readers.fetch_sub(1, std::memory_order_release); });
}

std::optional<json::Object> HostTable::find(const std::string& key) const {
  const std::lock_guard lock(mMutex);
  const auto found = mNode->map.find(key);
  return found != mNode->map.end() ? std::optional(found->second) : std::nullopt;
}

std::size_t HostTable::size() const {
  const std::lock_guard lock(mMutex);
  return mNode->map.size();
}

HostTable::Filing HostTable::insertIfAbsent(const std::string& key, const json::Object& record, std::size_t limit) {
  const std::lock_guard lock(mMutex);
  if (mNode->map.contains(key)) return Filing::kPresent;
  if (mNode->map.size() >= limit) return Filing::kFull;
  writable().emplace(key, record);
  return Filing::kNew;
}

HostTable::Filing HostTable::insertOrReplace(const std::string& key, const json::Object& record, std::size_t limit) {
  const std::lock_guard lock(mMutex);
  const bool isPresent = mNode->map.contains(key);
  if (!isPresent && mNode->map.size() >= limit) return Filing::kFull;
  writable().insert_or_assign(key, record);
  return isPresent ? Filing::kPresent : Filing::kNew;
}

bool HostTable::erase(const std::string& key) {
  const std::lock_guard lock(mMutex);
  if (!mNode->map.contains(key)) return false;
  writable().erase(key);
  return true;
}

void HostTable::replaceAll(Map map) {
  auto replaced = std::make_shared<Node>(std::move(map));
  const std::lock_guard lock(mMutex);
  mNode.swap(replaced);  // what was there ends after the lock
}

HostTable::Map& HostTable::writable() {
  if (mNode->readers.load(std::memory_order_acquire) != 0) mNode = std::make_shared<Node>(mNode->map);
  return mNode->map;
}

}  // namespace discovery
