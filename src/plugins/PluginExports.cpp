#include "plugins/PluginExports.h"

#include "framework/plugins/BasePlugin.h"
#include "plugins/PluginRegistration.h"
#include "plugins/ServerDiscoveryPluginProxy.h"

namespace {

constexpr unsigned int kPluginId = 300;

const plugins::PluginRegistration<plugins::ServerDiscoveryPluginProxy> registration;

}  // namespace

unsigned int getID() {
  return kPluginId;
}

std::map<const http::RestApi, plugins::BasePluginProxy*> getRegisteredRestApis() {
  return plugins::BasePlugin::getRegisteredRestApis();
}
