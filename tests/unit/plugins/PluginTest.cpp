#include "PluginTest.h"

#include "discovery/RemoteServerDiscovery.h"

namespace plugins {

void PluginTest::stopMonitor() {
  state().stopMonitor = true;
  if (state().monitor) state().monitor->join();
  state().monitor.reset();
}

void PluginTest::letDiscoveryRun() {
  RemoteServerDiscovery::mStopDiscovery = false;
}

void PluginTest::stopDiscovery() {
  if (hasDiscoveryThread()) inventory().deRegisterSLPService("", true);
}

bool PluginTest::hasDiscoveryThread() {
  RemoteServerDiscovery* const inventory = RemoteServerDiscovery::getInstance();
  const utils::Lock lock(&inventory->mSlpLock, false);
  return RemoteServerDiscovery::mRemoteServerThread != nullptr;
}

void PluginTest::clearInventory() {
  RemoteServerDiscovery::getInstance();
  RemoteServerDiscovery::mSearchedHosts.clear();
  RemoteServerDiscovery::mCycleDiscoveredHosts.clear();
  RemoteServerDiscovery::mPartialDiscoveredHosts.clear();
  RemoteServerDiscovery::mDiscoveredHosts.clear();
  discovery::DiscoveryMap::updateServerList({});
}

}  // namespace plugins
