#include "discovery/DiscoveryMap.h"

#include <utility>

#include "discovery/AnnouncedServers.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"

namespace discovery {
namespace {

AnnouncedServers gServers;

}  // namespace

void DiscoveryMap::addDiscoveredHost(std::string address, std::string serverDetails, bool isVmware) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::addDiscoveredHost");
  gServers.add(address, serverDetails, isVmware);
}

Announced DiscoveryMap::announce(const std::string& address, const std::string& serverDetails, bool isVmware) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::addDiscoveredHost");
  return gServers.add(address, serverDetails, isVmware);
}

std::map<std::string, json::Object> DiscoveryMap::getDiscoveredHost() {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::getDiscoveredHost");
  return *snapshot();
}

void DiscoveryMap::updateServerList(std::map<std::string, json::Object> hosts) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::updateServerList");
  gServers.replaceAll(std::move(hosts));
}

bool DiscoveryMap::withdraw(const std::string& address) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::withdraw");
  return gServers.withdraw(address);
}

void DiscoveryMap::takeBackWithdrawal(const std::string& address) {
  gServers.takeBackWithdrawal(address);
}

void DiscoveryMap::passBegins() {
  gServers.passBegins();
}

void DiscoveryMap::passEnds(const HostTable::Map& found) {
  const utils::FunctionTrace trace("discovery::DiscoveryMap::passEnds");
  gServers.passEnds(found);
}

HostTable::Snapshot DiscoveryMap::snapshot() {
  return gServers.snapshot();
}

void DiscoveryMap::tellOfChange(std::size_t whenEmpty) {
  const std::size_t announced = gServers.snapshot()->size();
  utils::observer::measured("servers_listed", static_cast<double>(announced == 0 ? whenEmpty : announced));
  utils::observer::inventoryChanged();
}

}  // namespace discovery
