#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/AnnouncedServers.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/Limits.h"
#include "support/LogCapture.h"
#include "support/Requests.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::DiscoveryMap;
using Hosts = std::map<std::string, json::Object>;

class DiscoveryMapTest : public ::testing::Test {
 protected:
  DiscoveryMapTest() { DiscoveryMap::updateServerList({}); }
  ~DiscoveryMapTest() override { DiscoveryMap::updateServerList({}); }

  const support::LogCapture log;
};

TEST_F(DiscoveryMapTest, FilesTheDocumentOfAnAnnouncedServer) {
  DiscoveryMap::addDiscoveredHost("10.0.0.7", R"({"properties":{"displayId":"p7"}})", false);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(),
            (Hosts{{"10.0.0.7", support::parsed(R"({"properties":{"displayId":"p7"}})")}}));
}

TEST_F(DiscoveryMapTest, KeepsTheFirstDetailsOfAnAddress) {
  DiscoveryMap::addDiscoveredHost("10.0.0.7", R"({"a":1})", false);
  DiscoveryMap::addDiscoveredHost("10.0.0.7", R"({"a":2})", false);
  DiscoveryMap::addDiscoveredHost("10.0.0.7", "", true);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{"10.0.0.7", support::parsed(R"({"a":1})")}}));
}

TEST_F(DiscoveryMapTest, FilesAnEmptyRecordForAVmwareHostWhateverTheText) {
  DiscoveryMap::addDiscoveredHost("10.0.0.7", R"({"a":1})", true);
  DiscoveryMap::addDiscoveredHost("10.0.0.8", "", true);
  DiscoveryMap::addDiscoveredHost("10.0.0.9", "{", true);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{"10.0.0.7", {}}, {"10.0.0.8", {}}, {"10.0.0.9", {}}}));
}

TEST_F(DiscoveryMapTest, LogsAnEmptyTextAndFilesNothing) {
  DiscoveryMap::addDiscoveredHost("10.0.0.7", "", false);
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
  EXPECT_TRUE(log.contains("DiscoveryMap:addDiscoveredHost:Server Details List is$ Empty"));
}

TEST_F(DiscoveryMapTest, FilesUnderAnEmptyAddress) {
  DiscoveryMap::addDiscoveredHost("", "{}", false);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{"", {}}}));
}

TEST_F(DiscoveryMapTest, LeavesOutAddressesThatNoServerHas) {
  const std::string longest(discovery::kMaxAddressLength, 'a');
  DiscoveryMap::addDiscoveredHost(longest + "a", "{}", false);
  DiscoveryMap::addDiscoveredHost(longest + "bc", "", true);
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
  // One line for all that a stranger sends in a while.
  EXPECT_EQ(log.texts(utils::LOG_FAILURE),
            std::vector<std::string>{"DiscoveryMap:addDiscoveredHost:an address is too long, its length:256"});
  DiscoveryMap::addDiscoveredHost(longest, "{}", false);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{longest, {}}}));
}

struct Unreadable {
  const char* name;
  const char* text;
  const char* kind;
  const char* where;
};

void PrintTo(const Unreadable& row, std::ostream* out) {
  *out << row.name;
}

class UnreadableDetails : public ::testing::TestWithParam<Unreadable> {
 protected:
  discovery::AnnouncedServers servers;
  const support::LogCapture log;
};

TEST_P(UnreadableDetails, AreLoggedWithTheirPlaceAndFileNothing) {
  servers.add("10.0.0.7", GetParam().text, false);
  EXPECT_TRUE(servers.snapshot()->empty());
  const auto errors = log.texts(utils::LOG_ERROR);
  ASSERT_EQ(errors.size(), 1u);
  const std::string beginning =
      std::string("DiscoveryMap:addDiscoveredHost:json remote.json, caught json::") + GetParam().kind + ": ";
  EXPECT_EQ(errors.front().substr(0, beginning.size()), beginning);
  EXPECT_TRUE(errors.front().ends_with(GetParam().where)) << errors.front();
  EXPECT_GT(errors.front().size(), beginning.size() + std::string(GetParam().where).size()) << "no message";
}

INSTANTIATE_TEST_SUITE_P(
    DiscoveryMap, UnreadableDetails,
    ::testing::Values(Unreadable{"an object that does not end", "{", "ParseException", ", at line: 1 offset: 2"},
                      Unreadable{"a character of no token", "\n  {\"a\": ?}", "ScanException",
                                 ", at line: 2 offset: 9"},
                      Unreadable{"a text after the document", "{}\n{}", "ParseException", ", at line: 2 offset: 1"},
                      Unreadable{"a document of another type", "[1]", "ParseException", ", at line: 1 offset: 1"}));

TEST(AnnouncedServers, LogTheFirstOfManyUnusableAnnouncementsOfEachKind) {
  discovery::AnnouncedServers servers;
  const support::LogCapture log;
  for (int i = 0; i < 100; ++i) {
    servers.add(std::to_string(i), i % 2 == 0 ? "{" : "?", false);
    servers.add(std::to_string(i), "", false);
  }
  EXPECT_EQ(log.texts(utils::LOG_ERROR).size(), 1u);
  EXPECT_EQ(log.texts(utils::LOG_FAILURE),
            std::vector<std::string>{"DiscoveryMap:addDiscoveredHost:Server Details List is$ Empty"});
  EXPECT_TRUE(servers.snapshot()->empty());
}

TEST(AnnouncedServers, AreReplacedByWhatAPassFoundAndWhatWasAnnouncedSinceItBegan) {
  discovery::AnnouncedServers servers;
  servers.add("before", "{}", false);
  servers.passBegins();
  servers.add("during", "{}", false);
  servers.withdraw("goes");
  servers.passEnds({{"found", {}}, {"goes", {}}});
  EXPECT_EQ(*servers.snapshot(), (Hosts{{"during", {}}, {"found", {}}}));
}

TEST(AnnouncedServers, StayWhenAPassFoundNothing) {
  discovery::AnnouncedServers servers;
  servers.add("before", "{}", false);
  servers.add("goes", "{}", false);
  servers.passBegins();
  servers.add("during", "{}", false);
  servers.withdraw("goes");
  servers.passEnds({});
  EXPECT_EQ(*servers.snapshot(), (Hosts{{"before", {}}, {"during", {}}}));
}

TEST_F(DiscoveryMapTest, LosesAServerThatWithdraws) {
  DiscoveryMap::updateServerList({{"a", {}}, {"b", {}}});
  DiscoveryMap::withdraw("a");
  DiscoveryMap::withdraw("unknown");
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{"b", {}}}));
}

TEST_F(DiscoveryMapTest, GivesACopy) {
  DiscoveryMap::addDiscoveredHost("a", "{}", false);
  Hosts copy = DiscoveryMap::getDiscoveredHost();
  copy["b"];
  copy["a"]["changed"] = json::Boolean(true);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{"a", {}}}));
}

TEST_F(DiscoveryMapTest, IsReplacedAsAWhole) {
  DiscoveryMap::addDiscoveredHost("a", "{}", false);
  DiscoveryMap::updateServerList({{"b", support::parsed(R"({"x":1})")}, {"c", {}}});
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Hosts{{"b", support::parsed(R"({"x":1})")}, {"c", {}}}));
}

TEST_F(DiscoveryMapTest, IsEmptiedByAnEmptyList) {
  DiscoveryMap::addDiscoveredHost("a", "{}", false);
  DiscoveryMap::updateServerList({});
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
}

TEST_F(DiscoveryMapTest, DropsWhatIsAnnouncedBeyondItsLimitAndSaysSoOnce) {
  DiscoveryMap::updateServerList(tableOf(discovery::kMaxAnnouncedServers));
  for (int i = 0; i < 50; ++i)
    DiscoveryMap::addDiscoveredHost("10.0.0." + std::to_string(i), "{}", false);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().size(), discovery::kMaxAnnouncedServers);
  EXPECT_EQ(log.texts(utils::LOG_FAILURE),
            std::vector<std::string>{"DiscoveryMap:addDiscoveredHost:the table is full, left out:10.0.0.0"});
}

TEST_F(DiscoveryMapTest, TracesItsOperations) {
  DiscoveryMap::addDiscoveredHost("a", "{}", false);
  DiscoveryMap::getDiscoveredHost();
  DiscoveryMap::updateServerList({});
  for (const char* operation :
       {"discovery::DiscoveryMap::addDiscoveredHost", "discovery::DiscoveryMap::getDiscoveredHost",
        "discovery::DiscoveryMap::updateServerList"}) {
    EXPECT_TRUE(log.has(utils::LOG_TRACE, operation)) << operation;
  }
}

}  // namespace
