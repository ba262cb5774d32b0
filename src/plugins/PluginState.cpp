#include "plugins/PluginState.h"

#include <utility>

#include "discovery/ServerDiscovery.h"

namespace plugins {

PluginState& PluginState::instance() {
  static PluginState state;
  return state;
}

PluginState::PluginState() {
  discovery::ServerDiscovery::getInstance();  // made first, so that it outlives the monitor, which works with it
}

PluginState::~PluginState() {
  stopMonitor = true;
  if (monitor) monitor->join();  // no thread may outlive the code that it runs
}

void PluginState::forgetServicePlugin(ServerDiscoveryPlugin* plugin) {
  mServicePlugin.compare_exchange_strong(plugin, nullptr);
}

void PluginState::setRegistration(RegistrationState registration) {
  mRegistration.store(std::make_shared<const RegistrationState>(std::move(registration)));
}

void PluginState::setRegistrationUrl(const std::string& url) {
  mRegistration.update([&](const std::shared_ptr<const RegistrationState>& before) {
    RegistrationState changed = *before;
    changed.url = url;
    return std::make_shared<const RegistrationState>(std::move(changed));
  });
}

void PluginState::setLocalServer(LocalServer localServer) {
  mLocalServer.store(std::make_shared<const LocalServer>(std::move(localServer)));
}

void PluginState::setLocalServerIp(const std::string& ip) {
  mLocalServer.update([&](const std::shared_ptr<const LocalServer>& before) {
    LocalServer changed = *before;
    changed.ip = ip;
    return std::make_shared<const LocalServer>(std::move(changed));
  });
}

}  // namespace plugins
