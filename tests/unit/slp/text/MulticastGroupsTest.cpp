#include <arpa/inet.h>
#include <array>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/MulticastGroups.h"

namespace {

using namespace slp::wire;

std::string textOf(const GroupV6& group) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(AF_INET6, group.data(), text.data(), text.size());
}

TEST(MulticastGroups, HashServiceTypes) {
  const std::pair<std::string_view, std::uint16_t> rows[] = {
      {"", 0},
      {"a", 'a'},
      {"ab", ('a' * 33 + 'b') % 1024},
      {"service:service-agent", 0x1D8},  // the example of RFC 3111, section 4.2.1
      {"\xFF", 0xFF},                    // bytes are unsigned
  };
  for (const auto& [type, hash] : rows)
    EXPECT_EQ(serviceTypeHash(type), hash) << type;
}

TEST(MulticastGroups, LieInTheirRange) {
  for (const std::string_view type : {"service:wbem:https", "service:x-mgmt.quorvel:kvt", "http", "\xFF\xFF\xFF\xFF"})
    EXPECT_LT(serviceTypeHash(type), 1024) << type;
}

TEST(MulticastGroups, HaveTheAddressesOfTheirScope) {
  EXPECT_EQ(textOf(generalGroup(MulticastScope::kLink)), "ff02::116");
  EXPECT_EQ(textOf(generalGroup(MulticastScope::kSite)), "ff05::116");
  EXPECT_EQ(textOf(directoryAgentGroup(MulticastScope::kInterface)), "ff01::123");
  EXPECT_EQ(textOf(directoryAgentGroup(MulticastScope::kAdmin)), "ff04::123");
  EXPECT_EQ(textOf(serviceGroup("service:service-agent", MulticastScope::kLink)), "ff02::1:11d8");
  EXPECT_EQ(textOf(serviceGroup("", MulticastScope::kRealm)), "ff03::1:1000");
}

}  // namespace
