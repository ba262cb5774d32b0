#include "PluginTest.h"

#include "discovery/RemoteServerDiscovery.h"

namespace plugins {

void PluginTest::clearInventory() {
  RemoteServerDiscovery::getInstance();
  RemoteServerDiscovery::mSearchedHosts.clear();
  RemoteServerDiscovery::mCycleDiscoveredHosts.clear();
  RemoteServerDiscovery::mPartialDiscoveredHosts.clear();
  RemoteServerDiscovery::mDiscoveredHosts.clear();
  discovery::DiscoveryMap::updateServerList({});
}

}  // namespace plugins
