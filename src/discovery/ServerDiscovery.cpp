#include "discovery/ServerDiscovery.h"

#include "discovery/DiscoveryMap.h"
#include "discovery/RemoteServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;

std::optional<std::string> keyIn(const HostTable::Map& hosts, const std::string& displayId) {
  for (const auto& [key, record] : hosts) {
    const std::string held = json::textAt(record, {Keys::PROPERTIES, Keys::DISPLAY_ID});
    if (!held.empty() && utils::StringHelper::compare_ignore_case(held, displayId)) return key;
  }
  return std::nullopt;
}

}  // namespace

ServerDiscovery* ServerDiscovery::getInstance() {
  utils::formatted_log_t(utils::LOG_LOOKUP, "discovery::ServerDiscovery::getInstance");
  return RemoteServerDiscovery::getInstance();
}

std::optional<std::string> ServerDiscovery::keyOfServer(const std::string& displayId) {
  const utils::FunctionTrace trace("ServerDiscovery::keyOfServer");
  if (displayId.empty()) return std::nullopt;
  if (auto key = keyIn(*RemoteServerDiscovery::mSearchedHosts.snapshot(), displayId)) return key;
  if (auto key = keyIn(*DiscoveryMap::snapshot(), displayId)) return key;
  return keyIn(*RemoteServerDiscovery::mPartialDiscoveredHosts.snapshot(), displayId);
}

void ServerDiscovery::clearUnreachable(const std::string& address) {
  const utils::FunctionTrace trace("ServerDiscovery::clearUnreachable");
  mapUnreachableIP.remove(address);
}

}  // namespace discovery
