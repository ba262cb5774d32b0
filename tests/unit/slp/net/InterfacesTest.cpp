#include <algorithm>
#include <net/if.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/net/Interfaces.h"

namespace slp::net {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

InterfaceAddress own(const char* text, unsigned prefix) {
  return {*Address::parse(text), prefix};
}

/// Loopback, two networks, a tunnel that cannot multicast, and a card without an address.
std::vector<Interface> machine() {
  return {
      {1, "lo", true, true, {own("127.0.0.1", 8), own("::1", 128)}},
      {2, "eth0", false, true, {own("fe80::2%2", 64), own("10.77.0.2", 24), own("2001:db8::2", 64)}},
      {3, "eth1", false, true, {own("192.0.2.65", 26), own("fe80::2%3", 64)}},
      {4, "tun0", false, false, {own("172.16.0.1", 32)}},
      {5, "eth2", false, true, {}},
      {6, "odd0", false, true, {own("198.51.100.1", 0)}},
  };
}

struct SuitableCase {
  const char* name;
  std::vector<std::string> wanted;
  std::vector<std::string> names;
};

class SuitableInterfaces : public testing::TestWithParam<SuitableCase> {};

TEST_P(SuitableInterfaces, AreChosen) {
  std::vector<std::string> names;
  for (const auto& interface : suitableInterfaces(machine(), GetParam().wanted))
    names.push_back(interface.name);
  EXPECT_EQ(names, GetParam().names);
}

const SuitableCase kSuitable[] = {
    {"AllThatMulticast", {}, {"eth0", "eth1", "odd0"}},
    {"ByAddress", {"10.77.0.2"}, {"eth0"}},
    {"ByAddressOfV6", {"2001:0db8:0::2"}, {"eth0"}},
    {"ByName", {"eth1"}, {"eth1"}},
    {"Several", {"eth1", "10.77.0.2"}, {"eth0", "eth1"}},
    {"TheSameTwice", {"eth0", "10.77.0.2"}, {"eth0"}},
    {"ByLinkLocalAddressWithZone", {"fe80::2%3"}, {"eth1"}},
    {"ByLinkLocalAddressOfEveryZone", {"fe80::2"}, {"eth0", "eth1"}},
    {"NotLoopback", {"lo", "127.0.0.1"}, {}},
    {"NotWithoutMulticast", {"tun0"}, {}},
    {"NotWithoutAddress", {"eth2"}, {}},
    {"NotANeighboursAddress", {"10.77.0.3"}, {}},
    {"NotAPartOfAName", {"eth"}, {}},
};

INSTANTIATE_TEST_SUITE_P(Choices, SuitableInterfaces, testing::ValuesIn(kSuitable),
                         [](const auto& row) { return row.param.name; });

struct LinkCase {
  const char* name;
  const char* address;
  bool isOwn;
  bool isOnLink;
};

class OnLink : public testing::TestWithParam<LinkCase> {};

TEST_P(OnLink, IsToldFromFarAddresses) {
  const auto address = Address::parse(GetParam().address);
  ASSERT_TRUE(address);
  EXPECT_EQ(isOwn(machine(), *address), GetParam().isOwn);
  EXPECT_EQ(isOnLink(machine(), *address), GetParam().isOnLink);
}

const LinkCase kLinks[] = {
    {"OwnAddress", "10.77.0.2", true, true},
    {"OwnAddressOfATunnel", "172.16.0.1", true, true},
    {"Loopback", "127.0.0.9", true, true},
    {"LoopbackOfV6", "::1", true, true},
    {"Neighbour", "10.77.0.3", false, true},
    {"NeighbourInAQuarter", "192.0.2.127", false, true},
    {"BesideTheQuarter", "192.0.2.128", false, false},
    {"Far", "203.0.113.1", false, false},
    {"BesideTheTunnel", "172.16.0.2", false, false},
    {"NeighbourOfV6", "2001:db8::ffff", false, true},
    {"FarOfV6", "2001:db8:1::1", false, false},
    {"OwnLinkLocal", "fe80::2%2", true, true},
    {"OwnLinkLocalOfAnotherZone", "fe80::2%4", false, true},
    {"LinkLocalNeighbour", "fe80::77%3", false, true},
    {"LinkLocalOfAnUnknownInterface", "fe80::77%9", false, false},
    {"NetworkOfNoBits", "198.51.100.2", false, false},
};

INSTANTIATE_TEST_SUITE_P(Addresses, OnLink, testing::ValuesIn(kLinks), [](const auto& row) { return row.param.name; });

TEST(Interface, PrefersAGlobalAddressOfV6) {
  const auto all = machine();
  EXPECT_EQ(all[1].firstOf(Family::kV6)->text(), "2001:db8::2");
  EXPECT_EQ(all[2].firstOf(Family::kV6)->text(), "fe80::2");
  EXPECT_EQ(all[3].firstOf(Family::kV6), nullptr);
  EXPECT_EQ(all[1].firstOf(Family::kV4)->text(), "10.77.0.2");
}

TEST(Interface, KnowsItsLinkLocalAddressOfV6) {
  const Interface v4Only{1, "eth0", false, true, {own("169.254.1.1", 16)}};
  EXPECT_EQ(machine()[1].linkLocal()->zone, 2u);
  EXPECT_EQ(v4Only.linkLocal(), nullptr);
}

/// As long as it lives no descriptor can be opened.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &mBefore);
    const rlimit none{0, mBefore.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &mBefore); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit mBefore{};
};

TEST(Interfaces, AreNotKnownRatherThanNoneWhenTheyCannotBeListed) {
  EXPECT_TRUE(readInterfaces().has_value());
  const NoDescriptors none;
  EXPECT_FALSE(readInterfaces().has_value());
}

TEST(Interfaces, AreThoseOfTheMachine) {
  const auto all = listInterfaces();
  const auto loopback = std::find_if(all.begin(), all.end(), [](const Interface& one) { return one.loopback; });
  if (loopback == all.end()) GTEST_SKIP() << "the loopback interface is down";
  EXPECT_EQ(loopback->index, if_nametoindex("lo"));
  EXPECT_EQ(loopback->name, "lo");
  EXPECT_THAT(loopback->addresses, testing::Contains(InterfaceAddress{Address::loopback(Family::kV4), 8}));
  EXPECT_TRUE(isOwn(all, Address::loopback(Family::kV4)));
}

}  // namespace
}  // namespace slp::net
