#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "json/elements.h"

namespace discovery {

/// A list of servers: key (address or identifier) to record, ordered by the bytes of the key. Safe for every thread. A
/// reader works on a snapshot, which costs the same whatever the size and never changes; a writer clones the map only
/// when a snapshot of it is still held. Steps made of several calls are not atomic.
class HostTable {
 public:
  using Map = std::map<std::string, json::Object>;
  using Snapshot = std::shared_ptr<const Map>;

  enum class Filing { kNew, kPresent, kFull };
  static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

  HostTable();
  ~HostTable();
  HostTable(const HostTable&) = delete;
  HostTable& operator=(const HostTable&) = delete;

  Snapshot snapshot() const;
  std::optional<json::Object> find(const std::string& key) const;
  std::size_t size() const;

  /// A record that is present stays. With `limit` records in the table no further key is taken.
  Filing insertIfAbsent(const std::string& key, const json::Object& record, std::size_t limit = kNoLimit);
  /// A record that is present is replaced, in a full table, too.
  Filing insertOrReplace(const std::string& key, const json::Object& record, std::size_t limit = kNoLimit);
  /// Whether there was such a key.
  bool erase(const std::string& key);
  void replaceAll(Map map);
  void clear() { replaceAll({}); }

 private:
  struct Node;

  Map& writable();

  mutable std::mutex mMutex;
  std::shared_ptr<Node> mNode;  ///< never null
};

}  // namespace discovery
