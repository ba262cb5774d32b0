#include <gtest/gtest.h>

#include "FakeNetwork.h"
#include "slp/client/MulticastPlan.h"

namespace slp::test {
namespace {

using Group = Transport::Group;

net::Interface interface(std::uint32_t index, const std::vector<std::string>& addresses) {
  net::Interface one;
  one.index = index;
  one.name = "eth" + std::to_string(index);
  one.multicast = true;
  for (const auto& text : addresses) {
    auto own = address(text);
    if (own.isLinkLocal() && own.family == net::Family::kV6) own.zone = index;
    one.addresses.push_back({own, 24});
  }
  return one;
}

struct PlanCase {
  const char* name;
  std::vector<net::Interface> interfaces;
  std::vector<std::string> wanted;
  bool v4 = true;
  bool v6 = true;
  bool broadcast = false;
  Group group = Group::kGeneral;
  std::vector<std::string> expected;  ///< "interface from > to"
};

class MulticastPlan : public testing::TestWithParam<PlanCase> {};

TEST_P(MulticastPlan, ReachesEverybody) {
  const auto& row = GetParam();
  config::Settings settings;
  settings.useIpv4 = row.v4;
  settings.useIpv6 = row.v6;
  settings.broadcastOnly = row.broadcast;
  std::vector<std::string> planned;
  for (const auto& one :
       client::planMulticast(row.interfaces, row.wanted, settings, row.group, "service:service-agent")) {
    EXPECT_TRUE(one.useFrom);
    EXPECT_EQ(one.to.port, 427);
    planned.push_back(std::to_string(one.interface) + " " + one.from.text() + " > " + one.to.address.text());
  }
  EXPECT_EQ(planned, row.expected);
}

const auto kBoth = interface(2, {"10.0.0.1", "fe80::1", "2001:db8::1"});

INSTANTIATE_TEST_SUITE_P(
    Interfaces, MulticastPlan,
    testing::Values(
        PlanCase{"None", {}, {}, true, true, false, Group::kGeneral, {}},
        PlanCase{"BothFamilies",
                 {kBoth},
                 {},
                 true,
                 true,
                 false,
                 Group::kGeneral,
                 {"2 10.0.0.1 > 239.255.255.253", "2 fe80::1 > ff02::116", "2 2001:db8::1 > ff05::116"}},
        PlanCase{"LinkLocalOnly",
                 {interface(3, {"fe80::2"})},
                 {},
                 true,
                 true,
                 false,
                 Group::kGeneral,
                 {"3 fe80::2 > ff02::116"}},
        PlanCase{"TwoInterfaces",
                 {interface(2, {"10.0.0.1"}), interface(3, {"10.1.0.1"})},
                 {},
                 true,
                 true,
                 false,
                 Group::kGeneral,
                 {"2 10.0.0.1 > 239.255.255.253", "3 10.1.0.1 > 239.255.255.253"}},
        PlanCase{"WithoutIpv4",
                 {kBoth},
                 {},
                 false,
                 true,
                 false,
                 Group::kGeneral,
                 {"2 fe80::1 > ff02::116", "2 2001:db8::1 > ff05::116"}},
        PlanCase{"WithoutIpv6", {kBoth}, {}, true, false, false, Group::kGeneral, {"2 10.0.0.1 > 239.255.255.253"}},
        PlanCase{"Broadcast", {kBoth}, {}, true, true, true, Group::kGeneral, {"2 10.0.0.1 > 255.255.255.255"}},
        PlanCase{"FromTheAddressThatWasNamed",
                 {interface(2, {"10.0.0.1", "10.0.0.7"})},
                 {"10.0.0.7"},
                 true,
                 true,
                 false,
                 Group::kGeneral,
                 {"2 10.0.0.7 > 239.255.255.253"}},
        PlanCase{"DirectoryAgents",
                 {kBoth},
                 {},
                 false,
                 true,
                 false,
                 Group::kDirectoryAgent,
                 {"2 fe80::1 > ff02::123", "2 2001:db8::1 > ff05::123"}},
        PlanCase{"ServicesOfAType",
                 {kBoth},
                 {},
                 false,
                 true,
                 false,
                 Group::kService,
                 {"2 fe80::1 > ff02::1:11d8", "2 2001:db8::1 > ff05::1:11d8"}}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace slp::test
