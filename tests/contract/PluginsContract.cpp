// Names, signatures and slots of namespace plugins: the bases that plug-ins derive from.
#include <functional>
#include <map>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"

namespace {

using contract::slotOf;
using http::HTTPCommand;
using http::RestApi;
using launcher::PluginManager;
using plugins::BasePlugin;
using plugins::BasePluginProxy;

// BasePluginProxy
class AnyProxy : public BasePluginProxy {
 public:
  using BasePluginProxy::BasePluginProxy;
  using BasePluginProxy::mManager;
  using BasePluginProxy::mRequiredRestApis;
  using BasePluginProxy::mSupportedRestApis;
  BasePlugin* createPlugin(HTTPCommand*) override { return nullptr; }
};

static_assert(std::is_abstract_v<BasePluginProxy> && std::has_virtual_destructor_v<BasePluginProxy>);
static_assert(std::is_constructible_v<AnyProxy, const PluginManager*>);
static_assert(std::is_copy_constructible_v<AnyProxy> && std::is_copy_assignable_v<AnyProxy>);
static_assert(std::is_move_constructible_v<AnyProxy> && std::is_move_assignable_v<AnyProxy>);
static_assert(std::is_enum_v<plugins::PluginType_> && std::is_enum_v<plugins::PluginLoadOrder_>);
PIN(&BasePluginProxy::createPlugin, BasePlugin* (BasePluginProxy::*)(HTTPCommand*));
PIN(&BasePluginProxy::getPluginName, std::string (BasePluginProxy::*)());
PIN(&BasePluginProxy::getPluginID, plugins::PluginType_ (BasePluginProxy::*)());
PIN(&BasePluginProxy::getPluginVersion, std::string (BasePluginProxy::*)());
PIN(&BasePluginProxy::getRequiredPluginManagerVersion, std::string (BasePluginProxy::*)());
PIN(&BasePluginProxy::getPluginType, plugins::PluginType_ (BasePluginProxy::*)());
PIN(&BasePluginProxy::getPluginLoadOrder, plugins::PluginLoadOrder_ (BasePluginProxy::*)());
PIN(&BasePluginProxy::startup, void (BasePluginProxy::*)(launcher::Preferences*, const PluginManager*));
PIN(&BasePluginProxy::shutdown, void (BasePluginProxy::*)());
PIN(&BasePluginProxy::getSupportedRestApis, const std::vector<RestApi>& (BasePluginProxy::*)() const);
PIN(&BasePluginProxy::getRequiredRestApis, const std::vector<RestApi>& (BasePluginProxy::*)() const);
PIN(&BasePluginProxy::getPluginManager, const PluginManager* (BasePluginProxy::*)() const);
PIN(&AnyProxy::mManager, const PluginManager* BasePluginProxy::*);
PIN(&AnyProxy::mSupportedRestApis, std::vector<RestApi> BasePluginProxy::*);
PIN(&AnyProxy::mRequiredRestApis, std::vector<RestApi> BasePluginProxy::*);

TEST(PluginsContract, ProxyKeepsItsSlots) {
  EXPECT_EQ(slotOf(&BasePluginProxy::createPlugin), 0u);
  EXPECT_EQ(slotOf(&BasePluginProxy::getPluginName), 1u);
  EXPECT_EQ(slotOf(&BasePluginProxy::getPluginID), 2u);
  EXPECT_EQ(slotOf(&BasePluginProxy::getPluginVersion), 3u);
  EXPECT_EQ(slotOf(&BasePluginProxy::getRequiredPluginManagerVersion), 4u);
  EXPECT_EQ(slotOf(&BasePluginProxy::getPluginType), 5u);
  EXPECT_EQ(slotOf(&BasePluginProxy::getPluginLoadOrder), 6u);
  EXPECT_EQ(slotOf(&BasePluginProxy::startup), 7u);
  EXPECT_EQ(slotOf(&BasePluginProxy::shutdown), 8u);
}

TEST(PluginsContract, ProxyKeepsTheOrderOfItsFields) {
  AnyProxy proxy(nullptr);
  const auto address = [](const auto& field) { return reinterpret_cast<std::uintptr_t>(&field); };
  EXPECT_LT(address(proxy.mManager), address(proxy.mSupportedRestApis));
  EXPECT_LT(address(proxy.mSupportedRestApis), address(proxy.mRequiredRestApis));
}

TEST(PluginsContract, ProxyKeepsTheValuesOfTheBase) {
  AnyProxy proxy(nullptr);
  EXPECT_EQ(proxy.getPluginID(), 0);
  EXPECT_EQ(proxy.getPluginType(), 0);
  EXPECT_EQ(proxy.getPluginVersion(), "1.00.00");
  EXPECT_EQ(proxy.getRequiredPluginManagerVersion(), "1.00.00");
  EXPECT_EQ(proxy.getPluginLoadOrder(), 600);
  EXPECT_EQ(plugins::PLUGIN_TYPE_SERVER_DISCOVERY, 2);
  EXPECT_EQ(plugins::LOAD_ORDER_SERVER_DISCOVERY, 300);
}

// BasePlugin
using Handler = HTTPCommand::HTTPStatus_(const std::map<std::string, std::string>&, const json::Object&, json::Object&);

class AnyPlugin : public BasePlugin {
 public:
  AnyPlugin(HTTPCommand* command, const BasePluginProxy* proxy) : BasePlugin(command, proxy) {}
  using BasePlugin::addPluginApi;
  using BasePlugin::getHTTPCommand;
};

static_assert(std::has_virtual_destructor_v<BasePlugin>);
static_assert(!std::is_constructible_v<BasePlugin, HTTPCommand*, const BasePluginProxy*>);  // protected
static_assert(std::is_same_v<BasePlugin::Handler, std::function<Handler>>);
PIN(&BasePlugin::doGET, void (BasePlugin::*)());
PIN(&BasePlugin::doPOST, void (BasePlugin::*)());
PIN(&BasePlugin::doPUT, void (BasePlugin::*)());
PIN(&BasePlugin::doDELETE, void (BasePlugin::*)());
PIN(&BasePlugin::getRegisteredRestApis, std::map<const RestApi, BasePluginProxy*>& (*)());
PIN(&AnyPlugin::addPluginApi, void (BasePlugin::*)(unsigned int, std::function<Handler>));
PIN(&AnyPlugin::getHTTPCommand, HTTPCommand* (BasePlugin::*)() const);
using Execute = HTTPCommand::HTTPStatus_ (BasePlugin::*)(const RestApi*, json::Object&) const;
using ExecuteWithBody = HTTPCommand::HTTPStatus_ (BasePlugin::*)(const RestApi*, const json::Object&,
                                                                 json::Object&) const;
static_assert(contract::kExists<static_cast<Execute>(&BasePlugin::executePlugin)>);
static_assert(contract::kExists<static_cast<ExecuteWithBody>(&BasePlugin::executePlugin)>);

TEST(PluginsContract, PluginKeepsItsSlots) {
  EXPECT_EQ(slotOf(&BasePlugin::doGET), 0u);
  EXPECT_EQ(slotOf(&BasePlugin::doPOST), 1u);
  EXPECT_EQ(slotOf(&BasePlugin::doPUT), 2u);
  EXPECT_EQ(slotOf(&BasePlugin::doDELETE), 3u);
}

}  // namespace
