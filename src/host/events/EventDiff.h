#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "json/elements.h"

namespace host {

/// By what a record of the list of servers is known from one list to the next: the address under which it was reached,
/// else its identifier. Web pages compute it alike.
std::string rowKey(const json::UnknownElement& record);

/// What one list has that the one before had not, and the other way round.
struct ServerChanges {
  struct Row {
    std::string key;
    json::UnknownElement record;
  };
  std::vector<Row> changed;          ///< new ones and those that are not what they were, in the order of the list
  std::vector<std::string> removed;  ///< in no order
  std::size_t count = 0;             ///< records of the list

  bool empty() const { return changed.empty() && removed.empty(); }
  std::size_t size() const { return changed.size() + removed.size(); }
};

/// Compares each list of servers with the one before. Of records with the same key the last one counts. Linear in the
/// number of records; keeps one list. Not guarded.
class EventDiff {
 public:
  ServerChanges take(const json::Array& records);
  /// Forgets the list: everything in the next one is new.
  void clear() { mRows.clear(); }

 private:
  std::unordered_map<std::string, json::UnknownElement> mRows;
};

}  // namespace host
