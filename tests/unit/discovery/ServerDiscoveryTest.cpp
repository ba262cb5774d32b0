#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::ServerDiscovery;
using Inventory = RemoteServerDiscovery;

class ServerDiscoveryTest : public InventoryTest {
 protected:
  std::optional<std::string> firstKeyOf(const std::string& displayId) {
    const auto keys = inventory.keysOfServer(displayId);
    return keys.empty() ? std::nullopt : std::optional(keys.front());
  }
};

TEST_F(ServerDiscoveryTest, IsTheOneInventory) {
  const support::LogCapture log;
  EXPECT_EQ(ServerDiscovery::getInstance(), RemoteServerDiscovery::getInstance());
  EXPECT_TRUE(log.has(utils::LOG_LOOKUP, "discovery::ServerDiscovery::getInstance"));
}

TEST_F(ServerDiscoveryTest, HasAMutexForThePassAndOneForFiling) {
  utils::Mutex ServerDiscovery::*const pass = &ServerDiscovery::mMutex;
  utils::Mutex ServerDiscovery::*const filing = &ServerDiscovery::mHostListMutex;
  EXPECT_NE(&(inventory.*pass), &(inventory.*filing));
}

TEST_F(ServerDiscoveryTest, FindsTheKeyOfAServerInEachList) {
  Inventory::mSearchedHosts.insertIfAbsent("s", recordNamed("searched"));
  discovery::DiscoveryMap::updateServerList({{"d", recordNamed("announced")}});
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("p", recordNamed("published"));
  EXPECT_EQ(firstKeyOf("searched"), "s");
  EXPECT_EQ(firstKeyOf("announced"), "d");
  EXPECT_EQ(firstKeyOf("published"), "p");
  EXPECT_EQ(firstKeyOf("nobody"), std::nullopt);
}

TEST_F(ServerDiscoveryTest, LooksAmongTheSearchedServersFirstAndAmongThePublishedLast) {
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("p", recordNamed("same"));
  EXPECT_EQ(firstKeyOf("same"), "p");
  discovery::DiscoveryMap::updateServerList({{"d", recordNamed("same")}});
  EXPECT_EQ(firstKeyOf("same"), "d");
  Inventory::mSearchedHosts.insertIfAbsent("s2", recordNamed("same"));
  Inventory::mSearchedHosts.insertIfAbsent("s1", recordNamed("same"));
  EXPECT_EQ(firstKeyOf("same"), "s1");
}

TEST_F(ServerDiscoveryTest, GivesAllKeysOfAServerEachOnce) {
  using Keys = std::vector<std::string>;
  Inventory::mSearchedHosts.insertIfAbsent("s2", recordNamed("same"));
  Inventory::mSearchedHosts.insertIfAbsent("s1", recordNamed("SAME"));
  discovery::DiscoveryMap::updateServerList({{"d", recordNamed("same")}, {"s1", recordNamed("same")}});
  Inventory::mPartialDiscoveredHosts.replaceAll({{"a", recordNamed("Same")}, {"b", recordNamed("other")}});
  EXPECT_EQ(inventory.keysOfServer("same"), (Keys{"s1", "s2", "d", "a"}));
  EXPECT_EQ(inventory.keysOfServer("other"), Keys{"b"});
  EXPECT_EQ(inventory.keysOfServer("nobody"), Keys{});
  EXPECT_EQ(inventory.keysOfServer(""), Keys{});
}

TEST_F(ServerDiscoveryTest, IgnoresCaseInDisplayIdentifiers) {
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("p", recordNamed("Peer-A"));
  EXPECT_EQ(firstKeyOf("pEER-a"), "p");
}

TEST_F(ServerDiscoveryTest, NeverFindsAnEmptyIdentifier) {
  Inventory::mSearchedHosts.insertIfAbsent("nameless", recordNamed(""));
  Inventory::mPartialDiscoveredHosts.insertIfAbsent("bare", {});
  EXPECT_EQ(firstKeyOf(""), std::nullopt);
}

TEST_F(ServerDiscoveryTest, ClearsAnAddressThatWasUnreachable) {
  inventory.mapUnreachableIP.add("10.0.0.8");
  inventory.mapUnreachableIP.add("10.0.0.9");
  inventory.clearUnreachable("10.0.0.8");
  inventory.clearUnreachable("10.0.0.7");
  EXPECT_EQ(inventory.mapUnreachableIP.all(), std::vector<std::string>{"10.0.0.9"});
}

TEST_F(ServerDiscoveryTest, SaysThatAPassRunsBeforeTheFirstHasEnded) {
  EXPECT_EQ(inventory.getDiscoveredServerStatus(), 1);
  Inventory::mDiscoveryStatus = 0;
  EXPECT_EQ(inventory.getDiscoveredServerStatus(), 0);
}

TEST_F(ServerDiscoveryTest, TracesItsOperations) {
  const support::LogCapture log;
  json::Array array;
  json::Object object;
  std::map<std::string, json::Object> map;
  inventory.getDiscoveredHost(array);
  inventory.addHost("k", {});
  inventory.addToSearchHostList("k", {}, {}, false);
  inventory.getSearchHost("k", object);
  inventory.getDiscoveredServerStatus();
  inventory.removeSpecificServer("k");
  inventory.getDiscoveredHosts(map);
  inventory.clearAutoDiscoveredServers();
  inventory.addDiscoveredHost("", "", false);
  inventory.getRemoteServerDetails("", "", {}, object, false);
  inventory.getLocalServerDetails("", "", object);
  inventory.isLocalServer({}, "");
  inventory.formDummyServerJson(object, "");
  inventory.registerSLPService("", true, "", "");
  inventory.deRegisterSLPService("", false);
  for (const char* operation :
       {"getDiscoveredHost", "addHost", "addToSearchHostList", "getSearchHost", "getDiscoveredServerStatus",
        "removeSpecificServer", "getDiscoveredHosts", "clearAutoDiscoveredServers", "addDiscoveredHost",
        "getRemoteServerDetails", "getLocalServerDetails", "isLocalServer", "formDummyServerJson", "registerSLPService",
        "deRegisterSLPService"}) {
    EXPECT_TRUE(log.has(utils::LOG_TRACE, std::string("RemoteServerDiscovery::") + operation)) << operation;
  }
}

}  // namespace
