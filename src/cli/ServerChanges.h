#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "json/elements.h"

namespace cli {

/// One thing that happened to one server. Texts are as servers told them.
struct ServerChange {
  enum class Kind { kListed, kAdded, kRemoved, kChanged };
  Kind kind = Kind::kChanged;
  std::string id;
  std::string address;
  std::string what;  ///< in words: "announced", "left", "build 008.0.1 -> 008.0.2"

  friend bool operator==(const ServerChange&, const ServerChange&) = default;
};

/// "+ two 10.0.0.2 announced", with its line end and neutralised.
std::string changeLine(const ServerChange& change);
json::Object changeRecord(const ServerChange& change, const std::string& time);

/// The list of servers as a watcher knows it, and what of it changes. Linear in the servers that something is told of,
/// but for `replace`, which is linear in all. For one thread.
class ServerChanges {
 public:
  using List = std::vector<ServerChange>;

  /// Whole lists: what there is (the first time), else what has changed since.
  List replace(const std::vector<json::Object>& records, const std::vector<json::Object>& sightings);
  /// What an event "servers" says.
  List applyServers(const json::Object& delta);
  /// What an event "sightings" says.
  List applySightings(const json::Object& delta);

 private:
  struct Row {
    std::string id;
    std::string build;
    std::string health;
    std::string address;
    std::string addresses;
    std::string origin;
  };
  struct Sight {
    std::string id;
    std::string state;
    std::string reason;
    std::string how;  ///< of the last source
  };

  static Row rowOf(const json::Object& record);
  static std::string keyOf(const json::Object& record);
  /// A server that is listed under another key from now on goes on being the same.
  void rename(const std::string& key, const Row& row, const std::set<std::string>& gone);
  void put(const std::string& key, Row row, List& changes);
  void drop(const std::string& key, List& changes);
  void see(const json::Object& sighting, List& changes);
  std::string howListed(const Row& row) const;

  bool mIsFirst = true;
  std::map<std::string, Row> mRows;
  std::map<std::string, Sight> mSights;  ///< by address
};

}  // namespace cli
