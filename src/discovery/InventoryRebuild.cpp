#include "discovery/InventoryRebuild.h"

#include "framework/constants/JsonConstants.h"
#include "json/lookup.h"

namespace discovery {

bool isManual(const json::Object& record) {
  return json::flagAt(record, {constants::JsonConstants::PROPERTIES, kIsManual});
}

HostTable::Map rebuildInventory(const HostTable::Map& published, const HostTable::Map& found) {
  HostTable::Map rebuilt;
  auto manualEnd = published.begin();  // where the manual servers that stay end
  for (const auto& [key, record] : found) {
    const auto known = published.find(key);
    const bool isKnown = known != published.end() && !isManual(known->second);
    rebuilt.emplace_hint(rebuilt.end(), key, isKnown ? known->second : record);
    if (manualEnd != published.end()) manualEnd = isKnown ? known : published.end();
  }
  for (auto server = published.begin(); server != manualEnd; ++server) {
    if (isManual(server->second)) rebuilt.insert_or_assign(server->first, server->second);
  }
  return rebuilt;
}

}  // namespace discovery
