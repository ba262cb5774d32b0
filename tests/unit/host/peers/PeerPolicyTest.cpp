#include <gtest/gtest.h>

#include "host/peers/PeerPolicy.h"

namespace {

using host::Link;
using host::PeerPolicy;
using host::readNetwork;

std::vector<Link> ownLinks() {
  return {{"198.51.100.9", 24}, {"2001:db8:1::9", 64}};
}

PeerPolicy policyOf(const std::vector<const char*>& networks) {
  std::vector<Link> links;
  for (const char* text : networks) {
    const auto network = readNetwork(text);
    EXPECT_TRUE(network) << text;
    links.push_back(*network);
  }
  return PeerPolicy(links, ownLinks);
}

TEST(PeerNetwork, IsAnAddressWithAPrefixOrWithout) {
  const std::tuple<const char*, const char*, unsigned> table[] = {
      {"192.0.2.0/24", "192.0.2.0", 24},   {"10.0.0.0/8", "10.0.0.0", 8},
      {"0.0.0.0/0", "0.0.0.0", 0},         {"192.0.2.7", "192.0.2.7", 32},
      {"192.0.2.7/32", "192.0.2.7", 32},   {"192.0.2.128/25", "192.0.2.128", 25},
      {"2001:db8::/32", "2001:db8::", 32}, {"2001:DB8:0:0::/32", "2001:db8::", 32},
      {"2001:db8::7", "2001:db8::7", 128}, {"::/0", "::", 0},
      {"fe80::/10", "fe80::", 10},         {"127.0.0.0/8", "127.0.0.0", 8}};
  for (const auto& [text, address, length] : table) {
    const auto network = readNetwork(text);
    ASSERT_TRUE(network) << text << ": " << network.error();
    EXPECT_EQ(network->address, address) << text;
    EXPECT_EQ(network->prefixLength, length) << text;
  }
}

TEST(PeerNetwork, IsNothingElse) {
  for (const char* text : {"",
                           "/",
                           "/24",
                           "192.0.2.0/",
                           "192.0.2.0/33",
                           "192.0.2.0/-1",
                           "192.0.2.0/+1",
                           "192.0.2.0/24 ",
                           "192.0.2/24",
                           "192.0.2.0/24/24",
                           "192.0.2.0/0x8",
                           "2001:db8::/129",
                           "fe80::1%eth0",
                           "fe80::%eth0/64",
                           "name",
                           "name/8",
                           "192.0.2.0/4294967320",
                           "::ffff:192.0.2.7",
                           "::ffff:0:0/96",
                           "*"}) {
    const auto network = readNetwork(text);
    ASSERT_FALSE(network) << text;
    EXPECT_EQ(network.error(),
              "\"" + std::string(text) + "\" is no network: write 192.0.2.0/24, 2001:db8::/32 or a single address");
  }
}

TEST(PeerNetwork, IsNotTakenWithBitsBeyondItsPrefix) {
  EXPECT_EQ(readNetwork("192.0.2.7/24").error(),
            "\"192.0.2.7/24\" is an address inside of a network, which is 192.0.2.0/24");
  EXPECT_EQ(readNetwork("192.0.2.129/25").error(),
            "\"192.0.2.129/25\" is an address inside of a network, which is 192.0.2.128/25");
  EXPECT_EQ(readNetwork("2001:db8::1/33").error(),
            "\"2001:db8::1/33\" is an address inside of a network, which is 2001:db8::/33");
}

TEST(PeerPolicy, AllowsPrivateAndLinkLocalRangesAndOwnLinksByDefault) {
  const auto policy = policyOf({});
  for (const char* address :
       {"10.0.0.0", "10.255.255.255", "172.16.0.1", "172.31.255.255", "192.168.0.1", "169.254.1.1", "fc00::1",
        "fdff::1", "fe80::1", "fe80::1%eth0", "febf::1", "198.51.100.1", "2001:db8:1::1"}) {
    EXPECT_EQ(policy.refusal(address), std::nullopt) << address;
  }
  for (const char* address :
       {"9.255.255.255", "11.0.0.0", "172.15.255.255", "172.32.0.0", "192.167.255.255", "192.169.0.0", "169.253.1.1",
        "198.51.101.1", "8.8.8.8", "100.64.0.1", "2001:db8:2::1", "fec0::1", "fbff::1", "2000::1"}) {
    EXPECT_NE(policy.refusal(address), std::nullopt) << address;
  }
}

TEST(PeerPolicy, LooksAtTheOwnLinksAsTheyAreNow) {
  std::vector<Link> now = {{"198.51.100.9", 24}};
  const PeerPolicy policy({}, [&now] { return now; });
  EXPECT_EQ(policy.refusal("198.51.100.1"), std::nullopt);
  now = {{"203.0.113.9", 24}};
  EXPECT_NE(policy.refusal("198.51.100.1"), std::nullopt);
  EXPECT_EQ(policy.refusal("203.0.113.1"), std::nullopt);
}

TEST(PeerPolicy, AllowsJustTheNetworksThatAreNamed) {
  const auto policy = policyOf({"192.0.2.0/24", "2001:db8:5::/48", "203.0.113.7"});
  for (const char* address : {"192.0.2.0", "192.0.2.255", "2001:db8:5:ffff::1", "203.0.113.7"}) {
    EXPECT_EQ(policy.refusal(address), std::nullopt) << address;
  }
  for (const char* address :
       {"10.0.0.1", "192.168.0.1", "fe80::1", "198.51.100.1", "192.0.3.0", "203.0.113.8", "2001:db8:6::1"}) {
    EXPECT_NE(policy.refusal(address), std::nullopt) << address;
  }
}

TEST(PeerPolicy, NeverAllowsWhereNobodyCanBe) {
  for (const auto& policy : {policyOf({}), policyOf({"0.0.0.0/0", "::/0"})}) {
    for (const char* address : {"0.0.0.0", "0.1.2.3", "224.0.0.1", "239.255.255.253", "240.0.0.1", "255.255.255.255",
                                "::", "ff02::1", "ff05::116"}) {
      EXPECT_NE(policy.refusal(address), std::nullopt) << address;
    }
  }
}

TEST(PeerPolicy, AllowsLoopbackOnlyWhenItIsNamed) {
  for (const auto& policy : {policyOf({}), policyOf({"0.0.0.0/0", "::/0"}), policyOf({"126.0.0.0/7"})}) {
    for (const char* address : {"127.0.0.1", "127.255.0.1", "::1"}) {
      EXPECT_NE(policy.refusal(address), std::nullopt) << address;
    }
  }
  EXPECT_EQ(policyOf({"127.0.0.0/8"}).refusal("127.0.0.1"), std::nullopt);
  EXPECT_NE(policyOf({"127.0.0.0/8"}).refusal("::1"), std::nullopt);
  EXPECT_EQ(policyOf({"::1/128"}).refusal("::1"), std::nullopt);
  EXPECT_EQ(policyOf({"127.0.0.1"}).refusal("127.0.0.1"), std::nullopt);
  EXPECT_NE(policyOf({"127.0.0.1"}).refusal("127.0.0.2"), std::nullopt);
}

TEST(PeerPolicy, TakesIpV4InsideOfIpV6AsIpV4) {
  const auto policy = policyOf({});
  EXPECT_EQ(policy.refusal("::ffff:10.0.0.1"), std::nullopt);
  EXPECT_EQ(policy.refusal("::ffff:a00:1"), std::nullopt);
  for (const char* address : {"::ffff:8.8.8.8", "::ffff:127.0.0.1", "::ffff:7f00:1", "::ffff:0.0.0.0",
                              "::ffff:224.0.0.1", "::ffff:255.255.255.255"}) {
    EXPECT_NE(policy.refusal(address), std::nullopt) << address;
    EXPECT_NE(policyOf({"::/0"}).refusal(address), std::nullopt) << address;
  }
}

TEST(PeerPolicy, RefusesWhatIsNoAddress) {
  for (const char* text : {"", "name", "10.0.0", "10.0.0.1.", "10.0.0.1/8", "[fe80::1]", "010.0.0.1", "%eth0"}) {
    EXPECT_NE(policyOf({}).refusal(text), std::nullopt) << text;
  }
}

TEST(PeerPolicy, SaysWhichSettingDecides) {
  EXPECT_EQ(policyOf({}).refusal("8.8.8.8"),
            "servers at 8.8.8.8 are not called: the setting peers.allowed_networks names the networks");
}

}  // namespace
