#include <gtest/gtest.h>

#include "discovery/ServerDetails.h"
#include "json/lookup.h"
#include "unit/discovery/FakePeers.h"
#include "unit/discovery/InventoryTest.h"

namespace {

class RemoteServerDetails : public InventoryTest {
 protected:
  FakePeers peers;
};

TEST_F(RemoteServerDetails, AreAskedForWithIdentifierAddressAndLegacyMark) {
  json::Object response;
  inventory.getRemoteServerDetails("PEER-9", "10.0.0.9", support::parsed(R"({"gid":"g","properties":{"os":{}}})"),
                                   response, true);
  ASSERT_EQ(peers.calls(), 1);
  EXPECT_EQ(peers.requests().front(), support::parsed(R"({"gid":"g","properties":{
      "os":{}, "displayId":"peer-9", "serverIp":"10.0.0.9", "isLegacyServer":true}})"));
}

TEST_F(RemoteServerDetails, GiveStatusAndBodyOfTheAnswer) {
  peers.answer("10.0.0.9", 405, support::parsed(R"({"a":1})"));
  json::Object response = support::parsed(R"({"before":true})");
  EXPECT_EQ(inventory.getRemoteServerDetails("p", "10.0.0.9", {}, response, false), 405);
  EXPECT_EQ(response, support::parsed(R"({"a":1})"));
}

TEST_F(RemoteServerDetails, LogAddressAndStatus) {
  const support::LogCapture log;
  peers.answer("10.0.0.9", 200, {});
  json::Object response;
  inventory.getRemoteServerDetails("p", "10.0.0.9", {}, response, false);
  EXPECT_TRUE(log.contains(" RemoteServerDiscovery:getRemoteServerDetails:entered with IP:10.0.0.9"));
  EXPECT_TRUE(log.contains("RemoteServerDiscovery::getRemoteServerDetails: IP:10.0.0.9 and httpStatus is:200"));
}

TEST_F(RemoteServerDetails, AreABadRequestWithoutAPluginManager) {
  launcher::PluginManager* const before = launcher::PluginManager::set_instance(nullptr);
  const support::LogCapture log;
  json::Object response;
  const int status = inventory.getRemoteServerDetails("p", "10.0.0.9", {}, response, false);
  launcher::PluginManager::set_instance(before);
  EXPECT_EQ(status, 400);
  EXPECT_TRUE(response.Empty());
  EXPECT_FALSE(log.containsPart("httpStatus is"));
}

TEST_F(RemoteServerDetails, AreNotFoundWhereTheHostServesNone) {
  support::ManagerGuard bare;
  json::Object response;
  EXPECT_EQ(inventory.getRemoteServerDetails("p", "10.0.0.9", {}, response, false), 404);
  EXPECT_EQ(peers.calls(), 0);
}

TEST_F(RemoteServerDetails, SurvivePropertiesThatAreNone) {
  json::Object response;
  inventory.getRemoteServerDetails("p", "10.0.0.9", support::parsed(R"({"properties":[1]})"), response, false);
  EXPECT_EQ(json::textAt(peers.requests().front(), {"properties", "serverIp"}), "10.0.0.9");
}

class LocalServerDetails : public InventoryTest {
 protected:
  LocalServerDetails() {
    local.plainBody = support::parsed(R"({"value":{"properties":{"displayId":"me"}}})");
    local.refinedBody = support::parsed(R"({"value":{"properties":{"displayId":"me","seen":true}}})");
  }

  FakeLocalServer local;
  const support::LogCapture log;
};

TEST_F(LocalServerDetails, AreAskedForTwiceTheSecondTimeWithTheInterface) {
  json::Object record;
  EXPECT_EQ(inventory.getLocalServerDetails("ME", "10.0.0.1", record), 200);
  EXPECT_EQ(local.ids, (std::vector<std::string>{"me", "me"}));
  EXPECT_EQ(local.cookies, (std::vector<std::string>{"", "lastCommunicatedNIC=10.0.0.1"}));
  EXPECT_EQ(record, support::parsed(R"({"properties":{"displayId":"me","seen":true,"isPivot":true}})"));
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:getLocalServerDetails:httpStatus for Server Details is:200"));
  EXPECT_TRUE(
      log.contains("RemoteServerDiscovery:getLocalServerDetails:httpStatus for Server Details with "
                   "lastCommunicatedNIC is:200"));
}

TEST_F(LocalServerDetails, AreThoseOfTheFirstAnswerWhenTheSecondFails) {
  local.refinedStatus = http::HTTPCommand::HTTP_SERVICE_UNAVAILABLE;
  json::Object record;
  EXPECT_EQ(inventory.getLocalServerDetails("me", "10.0.0.1", record), 200);
  EXPECT_EQ(record, support::parsed(R"({"properties":{"displayId":"me","isPivot":true}})"));
  EXPECT_TRUE(
      log.contains("RemoteServerDiscovery:getLocalServerDetails:httpStatus for Server Details with "
                   "lastCommunicatedNIC is:503"));
}

TEST_F(LocalServerDetails, LeaveTheRecordWhenTheFirstAnswerFails) {
  local.plainStatus = http::HTTPCommand::HTTP_NOT_FOUND;
  json::Object record = support::parsed(R"({"before":true})");
  EXPECT_EQ(inventory.getLocalServerDetails("me", "10.0.0.1", record), 404);
  EXPECT_EQ(record, support::parsed(R"({"before":true})"));
  EXPECT_EQ(local.ids.size(), 1u);
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:getLocalServerDetails:httpStatus for Server Details is:404"));
}

TEST_F(LocalServerDetails, AreABadRequestWithoutAPluginManager) {
  launcher::PluginManager* const before = launcher::PluginManager::set_instance(nullptr);
  json::Object record;
  const int status = inventory.getLocalServerDetails("me", "10.0.0.1", record);
  launcher::PluginManager::set_instance(before);
  EXPECT_EQ(status, 400);
  EXPECT_TRUE(record.Empty());
}

TEST_F(LocalServerDetails, NeverLeaveTheirResourceWhateverTheIdentifier) {
  json::Object record;
  inventory.getLocalServerDetails("../remoteservercall?x=1", "10.0.0.1", record);
  EXPECT_EQ(local.ids, (std::vector<std::string>{"../remoteservercall?x=1", "../remoteservercall?x=1"}));
}

}  // namespace
