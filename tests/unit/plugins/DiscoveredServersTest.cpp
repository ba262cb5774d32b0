// GET "/1.0/servers"

#include "PluginTest.h"

namespace plugins {
namespace {

constexpr const char* kLocalDetails = R"({"properties":{"displayId":"local","health":{"state":"critical"},)"
                                      R"("os":{"network":{"nics":[{"ipV4":"10.0.0.1","ipV6":"2001:db8::1"}]}}}})";

class DiscoveredServers : public PluginTest {
 protected:
  static support::Answer list() { return get("/1.0/servers"); }

  static const json::Object& server(const support::Answer& answer, std::size_t index) {
    static const json::Object none;
    const json::Array* const servers = json::arrayAt(answer.body, {"values"});
    const auto* const record =
        servers != nullptr && index < servers->Size() ? (*servers)[index].getIf<json::Object>() : nullptr;
    return record == nullptr ? none : *record;
  }
  static std::vector<std::string> displayIds(const support::Answer& answer) {
    std::vector<std::string> ids;
    const json::Array* const servers = json::arrayAt(answer.body, {"values"});
    for (std::size_t i = 0; servers != nullptr && i < servers->Size(); ++i) {
      ids.push_back(json::textAt(server(answer, i), {"properties", "displayId"}));
    }
    return ids;
  }
  static bool isPivot(const support::Answer& answer, std::size_t index) {
    return json::flagAt(server(answer, index), {"properties", "isPivot"});
  }
  static std::string reachedAt(const support::Answer& answer, std::size_t index, const char* family) {
    return textOrNone(server(answer, index), {"properties", "os", "network", "lastCommunicatedIp", family});
  }
  static std::string stateOf(const support::Answer& answer, std::size_t index) {
    return textOrNone(server(answer, index), {"properties", "health", "state"});
  }
  static double count(const support::Answer& answer) { return json::numberAt(answer.body, {"count"}).value_or(-1); }

  static void setLocalServerIp(const std::string& ip) { PluginState::instance().setLocalServer({{}, "", ip}); }
};

TEST_F(DiscoveredServers, AreTheLocalOneAloneInAnEmptyInventory) {
  serveDetails(support::parsed(kLocalDetails));
  const auto answer = list();
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(count(answer), 1);
  EXPECT_THAT(displayIds(answer), testing::ElementsAre("local"));
  EXPECT_TRUE(isPivot(answer, 0));
  EXPECT_EQ(reachedAt(answer, 0, "ipV4"), "10.0.0.1");
}

TEST_F(DiscoveredServers, ComeWithAStatusObject) {
  serveDetails(support::parsed(kLocalDetails));
  const auto answer = list();
  const json::Object* const status = json::objectAt(answer.body, {"status"});
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(support::written(*status), R"({"code":0,"desc":"Success"})");
  EXPECT_EQ(answer.body.Size(), 3u);
}

TEST_F(DiscoveredServers, StandInTheOrderOfTheirAddressesWithTheLocalOneLast) {
  serveDetails(support::parsed(kLocalDetails));
  announce("10.0.0.9", serverRecord("nine", "10.0.0.9"));
  announce("10.0.0.2", serverRecord("two", "10.0.0.2"));
  const auto answer = list();
  EXPECT_THAT(displayIds(answer), testing::ElementsAre("two", "nine", "local"));
  EXPECT_EQ(count(answer), 3);
  EXPECT_FALSE(isPivot(answer, 0));
  EXPECT_FALSE(isPivot(answer, 1));
  EXPECT_TRUE(isPivot(answer, 2));
}

TEST_F(DiscoveredServers, KeepTheirPlacesWhenTheLocalOneIsAmongThem) {
  serveDetails(support::parsed(kLocalDetails));
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  announce("10.0.0.2", serverRecord("two", "10.0.0.2"));
  const auto answer = list();
  EXPECT_THAT(displayIds(answer), testing::ElementsAre("local", "two"));
  EXPECT_EQ(count(answer), 2);
  EXPECT_TRUE(isPivot(answer, 0));
  EXPECT_FALSE(isPivot(answer, 1));
}

TEST_F(DiscoveredServers, AreMarkedInTheAnswerOnly) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("10.0.0.1");
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  list();
  EXPECT_EQ(discovery::DiscoveryMap::getDiscoveredHost()["10.0.0.1"], serverRecord("local", "10.0.0.1"));
}

TEST_F(DiscoveredServers, TakeTheHealthOfTheLocalOneFromItsDetails) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("10.0.0.1");
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  announce("10.0.0.2", serverRecord("two", "10.0.0.2"));
  const auto answer = list();
  EXPECT_EQ(stateOf(answer, 0), "critical");
  EXPECT_EQ(stateOf(answer, 1), "unknown");
  EXPECT_EQ(reachedAt(answer, 0, "ipV4"), "10.0.0.1");
  EXPECT_EQ(reachedAt(answer, 1, "ipV4"), "(none)");
}

TEST_F(DiscoveredServers, HaveNoHealthOfALocalOneThatTellsNone) {
  serveDetails({});
  setLocalServerIp("10.0.0.1");
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  EXPECT_EQ(stateOf(list(), 0), "");
}

TEST_F(DiscoveredServers, CanHoldTheLocalOneUnderAnAddressOfItsNat) {
  serveDetails(support::parsed(kLocalDetails));
  preferences.set("nat_details", "203.0.113.1,203.0.113.2");
  announce("203.0.113.2", serverRecord("outside", "203.0.113.2"));
  const auto answer = list();
  EXPECT_THAT(displayIds(answer), testing::ElementsAre("outside"));
  EXPECT_TRUE(isPivot(answer, 0));
}

TEST_F(DiscoveredServers, CanHoldTheLocalOneTwice) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("10.0.0.1");
  announce("10.0.0.1", serverRecord("first", "10.0.0.1"));
  announce("10.0.0.2", serverRecord("second", "10.0.0.1"));
  const auto answer = list();
  EXPECT_EQ(count(answer), 2);
  EXPECT_TRUE(isPivot(answer, 0));
  EXPECT_TRUE(isPivot(answer, 1));
}

TEST_F(DiscoveredServers, AreNotTakenForTheLocalOneAfterItByWeakerProof) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("2001:db8::1");
  announce("10.0.0.2", serverRecord("byIPv6", "10.0.0.2", "2001:db8::1"));
  announce("10.0.0.3", serverRecord("byIPv6Too", "10.0.0.3", "2001:db8::1"));
  announce("10.0.0.4", serverRecord("byMachine", "10.0.0.1"));
  const auto answer = list();
  EXPECT_TRUE(isPivot(answer, 0));
  EXPECT_FALSE(isPivot(answer, 1)) << "the IPv6 scan is over";
  EXPECT_FALSE(isPivot(answer, 2)) << "so is the comparison with the machine's address";
  EXPECT_EQ(count(answer), 3);
}

TEST_F(DiscoveredServers, CanHoldTheLocalOneWithoutProofAndThenDoNotHoldItAgain) {
  serveDetails(support::parsed(kLocalDetails));
  system.failGetIPAddresses();
  preferences.set("nat_details", "203.0.113.1");
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  const auto answer = list();
  EXPECT_EQ(count(answer), 1);
  EXPECT_TRUE(isPivot(answer, 0));
  EXPECT_TRUE(log.contains("ServerDiscoveryPl:getDiscoveredServers:isLocalServerFound :0"));
}

TEST_F(DiscoveredServers, ShowAnIPv6LocalAddressAsIPv6) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("2001:db8::1");
  announce("10.0.0.1", serverRecord("local", "10.0.0.1", "2001:db8::1"));
  const auto answer = list();
  EXPECT_EQ(reachedAt(answer, 0, "ipV6"), "2001:db8::1");
  EXPECT_EQ(reachedAt(answer, 0, "ipV4"), "(none)");
}

TEST_F(DiscoveredServers, ShowALocalAddressOfNoFamilyAsIPv4) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("local.example");
  announce("10.0.0.1", serverRecord("local", "local.example"));
  const auto answer = list();
  EXPECT_EQ(reachedAt(answer, 0, "ipV4"), "local.example");
  EXPECT_EQ(reachedAt(answer, 0, "ipV6"), "(none)");
}

TEST_F(DiscoveredServers, ShowAnAppendedIPv6OnlyServerAsIPv6) {
  serveDetails({});
  system.setAddresses({}, {"2001:db8::1"});
  const auto answer = list();
  EXPECT_EQ(reachedAt(answer, 0, "ipV6"), "2001:db8::1");
  EXPECT_EQ(reachedAt(answer, 0, "ipV4"), "(none)");
}

TEST_F(DiscoveredServers, LearnTheLocalAddressByAppendingTheLocalServer) {
  serveDetails(support::parsed(kLocalDetails));
  list();
  const auto localServer = PluginState::instance().localServer();
  EXPECT_EQ(localServer->ip, "10.0.0.1");
  EXPECT_EQ(localServer->record, support::parsed(kLocalDetails));
  EXPECT_EQ(localServer->text, kLocalDetails);
}

TEST_F(DiscoveredServers, LearnNothingWhenTheLocalOneIsAmongThem) {
  serveDetails(support::parsed(kLocalDetails));
  PluginState::instance().setLocalServer({serverRecord("kept", ""), "kept", "10.0.0.7"});
  PluginState::instance().setRegistrationUrl("service:kept");
  announce("10.0.0.7", serverRecord("local", "10.0.0.7"));
  list();
  const auto localServer = PluginState::instance().localServer();
  EXPECT_EQ(localServer->ip, "10.0.0.7");
  EXPECT_EQ(localServer->text, "kept");
  EXPECT_EQ(localServer->record, serverRecord("kept", ""));
  EXPECT_EQ(PluginState::instance().registration()->url, "service:kept");
}

TEST_F(DiscoveredServers, AppendTheLocalOneAsItsCompactTextReads) {
  serveDetails(support::parsed(R"({"properties":{"display name":"a b  c","displayId":"local server"}})"));
  const auto answer = list();
  EXPECT_EQ(textOrNone(server(answer, 0), {"properties", "displayId"}), "localserver");
  EXPECT_EQ(textOrNone(server(answer, 0), {"properties", "displayname"}), "abc");
  EXPECT_EQ(PluginState::instance().localServer()->text,
            R"({"properties":{"displayname":"abc","displayId":"localserver"}})");
}

TEST_F(DiscoveredServers, AppendTheLocalOneEvenWhenItsCompactTextCannotBeRead) {
  serveDetails(support::parsed(R"({"properties":{"a b":1,"ab":2,"displayId":"local"}})"));
  const auto answer = list();
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_THAT(displayIds(answer), testing::ElementsAre("local"));
  EXPECT_TRUE(isPivot(answer, 0));
  EXPECT_EQ(log.texts(utils::LOG_ERROR).size(), 1u);
}

TEST_F(DiscoveredServers, AppendTheLocalOneWithoutLinks) {
  serveDetails(support::parsed(kLocalDetails));
  EXPECT_EQ(json::find(server(list(), 0), {"uris"}), nullptr);
}

TEST_F(DiscoveredServers, AppendWhatThereIsWhenTheDetailsCannotBeHad) {
  const auto answer = list();
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(count(answer), 1);
  EXPECT_EQ(support::written(server(answer, 0)),
            R"({"properties":{"isPivot":true,"os":{"network":{"lastCommunicatedIp":{"ipV4":"10.0.0.1"}}}}})");
  EXPECT_EQ(PluginState::instance().localServer()->text, "{}");
}

TEST_F(DiscoveredServers, AskForTheLocalDetailsByTheIdentifierInLowerCase) {
  serveDetails(support::parsed(kLocalDetails));
  system.setServerId("LOCAL-7");
  list();
  EXPECT_EQ(detailsId, "local-7");
}

TEST_F(DiscoveredServers, AskForTheLocalDetailsOnceAtMost) {
  serveDetails(support::parsed(kLocalDetails));
  setLocalServerIp("10.0.0.1");
  for (const char* const address : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) {
    announce(address, serverRecord("local", "10.0.0.1"));
  }
  const auto answer = list();
  EXPECT_EQ(stateOf(answer, 2), "critical");
  EXPECT_EQ(detailsCalls, 1);
  discovery::DiscoveryMap::updateServerList({});
  list();
  EXPECT_EQ(detailsCalls, 2);
}

TEST_F(DiscoveredServers, AreLoggedAsTheyAreFound) {
  serveDetails(support::parsed(kLocalDetails));
  announce("10.0.0.2", serverRecord("two", "10.0.0.2"));
  log.clear();
  list();
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "ServerDiscoveryPl:getDiscoveredServers:RemoteServersArray.Size() is:1"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "ServerDiscoveryPl:getDiscoveredServers:isLocalServerFound :0"));
  EXPECT_TRUE(log.has(
      utils::LOG_DETAIL,
      "ServerDiscoveryPl:getDiscoveredServers:strLocalServerIP while populating the local server details:10.0.0.1"));
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  log.clear();
  list();
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "ServerDiscoveryPl:getDiscoveredServers:RemoteServersArray.Size() is:2"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "ServerDiscoveryPl:getDiscoveredServers:isLocalServerFound :1"));
  EXPECT_FALSE(log.containsPart("while populating"));
}

TEST_F(DiscoveredServers, OfEveryShapeAreShownAsTheyAre) {
  serveDetails(support::parsed(kLocalDetails));
  announce("10.0.0.2", {});
  announce("10.0.0.3", support::parsed(R"({"properties":"text"})"));
  announce("10.0.0.4", support::parsed(R"({"properties":{"os":{"network":{"nics":[null,{"ipV4":7}]}}}})"));
  const auto answer = list();
  EXPECT_EQ(count(answer), 4);
  EXPECT_EQ(support::written(server(answer, 0)), "{}");
  EXPECT_EQ(support::written(server(answer, 1)), R"({"properties":"text"})");
  EXPECT_EQ(support::written(server(answer, 2)), R"({"properties":{"os":{"network":{"nics":[null,{"ipV4":7}]}}}})");
}

}  // namespace
}  // namespace plugins
