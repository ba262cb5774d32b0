#include <gtest/gtest.h>

#include "slp/agent/GroupList.h"
#include "slp/wire/Limits.h"

namespace slp::agent {
namespace {

net::Interface interface(std::uint32_t index, const std::vector<std::string>& addresses) {
  net::Interface result;
  result.index = index;
  result.name = "if" + std::to_string(index);
  result.multicast = true;
  for (const auto& text : addresses)
    result.addresses.push_back({net::Address::parse(text).value(), 64});
  return result;
}

/// "group%interface" of each.
std::set<std::string> texts(const std::set<net::Membership>& memberships) {
  std::set<std::string> result;
  for (const auto& membership : memberships)
    result.insert(membership.group.text() + "%" + std::to_string(membership.interface));
  return result;
}

TEST(GroupsFor, JoinTheOneGroupOfIpv4OnEachInterfaceThatHasIt) {
  const auto groups = groupsFor({interface(2, {"10.0.0.1"}), interface(3, {"10.1.0.1"}), interface(4, {"fe80::1"})},
                                {"service:a"}, true, false);
  EXPECT_EQ(texts(groups), (std::set<std::string>{"239.255.255.253%2", "239.255.255.253%3"}));
}

TEST(GroupsFor, StayOnTheLinkWhereThereAreOnlyLinkLocalAddresses) {
  // RFC 3111, section 4.1: the hash of service:service-agent is 0x1d8.
  EXPECT_EQ(texts(groupsFor({interface(2, {"fe80::1"})}, {}, true, true)),
            (std::set<std::string>{"ff01::116%2", "ff02::116%2", "ff01::123%2", "ff02::123%2", "ff01::1:11d8%2",
                                   "ff02::1:11d8%2"}));
}

TEST(GroupsFor, ReachUpToTheSiteWithAWiderAddress) {
  const auto groups = texts(groupsFor({interface(2, {"fe80::1", "2001:db8::1"})}, {}, true, true));
  for (const char* scope : {"1", "2", "3", "4", "5"}) {
    for (const char* group : {"::116%2", "::123%2", "::1:11d8%2"})
      EXPECT_TRUE(groups.contains("ff0" + std::string(scope) + group)) << scope << group;
  }
  EXPECT_EQ(groups.size(), 15U);
}

TEST(GroupsFor, HaveEachSpellingOfATypeAndItsAbstractType) {
  const auto base = groupsFor({interface(2, {"fe80::1"})}, {}, false, true).size();
  const auto plain = groupsFor({interface(2, {"fe80::1"})}, {"service:printer"}, false, true).size();
  const auto concrete = groupsFor({interface(2, {"fe80::1"})}, {"service:printer:lpr"}, false, true).size();
  const auto spelled = groupsFor({interface(2, {"fe80::1"})}, {"service:Printer:LPR"}, false, true).size();
  EXPECT_EQ(plain, base + 2);
  EXPECT_EQ(concrete, base + 4);
  EXPECT_EQ(spelled, base + 8);
}

TEST(GroupsFor, AreBoundedWithTheWorthiestFirst) {
  std::vector<std::string> types;
  for (int i = 0; i < 5'000; ++i)
    types.push_back("service:type" + std::to_string(i));
  const auto groups = groupsFor({interface(2, {"2001:db8::1"}), interface(3, {"2001:db8:1::1"})}, types, true, true);
  EXPECT_EQ(groups.size(), limits::kMaxMemberships);
  const auto all = texts(groups);
  for (const char* expected : {"ff02::116%2", "ff05::116%3", "ff02::123%3", "ff02::1:11d8%2", "ff05::1:11d8%3"})
    EXPECT_TRUE(all.contains(expected)) << expected;
}

}  // namespace
}  // namespace slp::agent
