#include <initializer_list>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "discovery/LocalMachine.h"
#include "unit/discovery/InventoryTest.h"

namespace {

/// Interfaces by their addresses, IPv4 and IPv6.
json::Array nics(std::initializer_list<std::pair<const char*, const char*>> addresses) {
  json::Array array;
  for (const auto& [ipV4, ipV6] : addresses) {
    json::Object nic;
    nic["ipV4"] = json::String(ipV4);
    nic["ipV6"] = json::String(ipV6);
    array.Insert(nic);
  }
  return array;
}

constexpr const char* kListsFailed = "RemoteServerDiscovery:isLocalServer:In strServerIP.compare(strIp) == 0";
constexpr const char* kOneNic = "RemoteServerDiscovery:isLocalServer:In strIp.compare(strServerIP) == 0";
constexpr const char* kIpV4Loop =
    "RemoteServerDiscovery:isLocalServer:In IPv4 loop strNICTemp.compare(strLocalServerIP) == 0";
constexpr const char* kIpV6Loop =
    "RemoteServerDiscovery:isLocalServer:In IPv6 loop strNICTemp.compare(strLocalServerIP) == 0";

class LocalMachine : public InventoryTest {
 protected:
  const support::LogCapture log;
};

TEST_F(LocalMachine, LogsBothAddresses) {
  inventory.isLocalServer({}, "10.0.0.9");
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:isLocalServer:strIp:strServerIP:10.0.0.110.0.0.9"));
}

TEST_F(LocalMachine, IsRecognisedByItsAddressAloneWhenItsAddressesCannotBeListed) {
  system.failGetIPAddresses();
  const json::Array two = nics({{"10.0.0.1", ""}, {"10.0.0.2", ""}});
  EXPECT_TRUE(inventory.isLocalServer(two, "10.0.0.1"));
  EXPECT_EQ(log.count(kListsFailed), 1u);
  EXPECT_FALSE(inventory.isLocalServer(two, "10.0.0.9"));
  EXPECT_EQ(log.count(kListsFailed), 1u);
}

TEST_F(LocalMachine, IsRecognisedByItsAddressAloneWithOneInterface) {
  EXPECT_TRUE(inventory.isLocalServer(nics({{"10.0.0.9", ""}}), "10.0.0.1"));
  EXPECT_EQ(log.count(kOneNic), 1u);
  EXPECT_FALSE(inventory.isLocalServer(nics({{"10.0.0.1", ""}}), "10.0.0.9"));
  EXPECT_EQ(log.count(kOneNic), 1u);
}

TEST_F(LocalMachine, IsRecognisedByItsAddressAloneWithoutInterfaces) {
  EXPECT_TRUE(inventory.isLocalServer({}, "10.0.0.1"));
  EXPECT_FALSE(inventory.isLocalServer({}, "10.0.0.9"));
}

TEST_F(LocalMachine, IsRecognisedByAnyOfSeveralIpV4Addresses) {
  system.setAddresses({"10.0.0.1", "10.1.0.1"});
  EXPECT_TRUE(inventory.isLocalServer(nics({{"10.9.9.9", ""}, {"10.1.0.1", ""}}), "10.9.9.9"));
  EXPECT_EQ(log.count(kIpV4Loop), 1u);
}

TEST_F(LocalMachine, LogsEveryInterfaceThatMatches) {
  system.setAddresses({"10.0.0.1", "10.1.0.1"});
  EXPECT_TRUE(inventory.isLocalServer(nics({{"10.0.0.1", ""}, {"10.9.9.9", ""}, {"10.1.0.1", ""}}), ""));
  EXPECT_EQ(log.count(kIpV4Loop), 2u);
}

TEST_F(LocalMachine, IsNotRecognisedByItsOwnAddressWhenSeveralInterfacesDiffer) {
  EXPECT_FALSE(inventory.isLocalServer(nics({{"10.9.9.8", ""}, {"10.9.9.9", ""}}), "10.0.0.1"));
}

TEST_F(LocalMachine, IsNeverRecognisedByLoopbackOrTheDefaultBridge) {
  system.setAddresses({"127.0.0.1", "192.168.122.1"});
  EXPECT_FALSE(inventory.isLocalServer(nics({{"127.0.0.1", ""}, {"192.168.122.1", ""}}), "127.0.0.1"));
  system.setAddresses({"127.0.0.1", "192.168.122.10"});
  EXPECT_TRUE(inventory.isLocalServer(nics({{"127.0.0.1", ""}, {"192.168.122.10", ""}}), "127.0.0.1"))
      << "only these very addresses are common";
}

TEST_F(LocalMachine, IsRecognisedByIpV6WhenNoIpV4AddressMatches) {
  system.setAddresses({"10.0.0.1"}, {"2001:db8::1"});
  EXPECT_TRUE(inventory.isLocalServer(nics({{"10.9.9.9", ""}, {"", "2001:db8::1"}}), ""));
  EXPECT_EQ(log.count(kIpV4Loop), 0u);
  EXPECT_EQ(log.count(kIpV6Loop), 1u);
}

TEST_F(LocalMachine, LeavesIpV6OutWhenAnIpV4AddressMatches) {
  system.setAddresses({"10.0.0.1"}, {"2001:db8::1"});
  EXPECT_TRUE(inventory.isLocalServer(nics({{"10.0.0.1", "2001:db8::1"}, {"", ""}}), ""));
  EXPECT_EQ(log.count(kIpV6Loop), 0u);
}

TEST_F(LocalMachine, IsNotRecognisedByEmptyTexts) {
  system.setLocalAddress("");
  EXPECT_FALSE(inventory.isLocalServer({}, ""));
  system.failGetIPAddresses();
  EXPECT_FALSE(inventory.isLocalServer({}, ""));
  system.failGetIPAddresses(false);
  system.setAddresses({""}, {""});
  EXPECT_FALSE(inventory.isLocalServer(nics({{"", ""}, {"", ""}}), ""));
}

TEST_F(LocalMachine, IsNotRecognisedByInterfacesThatAreNone) {
  for (const char* text :
       {R"({"n":[1,"10.0.0.1",null]})", R"({"n":[[],{}]})", R"({"n":[{"ipV4":["10.0.0.1"]},{"ipV6":1}]})"}) {
    const json::Object holder = support::parsed(text);
    EXPECT_FALSE(inventory.isLocalServer(static_cast<const json::Array&>(holder["n"]), "10.0.0.1")) << text;
  }
}

/// Leaves something beyond what it counts, and counts what cannot be.
class CarelessSystem : public support::FakeSystem {
 public:
  int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                     int& count6) override {
    ipv4[0] = "10.0.0.1";
    ipv4[1] = "10.0.0.2";
    ipv6[kMaxAddresses - 1] = "2001:db8::1";
    count4 = ipV4Count;
    count6 = ipV6Count;
    return 1;
  }

  int ipV4Count = 1;
  int ipV6Count = 0;
};

TEST_F(LocalMachine, ComparesOnlyTheCountedAddresses) {
  CarelessSystem careless;
  EXPECT_FALSE(inventory.isLocalServer(nics({{"10.0.0.2", "2001:db8::1"}, {"", ""}}), ""));
  careless.ipV4Count = 2;
  EXPECT_TRUE(inventory.isLocalServer(nics({{"10.0.0.2", "2001:db8::1"}, {"", ""}}), ""));
}

TEST_F(LocalMachine, SurvivesCountsThatCannotBe) {
  CarelessSystem careless;
  careless.ipV4Count = -7;
  careless.ipV6Count = 1000;
  EXPECT_FALSE(inventory.isLocalServer(nics({{"10.0.0.1", ""}, {"", ""}}), ""));
  EXPECT_TRUE(inventory.isLocalServer(nics({{"", "2001:db8::1"}, {"", ""}}), ""));
}

}  // namespace
