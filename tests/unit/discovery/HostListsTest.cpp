#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/HostLists.h"
#include "discovery/Limits.h"
#include "json/lookup.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::DiscoveryMap;
using Inventory = RemoteServerDiscovery;
using Texts = std::vector<std::string>;

class HostLists : public InventoryTest {
 protected:
  /// The display identifiers of what is listed.
  Texts listed() {
    json::Array records;
    inventory.getDiscoveredHost(records);
    Texts names;
    for (const auto& record : std::as_const(records))
      names.push_back(json::textAt(static_cast<const json::Object&>(record), {"properties", "displayId"}));
    return names;
  }

  const support::LogCapture log;
};

using DiscoveredList = HostLists;
using SearchedList = HostLists;
using PublishedList = HostLists;
using PassEnd = HostLists;

TEST_F(DiscoveredList, IsThePublishedOneWhenNothingIsAnnounced) {
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("b", recordNamed("second"));
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("a", recordNamed("first"));
  EXPECT_EQ(listed(), (Texts{"first", "second"}));
  EXPECT_TRUE(log.contains(
      "RemoteServerDiscovery:getDiscoveredHost:mDiscoveredHosts.size():mPartialDiscoveredHosts.size():02"));
}

TEST_F(DiscoveredList, IsTheDiscoveryMapWheneverThatHoldsAnything) {
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("a", recordNamed("published"));
  DiscoveryMap::updateServerList({{"z", recordNamed("announced")}});
  EXPECT_EQ(listed(), Texts{"announced"});
  EXPECT_TRUE(log.contains(
      "RemoteServerDiscovery:getDiscoveredHost:mDiscoveredHosts.size():mPartialDiscoveredHosts.size():11"));
}

TEST_F(DiscoveredList, ReplacesWhatItsReaderHeld) {
  json::Array records;
  records.Insert(json::Number(1));
  inventory.getDiscoveredHost(records);
  EXPECT_TRUE(records.Empty());
}

TEST_F(PublishedList, TakesTheValueOfAnAddedServerAndBecomesTheDiscoveryMap) {
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("a", recordNamed("found"));
  DiscoveryMap::updateServerList({{"gone", {}}});
  inventory.addHost("b", answerWith(recordNamed("added")), true);
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(),
            (std::map<std::string, json::Object>{{"a", recordNamed("found")}, {"b", recordNamed("added")}}));
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), (Texts{"a", "b"}));
}

TEST_F(PublishedList, KeepsTheRecordOfAServerThatIsAddedAgain) {
  inventory.addHost("a", answerWith(recordNamed("first")));
  inventory.addHost("a", answerWith(recordNamed("second")));
  EXPECT_EQ(listed(), Texts{"first"});
}

TEST_F(PublishedList, TakesAnEmptyRecordWhereThereIsNoValue) {
  inventory.addHost("a", {});
  inventory.addHost("b", support::parsed(R"({"value":"text"})"));
  EXPECT_EQ(textOf(Inventory::mPartialDiscoveredHosts, "a"), "{}");
  EXPECT_EQ(textOf(Inventory::mPartialDiscoveredHosts, "b"), "{}");
}

TEST_F(PublishedList, TakesAServerThatAUserAddsWhateverStrangersFilledItWith) {
  Inventory::mPartialDiscoveredHosts.replaceAll(tableOf(discovery::kMaxServers));
  inventory.addHost("added", answerWith(recordNamed("added")));
  EXPECT_TRUE(Inventory::mPartialDiscoveredHosts.find("added"));
}

TEST_F(PublishedList, LosesARemovedServerAndLeavesTheDiscoveryMapThatDoesNotHoldIt) {
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", {}}, {"b", {}}});
  DiscoveryMap::updateServerList({{"c", {}}});
  EXPECT_TRUE(inventory.removeSpecificServer("a"));
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), Texts{"b"});
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().contains("c"));
}

TEST_F(PublishedList, LosesARemovedServerTogetherWithTheDiscoveryMap) {
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", {}}, {"b", {}}});
  DiscoveryMap::updateServerList({{"a", {}}, {"c", {}}});
  EXPECT_TRUE(inventory.removeSpecificServer("a"));
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), Texts{"b"});
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (std::map<std::string, json::Object>{{"c", {}}}));
}

TEST_F(PublishedList, SaysThatAServerOfTheDiscoveryMapAloneWasRemoved) {
  DiscoveryMap::updateServerList({{"a", {}}});
  EXPECT_TRUE(inventory.removeSpecificServer("a"));
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
}

TEST_F(PublishedList, ChangesNothingForAnAbsentKey) {
  Inventory::mPartialDiscoveredHosts.replaceAll({{"10.0.0.1", {}}});
  DiscoveryMap::updateServerList({{"10.0.0.1", {}}});
  for (const char* key : {"10.0.0", "10.0.0.10", "10.0.0.1 ", ""})
    EXPECT_FALSE(inventory.removeSpecificServer(key)) << key;
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), Texts{"10.0.0.1"});
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().size(), 1u);
}

/// As the discovery cycle does.
void endPass(RemoteServerDiscovery& inventory) {
  inventory.clearAutoDiscoveredServers();
  DiscoveryMap::passEnds(*Inventory::mPartialDiscoveredHosts.snapshot());
}

TEST_F(PublishedList, DoesNotGetBackFromTheRunningPassWhatWasRemovedMeanwhile) {
  DiscoveryMap::passBegins();
  Inventory::mCycleDiscoveredHosts.replaceAll({{"a", {}}, {"b", {}}});
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", {}}, {"b", {}}});
  DiscoveryMap::addDiscoveredHost("announced", "{}", false);
  EXPECT_TRUE(inventory.removeSpecificServer("a"));
  EXPECT_TRUE(inventory.removeSpecificServer("announced"));
  endPass(inventory);
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), Texts{"b"});
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (std::map<std::string, json::Object>{{"b", {}}}));
}

TEST_F(PublishedList, DoesNotSayThatAServerWasRemovedWhichOnlyTheRunningPassKnows) {
  Inventory::mCycleDiscoveredHosts.replaceAll({{"a", {}}});
  EXPECT_FALSE(inventory.removeSpecificServer("a"));
  EXPECT_EQ(Inventory::mCycleDiscoveredHosts.size(), 0u);
}

TEST_F(PublishedList, KeepsAfterThePassAServerThatWasRemovedAndAddedMeanwhile) {
  DiscoveryMap::passBegins();
  Inventory::mCycleDiscoveredHosts.replaceAll({{"b", {}}});
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", {}}, {"b", {}}});
  EXPECT_TRUE(inventory.removeSpecificServer("a"));
  inventory.addHost("a", answerWith(manualRecordNamed("a")));
  endPass(inventory);
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().contains("a"));
}

TEST_F(SearchedList, AnswersOneAndTheRecordForAKnownKey) {
  inventory.addToSearchHostList("10.0.0.5", {}, answerWith(recordNamed("five")), false);
  json::Object out;
  EXPECT_EQ(inventory.getSearchHost("10.0.0.5", out), 1);
  EXPECT_EQ(out, manualRecordNamed("five"));
}

TEST_F(SearchedList, AnswersTwoForAnUnknownKeyAndLeavesTheOutput) {
  json::Object out = recordNamed("before");
  EXPECT_EQ(inventory.getSearchHost("10.0.0.5", out), 2);
  EXPECT_EQ(out, recordNamed("before"));
}

TEST_F(SearchedList, KeepsTheFirstRecordOfAKey) {
  inventory.addToSearchHostList("10.0.0.5", {}, answerWith(recordNamed("first")), false);
  inventory.addToSearchHostList("10.0.0.5", {}, answerWith(recordNamed("second")), false);
  EXPECT_EQ(*Inventory::mSearchedHosts.find("10.0.0.5"), manualRecordNamed("first"));
}

TEST_F(SearchedList, FilesAProvisionalRecordFromTheRequest) {
  inventory.addToSearchHostList("10.0.0.5", support::parsed(R"({"parameters":{"address":"VM-5"}})"),
                                answerWith(recordNamed("ignored")), true);
  const json::Object record = *Inventory::mSearchedHosts.find("10.0.0.5");
  EXPECT_EQ(json::textAt(record, {"properties", "displayId"}), "vm-5");
  EXPECT_TRUE(json::flagAt(record, {"properties", "isManual"}));
}

TEST_F(SearchedList, ReadsAMissingAddressAsEmpty) {
  int key = 0;
  for (const char* request :
       {"{}", R"({"parameters":{}})", R"({"parameters":"x"})", R"({"parameters":{"address":7}})"}) {
    inventory.addToSearchHostList(std::to_string(key), support::parsed(request), {}, true);
    const auto record = Inventory::mSearchedHosts.find(std::to_string(key++));
    ASSERT_TRUE(record) << request;
    EXPECT_EQ(json::textAt(*record, {"properties", "displayId"}), "") << request;
    EXPECT_EQ(json::textAt(*record, {"self", "uri"}), "/1.0/servers/") << request;
  }
}

TEST_F(SearchedList, MarksRecordsOfEveryShapeAsAddedByHand) {
  int key = 0;
  for (const char* answer : {"{}", R"({"value":7})", R"({"value":[]})", R"({"value":{"properties":"x"}})",
                             R"({"value":{"properties":{"isManual":"no"}}})"}) {
    inventory.addToSearchHostList(std::to_string(key), {}, support::parsed(answer), false);
    EXPECT_EQ(textOf(Inventory::mSearchedHosts, std::to_string(key++)), R"({"properties":{"isManual":true}})")
        << answer;
  }
}

struct KeyRow {
  const char* key;
  const char* filedUnder;
};

TEST_F(SearchedList, IsFiledUnderTheLastSegmentOfTheKey) {
  const KeyRow rows[] = {
      {"/1.0/searchedserver/10.0.0.5", "10.0.0.5"},
      {"https://here:8443/1.0/searchedserver/Some.Host", "Some.Host"},
      {"10.0.0.6", "10.0.0.6"},
      {"/1.0/searchedserver/fe80::1%25eth0", "fe80::1%eth0"},
      {"/1.0/searchedserver/a%2Fb", "a/b"},
      {"fe80::2%eth0", "fe80::2%eth0"},
  };
  for (const KeyRow& row : rows) {
    inventory.addToSearchHostList(row.key, {}, answerWith(recordNamed(row.key)), false);
    json::Object out;
    EXPECT_EQ(inventory.getSearchHost(row.filedUnder, out), 1) << row.key;
    EXPECT_EQ(json::textAt(out, {"properties", "displayId"}), row.key);
  }
  EXPECT_EQ(Inventory::mSearchedHosts.size(), std::size(rows));
}

TEST_F(SearchedList, LeavesOutAKeyWithoutAnIdentifier) {
  discovery::HostLists lists;
  lists.addSearched("/1.0/searchedserver/", {}, {}, false);
  EXPECT_EQ(lists.mSearchedHosts.size(), 0u);
  EXPECT_TRUE(log.has(utils::LOG_FAILURE,
                      "RemoteServerDiscovery:addToSearchHostList:there is no identifier in the key, left out:"
                      "/1.0/searchedserver/"));
}

TEST_F(SearchedList, TakesNoMoreThanItsLimit) {
  discovery::HostLists lists;
  lists.mSearchedHosts.replaceAll(tableOf(discovery::kMaxSearchedHosts));
  lists.addSearched("/1.0/searchedserver/one.more", {}, {}, false);
  EXPECT_FALSE(lists.mSearchedHosts.find("one.more"));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE,
                      "RemoteServerDiscovery:addToSearchHostList:the list is full, left out:"
                      "/1.0/searchedserver/one.more"));
}

TEST_F(SearchedList, LeavesOutARecordThatIsTooLarge) {
  discovery::HostLists lists;
  lists.addSearched("a", {}, answerWith(recordNamed(std::string(discovery::kMaxRecordLength, 'x'))), false);
  EXPECT_EQ(lists.mSearchedHosts.size(), 0u);
  EXPECT_TRUE(
      log.has(utils::LOG_FAILURE, "RemoteServerDiscovery:addToSearchHostList:the record is too large, left out:a"));
}

TEST_F(SearchedList, SaysOnlyOnceInAWhileThatSomethingIsLeftOut) {
  discovery::HostLists lists;
  for (int i = 0; i < 50; ++i)
    lists.addSearched("/", {}, {}, false);
  EXPECT_EQ(log.texts(utils::LOG_FAILURE).size(), 1u);
}

TEST_F(SearchedList, IsWhatGetDiscoveredHostsGives) {
  inventory.addToSearchHostList("10.0.0.5", {}, answerWith(recordNamed("five")), false);
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("10.0.0.9", {});
  std::map<std::string, json::Object> out{{"before", {}}};
  inventory.getDiscoveredHosts(out);
  EXPECT_EQ(out, (std::map<std::string, json::Object>{{"10.0.0.5", manualRecordNamed("five")}}));
}

TEST_F(PassEnd, LeavesThePublishedListWhenThePassFoundNothing) {
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", recordNamed("a")}, {"b", manualRecordNamed("b")}});
  inventory.clearAutoDiscoveredServers();
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), (Texts{"a", "b"}));
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:clearAutoDiscoveredServers:mPartialDiscoveredHosts.size():2"));
}

TEST_F(PassEnd, CopiesWhatThePassFoundIntoAnEmptyPublishedList) {
  Inventory::mCycleDiscoveredHosts.replaceAll({{"a", recordNamed("a")}, {"b", recordNamed("b")}});
  inventory.clearAutoDiscoveredServers();
  EXPECT_EQ(*Inventory::mPartialDiscoveredHosts.snapshot(), *Inventory::mCycleDiscoveredHosts.snapshot());
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:clearAutoDiscoveredServers:mPartialDiscoveredHosts.size():2"));
}

TEST_F(PassEnd, LeavesTwoEmptyListsEmpty) {
  inventory.clearAutoDiscoveredServers();
  EXPECT_EQ(Inventory::mPartialDiscoveredHosts.size(), 0u);
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:clearAutoDiscoveredServers:mPartialDiscoveredHosts.size():0"));
}

TEST_F(PassEnd, DropsWhatWasNotFoundAgainAndKeepsManualServersBeforeWhatWas) {
  Inventory::mPartialDiscoveredHosts.replaceAll(
      {{"a", manualRecordNamed("a")}, {"b", recordNamed("b")}, {"c", recordNamed("c")}, {"d", manualRecordNamed("d")}});
  Inventory::mCycleDiscoveredHosts.replaceAll({{"c", recordNamed("anew")}});
  inventory.clearAutoDiscoveredServers();
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), (Texts{"a", "c"}));
  EXPECT_EQ(*Inventory::mPartialDiscoveredHosts.find("c"), recordNamed("c"));
  EXPECT_EQ(keysOf(Inventory::mCycleDiscoveredHosts), Texts{"c"}) << "the pass's list is left to the next pass";
}

TEST_F(PassEnd, ForgetsTheCountersOfServersThatLeft) {
  for (const char* address : {"a", "b", "c"})
    Inventory::mUpdatedCounters.record(address, 1, "");
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", {}}, {"b", {}}});
  Inventory::mCycleDiscoveredHosts.replaceAll({{"b", {}}});
  inventory.clearAutoDiscoveredServers();
  EXPECT_EQ(Inventory::mUpdatedCounters.size(), 1u);
  EXPECT_TRUE(Inventory::mUpdatedCounters.find("b"));
}

}  // namespace
