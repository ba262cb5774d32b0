#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "heartbeat/IncomingRecord.h"
#include "support/LogCapture.h"
#include "support/Requests.h"

namespace {

using discovery::DiscoveryMap;
using discovery::ServerDiscovery;
using heartbeat::AnnounceRecord;
using heartbeat::handleAnnounceRecord;
using support::parsed;

/// Starts and ends with nobody announced.
class IncomingRecord : public testing::Test {
 protected:
  IncomingRecord() { DiscoveryMap::updateServerList({}); }
  ~IncomingRecord() override { DiscoveryMap::updateServerList({}); }

  static AnnounceRecord registerRecord(std::string_view attributes) {
    return {AnnounceRecord::kRegister, "10.0.0.99", "service:x-mgmt.quorvel:kvt://10.0.0.99:8443", attributes, 65535};
  }
  static AnnounceRecord deregisterRecord(std::string_view address) {
    return {AnnounceRecord::kDeregister, address, "service:x-mgmt.quorvel:kvt://10.0.0.7:8443", "", 0};
  }
  static std::string foundText(const std::string& address, const std::string& server) {
    return "HeartBeatWin:HandleIncomingData:slpAttributeCallback found for IP=" + address +
           ", with strServerDetail=" + server;
  }

  support::LogCapture log;
};

TEST_F(IncomingRecord, OfAJoinIsOnlyLogged) {
  handleAnnounceRecord({AnnounceRecord::kJoin, "10.0.0.7", "u", R"((ip=10.0.0.7))(server={!a!:1}))", 1});
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "HeartBeatWin:HandleIncomingData:Joined multicast group IP:10.0.0.7"));
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
}

TEST_F(IncomingRecord, OfARegisterHandsAddressAndDetailsOn) {
  // "P7" is no document, so that the table says how far it came.
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7))(server=P7)"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, foundText("10.0.0.7", "P7")));
  EXPECT_TRUE(log.containsPart("DiscoveryMap:addDiscoveredHost:json remote.json, caught json::"));
  EXPECT_FALSE(log.containsPart("VMWare"));
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
}

TEST_F(IncomingRecord, OfARegisterFilesTheServerOfItsAttributes) {
  handleAnnounceRecord(registerRecord(R"((ip=10.0.0.7))(server={!PROPERTIES!:{!a!:1}}))"));
  const auto hosts = DiscoveryMap::getDiscoveredHost();
  ASSERT_EQ(hosts.size(), 1u);
  EXPECT_EQ(hosts.begin()->first, "10.0.0.7");
  EXPECT_EQ(hosts.begin()->second, parsed(R"({"PROPERTIES":{"a":1}})"));
}

TEST_F(IncomingRecord, OfARegisterTurnsEveryExclamationMarkIntoAQuote) {
  handleAnnounceRecord(registerRecord("(ip=1!2))(server=!!x!)"));
  EXPECT_TRUE(log.contains(foundText("1\"2", "\"\"x\"")));
}

TEST_F(IncomingRecord, OfARegisterKeepsTheDetailsThatCameFirst) {
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7))(server={!a!:1})"));
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7))(server={!a!:2})"));
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().at("10.0.0.7"), parsed(R"({"a":1})"));
}

TEST_F(IncomingRecord, OfARegisterWithATemplateFilesTheServerUnderNoAddress) {
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7))(server={!a!:1}))(template-url-syntax=https://10.0.0.7:5989)"));
  EXPECT_TRUE(log.contains(foundText("", R"({"a":1})")));
  const auto hosts = DiscoveryMap::getDiscoveredHost();
  ASSERT_EQ(hosts.size(), 1u);
  EXPECT_EQ(hosts.begin()->first, "");
}

TEST_F(IncomingRecord, OfAVmwareHostFilesAnEmptyRecordUnderItsAddress) {
  for (const char* name : {"root/qmxmr13", "QMX/QMXMR13", "Root/Qmxmr12", "qmx/qmxmr12"}) {
    DiscoveryMap::updateServerList({});
    log.clear();
    handleAnnounceRecord(registerRecord("(ip=10.0.0.8))(server={!a!:1}))(Namespace=" + std::string(name) + ")"));
    EXPECT_TRUE(
        log.has(utils::LOG_DETAIL, "HeartBeatWin:HandleIncomingData:VMWare server is discovered and the IP is :"));
    EXPECT_TRUE(log.contains(foundText("10.0.0.8", R"({"a":1})")));
    EXPECT_EQ(DiscoveryMap::getDiscoveredHost().at("10.0.0.8"), json::Object()) << name;
  }
}

TEST_F(IncomingRecord, OfAForeignNamespaceIsNoVmwareHost) {
  handleAnnounceRecord(registerRecord("(ip=10.0.0.8))(server={!a!:1}))(Namespace=root/other)"));
  EXPECT_FALSE(log.containsPart("VMWare"));
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().at("10.0.0.8"), parsed(R"({"a":1})"));
}

TEST_F(IncomingRecord, ReadsTheStandardFormOfAttributesToo) {
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7),(unknown=1),(server={!a!:1})"));
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().count("10.0.0.7"), 1u);
}

TEST_F(IncomingRecord, OfARegisterWithoutDetailsFilesNothing) {
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7)"));
  handleAnnounceRecord(registerRecord(""));
  EXPECT_TRUE(log.contains("DiscoveryMap:addDiscoveredHost:Server Details List is$ Empty"));
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
}

TEST_F(IncomingRecord, OfARegisterFilesNothingOfDetailsThatWereCut) {
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7))(server={!a!:"));
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().empty());
}

TEST_F(IncomingRecord, OfARegisterLetsTheAddressBeAskedAgain) {
  auto& inventory = *ServerDiscovery::getInstance();
  inventory.mapUnreachableIP.add("10.0.0.7");
  inventory.mapUnreachableIP.add("10.0.0.99");
  handleAnnounceRecord(registerRecord("(ip=10.0.0.7))(server={!a!:1})"));
  EXPECT_FALSE(inventory.mapUnreachableIP.contains("10.0.0.7"));
  EXPECT_TRUE(inventory.mapUnreachableIP.contains("10.0.0.99"));
  inventory.clearUnreachable("10.0.0.99");
}

TEST_F(IncomingRecord, OfADeregisterTakesTheServerOut) {
  DiscoveryMap::updateServerList({{"10.0.0.7", parsed(R"({"a":7})")}, {"10.0.0.8", parsed(R"({"a":8})")}});
  handleAnnounceRecord(deregisterRecord("10.0.0.7"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL,
                      "HeartBeatWin:HandleIncomingData:DEREGISTRATION! lpslpData->ipAddress=10.0.0.7, with "
                      "lpslpData->srvURL=service:x-mgmt.quorvel:kvt://10.0.0.7:8443"));
  const auto hosts = DiscoveryMap::getDiscoveredHost();
  ASSERT_EQ(hosts.size(), 1u);
  EXPECT_EQ(hosts.at("10.0.0.8"), parsed(R"({"a":8})"));
}

TEST_F(IncomingRecord, OfADeregisterOfAStrangerChangesNothing) {
  DiscoveryMap::updateServerList({{"10.0.0.7", parsed(R"({"a":7})")}});
  handleAnnounceRecord(deregisterRecord("10.0.0.9"));
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().size(), 1u);
}

TEST_F(IncomingRecord, OfAnUnknownKindSaysNothing) {
  DiscoveryMap::updateServerList({{"10.0.0.7", parsed(R"({"a":7})")}});
  log.clear();
  for (const std::int32_t kind : {-2, 2, 1000, INT32_MIN, INT32_MAX}) {
    handleAnnounceRecord({kind, "10.0.0.7", "u", "(ip=10.0.0.8))(server={!a!:1})", 1});
  }
  EXPECT_TRUE(log.records().empty());
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost().size(), 1u);
}

}  // namespace
