#include "plugins/PluginState.h"

#include <utility>

namespace plugins {

PluginState& PluginState::instance() {
  static PluginState state;
  return state;
}

PluginState::~PluginState() {
  stopMonitor = true;
  if (monitor) monitor->join();  // no thread may outlive the code that it runs
}

void PluginState::forgetServicePlugin(ServerDiscoveryPlugin* plugin) {
  mServicePlugin.compare_exchange_strong(plugin, nullptr);
}

std::string PluginState::registrationUrl() const {
  const std::lock_guard lock(mMutex);
  return mRegistrationUrl;
}

void PluginState::setRegistrationUrl(std::string url) {
  const std::lock_guard lock(mMutex);
  mRegistrationUrl = std::move(url);
}

std::shared_ptr<const LocalServer> PluginState::localServer() const {
  const std::lock_guard lock(mMutex);
  return mLocalServer;
}

void PluginState::setLocalServer(LocalServer localServer) {
  std::shared_ptr<const LocalServer> replacement = std::make_shared<const LocalServer>(std::move(localServer));
  const std::lock_guard lock(mMutex);
  mLocalServer.swap(replacement);  // the earlier one ends with its last reader
}

}  // namespace plugins
