#include "plugins/ServerDiscoveryPluginProxy.h"

#include "framework/utils/Log.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {

ServerDiscoveryPluginProxy::ServerDiscoveryPluginProxy(const launcher::PluginManager* manager)
    : BasePluginProxy(manager) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPluginProxy::ServerDiscoveryPluginProxy");
  // The positions are the numbers to which ServerDiscoveryPlugin binds its handlers.
  mSupportedRestApis = {
      {http::RestApi::GET, "/1.0/servers", false},
      {http::RestApi::GET, "/1.0/servers/{server_id}/operations/discovery", false},
      {http::RestApi::POST, "/1.0/servers/{server_id}/operations/discovery", false},
      {http::RestApi::GET, "/1.0/searchedserver/{tentative_id}", false},
  };
}

ServerDiscoveryPluginProxy::~ServerDiscoveryPluginProxy() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPluginProxy::~ServerDiscoveryPluginProxy");
  if (mServicePlugins.empty()) return;
  endMonitor();  // a start-up that failed is not followed by a shutdown
  dropServicePlugins();
}

BasePlugin* ServerDiscoveryPluginProxy::createPlugin(http::HTTPCommand* command) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPluginProxy::createPlugin");
  return new ServerDiscoveryPlugin(command, this);
}

PluginType_ ServerDiscoveryPluginProxy::getPluginID() {
  return PLUGIN_TYPE_SERVER_DISCOVERY;
}

PluginType_ ServerDiscoveryPluginProxy::getPluginType() {
  return PLUGIN_TYPE_SERVER_DISCOVERY;
}

PluginLoadOrder_ ServerDiscoveryPluginProxy::getPluginLoadOrder() {
  return LOAD_ORDER_SERVER_DISCOVERY;
}

void ServerDiscoveryPluginProxy::startup(launcher::Preferences*, const launcher::PluginManager* manager) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPluginProxy::startup");
  mServicePlugins.push_back(std::make_unique<ServerDiscoveryPlugin>(manager, this));
  mServicePlugins.back()->registerServiceDiscovery();
}

void ServerDiscoveryPluginProxy::shutdown() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPluginProxy::shutdown");
  utils::formatted_log_t(utils::LOG_DETAIL, "ServerDiscoveryPlugin shutdown");
  if (mServicePlugins.empty()) return;

  if (endMonitor()) {
    mServicePlugins.back()->deRegisterServiceDiscovery();
    PluginState::instance().monitor.reset();
  }
  dropServicePlugins();
}

bool ServerDiscoveryPluginProxy::endMonitor() {
  PluginState& state = PluginState::instance();
  state.stopMonitor = true;
  if (!state.monitor) return false;
  state.monitor->join();
  return true;
}

void ServerDiscoveryPluginProxy::dropServicePlugins() {
  for (const auto& plugin : mServicePlugins)
    PluginState::instance().forgetServicePlugin(plugin.get());
  mServicePlugins.clear();  // with their commands, unless deregistration has ended them
}

}  // namespace plugins
