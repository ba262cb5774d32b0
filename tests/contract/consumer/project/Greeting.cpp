// A plug-in as somebody else writes it: one resource, GET /1.0/greeting.
#include "framework/http/HTTPCommand.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "json/elements.h"
#include "plugins/PluginExports.h"
#include "plugins/PluginRegistration.h"

namespace {

class Greeting : public plugins::BasePlugin {
 public:
  Greeting(http::HTTPCommand* command, const plugins::BasePluginProxy* proxy) : BasePlugin(command, proxy) {
    addPluginApi(0, [](const std::map<std::string, std::string>&, const json::Object&, json::Object& response) {
      response["greeting"] = json::String("hello from elsewhere");
      return http::HTTPCommand::HTTP_OK;
    });
  }
};

class GreetingProxy : public plugins::BasePluginProxy {
 public:
  explicit GreetingProxy(const launcher::PluginManager* manager) : BasePluginProxy(manager) {
    mSupportedRestApis.emplace_back(http::RestApi::GET, "/1.0/greeting", false);
  }
  plugins::BasePlugin* createPlugin(http::HTTPCommand* command) override { return new Greeting(command, this); }
};

const plugins::PluginRegistration<GreetingProxy> registration;

}  // namespace

unsigned int getID() {
  return 950;
}

std::map<const http::RestApi, plugins::BasePluginProxy*> getRegisteredRestApis() {
  return plugins::BasePlugin::getRegisteredRestApis();
}
