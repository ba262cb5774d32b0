// Names and signatures of the plug-in's own classes and of what the host looks up in its library.
#include <map>
#include <type_traits>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "plugins/PluginExports.h"
#include "plugins/PluginRegistration.h"
#include "plugins/ServerDiscoveryPlugin.h"
#include "plugins/ServerDiscoveryPluginProxy.h"

namespace {

using http::HTTPCommand;
using plugins::ServerDiscoveryPlugin;
using plugins::ServerDiscoveryPluginProxy;

PIN(&::getID, unsigned int (*)());
PIN(&::getRegisteredRestApis, std::map<const http::RestApi, plugins::BasePluginProxy*> (*)());

static_assert(std::is_base_of_v<plugins::BasePluginProxy, ServerDiscoveryPluginProxy>);
static_assert(std::is_constructible_v<ServerDiscoveryPluginProxy, const launcher::PluginManager*>);

static_assert(std::is_base_of_v<plugins::BasePlugin, ServerDiscoveryPlugin>);
static_assert(std::is_constructible_v<ServerDiscoveryPlugin, HTTPCommand*, const plugins::BasePluginProxy*>);
static_assert(
    std::is_constructible_v<ServerDiscoveryPlugin, const launcher::PluginManager*, ServerDiscoveryPluginProxy*>);
using Handler = HTTPCommand::HTTPStatus_ (ServerDiscoveryPlugin::*)(const std::map<std::string, std::string>&,
                                                                    const json::Object&, json::Object&);
PIN(&ServerDiscoveryPlugin::getDiscoveredServers, Handler);
PIN(&ServerDiscoveryPlugin::manualDiscovery, Handler);
PIN(&ServerDiscoveryPlugin::postManualDiscoverySearch, Handler);
PIN(&ServerDiscoveryPlugin::getSearchedServer, Handler);
PIN(&ServerDiscoveryPlugin::getSlpRegistrationUrl, std::string (ServerDiscoveryPlugin::*)(std::string));
PIN(&ServerDiscoveryPlugin::convertJSONObjcetToString, std::string (ServerDiscoveryPlugin::*)(json::Object));
PIN(&ServerDiscoveryPlugin::ReplaceAll,
    std::string (ServerDiscoveryPlugin::*)(std::string, const std::string&, const std::string&));
static_assert(std::is_member_function_pointer_v<decltype(&ServerDiscoveryPlugin::registerServiceDiscovery)>);
static_assert(std::is_member_function_pointer_v<decltype(&ServerDiscoveryPlugin::deRegisterServiceDiscovery)>);
PIN(&ServerDiscoveryPlugin::updateSLPRegistration,
    unsigned short (ServerDiscoveryPlugin::*)(std::string, bool, std::string, std::string));
PIN(&ServerDiscoveryPlugin::startIPChangeMonitorThread, void (*)());

static_assert(std::has_virtual_destructor_v<plugins::PluginRegistration<ServerDiscoveryPluginProxy>>);

}  // namespace
