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

  PluginState& state = PluginState::instance();
  state.stopMonitor = true;
  if (state.monitor) {
    state.monitor->join();
    mServicePlugins.back()->deRegisterServiceDiscovery();
    state.monitor.reset();
  }
  for (const auto& plugin : mServicePlugins)
    state.forgetServicePlugin(plugin.get());
  mServicePlugins.clear();  // with their commands, unless deregistration has ended them
}

}  // namespace plugins
