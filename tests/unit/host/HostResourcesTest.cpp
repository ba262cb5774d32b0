#include <gtest/gtest.h>

#include "framework/launcher/Preferences.h"
#include "host/resources/HostResources.h"
#include "json/lookup.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"
#include "unit/host/AskAnybody.h"
#include "unit/host/ScriptedServer.h"

namespace {

using host::HostResources;
using http::HTTPCommand;
using http::RestApi;

class HostResourcesTest : public testing::Test {
 protected:
  HostResourcesTest() {
    mSystem.setServerId("server-1");
    mSystem.setAddresses({"10.0.0.1"}, {"fd00::1"});
  }

  json::Object details(const std::string& cookies = "") {
    const auto answer = support::request(RestApi::GET, "/1.0/servers/self", {}, cookies);
    EXPECT_EQ(answer.status, HTTPCommand::HTTP_OK);
    return answer.body;
  }

  support::ManagerGuard mManager;
  support::PreferencesGuard mPreferences;
  support::FakeSystem mSystem;
  HostResources mResources{
      mManager.manager(), *launcher::Preferences::get_instance(), {{"::", 8443, "http"}}, host_test::askAnybody};
};

TEST_F(HostResourcesTest, TellTheServersDetails) {
  const auto body = details();
  EXPECT_EQ(json::numberAt(body, {"status", "code"}), 0);
  EXPECT_EQ(json::textAt(body, {"status", "desc"}), "Success");
  const auto* value = json::objectAt(body, {"value"});
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->Size(), 1U) << "the properties and nothing else";
  EXPECT_EQ(json::textAt(*value, {"properties", "displayId"}), "server-1");
  EXPECT_EQ(json::arrayAt(*value, {"properties", "os", "network", "nics"})->Size(), 1U);
  EXPECT_NE(json::textAt(*value, {"properties", "os", "name"}), "");
  EXPECT_EQ(json::objectAt(*value, {"properties", "os", "network", "lastCommunicatedIp"}), nullptr);
}

TEST_F(HostResourcesTest, TellTheSameEveryTime) {
  const std::string first = support::written(details());
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(support::written(details()), first);
  }
}

TEST_F(HostResourcesTest, AnswerUnderTheIdentifierAndUnderSelf) {
  for (const char* id : {"self", "server-1", "SELF", "Server-1"}) {
    EXPECT_EQ(support::request(RestApi::GET, std::string("/1.0/servers/") + id).status, HTTPCommand::HTTP_OK) << id;
  }
}

TEST_F(HostResourcesTest, AnswerThatThereIsNoOtherServer) {
  for (const char* id : {"", "server-2", "server-1x", "server", "10.0.0.1", "%73elf2"}) {
    const auto answer = support::request(RestApi::GET, std::string("/1.0/servers/") + id);
    EXPECT_EQ(answer.status, HTTPCommand::HTTP_NOT_FOUND) << id;
    EXPECT_EQ(support::written(answer.body),
              R"({"status":{"code":404,"desc":"There is no server of that identifier here"}})");
  }
}

TEST_F(HostResourcesTest, NoteTheAddressThatThePeerUsed) {
  const json::Path path = {"value", "properties", "os", "network", "lastCommunicatedIp"};
  EXPECT_EQ(support::written(*json::objectAt(details("lastCommunicatedNIC=10.0.0.9"), path)), R"({"ipV4":"10.0.0.9"})");
  EXPECT_EQ(support::written(*json::objectAt(details("a=b; lastCommunicatedNIC=fd00::9"), path)),
            R"({"ipV6":"fd00::9"})");
}

TEST_F(HostResourcesTest, PassOverAnAddressThatIsNone) {
  for (const char* cookie : {"lastCommunicatedNIC=", "lastCommunicatedNIC=name", "lastCommunicatedNIC=10.0.0.300",
                             "lastCommunicatedNIC=[::1]", "other=10.0.0.1", "lastcommunicatednic=10.0.0.1"}) {
    const auto body = details(cookie);
    EXPECT_EQ(json::objectAt(body, {"value", "properties", "os", "network", "lastCommunicatedIp"}), nullptr) << cookie;
  }
}

TEST_F(HostResourcesTest, FollowTheMachinesAddresses) {
  mSystem.setAddresses({"10.0.0.1", "10.0.0.2"});
  EXPECT_EQ(json::arrayAt(details(), {"value", "properties", "os", "network", "nics"})->Size(), 2U);
}

TEST_F(HostResourcesTest, TellTheServersHealth) {
  const auto answer = support::request(RestApi::GET, "/healthz");
  EXPECT_EQ(answer.status, HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(answer.body), R"({"status":{"code":0,"desc":"Success"}})");
}

TEST_F(HostResourcesTest, HideFromClientsWhatIsForTheProcess) {
  EXPECT_EQ(support::request(RestApi::GET, "/1.0/remoteservercall").status, HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_EQ(support::request(RestApi::POST, "/1.0/searchserver_").status, HTTPCommand::HTTP_NOT_FOUND);
}

TEST_F(HostResourcesTest, SearchAndCallAtThePortThatWeListenOn) {
  host_test::ScriptedServer server(
      [](const std::string&) { return host_test::httpAnswer(200, R"({"value":{"properties":{}}})"); });
  mPreferences.set("listening_port", std::to_string(server.port()));
  const auto search = support::parsed(R"({"parameters":{"address":"127.0.0.1"}})");
  EXPECT_EQ(support::requestInProcess(RestApi::POST, "/1.0/searchserver_", search).status, HTTPCommand::HTTP_OK);
  const auto call = support::parsed(R"({"properties":{"serverIp":"127.0.0.1"}})");
  EXPECT_EQ(support::requestInProcess(RestApi::GET, "/1.0/remoteservercall", call).status, HTTPCommand::HTTP_OK);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(HostResourcesTest, NameThoseThatMustBePrompt) {
  EXPECT_EQ(HostResources::promptTemplates(), (std::vector<std::string>{"/1.0/servers/{server_id}", "/healthz"}));
  for (const auto& path : {"/1.0/servers/self", "/healthz"}) {
    const auto api = mManager.manager().find(RestApi::GET, path);
    ASSERT_NE(api, nullptr);
    const auto prompt = HostResources::promptTemplates();
    EXPECT_NE(std::find(prompt.begin(), prompt.end(), api->uri()), prompt.end()) << path;
  }
}

TEST(HostResources, LeaveWhenTheyEnd) {
  support::ManagerGuard manager;
  { const HostResources resources(manager.manager(), *launcher::Preferences::get_instance(), {}, {}); }
  EXPECT_EQ(support::request(RestApi::GET, "/healthz").status, HTTPCommand::HTTP_NOT_FOUND);
}

}  // namespace
