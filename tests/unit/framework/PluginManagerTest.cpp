#include <atomic>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/SessionManager.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Exceptions.h"
#include "support/FakePlugin.h"
#include "support/LogCapture.h"
#include "support/Requests.h"
#include "support/Wait.h"

namespace {

using http::HTTPCommand;
using http::RestApi;
using launcher::PluginManager;
using support::FakePlugin;
using support::Request;
using support::request;
using support::requestInProcess;
using support::written;

std::atomic<int> gLivingProxies;
std::atomic<int> gLivingPlugins;

class CountedPlugin : public plugins::BasePlugin {
 public:
  CountedPlugin(HTTPCommand* command, const plugins::BasePluginProxy* proxy) : BasePlugin(command, proxy) {
    ++gLivingPlugins;
    addPluginApi(0, [](auto&, auto&, auto&) { return HTTPCommand::HTTP_OK; });
    addPluginApi(1, [](auto&, auto&, auto&) -> HTTPCommand::HTTPStatus_ { throw std::runtime_error("no luck"); });
  }
  ~CountedPlugin() override { --gLivingPlugins; }
};

/// Serves "/counted", which answers, and "/failing", which does not.
class CountedProxy : public plugins::BasePluginProxy {
 public:
  explicit CountedProxy(const PluginManager* manager) : BasePluginProxy(manager) {
    ++gLivingProxies;
    mSupportedRestApis = {{RestApi::GET, "/counted", false}, {RestApi::GET, "/failing", false}};
  }
  ~CountedProxy() override { --gLivingProxies; }
  plugins::BasePlugin* createPlugin(HTTPCommand* command) override { return new CountedPlugin(command, this); }
};

FakePlugin::Handler returning(HTTPCommand::HTTPStatus_ status) {
  return [status](const Request&, json::Object&) { return status; };
}

FakePlugin::Handler naming(const std::string& name) {
  return [name](const Request&, json::Object& response) {
    response["name"] = json::String(name);
    return HTTPCommand::HTTP_OK;
  };
}

template <typename Exception>
FakePlugin::Handler throwing(Exception exception) {
  return [exception](const Request&, json::Object& response) -> HTTPCommand::HTTPStatus_ {
    response["half"] = json::String("done");
    throw exception;
  };
}

class PluginManagerTest : public testing::Test {
 protected:
  PluginManager& manager() { return mGuard.manager(); }

  support::ManagerGuard mGuard;
  FakePlugin mPlugin;
};

TEST(PluginManager, IsOneOfTheFirstVersionUnlessReplaced) {
  PluginManager* const standard = PluginManager::get_instance();
  ASSERT_NE(standard, nullptr);
  EXPECT_EQ(standard->getVersion(), "1.00.00");
  {
    support::ManagerGuard guard("0.99");
    EXPECT_EQ(PluginManager::get_instance(), &guard.manager());
    EXPECT_EQ(PluginManager::get_instance()->getVersion(), "0.99");
  }
  EXPECT_EQ(PluginManager::get_instance(), standard);
}

TEST_F(PluginManagerTest, MakesCommandsBoundToNoClient) {
  const std::unique_ptr<HTTPCommand> first(manager().getDummyHTTPCommand());
  const std::unique_ptr<HTTPCommand> second(manager().getDummyHTTPCommand());
  ASSERT_NE(first, nullptr);
  EXPECT_NE(first, second);
  EXPECT_EQ(first->getOrigin(), HTTPCommand::ORIGIN_PROCESS);
}

TEST_F(PluginManagerTest, RunsTheHandlerWithWhatTheRequestHolds) {
  mPlugin.post("/1.0/servers/{server_id}/operations/discovery", [](const Request& asked, json::Object& response) {
    EXPECT_TRUE(response.Empty());
    response["id"] = json::String(asked.parameter("{server_id}"));
    response["body"] = asked.body;
    response["cookies"] = json::String(asked.cookies());
    response["uri"] = json::String(asked.command.getRequestVariable("REQUEST_URI"));
    return HTTPCommand::HTTP_OK;
  });
  const auto answer =
      request(RestApi::POST, "/1.0/servers/a%20b/operations/discovery?x", support::parsed(R"({"c":1})"), "k=v");
  EXPECT_EQ(answer.status, HTTPCommand::HTTP_OK);
  EXPECT_EQ(written(answer.body),
            R"({"id":"a b","body":{"c":1},"cookies":"k=v","uri":"/1.0/servers/a%20b/operations/discovery?x"})");
}

TEST_F(PluginManagerTest, LeavesTheStatusThatTheHandlerReturned) {
  mPlugin.get("/a", [](const Request&, json::Object& response) {
    response["own"] = json::Boolean(true);
    return HTTPCommand::HTTP_GATEWAY_TIMEOUT;
  });
  const auto answer = request(RestApi::GET, "/a");
  EXPECT_EQ(answer.status, HTTPCommand::HTTP_GATEWAY_TIMEOUT);
  EXPECT_EQ(written(answer.body), R"({"own":true})");
}

TEST_F(PluginManagerTest, AnswersNotFoundWithAStatusBlock) {
  mPlugin.get("/a", naming("a"));
  for (const char* path : {"/b", "", "/", "/a/", "/a/b", "/A", "/%zz"}) {
    const auto answer = request(RestApi::GET, path);
    EXPECT_EQ(answer.status, HTTPCommand::HTTP_NOT_FOUND) << path;
    EXPECT_EQ(written(answer.body), R"({"status":{"code":404,"desc":"There is no such resource"}})") << path;
  }
}

TEST_F(PluginManagerTest, AnswersMethodNotAllowedWithAStatusBlock) {
  mPlugin.get("/a", naming("a"));
  const auto answer = request(RestApi::DELETE, "/a");
  EXPECT_EQ(answer.status, HTTPCommand::HTTP_METHOD_NOT_ALLOWED);
  EXPECT_EQ(written(answer.body), R"({"status":{"code":405,"desc":"The resource has no DELETE"}})");
}

TEST_F(PluginManagerTest, TellsVerbsOfOneTemplateApart) {
  mPlugin.get("/a", naming("get")).post("/a", naming("post"));
  EXPECT_EQ(written(request(RestApi::GET, "/a").body), R"({"name":"get"})");
  EXPECT_EQ(written(request(RestApi::POST, "/a").body), R"({"name":"post"})");
}

TEST_F(PluginManagerTest, PrefersTheMoreLiteralTemplate) {
  mPlugin.get("/{x}/{y}", naming("none literal"))
      .get("/a/{y}", naming("first literal"))
      .get("/{x}/b", naming("second literal"))
      .get("/a/b", naming("both literal"));
  EXPECT_EQ(written(request(RestApi::GET, "/a/b").body), R"({"name":"both literal"})");
  EXPECT_EQ(written(request(RestApi::GET, "/a/c").body), R"({"name":"first literal"})");
  EXPECT_EQ(written(request(RestApi::GET, "/c/b").body), R"({"name":"second literal"})");
  EXPECT_EQ(written(request(RestApi::GET, "/c/d").body), R"({"name":"none literal"})");
}

TEST_F(PluginManagerTest, FallsBackToALessLiteralTemplateThatHasTheVerb) {
  mPlugin.post("/servers/new", naming("new")).get("/servers/{id}", naming("any"));
  EXPECT_EQ(written(request(RestApi::GET, "/servers/new").body), R"({"name":"any"})");
}

TEST_F(PluginManagerTest, RefusesASecondProxyForAResource) {
  mPlugin.get("/a/{x}", naming("first"));
  CountedProxy second(&manager());
  EXPECT_FALSE(manager().registerPluginProxys(RestApi(RestApi::GET, "/a/{x}", false), &second));
  EXPECT_FALSE(manager().registerPluginProxys(RestApi(RestApi::GET, "/a/{x}", true), &second));
  EXPECT_FALSE(manager().registerPluginProxys(RestApi(RestApi::GET, "/a/{y}", false), &second));
  EXPECT_FALSE(manager().registerInProcess(RestApi(RestApi::GET, "/a/{x}", false), &second));
  EXPECT_EQ(written(request(RestApi::GET, "/a/b").body), R"({"name":"first"})");
}

TEST_F(PluginManagerTest, RefusesNoProxy) {
  EXPECT_FALSE(manager().registerPluginProxys(RestApi(RestApi::GET, "/a", false), nullptr));
  EXPECT_EQ(request(RestApi::GET, "/a").status, HTTPCommand::HTTP_NOT_FOUND);
}

TEST_F(PluginManagerTest, HidesResourcesOfTheProcessFromClients) {
  const RestApi api(RestApi::GET, "/1.0/remoteservercall", true);
  mPlugin.serveInProcess(api, naming("remote"));
  EXPECT_EQ(request(RestApi::GET, "/1.0/remoteservercall").status, HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_EQ(request(RestApi::POST, "/1.0/remoteservercall").status, HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_EQ(manager().find(RestApi::GET, "/1.0/remoteservercall"), nullptr);
  EXPECT_EQ(requestInProcess(RestApi::GET, "/1.0/remoteservercall").status, HTTPCommand::HTTP_OK);
}

TEST_F(PluginManagerTest, FindsTheResourceThatAClientReaches) {
  mPlugin.get("/a/{x}", naming("a"));
  const auto found = manager().find(RestApi::GET, "/a/b?c");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->uri(), "/a/{x}");
  EXPECT_EQ(manager().find(RestApi::POST, "/a/b"), nullptr);
}

TEST_F(PluginManagerTest, KeepsTheRegistryThatPluginsRead) {
  auto& registry = plugins::BasePlugin::getRegisteredRestApis();
  const auto before = registry.size();
  const RestApi api(RestApi::GET, "/registered", false);
  mPlugin.serve(api, naming("a"));
  EXPECT_EQ(registry.size(), before + 1);
  ASSERT_TRUE(registry.contains(api));
  EXPECT_NE(registry.at(api), nullptr);
  mPlugin.serveInProcess(RestApi(RestApi::GET, "/inprocess", true), naming("b"));
  EXPECT_EQ(registry.size(), before + 2);
  mPlugin.unregister();
  EXPECT_EQ(registry.size(), before);
}

TEST_F(PluginManagerTest, OwnsTheProxiesAndDeletesEachOnce) {
  {
    PluginManager other;
    auto* const proxy = new CountedProxy(&other);
    for (const auto& api : proxy->getSupportedRestApis())
      EXPECT_TRUE(other.registerPluginProxys(api, proxy));
    EXPECT_EQ(gLivingProxies, 1);
  }
  EXPECT_EQ(gLivingProxies, 0);
  EXPECT_FALSE(plugins::BasePlugin::getRegisteredRestApis().contains(RestApi(RestApi::GET, "/counted", false)));
}

TEST_F(PluginManagerTest, DeletesThePluginObjectOfEveryRequest) {
  const support::LogCapture log;
  auto* const proxy = new CountedProxy(&manager());
  for (const auto& api : proxy->getSupportedRestApis())
    manager().registerPluginProxys(api, proxy);
  EXPECT_EQ(request(RestApi::GET, "/counted").status, HTTPCommand::HTTP_OK);
  EXPECT_EQ(gLivingPlugins, 0);
  EXPECT_EQ(request(RestApi::GET, "/failing").status, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
  EXPECT_EQ(gLivingPlugins, 0);
}

TEST_F(PluginManagerTest, ReportsAnInputExceptionWithItsStatusAndMessage) {
  mPlugin.get("/a", throwing(utils::InputException("Handler.cpp", 497, "Server not found")))
      .get("/b", throwing(utils::InputException("Handler.cpp", 1, "Gone", 404)))
      .get("/c", throwing(utils::InputException("Handler.cpp", 1, "Schema validation error", 69633)));
  const auto answer = request(RestApi::GET, "/a");
  EXPECT_EQ(answer.status, HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(written(answer.body), R"({"status":{"code":400,"desc":"Server not found"}})");
  EXPECT_EQ(request(RestApi::GET, "/b").status, HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_EQ(request(RestApi::GET, "/c").status, HTTPCommand::HTTP_BAD_REQUEST);
}

TEST_F(PluginManagerTest, ReportsAPluginExceptionWithItsStatusAndMessage) {
  mPlugin.get("/a", throwing(utils::PluginException("Handler.cpp", 1, "No details")))
      .get("/b", throwing(utils::PluginException("Handler.cpp", 1, "Busy", 503)))
      .get("/c", throwing(utils::PluginException("Handler.cpp", 1, "Odd", 200)));
  const auto answer = request(RestApi::GET, "/a");
  EXPECT_EQ(answer.status, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
  EXPECT_EQ(written(answer.body), R"({"status":{"code":500,"desc":"No details"}})");
  EXPECT_EQ(request(RestApi::GET, "/b").status, HTTPCommand::HTTP_SERVICE_UNAVAILABLE);
  EXPECT_EQ(request(RestApi::GET, "/c").status, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
}

TEST_F(PluginManagerTest, KeepsTheReasonsOfInternalErrorsToTheLog) {
  const support::LogCapture log;
  mPlugin.get("/a", throwing(std::runtime_error("/etc/secret")))
      .get("/b", throwing(7))
      .get("/c", throwing(utils::AppException("Handler.cpp", 12, "/etc/secret")));
  for (const char* path : {"/a", "/b", "/c"}) {
    const auto answer = request(RestApi::GET, path);
    EXPECT_EQ(answer.status, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
    EXPECT_EQ(written(answer.body), R"({"status":{"code":500,"desc":"Internal error"}})");
  }
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "PluginManager:execute: GET /a failed:/etc/secret"));
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "PluginManager:execute: GET /b failed:unknown exception"));
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "PluginManager:execute: GET /c failed:Handler.cpp:12: /etc/secret"));
}

TEST_F(PluginManagerTest, IsAnInternalErrorWhenTheHandlerLeavesNoStatus) {
  const support::LogCapture log;
  mPlugin.get("/a", returning(HTTPCommand::HTTP_NONE));
  EXPECT_EQ(request(RestApi::GET, "/a").status, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
}

class ProxyOfNothing : public plugins::BasePluginProxy {
 public:
  using BasePluginProxy::BasePluginProxy;
  plugins::BasePlugin* createPlugin(HTTPCommand*) override { return nullptr; }
};

TEST_F(PluginManagerTest, IsAnInternalErrorWhenTheProxyMakesNoPluginObject) {
  const support::LogCapture log;
  ASSERT_TRUE(manager().registerPluginProxys(RestApi(RestApi::GET, "/a", false), new ProxyOfNothing(&manager())));
  EXPECT_EQ(request(RestApi::GET, "/a").status, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
}

TEST_F(PluginManagerTest, RefusesNoCommand) {
  EXPECT_EQ(manager().execute(nullptr), HTTPCommand::HTTP_BAD_REQUEST);
}

TEST_F(PluginManagerTest, GivesTheHandlerAnEmptyResponseObject) {
  mPlugin.get("/a", [](const Request&, json::Object& response) {
    EXPECT_TRUE(response.Empty());
    return HTTPCommand::HTTP_OK;
  });
  const RestApi api(RestApi::GET, "/a", false);
  http::Command origin;
  json::Object response = support::parsed(R"({"left":"over"})");
  const std::unique_ptr<HTTPCommand> command(origin.createCommand(&api, json::Object(), response));
  EXPECT_EQ(manager().execute(command.get()), HTTPCommand::HTTP_OK);
  EXPECT_TRUE(response.Empty());
}

TEST_F(PluginManagerTest, CountsTheCallOfASession) {
  const support::LogCapture log;
  auto& sessions = launcher::SessionManager::get_instance()->sessions();
  sessions[http::SessionID("s1")] = {};
  mPlugin.get("/a", [&](const Request&, json::Object&) {
    EXPECT_EQ(sessions.at(http::SessionID("s1")).callsInProgress, 1);
    return HTTPCommand::HTTP_OK;
  });
  EXPECT_EQ(request(RestApi::GET, "/a", {}, "kvtSession=s1").status, HTTPCommand::HTTP_OK);
  EXPECT_EQ(sessions.at(http::SessionID("s1")).callsInProgress, 0);
  sessions.clear();
}

TEST_F(PluginManagerTest, LetsAHandlerExecuteOtherCommands) {
  mPlugin.get("/inner", naming("inner")).get("/outer", [](const Request&, json::Object& response) {
    response = requestInProcess(RestApi::GET, "/inner").body;
    return HTTPCommand::HTTP_OK;
  });
  EXPECT_EQ(written(request(RestApi::GET, "/outer").body), R"({"name":"inner"})");
}

TEST_F(PluginManagerTest, UnregisterWaitsForTheRequestsOfItsProxiesOnly) {
  std::atomic<bool> inside = false;
  std::latch release(1);
  auto leaving = std::make_unique<FakePlugin>();
  leaving->get("/leaving", [&](const Request&, json::Object&) {
    inside = true;
    release.wait();
    return HTTPCommand::HTTP_OK;
  });
  mPlugin.get("/staying", naming("staying"));

  std::thread client([] { EXPECT_EQ(request(RestApi::GET, "/leaving").status, HTTPCommand::HTTP_OK); });
  ASSERT_TRUE(support::waitFor([&] { return inside.load(); }));
  std::atomic<bool> unregistered = false;
  std::thread host([&] {
    leaving->unregister();
    unregistered = true;
  });
  // The resource is gone at once, its request is not, and the others go on.
  EXPECT_TRUE(support::waitFor([&] { return manager().find(RestApi::GET, "/leaving") == nullptr; }));
  EXPECT_EQ(request(RestApi::GET, "/leaving").status, HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_EQ(request(RestApi::GET, "/staying").status, HTTPCommand::HTTP_OK);
  EXPECT_FALSE(unregistered);
  release.count_down();
  host.join();
  client.join();
  EXPECT_TRUE(unregistered);
}

TEST_F(PluginManagerTest, AHandlerMayExecuteCommandsWhileAnotherProxyIsUnregistered) {
  std::latch bothInside(2);
  std::latch release(1);
  auto leaving = std::make_unique<FakePlugin>();
  leaving->get("/leaving", [&](const Request&, json::Object& response) {
    bothInside.count_down();
    release.wait();
    response = requestInProcess(RestApi::GET, "/inner").body;
    return HTTPCommand::HTTP_OK;
  });
  mPlugin.get("/inner", naming("inner"));
  std::thread client([] { EXPECT_EQ(written(request(RestApi::GET, "/leaving").body), R"({"name":"inner"})"); });
  bothInside.arrive_and_wait();
  std::thread host([&] { leaving->unregister(); });
  EXPECT_TRUE(support::waitFor([&] { return manager().find(RestApi::GET, "/leaving") == nullptr; }));
  release.count_down();
  host.join();
  client.join();
}

TEST_F(PluginManagerTest, UnregisterPassesOverStrangers) {
  CountedProxy stranger(&manager());
  manager().unregister({&stranger, nullptr});
  EXPECT_EQ(gLivingProxies, 1);
}

TEST_F(PluginManagerTest, ServesWhileResourcesComeAndGo) {
  mPlugin.get("/staying", naming("staying"));
  std::atomic<bool> stop = false;
  std::vector<std::thread> clients;
  for (int i = 0; i < 3; ++i) {
    clients.emplace_back([&] {
      while (!stop) {
        EXPECT_EQ(request(RestApi::GET, "/staying").status, HTTPCommand::HTTP_OK);
        const auto status = request(RestApi::GET, "/passing").status;
        EXPECT_TRUE(status == HTTPCommand::HTTP_OK || status == HTTPCommand::HTTP_NOT_FOUND);
      }
    });
  }
  for (int round = 0; round < 100; ++round) {
    FakePlugin passing;
    passing.get("/passing", naming("passing"));
    EXPECT_EQ(request(RestApi::GET, "/passing").status, HTTPCommand::HTTP_OK);
  }
  stop = true;
  for (auto& client : clients)
    client.join();
}

}  // namespace
