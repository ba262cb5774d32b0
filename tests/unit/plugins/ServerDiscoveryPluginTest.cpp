#include "PluginTest.h"
#include "framework/http/Command.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

constexpr const char* kConstructor = "plugins::ServerDiscoveryPlugin::ServerDiscoveryPlugin";
constexpr const char* kBinding = "plugins::ServerDiscoveryPlugin::initializePluginApis";
constexpr const char* kDestructor = "plugins::ServerDiscoveryPlugin::~ServerDiscoveryPlugin";

const std::vector<std::string>& handlers() {
  static const std::vector<std::string> handlers = {
      "plugins::ServerDiscoveryPlugin::getDiscoveredServers", "plugins::ServerDiscoveryPlugin::manualDiscovery",
      "plugins::ServerDiscoveryPlugin::postManualDiscoverySearch", "plugins::ServerDiscoveryPlugin::getSearchedServer"};
  return handlers;
}

class ServerDiscoveryPluginTest : public PluginTest {
 protected:
  std::vector<std::string> handlersCalled() const {
    std::vector<std::string> called;
    for (const std::string& text : log.texts(utils::LOG_TRACE)) {
      if (testing::Matches(testing::Contains(text))(handlers())) called.push_back(text);
    }
    return called;
  }
};

struct Route {
  http::RestApi::RestVerb_ verb;
  const char* path;
  std::size_t handler;
};

TEST_F(ServerDiscoveryPluginTest, BindsEachResourceToItsHandler) {
  const Route routes[] = {{http::RestApi::GET, "/1.0/servers", 0},
                          {http::RestApi::GET, "/1.0/servers/local/operations/discovery", 1},
                          {http::RestApi::POST, "/1.0/servers/local/operations/discovery", 2},
                          {http::RestApi::GET, "/1.0/searchedserver/10.0.0.5", 3}};
  for (const Route& route : routes) {
    log.clear();
    support::request(route.verb, route.path);
    EXPECT_THAT(handlersCalled(), testing::ElementsAre(handlers()[route.handler])) << route.path;
  }
}

TEST_F(ServerDiscoveryPluginTest, HandsThePathParametersOn) {
  const auto answer = get("/1.0/servers/alpha/operations/discovery");
  EXPECT_EQ(textOrNone(answer.body, {"value", "upon", "uri"}), "/1.0/servers/alpha");
}

TEST_F(ServerDiscoveryPluginTest, IsNotReachedByARequestForAnythingElse) {
  const Route others[] = {{http::RestApi::GET, "/1.0/servers/alpha", 404},
                          {http::RestApi::GET, "/1.0/server", 404},
                          {http::RestApi::GET, "/1.0/servers/alpha/operations", 404},
                          {http::RestApi::GET, "/1.0/searchedserver/a/b", 404},
                          {http::RestApi::POST, "/1.0/servers", 405},
                          {http::RestApi::PUT, "/1.0/servers/alpha/operations/discovery", 405},
                          {http::RestApi::DELETE, "/1.0/searchedserver/10.0.0.5", 405}};
  for (const Route& other : others) {
    const auto answer = support::request(other.verb, other.path);
    EXPECT_EQ(static_cast<std::size_t>(answer.status), other.handler) << other.path;
  }
  EXPECT_THAT(handlersCalled(), testing::IsEmpty());
}

TEST_F(ServerDiscoveryPluginTest, ServesNoCommandOfAnotherResource) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  http::Command command({http::RestApi::GET, "/1.0/other", "/1.0/other", "", "", {}});
  ServerDiscoveryPlugin plugin(&command, &proxy);
  plugin.doGET();
  EXPECT_EQ(command.getHTTPStatus(), http::HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_THAT(handlersCalled(), testing::IsEmpty());
}

TEST_F(ServerDiscoveryPluginTest, TracesItsLife) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  http::Command command;
  log.clear();
  { const ServerDiscoveryPlugin plugin(&command, &proxy); }
  EXPECT_THAT(log.texts(utils::LOG_TRACE),
              testing::IsSupersetOf({std::string(kConstructor), std::string(kBinding), std::string(kDestructor)}));
  EXPECT_EQ(log.texts(utils::LOG_TRACE).front(), kConstructor);
}

TEST_F(ServerDiscoveryPluginTest, DoesNotRecordARequestObjectAsTheServiceObject) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  http::Command command;
  const ServerDiscoveryPlugin plugin(&command, &proxy);
  EXPECT_EQ(PluginState::instance().servicePlugin(), nullptr);
}

TEST_F(ServerDiscoveryPluginTest, ReplacesTheServiceObjectByTheOneMadeLast) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  PluginState& state = PluginState::instance();
  log.clear();
  ServerDiscoveryPlugin first(&managerGuard.manager(), &proxy);
  EXPECT_EQ(log.count(kConstructor), 1u);
  EXPECT_EQ(log.count(kBinding), 1u);
  EXPECT_EQ(state.servicePlugin(), &first);
  ServerDiscoveryPlugin second(&managerGuard.manager(), &proxy);
  EXPECT_EQ(state.servicePlugin(), &second);
  state.forgetServicePlugin(&second);
}

TEST_F(ServerDiscoveryPluginTest, AsksForTheHostsResourcesAsAService) {
  serveDetails(serverRecord("local", "10.0.0.1"));
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  ServerDiscoveryPlugin service(&managerGuard.manager(), &proxy);
  const http::RestApi details(http::RestApi::GET, "/1.0/servers/local", false);
  json::Object reply;
  EXPECT_EQ(service.executePlugin(&details, reply), http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(textOrNone(reply, {"value", "properties", "displayId"}), "local");
  PluginState::instance().forgetServicePlugin(&service);
}

TEST_F(ServerDiscoveryPluginTest, EndsItsCommandWithTheRegistration) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  ServerDiscoveryPlugin service(&managerGuard.manager(), &proxy);
  EXPECT_EQ(service.deRegisterServiceDiscovery(), 0);
  EXPECT_TRUE(log.contains("RemoteServerDiscovery::deRegisterSLPService"));
  PluginState::instance().forgetServicePlugin(&service);
}

}  // namespace
}  // namespace plugins
