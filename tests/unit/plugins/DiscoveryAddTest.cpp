// ADD of a server that was searched for.

#include "PluginTest.h"

namespace plugins {
namespace {

class DiscoveryAdd : public PluginTest {
 protected:
  static std::string status(const support::Answer& answer) {
    const json::Object* const block = json::objectAt(answer.body, {"status"});
    return block == nullptr ? "(no block)" : support::written(*block);
  }
};

TEST_F(DiscoveryAdd, ListsTheServerThatWasSearchedFor) {
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  const auto answer = add("/1.0/servers/alpha");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(answer.body), R"({"status":[{"code":0,"desc":"Success"}]})");
  const auto announced = discovery::DiscoveryMap::getDiscoveredHost();
  ASSERT_EQ(announced.count("10.0.0.5"), 1u);
  EXPECT_EQ(textOrNone(announced.at("10.0.0.5"), {"properties", "displayId"}), "alpha");
  EXPECT_TRUE(json::flagAt(announced.at("10.0.0.5"), {"properties", "isManual"}));
}

TEST_F(DiscoveryAdd, ShowsTheServerInTheList) {
  serveDetails(serverRecord("local", "10.0.0.1"));
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  add("/1.0/servers/alpha");
  EXPECT_EQ(json::numberAt(get("/1.0/servers").body, {"count"}), 2);
}

struct Uri {
  const char* uri;
  const char* displayId;
};

TEST_F(DiscoveryAdd, ReadsTheIdentifierFromTheEndOfThePath) {
  preferences.set("uri_prefix", "/kvt");
  const Uri rows[] = {{"/1.0/searchedserver/alpha", "alpha"},
                      {"/kvt/1.0/servers/alpha", "alpha"},
                      {"alpha", "alpha"},
                      {"/1.0/servers/ALPHA", "alpha"},
                      {"/1.0/servers/alpha", "Alpha"},
                      {"/1.0/servers/alpha?x=/beta", "alpha"},
                      {"/1.0/servers/fe80::1%25eth0", "fe80::1%eth0"},
                      {"/1.0/servers/a%2Fb", "a/b"},
                      {"/1.0/servers/100%", "100%"}};
  for (const Uri& row : rows) {
    clearInventory();
    fileSearched("10.0.0.5", serverRecord(row.displayId, "10.0.0.5"));
    EXPECT_EQ(add(row.uri).status, http::HTTPCommand::HTTP_OK) << row.uri;
  }
}

TEST_F(DiscoveryAdd, RefusesAServerThatNobodySearchedFor) {
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  announce("10.0.0.6", serverRecord("beta", "10.0.0.6"));
  for (const char* const uri : {"/1.0/servers/beta", "/1.0/servers/10.0.0.5", "/1.0/servers/alph", "/1.0/servers/"}) {
    const auto answer = add(uri);
    EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST) << uri;
    EXPECT_EQ(status(answer), R"({"code":400,"desc":"Server not found"})") << uri;
  }
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.6"));
}

TEST_F(DiscoveryAdd, RefusesAServerWhoseAddressIsAnnounced) {
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  announce("10.0.0.5", serverRecord("other", "10.0.0.5"));
  const auto answer = add("/1.0/servers/alpha");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(status(answer), R"({"code":400,"desc":"Server already discovered"})");
  EXPECT_EQ(textOrNone(discovery::DiscoveryMap::getDiscoveredHost()["10.0.0.5"], {"properties", "displayId"}), "other");
}

TEST_F(DiscoveryAdd, LooksForTheServerBeforeItLooksForADuplicate) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  EXPECT_EQ(status(add("/1.0/servers/alpha")), R"({"code":400,"desc":"Server not found"})");
}

TEST_F(DiscoveryAdd, RefusesTheSameServerTwice) {
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  EXPECT_EQ(add("/1.0/servers/alpha").status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(status(add("/1.0/servers/alpha")), R"({"code":400,"desc":"Server already discovered"})");
}

TEST_F(DiscoveryAdd, TakesNoServerWithoutAnIdentifier) {
  fileSearched("10.0.0.5", {});
  EXPECT_EQ(status(add("/1.0/servers/")), R"({"code":400,"desc":"Server not found"})");
}

TEST_F(DiscoveryAdd, ListsAServerThatWasSearchedForByNameUnderItsAddress) {
  fileSearched(
      "alpha.example",
      support::parsed(
          R"({"properties":{"displayId":"alpha","os":{"network":{"lastCommunicatedIp":{"ipV4":"10.0.0.5"}}}}})"));
  EXPECT_EQ(add("/1.0/servers/alpha").status, http::HTTPCommand::HTTP_OK);
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
}

TEST_F(DiscoveryAdd, DoesNotListAServerTwiceThatWasSearchedForByNameAndByAddress) {
  const json::Object record = support::parsed(
      R"({"properties":{"displayId":"alpha","os":{"network":{"lastCommunicatedIp":{"ipV4":"10.0.0.5"}}}}})");
  fileSearched("alpha.example", record);
  announce("10.0.0.5", record);
  EXPECT_EQ(status(add("/1.0/servers/alpha")), R"({"code":400,"desc":"Server already discovered"})");
}

TEST_F(DiscoveryAdd, TakesTheFirstServerOfAnIdentifierAndLogsItsWay) {
  fileSearched("10.0.0.4", serverRecord("gamma", "10.0.0.4"));
  fileSearched("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  fileSearched("10.0.0.6", serverRecord("ALPHA", "10.0.0.6"));
  log.clear();
  add("/1.0/servers/alpha");
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
  EXPECT_THAT(log.texts(utils::LOG_DETAIL),
              testing::ElementsAre("strServerID from mSearchedHosts:gamma", "strServerID from mSearchedHosts:alpha",
                                   "strServerIP from mSearchedHosts:10.0.0.5"));
}

TEST_F(DiscoveryAdd, LogsThatItFoundNothing) {
  log.clear();
  add("/1.0/servers/alpha");
  EXPECT_THAT(log.texts(utils::LOG_DETAIL), testing::ElementsAre("strServerIP from mSearchedHosts:"));
  ASSERT_EQ(log.texts(utils::LOG_ERROR).size(), 1u);
  EXPECT_THAT(log.texts(utils::LOG_ERROR).front(), testing::HasSubstr("Server not found"));
}

TEST_F(DiscoveryAdd, TellsTheSourceFileWithoutThePathOfTheMachineThatBuiltIt) {
  log.clear();
  add("/1.0/servers/alpha");
  const std::string text = log.texts(utils::LOG_ERROR).front();
  EXPECT_THAT(text, testing::HasSubstr("DiscoveryActions.cpp"));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("/")));
}

}  // namespace
}  // namespace plugins
