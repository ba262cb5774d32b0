#include "plugins/ServerDiscoveryPlugin.h"

#include <exception>
#include <utility>

#include "framework/launcher/PluginManager.h"
#include "framework/utils/Log.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPluginProxy.h"

namespace plugins {

ServerDiscoveryPlugin::ServerDiscoveryPlugin(http::HTTPCommand* command, const BasePluginProxy* proxy)
    : BasePlugin(command, proxy) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::ServerDiscoveryPlugin");
  initializePluginApis();
}

ServerDiscoveryPlugin::ServerDiscoveryPlugin(const launcher::PluginManager* manager, ServerDiscoveryPluginProxy* proxy)
    : ServerDiscoveryPlugin(std::unique_ptr<http::HTTPCommand>(manager->getDummyHTTPCommand()), proxy) {
  PluginState::instance().setServicePlugin(this);
}

ServerDiscoveryPlugin::ServerDiscoveryPlugin(std::unique_ptr<http::HTTPCommand> command, const BasePluginProxy* proxy)
    : BasePlugin(command.get(), proxy), mServiceCommand(std::move(command)) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::ServerDiscoveryPlugin");
  initializePluginApis();
}

ServerDiscoveryPlugin::~ServerDiscoveryPlugin() {
  try {
    const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::~ServerDiscoveryPlugin");
  } catch (...) {  // only the trace is lost
  }
}

void ServerDiscoveryPlugin::endCommand() {
  if (mServiceCommand) forgetCommand();
  mServiceCommand.reset();
}

void ServerDiscoveryPlugin::initializePluginApis() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::initializePluginApis");
  const auto bind = [this](auto handler) {
    return [this, handler](const Parameters& parameters, const json::Object& request, json::Object& response) {
      return (this->*handler)(parameters, request, response);
    };
  };
  // The numbers are the positions in the proxy's list of resources.
  addPluginApi(0, bind(&ServerDiscoveryPlugin::getDiscoveredServers));
  addPluginApi(1, bind(&ServerDiscoveryPlugin::manualDiscovery));
  addPluginApi(2, bind(&ServerDiscoveryPlugin::postManualDiscoverySearch));
  addPluginApi(3, bind(&ServerDiscoveryPlugin::getSearchedServer));
}

}  // namespace plugins
