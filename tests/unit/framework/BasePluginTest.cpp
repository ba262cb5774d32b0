#include <memory>

#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "support/FakePlugin.h"
#include "support/Requests.h"

namespace one::two {

class PlainPluginProxy : public plugins::BasePluginProxy {
 public:
  explicit PlainPluginProxy(const launcher::PluginManager* manager) : BasePluginProxy(manager) {
    mSupportedRestApis = {{http::RestApi::GET, "/a", false}, {http::RestApi::POST, "/a", false}};
  }
  plugins::BasePlugin* createPlugin(http::HTTPCommand*) override { return nullptr; }
};

class ProxyOfAProxyProxyX : public PlainPluginProxy {
 public:
  using PlainPluginProxy::PlainPluginProxy;
};

class Nameless : public PlainPluginProxy {
 public:
  using PlainPluginProxy::PlainPluginProxy;
};

}  // namespace one::two

namespace {

using http::HTTPCommand;
using http::RestApi;
using one::two::PlainPluginProxy;

class Plugin : public plugins::BasePlugin {
 public:
  Plugin(HTTPCommand* command, const plugins::BasePluginProxy* proxy) : BasePlugin(command, proxy) {}
  using BasePlugin::addPluginApi;
  using BasePlugin::getHTTPCommand;
};

TEST(BasePluginProxy, IsNamedAfterItsClass) {
  EXPECT_EQ(PlainPluginProxy(nullptr).getPluginName(), "PlainPlugin");
  EXPECT_EQ(one::two::ProxyOfAProxyProxyX(nullptr).getPluginName(), "ProxyOfAProxy");
  EXPECT_EQ(one::two::Nameless(nullptr).getPluginName(), "Nameless");
}

TEST(BasePluginProxy, HasTheValuesOfTheBase) {
  PlainPluginProxy proxy(nullptr);
  EXPECT_EQ(proxy.getPluginID(), 0);
  EXPECT_EQ(proxy.getPluginType(), 0);
  EXPECT_EQ(proxy.getPluginVersion(), "1.00.00");
  EXPECT_EQ(proxy.getRequiredPluginManagerVersion(), "1.00.00");
  EXPECT_EQ(proxy.getPluginLoadOrder(), 600);
  EXPECT_EQ(proxy.getSupportedRestApis().size(), 2u);
  EXPECT_TRUE(proxy.getRequiredRestApis().empty());
  proxy.shutdown();
}

TEST(BasePluginProxy, KeepsTheManagerOfItsStartup) {
  launcher::PluginManager first;
  launcher::PluginManager second;
  PlainPluginProxy proxy(&first);
  EXPECT_EQ(proxy.getPluginManager(), &first);
  proxy.startup(nullptr, &second);
  EXPECT_EQ(proxy.getPluginManager(), &second);
}

TEST(BasePluginProxy, CanBeCopiedAndMoved) {
  launcher::PluginManager manager;
  PlainPluginProxy proxy(&manager);
  PlainPluginProxy copy(proxy);
  EXPECT_EQ(copy.getPluginManager(), &manager);
  EXPECT_EQ(copy.getSupportedRestApis(), proxy.getSupportedRestApis());
  const PlainPluginProxy moved(std::move(copy));
  EXPECT_EQ(moved.getSupportedRestApis(), proxy.getSupportedRestApis());
}

class BasePluginTest : public testing::Test {
 protected:
  /// A command that the dispatch has matched with a resource.
  static void aim(http::Command& command, const RestApi& api) { command.setMatch(api, {{"{id}", "7"}}); }

  PlainPluginProxy mProxy{nullptr};
};

TEST_F(BasePluginTest, CallsTheHandlerOfTheCommandsResource) {
  http::Command command;
  aim(command, RestApi(RestApi::POST, "/a", false));
  Plugin plugin(&command, &mProxy);
  plugin.addPluginApi(0, [](auto&, auto&, auto&) { return HTTPCommand::HTTP_NOT_FOUND; });
  plugin.addPluginApi(1, [](auto& parameters, auto&, json::Object& response) {
    response["id"] = json::String(parameters.at("{id}"));
    return HTTPCommand::HTTP_OK;
  });
  plugin.doPOST();
  EXPECT_EQ(command.getHTTPStatus(), HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(command.getResponseBody()), R"({"id":"7"})");
  EXPECT_EQ(plugin.getHTTPCommand(), &command);
}

TEST_F(BasePluginTest, AnswersNotFoundWithoutAHandler) {
  for (const auto& api :
       {RestApi(RestApi::GET, "/a", false), RestApi(RestApi::GET, "/b", false), RestApi(RestApi::GET, "/a", true)}) {
    http::Command command;
    aim(command, api);
    Plugin plugin(&command, &mProxy);
    plugin.addPluginApi(1, [](auto&, auto&, auto&) { return HTTPCommand::HTTP_OK; });
    plugin.addPluginApi(2, [](auto&, auto&, auto&) { return HTTPCommand::HTTP_OK; });
    plugin.doGET();
    EXPECT_EQ(command.getHTTPStatus(), HTTPCommand::HTTP_NOT_FOUND) << api.to_string();
  }
}

TEST_F(BasePluginTest, LetsWhatAHandlerThrowsPassThrough) {
  http::Command command;
  aim(command, RestApi(RestApi::GET, "/a", false));
  Plugin plugin(&command, &mProxy);
  plugin.addPluginApi(0, [](auto&, auto&, auto&) -> HTTPCommand::HTTPStatus_ { throw 7; });
  EXPECT_THROW(plugin.doGET(), int);
}

TEST_F(BasePluginTest, DispatchesEveryVerbAlike) {
  for (void (plugins::BasePlugin::*run)() : {&plugins::BasePlugin::doGET, &plugins::BasePlugin::doPOST,
                                             &plugins::BasePlugin::doPUT, &plugins::BasePlugin::doDELETE}) {
    http::Command command;
    aim(command, RestApi(RestApi::GET, "/a", false));
    Plugin plugin(&command, &mProxy);
    plugin.addPluginApi(0, [](auto&, auto&, auto&) { return HTTPCommand::HTTP_OK; });
    (plugin.*run)();
    EXPECT_EQ(command.getHTTPStatus(), HTTPCommand::HTTP_OK);
  }
}

TEST_F(BasePluginTest, WithoutACommandDoesNothing) {
  Plugin plugin(nullptr, nullptr);
  plugin.doGET();
  json::Object response;
  const RestApi api(RestApi::GET, "/a", false);
  EXPECT_EQ(plugin.executePlugin(&api, response), HTTPCommand::HTTP_BAD_REQUEST);
}

/// A service object: it serves no client and asks with a command of the manager.
class ExecutePlugin : public BasePluginTest {
 protected:
  ExecutePlugin() {
    mHost.get("/1.0/servers/{server_id}", [](const support::Request& request, json::Object& response) {
      response["id"] = json::String(request.parameter("{server_id}"));
      return HTTPCommand::HTTP_OK;
    });
    mHost.serveInProcess(RestApi(RestApi::POST, "/1.0/searchserver_", false),
                         [](const support::Request& request, json::Object& response) {
                           response["asked"] = request.body;
                           return HTTPCommand::HTTP_GATEWAY_TIMEOUT;
                         });
  }

  support::ManagerGuard mManager;
  support::FakePlugin mHost;
  const std::unique_ptr<HTTPCommand> mCommand{mManager.manager().getDummyHTTPCommand()};
  const Plugin mPlugin{mCommand.get(), &mProxy};
  json::Object mResponse = support::parsed(R"({"left":"over"})");
};

TEST_F(ExecutePlugin, FillsTheObjectWithTheBodyOfTheAnswer) {
  const RestApi api(RestApi::GET, "/1.0/servers/local", false);
  EXPECT_EQ(mPlugin.executePlugin(&api, mResponse), HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(mResponse), R"({"id":"local"})");
}

TEST_F(ExecutePlugin, CarriesABody) {
  const RestApi api(RestApi::POST, "/1.0/searchserver_", false);
  EXPECT_EQ(mPlugin.executePlugin(&api, support::parsed(R"({"a":1})"), mResponse), HTTPCommand::HTTP_GATEWAY_TIMEOUT);
  EXPECT_EQ(support::written(mResponse), R"({"asked":{"a":1}})");
}

TEST_F(ExecutePlugin, MayAnswerIntoTheObjectThatItAskedWith) {
  const RestApi api(RestApi::POST, "/1.0/searchserver_", false);
  json::Object both = support::parsed(R"({"a":1})");
  mPlugin.executePlugin(&api, both, both);
  EXPECT_EQ(support::written(both), R"({"asked":{"a":1}})");
}

TEST_F(ExecutePlugin, LeavesTheOwnCommandAlone) {
  const RestApi api(RestApi::GET, "/1.0/servers/local", false);
  mPlugin.executePlugin(&api, mResponse);
  EXPECT_EQ(mCommand->getHTTPStatus(), HTTPCommand::HTTP_NONE);
  EXPECT_TRUE(mCommand->getResponseBody().Empty());
}

TEST_F(ExecutePlugin, FillsInTheStatusBlockOfAFailure) {
  const RestApi api(RestApi::GET, "/nowhere", false);
  EXPECT_EQ(mPlugin.executePlugin(&api, mResponse), HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_EQ(support::written(mResponse), R"({"status":{"code":404,"desc":"There is no such resource"}})");
}

TEST_F(ExecutePlugin, IsABadRequestWithoutAResource) {
  EXPECT_EQ(mPlugin.executePlugin(nullptr, mResponse), HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(mPlugin.executePlugin(nullptr, json::Object(), mResponse), HTTPCommand::HTTP_BAD_REQUEST);
}

TEST_F(ExecutePlugin, IsABadRequestWithoutAManager) {
  launcher::PluginManager* const before = launcher::PluginManager::set_instance(nullptr);
  const RestApi api(RestApi::GET, "/1.0/servers/local", false);
  EXPECT_EQ(mPlugin.executePlugin(&api, mResponse), HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(support::written(mResponse), R"({"left":"over"})");
  launcher::PluginManager::set_instance(before);
}

}  // namespace
