#include "discovery/ServerDiscovery.h"

#include <algorithm>

#include "discovery/DiscoveryMap.h"
#include "discovery/RemoteServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;

void collectKeys(const HostTable::Map& hosts, const std::string& displayId, std::vector<std::string>& keys) {
  for (const auto& [key, record] : hosts) {
    const std::string held = json::textAt(record, {Keys::PROPERTIES, Keys::DISPLAY_ID});
    const bool isOne = !held.empty() && utils::StringHelper::compare_ignore_case(held, displayId);
    if (isOne && std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
  }
}

}  // namespace

ServerDiscovery* ServerDiscovery::getInstance() {
  utils::formatted_log_t(utils::LOG_LOOKUP, "discovery::ServerDiscovery::getInstance");
  return RemoteServerDiscovery::getInstance();
}

std::vector<std::string> ServerDiscovery::keysOfServer(const std::string& displayId) {
  const utils::FunctionTrace trace("discovery::ServerDiscovery::keysOfServer");
  std::vector<std::string> keys;
  if (displayId.empty()) return keys;
  collectKeys(*RemoteServerDiscovery::mSearchedHosts.snapshot(), displayId, keys);
  collectKeys(*DiscoveryMap::snapshot(), displayId, keys);
  collectKeys(*RemoteServerDiscovery::mPartialDiscoveredHosts.snapshot(), displayId, keys);
  return keys;
}

std::optional<std::string> ServerDiscovery::keyOfServer(const std::string& displayId) {
  const std::vector<std::string> keys = keysOfServer(displayId);
  return keys.empty() ? std::nullopt : std::optional(keys.front());
}

void ServerDiscovery::clearUnreachable(const std::string& address) {
  const utils::FunctionTrace trace("discovery::ServerDiscovery::clearUnreachable");
  mapUnreachableIP.remove(address);
}

}  // namespace discovery
