#include "discovery/ServerDiscovery.h"

#include <set>
#include <utility>

#include "discovery/DiscoveryMap.h"
#include "discovery/RemoteServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;

/// Strangers may give any number of records one identifier, so repeated keys are not looked for by a scan.
class KeysOfServer {
 public:
  explicit KeysOfServer(const std::string& displayId) : mDisplayId(displayId) {}

  void collectFrom(const HostTable::Map& hosts) {
    for (const auto& [key, record] : hosts) {
      const std::string held = json::textAt(record, {Keys::PROPERTIES, Keys::DISPLAY_ID});
      const bool isOne = !held.empty() && utils::StringHelper::compare_ignore_case(held, mDisplayId);
      if (isOne && mSeen.insert(key).second) keys.push_back(key);
    }
  }

  std::vector<std::string> keys;

 private:
  const std::string& mDisplayId;
  std::set<std::string> mSeen;
};

}  // namespace

ServerDiscovery* ServerDiscovery::getInstance() {
  utils::formatted_log_t(utils::LOG_LOOKUP, "discovery::ServerDiscovery::getInstance");
  return RemoteServerDiscovery::getInstance();
}

std::vector<std::string> ServerDiscovery::keysOfServer(const std::string& displayId) {
  const utils::FunctionTrace trace("discovery::ServerDiscovery::keysOfServer");
  if (displayId.empty()) return {};
  KeysOfServer found(displayId);
  found.collectFrom(*RemoteServerDiscovery::mSearchedHosts.snapshot());
  found.collectFrom(*DiscoveryMap::snapshot());
  found.collectFrom(*RemoteServerDiscovery::mPartialDiscoveredHosts.snapshot());
  return std::move(found.keys);
}

void ServerDiscovery::startDiscovery() {
  const utils::FunctionTrace trace("discovery::ServerDiscovery::startDiscovery");
  RemoteServerDiscovery* const inventory = RemoteServerDiscovery::getInstance();
  const utils::Lock lock(&inventory->mSlpLock, false);
  RemoteServerDiscovery::startDiscoveryThread();
}

void ServerDiscovery::clearUnreachable(const std::string& address) {
  const utils::FunctionTrace trace("discovery::ServerDiscovery::clearUnreachable");
  mapUnreachableIP.remove(address);
}

}  // namespace discovery
