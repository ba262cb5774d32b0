#include <gtest/gtest.h>

#include "discovery/HostVerification.h"
#include "discovery/Limits.h"
#include "framework/launcher/KVTCrypto.h"
#include "json/lookup.h"
#include "unit/discovery/VerificationTest.h"

namespace {

/// Attributes of a current server, with a digest or without.
std::string attributes(int counter, const std::string& gid = "") {
  return R"({"gid":")" + gid + R"(","properties":{"displayId":"PEER","lastUpdatedCounter":)" + std::to_string(counter) +
         "}}";
}

json::Object currentAnswer(const std::string& name = "peer") {
  return support::parsed(R"({"properties":{"displayId":")" + name + R"(","agents":[{"build":"009.1"}]}})");
}

json::Object filedAnswer(const std::string& name = "peer") {
  json::Object record = currentAnswer(name);
  record["properties"]["isPivot"] = json::Boolean(false);
  return record;
}

class HostVerification : public VerificationTest {
 protected:
  HostVerification() { peers.answer(kIp, 200, currentAnswer()); }
};

TEST_F(HostVerification, FilesANewServerWithTheDetailsThatItGives) {
  verify(attributes(3, ""));
  EXPECT_EQ(filed(), filedAnswer());
  ASSERT_TRUE(Inventory::mUpdatedCounters.find(kIp));
  EXPECT_EQ(Inventory::mUpdatedCounters.find(kIp)->counter, 3u);
  EXPECT_EQ(peers.calls(), 1);
  EXPECT_EQ(inventory.mapUnreachableIP.size(), 0u);
}

TEST_F(HostVerification, HandsTheAttributesToTheDetailsCall) {
  verify(attributes(3, "digest"));
  EXPECT_EQ(peers.requests().front(), support::parsed(R"({"gid":"digest","properties":{
      "displayId":"peer","lastUpdatedCounter":3,"serverIp":"10.0.0.9","isLegacyServer":false}})"));
}

TEST_F(HostVerification, LogsWhatItDoesWithANewServer) {
  verify(attributes(3));
  const std::string prefix = "RemoteServerDiscovery:addDiscoveredHost:";
  for (const char* text : {"entered with strServerIp:10.0.0.9", "mDiscoveredHosts.size():0",
                           "isServerFound:0,isCounterUpdated:0,isLegacyServer:0",
                           "nTempUpdatedCounter:3,nUpdatedCounter:0,isCounterUpdated:0",
                           "IP is not found in mapUnreachableIP Hence going to make getRemoteServerDetails "
                           "call:10.0.0.9",
                           "Initial strBuildVersion:009.1", "Final strBuildVersion:009"}) {
    EXPECT_EQ(log.count(prefix + text), 1u) << text;
  }
}

TEST_F(HostVerification, FilesAProvisionalRecordAtOnce) {
  verify("whatever", true);
  json::Object answer;
  inventory.formDummyServerJson(answer, kIp);
  EXPECT_EQ(filed(), static_cast<const json::Object&>(std::as_const(answer)["value"]));
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_FALSE(Inventory::mUpdatedCounters.find(kIp));
}

TEST_F(HostVerification, ReplacesAPresentRecordByTheProvisionalOne) {
  verify(attributes(3));
  verify("", true);
  EXPECT_EQ(json::textAt(filed(), {"properties", "displayId"}), kIp);
}

TEST_F(HostVerification, PassesOverAProvisionalServerWithoutAnAddress) {
  inventory.addDiscoveredHost("", attributes(1), true);
  EXPECT_TRUE(keysOf(Inventory::mPartialDiscoveredHosts).empty());
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost:no address or no attributes, strServerIp:"));
}

TEST_F(HostVerification, PassesOverEmptyAttributes) {
  verify("");
  EXPECT_TRUE(isNowhere());
  EXPECT_TRUE(
      log.contains("RemoteServerDiscovery:addDiscoveredHost:no address or no attributes, strServerIp:10.0.0.9"));
}

TEST_F(HostVerification, NeverFilesTheLoopbackAddress) {
  peers.answer("127.0.0.1", 200, currentAnswer());
  for (const std::string& text : {attributes(1), attributes(0, "g"), std::string(R"({"properties":{"os":{}}})"),
                                  std::string("{"), std::string()}) {
    inventory.addDiscoveredHost("127.0.0.1", text, false);
    EXPECT_TRUE(isNowhere("127.0.0.1")) << text;
  }
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(inventory.mapUnreachableIP.size(), 0u);
}

TEST_F(HostVerification, LeavesOutWhatIsTooLongForAnAddress) {
  const std::string address(discovery::kMaxAddressLength + 1, '1');
  inventory.addDiscoveredHost(address, attributes(1), false);
  inventory.addDiscoveredHost(address, "", true);
  EXPECT_TRUE(isNowhere(address));
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(log.count("RemoteServerDiscovery:addDiscoveredHost:an address is too long, its length:256"), 1u)
      << "said once, and not for every stranger";
}

TEST_F(HostVerification, ChangesNothingForAttributesThatAreNoDocument) {
  verify("{\"properties\":");
  EXPECT_TRUE(isNowhere());
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(inventory.mapUnreachableIP.size(), 0u);
  EXPECT_EQ(log.texts(utils::LOG_ERROR).size(), 1u);
}

TEST_F(HostVerification, RejectsAWrongDigestOnlyUnderStrictnessTwo) {
  preferences.set("slp_find_service_strictness", "2");
  verify(attributes(1, "wrong"));
  EXPECT_TRUE(isNowhere());
  EXPECT_EQ(peers.calls(), 0);

  preferences.set("slp_find_service_strictness", "1");
  verify(attributes(1, "wrong"));
  EXPECT_TRUE(isFiled());
  EXPECT_EQ(log.count("RemoteServerDiscovery:addDiscoveredHost: Failed to verify strServerIp:10.0.0.9"), 2u);
}

TEST_F(HostVerification, ComputesNoDigestUnderStrictnessZeroOrWithoutAGid) {
  preferences.set("slp_find_service_strictness", "0");
  verify(attributes(1, "wrong"));
  EXPECT_TRUE(isFiled());
  preferences.set("slp_find_service_strictness", "2");
  verify(attributes(1, ""));
  EXPECT_EQ(peers.calls(), 2);
  EXPECT_FALSE(log.containsPart("verification for"));
}

TEST_F(HostVerification, AcceptsAGenuineDigestUnderStrictnessTwo) {
  preferences.set("slp_find_service_strictness", "2");
  const json::Object properties = support::parsed(R"({"properties":{"displayId":"peer"}})");
  json::Object genuine = properties;
  genuine["gid"] = json::String(launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(properties));
  verify(support::written(genuine));
  EXPECT_TRUE(isFiled());
}

TEST_F(HostVerification, RefilesAKnownServerWithAnUnchangedCounterWithoutAsking) {
  verify(attributes(3));
  endPass();
  peers.answer(kIp, 200, currentAnswer("changed"));
  log.clear();
  verify(attributes(3));
  EXPECT_EQ(filed(), filedAnswer());
  EXPECT_EQ(peers.calls(), 1);
  EXPECT_EQ(Inventory::mUpdatedCounters.find(kIp)->counter, 3u);
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost:mDiscoveredHosts.size():1"));
  EXPECT_TRUE(
      log.contains("RemoteServerDiscovery:addDiscoveredHost:isServerFound:1,isCounterUpdated:0,isLegacyServer:0"));
  EXPECT_TRUE(log.contains(
      "RemoteServerDiscovery:addDiscoveredHost:nTempUpdatedCounter:3,nUpdatedCounter:3,isCounterUpdated:0"));
}

TEST_F(HostVerification, RefilesAKnownServerFromThePreviousPassWhateverIsPublishedMeanwhile) {
  verify(attributes(3));
  endPass();
  Inventory::mPartialDiscoveredHosts.insertOrReplace(kIp, recordNamed("meanwhile"));
  verify(attributes(3));
  EXPECT_EQ(filed(), filedAnswer());
}

TEST_F(HostVerification, AsksAKnownServerWhoseCounterChanged) {
  verify(attributes(3));
  endPass();
  peers.answer(kIp, 200, currentAnswer("changed"));
  log.clear();
  verify(attributes(4));
  EXPECT_EQ(filed(), filedAnswer("changed"));
  EXPECT_EQ(peers.calls(), 2);
  EXPECT_EQ(Inventory::mUpdatedCounters.find(kIp)->counter, 4u);
  EXPECT_TRUE(log.contains(
      "RemoteServerDiscovery:addDiscoveredHost:nTempUpdatedCounter:4,nUpdatedCounter:3,isCounterUpdated:1"));
}

TEST_F(HostVerification, TakesALowerCounterForAChange) {
  verify(attributes(3));
  endPass();
  verify(attributes(0));
  EXPECT_EQ(peers.calls(), 2);
}

TEST_F(HostVerification, AsksAServerThatRestartedWithTheSameCounterButAnotherDigest) {
  preferences.set("slp_find_service_strictness", "0");
  verify(attributes(0, "before"));
  endPass();
  verify(attributes(0, "before"));
  EXPECT_EQ(peers.calls(), 1);
  peers.answer(kIp, 200, currentAnswer("restarted"));
  verify(attributes(0, "after"));
  EXPECT_EQ(peers.calls(), 2);
  EXPECT_EQ(filed(), filedAnswer("restarted"));
  endPass();
  verify(attributes(0, "after"));
  EXPECT_EQ(peers.calls(), 2) << "the new digest is the filed one";
}

TEST_F(HostVerification, TakesAMissingDigestForNoChange) {
  preferences.set("slp_find_service_strictness", "0");
  verify(attributes(0, "before"));
  endPass();
  verify(attributes(0, ""));
  EXPECT_EQ(peers.calls(), 1);
}

TEST_F(HostVerification, TakesAFirstDigestForAChange) {
  preferences.set("slp_find_service_strictness", "0");
  verify(attributes(0, ""));
  endPass();
  verify(attributes(0, "first"));
  EXPECT_EQ(peers.calls(), 2);
}

TEST_F(HostVerification, TakesNobodysWordForHavingBeenAddedByHand) {
  json::Object answer = currentAnswer();
  answer["properties"]["isManual"] = json::Boolean(true);
  peers.answer(kIp, 200, answer);
  verify(attributes(1));
  EXPECT_EQ(filed(), filedAnswer());
}

TEST_F(HostVerification, MarksAServerWithTooLargeAnAnswerAsUnreachable) {
  peers.answer(kIp, 200, currentAnswer(std::string(discovery::kMaxRecordLength, 'x')));
  verify(attributes(1));
  EXPECT_TRUE(isNowhere());
  EXPECT_TRUE(inventory.mapUnreachableIP.contains(kIp));
}

TEST_F(HostVerification, TreatsAServerWithoutARecordedCounterAsOneOfCounterZero) {
  Inventory::mDiscoveredHosts.insertIfAbsent(kIp, recordNamed("added by hand"));
  verify(attributes(0, ""));
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(filed(), recordNamed("added by hand"));
  Inventory::mUpdatedCounters.clear();
  verify(attributes(1, ""));
  EXPECT_EQ(peers.calls(), 1);
}

TEST_F(HostVerification, AsksAServerAnewThatHadGoneForAPass) {
  verify(attributes(3));
  endPass();
  Inventory::mCycleDiscoveredHosts.insertIfAbsent("10.0.0.10", {});  // somebody else was found
  endPass();
  EXPECT_FALSE(Inventory::mPartialDiscoveredHosts.find(kIp));
  EXPECT_FALSE(Inventory::mUpdatedCounters.find(kIp)) << "nothing is kept of a server that left";
  verify(attributes(3));
  EXPECT_EQ(peers.calls(), 2);
  EXPECT_TRUE(isFiled());
}

TEST_F(HostVerification, DoesNotAskAnAddressAgainThatFailedOnce) {
  peers.answer(kIp, 502, support::parsed(R"({"status":{}})"));
  verify(attributes(1));
  EXPECT_TRUE(isNowhere());
  EXPECT_EQ(inventory.mapUnreachableIP.all(), std::vector<std::string>{kIp});
  EXPECT_TRUE(log.has(utils::LOG_FAILURE,
                      "RemoteServerDiscovery:addDiscoveredHost:Server details failed with IP:, Hence adding the IP to "
                      "mapUnreachableIP:10.0.0.9"));

  peers.answer(kIp, 200, currentAnswer());
  endPass();
  verify(attributes(2));
  EXPECT_EQ(peers.calls(), 1);
  EXPECT_TRUE(isNowhere());
  EXPECT_TRUE(
      log.contains("RemoteServerDiscovery:addDiscoveredHost:IP is FOUND in mapUnreachableIP Hence NOT going to "
                   "make getRemoteServerDetails call:10.0.0.9"));
}

TEST_F(HostVerification, AsksAnAddressAgainOnceItIsCleared) {
  peers.answer(kIp, 500, support::parsed(R"({"status":{}})"));
  verify(attributes(1));
  peers.answer(kIp, 200, currentAnswer());
  inventory.clearUnreachable(kIp);
  verify(attributes(1));
  EXPECT_TRUE(isFiled());
}

TEST_F(HostVerification, MarksACurrentServerOfAnyOtherStatusAsUnreachable) {
  for (const int status : {400, 401, 404, 405, 500, 503, 201}) {
    inventory.clearUnreachable(kIp);
    peers.answer(kIp, status, currentAnswer());
    verify(attributes(1));
    EXPECT_TRUE(isNowhere()) << status;
    EXPECT_TRUE(inventory.mapUnreachableIP.contains(kIp)) << status;
  }
}

TEST_F(HostVerification, MarksACurrentServerWithAnEmptyAnswerAsUnreachable) {
  peers.answer(kIp, 200, {});
  verify(attributes(1));
  EXPECT_TRUE(isNowhere());
  EXPECT_TRUE(inventory.mapUnreachableIP.contains(kIp));
}

TEST_F(HostVerification, FilesNothingMoreOnceTheListsAreFull) {
  const discovery::HostTable::Map full = tableOf(discovery::kMaxServers);
  Inventory::mCycleDiscoveredHosts.replaceAll(full);
  Inventory::mPartialDiscoveredHosts.replaceAll(full);
  verify(attributes(1));
  verify("", true);
  EXPECT_TRUE(isNowhere());
  EXPECT_FALSE(Inventory::mUpdatedCounters.find(kIp));
  EXPECT_EQ(log.count("RemoteServerDiscovery:addDiscoveredHost:the list is full, left out:10.0.0.9"), 1u)
      << "said once, and not for every stranger";
}

class LocalVerification : public VerificationTest {
 protected:
  LocalVerification() {
    local.plainBody = support::parsed(R"({"value":{"properties":{"displayId":"me"}}})");
    local.refinedBody = support::parsed(R"({"value":{"properties":{"displayId":"me","seen":true}}})");
  }

  void verifyLocal(const std::string& text) { inventory.addDiscoveredHost("10.0.0.1", text, false); }

  FakeLocalServer local;
};

TEST_F(LocalVerification, FilesTheLocalServersOwnDetailsAsThePivot) {
  verifyLocal(R"({"properties":{"displayId":"ME","lastUpdatedCounter":5}})");
  EXPECT_EQ(textOf(Inventory::mPartialDiscoveredHosts, "10.0.0.1"),
            R"({"properties":{"displayId":"me","seen":true,"isPivot":true}})");
  EXPECT_TRUE(isFiled("10.0.0.1"));
  EXPECT_EQ(local.ids.front(), "me");
  EXPECT_EQ(local.cookies.back(), "lastCommunicatedNIC=10.0.0.1");
  EXPECT_EQ(Inventory::mUpdatedCounters.find("10.0.0.1")->counter, 5u);
  EXPECT_EQ(peers.calls(), 0);
}

TEST_F(LocalVerification, NeverFilesTheLoopbackAddressAsThisMachine) {
  system.setLocalAddress("127.0.0.1");
  inventory.addDiscoveredHost("127.0.0.1", R"({"properties":{"displayId":"me"}})", false);
  EXPECT_TRUE(isNowhere("127.0.0.1"));
  EXPECT_TRUE(local.ids.empty());
}

TEST_F(LocalVerification, RecognisesThisMachineByTheInterfacesInTheAttributes) {
  verify(R"({"properties":{"displayId":"me","os":{"network":{"nics":[{"ipV4":"10.0.0.1"},{"ipV4":"10.7.0.1"}]}}}})");
  EXPECT_TRUE(isFiled());
  EXPECT_EQ(peers.calls(), 0);
}

TEST_F(LocalVerification, RecognisesThisMachineByTheInterfacesOfThePreviousRecord) {
  Inventory::mDiscoveredHosts.insertIfAbsent(
      kIp, support::parsed(R"({"properties":{"nics":[{"ipV4":"10.0.0.1"},{"ipV4":"10.7.0.1"}]}})"));
  verify(R"({"properties":{"displayId":"me","lastUpdatedCounter":1,"nics":[{},{}]}})");
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(json::flagAt(filed(), {"properties", "isPivot"}), true);
}

TEST_F(LocalVerification, KeepsTheDetailsOfANewRegistrationInThePassesAfterIt) {
  verifyLocal(R"({"properties":{"displayId":"me"}})");
  endPass();
  local.refinedBody = support::parsed(R"({"value":{"properties":{"displayId":"me","moved":true}}})");
  const std::string changed = R"({"properties":{"displayId":"me","lastUpdatedCounter":1}})";
  ASSERT_EQ(inventory.registerSLPService(changed, true, "service:x-mgmt.quorvel:kvt://10.0.0.1:8443", "10.0.0.1"), 0);
  for (int pass = 0; pass < 2; ++pass) {
    verifyLocal(changed);
    endPass();
    EXPECT_EQ(textOf(Inventory::mPartialDiscoveredHosts, "10.0.0.1"),
              R"({"properties":{"displayId":"me","moved":true,"isPivot":true}})");
  }
}

TEST_F(LocalVerification, FilesNothingWhenTheLocalServerDoesNotAnswer) {
  local.plainStatus = http::HTTPCommand::HTTP_NOT_FOUND;
  verifyLocal(R"({"properties":{"displayId":"me"}})");
  EXPECT_TRUE(isNowhere("10.0.0.1"));
  EXPECT_EQ(inventory.mapUnreachableIP.size(), 0u) << "this machine is never unreachable";
  EXPECT_EQ(peers.calls(), 0);
}

}  // namespace
