#include "host/events/EventDiff.h"

#include <utility>

#include "json/lookup.h"

namespace host {

std::string rowKey(const json::UnknownElement& record) {
  const auto* object = record.getIf<json::Object>();
  if (object == nullptr) return "";
  for (const char* family : {"ipV4", "ipV6"}) {
    std::string address = json::textAt(*object, {"properties", "os", "network", "lastCommunicatedIp", family});
    if (!address.empty()) return address;
  }
  return json::textAt(*object, {"properties", "displayId"});
}

ServerChanges EventDiff::take(const json::Array& records) {
  std::vector<std::string> order;
  std::unordered_map<std::string, json::UnknownElement> rows;
  rows.reserve(records.Size());
  for (const json::UnknownElement& record : records) {
    std::string key = rowKey(record);
    if (rows.insert_or_assign(key, record).second) order.push_back(std::move(key));
  }
  ServerChanges changes;
  changes.count = records.Size();
  for (std::string& key : order) {
    const json::UnknownElement& record = rows[key];
    const auto before = mRows.find(key);
    if (before != mRows.end() && before->second == record) continue;
    changes.changed.push_back({std::move(key), record});
  }
  for (const auto& [key, record] : mRows) {
    if (!rows.contains(key)) changes.removed.push_back(key);
  }
  mRows = std::move(rows);
  return changes;
}

}  // namespace host
