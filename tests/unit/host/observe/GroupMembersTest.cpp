#include <arpa/inet.h>
#include <cstdio>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "host/observe/GroupMembers.h"

namespace {

using Names = std::set<std::string>;

constexpr const char* kGroup = "239.255.255.253";
constexpr const char* kHeader = "Idx\tDevice    : Count Querier\tGroup    Users Timer\tReporter\n";

/// The group as the kernel of this machine writes it.
std::string line(const char* group) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08X", inet_addr(group));
  return "\t\t\t\t" + std::string(digits) + "     1 0:00000000\t\t0\n";
}

TEST(GroupMembers, AreTheInterfacesUnderWhichTheGroupStands) {
  const std::string text = kHeader + std::string("1\tlo        :     1      V3\n") + line("224.0.0.1") +
                           "2\teth0      :     2      V3\n" + line(kGroup) + line("224.0.0.1") +
                           "3\teth1.100  :     2      V2\n" + line("224.0.0.1") + line(kGroup);
  EXPECT_EQ(host::interfacesJoined(text, kGroup), (Names{"eth0", "eth1.100"}));
}

TEST(GroupMembers, HaveTheirWholeNameThoughNoBlankFollowsIt) {
  const std::string text = kHeader + std::string("2\tabcdefghijklmno:     2      V3\n") + line(kGroup);
  EXPECT_EQ(host::interfacesJoined(text, kGroup), Names{"abcdefghijklmno"});
}

TEST(GroupMembers, AreNoneWithoutTheGroup) {
  EXPECT_TRUE(host::interfacesJoined("", kGroup).empty());
  EXPECT_TRUE(host::interfacesJoined(kHeader, kGroup).empty());
  EXPECT_TRUE(host::interfacesJoined(kHeader + line(kGroup), kGroup).empty()) << "a group of no interface";
  EXPECT_TRUE(host::interfacesJoined("2\teth0 : 1 V3\n" + line(kGroup), "no address").empty());
}

TEST(GroupMembers, PassOverLinesThatAreOdd) {
  const std::string text = "2\teth0 : 1 V3\n\t\t\t\tFDFFFFEFFDFFFFEF 1\n\t\t\t\t\n\t\t\t\tXYZ\n\n" + line(kGroup);
  EXPECT_TRUE(host::interfacesJoined(text, kGroup).empty()) << "an empty line ends the interface";
  EXPECT_EQ(host::interfacesJoined("2\teth0 : 1 V3\n\t\t\t\tXYZ\n" + line(kGroup), kGroup), Names{"eth0"});
}

TEST(GroupMembers, AreThoseOfTheKernelNow) {
  EXPECT_FALSE(host::interfacesJoined("224.0.0.1").empty()) << "which every interface joins";
  EXPECT_TRUE(host::interfacesJoined("239.1.2.3").empty());
}

}  // namespace
