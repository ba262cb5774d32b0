#include "unit/discovery/InventoryTest.h"

#include "discovery/DiscoveryMap.h"

InventoryTest::InventoryTest() : inventory(*RemoteServerDiscovery::getInstance()) {
  clear();
}

InventoryTest::~InventoryTest() {
  clear();
}

void InventoryTest::clear() {
  RemoteServerDiscovery::mSearchedHosts.clear();
  RemoteServerDiscovery::mCycleDiscoveredHosts.clear();
  RemoteServerDiscovery::mPartialDiscoveredHosts.clear();
  RemoteServerDiscovery::mDiscoveredHosts.clear();
  RemoteServerDiscovery::mUpdatedCounters.clear();
  RemoteServerDiscovery::mStopDiscovery = false;
  RemoteServerDiscovery::mDiscoveryStatus = 1;
  discovery::DiscoveryMap::updateServerList({});
  inventory.discoveredSLPServers.clear();
  for (const std::string& address : inventory.mapUnreachableIP.all())
    inventory.clearUnreachable(address);
}

json::Object recordNamed(const std::string& displayId) {
  json::Object record;
  record["properties"]["displayId"] = json::String(displayId);
  return record;
}

json::Object manualRecordNamed(const std::string& displayId) {
  json::Object record = recordNamed(displayId);
  record["properties"]["isManual"] = json::Boolean(true);
  return record;
}

json::Object answerWith(const json::Object& value) {
  json::Object answer;
  answer["value"] = value;
  return answer;
}

discovery::HostTable::Map tableOf(std::size_t size) {
  discovery::HostTable::Map map;
  for (std::size_t i = 0; i < size; ++i)
    map[std::to_string(i)];
  return map;
}

std::vector<std::string> keysOf(const discovery::HostTable& table) {
  std::vector<std::string> keys;
  const auto hosts = table.snapshot();
  for (const auto& [key, record] : *hosts)
    keys.push_back(key);
  return keys;
}

std::string textOf(const discovery::HostTable& table, const std::string& key) {
  const auto record = table.find(key);
  return record ? support::written(*record) : "";
}
