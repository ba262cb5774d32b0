#include "PluginTest.h"
#include "framework/http/Command.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

class LocalRegistration : public PluginTest {
 protected:
  http::Command command;
  ServerDiscoveryPluginProxy proxy{&managerGuard.manager()};
  ServerDiscoveryPlugin plugin{&command, &proxy};
};

TEST_F(LocalRegistration, NamesAddressAndListeningPortInTheUrl) {
  preferences.set("listening_port", "8443");
  EXPECT_EQ(plugin.getSlpRegistrationUrl("192.0.2.10"), "service:x-mgmt.quorvel:kvt://192.0.2.10:8443");
  preferences.set("listening_port", "9000");
  EXPECT_EQ(plugin.getSlpRegistrationUrl("2001:db8::1"), "service:x-mgmt.quorvel:kvt://2001:db8::1:9000");
}

TEST_F(LocalRegistration, WritesAnObjectAsCompactText) {
  const std::string text = R"({"a":[1,2.5,"b c"],"d":{"e":null,"f":true}})";
  EXPECT_EQ(plugin.convertJSONObjcetToString(support::parsed(text)), text);
  EXPECT_EQ(plugin.convertJSONObjcetToString({}), "{}");
}

TEST_F(LocalRegistration, ReplacesEveryOccurrence) {
  EXPECT_EQ(plugin.ReplaceAll(" a  b ", " ", ""), "ab");
  EXPECT_EQ(plugin.ReplaceAll("aXbX", "X", "--"), "a--b--");
  EXPECT_EQ(plugin.ReplaceAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(plugin.ReplaceAll("", "a", "b"), "");
  EXPECT_EQ(plugin.ReplaceAll("abc", "x", "y"), "abc");
}

TEST_F(LocalRegistration, DoesNotSearchAgainWhatItPutIn) {
  EXPECT_EQ(plugin.ReplaceAll("a b", "a", "aa"), "aa b");
  EXPECT_EQ(plugin.ReplaceAll("xx", "x", "xyx"), "xyxxyx");
}

TEST_F(LocalRegistration, ReplacesNothingByAnEmptyPattern) {
  EXPECT_EQ(plugin.ReplaceAll("abc", "", "x"), "abc");
}

TEST_F(LocalRegistration, LeavesTheServiceObjectWithoutACommandToAskWith) {
  ServerDiscoveryPlugin service(&managerGuard.manager(), &proxy);
  service.deRegisterServiceDiscovery();
  const http::RestApi api(http::RestApi::GET, "/1.0/servers", false);
  json::Object response;
  EXPECT_EQ(service.executePlugin(&api, response), http::HTTPCommand::HTTP_BAD_REQUEST);
  PluginState::instance().forgetServicePlugin(&service);
}

}  // namespace
}  // namespace plugins
