#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/ServerView.h"

namespace cli {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kDetails = R"({"properties": {
  "displayId": "one", "build": "008.0.1", "isPivot": true,
  "agents": [{"id": 31, "name": "KVT Server", "build": "008.0.1",
              "listen": [{"address": "10.0.0.1", "port": 8443, "scheme": "http"},
                         {"address": "fd00::1", "port": 8443, "scheme": "https"}]}],
  "os": {"name": "Debian", "version": "12",
         "network": {"nics": [{"name": "eth0", "mac": "02:00:00:00:00:01", "ipV4": "10.0.0.1", "ipV6": "fd00::1"},
                              {"name": "eth1", "mac": "02:00:00:00:00:02", "ipV4": "10.1.0.1", "ipV6": ""}],
                     "lastCommunicatedIp": {"ipV4": "10.1.0.1"}}},
  "health": {"state": "ok"}}})";

TEST(ViewServer, ReadsAServersOwnDetails) {
  const ServerView server = viewServer(parsed(kDetails));
  EXPECT_EQ(server.id, "one");
  EXPECT_EQ(server.build, "008.0.1");
  EXPECT_EQ(server.health, "ok");
  EXPECT_EQ(server.system, "Debian 12");
  EXPECT_THAT(server.addresses, ElementsAre("10.1.0.1", "10.0.0.1", "fd00::1"));
  EXPECT_THAT(server.endpoints, ElementsAre("http://10.0.0.1:8443", "https://[fd00::1]:8443"));
  ASSERT_EQ(server.interfaces.size(), 2u);
  EXPECT_EQ(server.interfaces[0].name, "eth0");
  EXPECT_EQ(server.interfaces[1].mac, "02:00:00:00:00:02");
  EXPECT_TRUE(server.isThisServer);
  EXPECT_FALSE(server.isManual);
}

TEST(ViewServer, ReadsTheEndpointsThatAPeerRegistered) {
  const ServerView server = viewServer(parsed(R"({"properties": {
    "displayId": "two", "agents": [{"address": "10.0.0.2", "port": "8443", "scheme": "https"}]}})"));
  EXPECT_THAT(server.endpoints, ElementsAre("https://10.0.0.2:8443"));
  EXPECT_THAT(server.addresses, ElementsAre("10.0.0.2"));
}

TEST(ViewServer, ReadsTheInterfacesThatAPeerRegistered) {
  const ServerView server = viewServer(parsed(R"({"properties": {"nics": [{"ipV4": "10.0.0.2", "ipV6": ""}]}})"));
  EXPECT_THAT(server.addresses, ElementsAre("10.0.0.2"));
}

TEST(ViewServer, ReadsTheProvisionalRecordOfAnAddress) {
  const ServerView server = viewServer(parsed(R"({"properties": {
    "displayId": "10.0.0.5", "isPivot": false, "isManual": true, "agents": {"id": 31, "name": "KVT Server"}}})"));
  EXPECT_EQ(server.id, "10.0.0.5");
  EXPECT_EQ(server.origin(), "manual");
  EXPECT_THAT(server.endpoints, IsEmpty());
}

struct Record {
  const char* name;
  const char* text;
};

class StrangeRecord : public testing::TestWithParam<Record> {};

TEST_P(StrangeRecord, HasNothingToShow) {
  const ServerView server = viewServer(parsed(GetParam().text));
  EXPECT_EQ(server.id, "");
  EXPECT_EQ(server.health, "");
  EXPECT_THAT(server.addresses, IsEmpty());
  EXPECT_THAT(server.endpoints, IsEmpty());
  EXPECT_EQ(server.origin(), "discovered");
}

INSTANTIATE_TEST_SUITE_P(
    Records, StrangeRecord,
    testing::Values(Record{"Empty", "{}"}, Record{"PropertiesAreText", R"({"properties": "x"})"},
                    Record{"EverythingOfAnotherKind",
                           R"({"properties": {"displayId": 7, "agents": "x", "nics": {}, "os": [], "health": 5,
                               "isPivot": "yes", "isManual": 1}})"},
                    Record{"ListsOfStrangers",
                           R"({"properties": {"agents": [1, "a", null, [], {"listen": {}}],
                               "os": {"network": {"nics": [null, "x", {"ipV4": 5}]}}, "health": {"state": -1}}})"}),
    [](const auto& row) { return row.param.name; });

TEST(ViewServer, TakesInALimitedNumberOfInterfacesAndEndpoints) {
  json::Object record;
  json::Array nics;
  json::Array agents;
  for (int i = 0; i < 1000; ++i) {
    json::Object entry;
    entry["ipV4"] = json::String("10.0.0." + std::to_string(i));
    entry["address"] = json::String("10.0.0." + std::to_string(i));
    nics.Insert(entry);
    agents.Insert(entry);
  }
  record["properties"]["nics"] = nics;
  record["properties"]["agents"] = agents;
  const ServerView server = viewServer(record);
  EXPECT_EQ(server.interfaces.size(), 64u);
  EXPECT_EQ(server.addresses.size(), 64u);
  EXPECT_EQ(server.endpoints.size(), 64u);
}

TEST(ServerView, NamesTheFirstAddressesAndCountsTheRest) {
  ServerView server;
  EXPECT_EQ(server.addressSummary(), "");
  server.addresses = {"10.0.0.1", "fd00::1", "10.1.0.1"};
  EXPECT_EQ(server.addressSummary(), "10.0.0.1, fd00::1, 10.1.0.1");
  server.addresses.insert(server.addresses.end(), {"10.2.0.1", "10.3.0.1"});
  EXPECT_EQ(server.addressSummary(), "10.0.0.1, fd00::1, 10.1.0.1, +2 more");
}

TEST(IsCalled, KnowsAServerByItsIdentifierAndItsAddresses) {
  ServerView server;
  server.id = "Host-One";
  server.addresses = {"10.0.0.1", "fd00::a"};
  EXPECT_TRUE(isCalled(server, "host-one"));
  EXPECT_TRUE(isCalled(server, "10.0.0.1"));
  EXPECT_TRUE(isCalled(server, "FD00::A"));
  EXPECT_FALSE(isCalled(server, "10.0.0.2"));
  EXPECT_FALSE(isCalled(server, "host"));
}

TEST(IsCalled, NeverMatchesAnEmptyText) {
  EXPECT_FALSE(isCalled(ServerView(), ""));
}

}  // namespace
}  // namespace cli
