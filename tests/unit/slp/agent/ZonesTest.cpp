#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ResponderFixture.h"
#include "slp/agent/Zones.h"

namespace slp::agent {
namespace {

struct ZoneCase {
  const char* name;
  const char* url;
  const char* from;
  bool told;
};

class Zones : public testing::TestWithParam<ZoneCase> {};

TEST_P(Zones, BoundWhatIsTold) {
  auto source = neighbour();
  source.from.address = address(GetParam().from);
  EXPECT_EQ(mayTell(GetParam().url, source, interfaces()), GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Zones,
    testing::Values(ZoneCase{"NameToAnyone", "service:a://host", "2001:db8::9", true},
                    ZoneCase{"NameThatLooksLikeAnAddress", "service:a://fe80.example", "2001:db8::9", true},
                    ZoneCase{"Ipv4ToAnyone", "service:a://169.254.1.1", "2001:db8::9", true},
                    ZoneCase{"GlobalToGlobal", "service:a://[2001:db8::1]", "2001:db8::9", true},
                    ZoneCase{"GlobalToLinkLocal", "service:a://[2001:db8::1]", "fe80::9%2", true},
                    ZoneCase{"UniqueLocalToGlobal", "service:a://[fd00::1]", "2001:db8::9", true},
                    ZoneCase{"LinkLocalToGlobal", "service:a://[fe80::1]:80/x", "2001:db8::9", false},
                    ZoneCase{"LinkLocalToIpv4", "service:a://[FE80::1]", "10.77.0.3", false},
                    ZoneCase{"LinkLocalToItsLink", "service:a://[fe80::1]", "fe80::9%2", true},
                    ZoneCase{"LinkLocalToAnotherLink", "service:a://[fe80::1]", "fe80::9%3", false},
                    ZoneCase{"LinkLocalOfAnotherLink", "service:a://[fe80::2]", "fe80::9%2", false},
                    ZoneCase{"LinkLocalOfSomebodyElse", "service:a://[fe80::77]", "fe80::9%2", true},
                    ZoneCase{"LinkLocalWithoutBrackets", "service:a://fe80::1:8443", "2001:db8::9", false},
                    ZoneCase{"LinkLocalWithoutTypeOrBrackets", "://fe80::1:8443", "2001:db8::9", false},
                    ZoneCase{"LinkLocalBehindAUser", "service:a://me@[fe80::1]", "2001:db8::9", false},
                    ZoneCase{"SiteLocalToGlobal", "service:a://[fec0::1]", "2001:db8::9", false},
                    ZoneCase{"SiteLocalToSiteLocal", "service:a://[fec0::1]", "fec0::9", true},
                    ZoneCase{"SiteLocalToLinkLocal", "service:a://[fec0::1]", "fe80::9%2", true},
                    ZoneCase{"LoopbackToLinkLocal", "service:a://[::1]", "fe80::9%2", false},
                    ZoneCase{"LoopbackInFull", "service:a://[0:0:0:0:0:0:0:1]", "fe80::9%2", false},
                    ZoneCase{"LoopbackToThisMachine", "service:a://[::1]", "::1", true},
                    ZoneCase{"LinkLocalToThisMachine", "service:a://[fe80::1]", "127.0.0.1", true},
                    ZoneCase{"LinkLocalToAnOwnAddress", "service:a://[fe80::1]", "10.88.0.1", true},
                    ZoneCase{"NoUrl", "fe80::1", "2001:db8::9", true},
                    ZoneCase{"NothingBehindTheSlashes", "a://", "10.9.9.9", true},
                    ZoneCase{"HalfAnAddress", "a://[fe80::", "10.9.9.9", true}),
    [](const auto& row) { return row.param.name; });

class ResponderZones : public ResponderTest {};

TEST_F(ResponderZones, KeepAServiceFromThoseWhoCannotReachIt) {
  add(service("service:wbem:https://[fe80::1]", "service:wbem:https", "(a=1)"));
  add(service("service:wbem:https://10.77.0.1", "service:wbem:https", "(a=2)"));
  EXPECT_THAT(urls(searchFor("service:wbem")), testing::ElementsAre("service:wbem:https://10.77.0.1"));
  EXPECT_EQ(ask<wire::AttributeReply>(attributesOf("service:wbem"))->attributes, "(a=2)");
  EXPECT_EQ(ask<wire::AttributeReply>(attributesOf("service:wbem:https://[fe80::1]"))->attributes, "");
  EXPECT_EQ(answerTo(encoded(attributesOf("service:wbem:https://[fe80::1]")), byMulticast()), std::nullopt);
  auto near = neighbour();
  near.from.address = address("fe80::9%2");
  EXPECT_EQ(urls(searchFor("service:wbem"), near).size(), 2U);
  EXPECT_EQ(ask<wire::AttributeReply>(attributesOf("service:wbem"), near)->attributes, "(a=1,2)");
}

}  // namespace
}  // namespace slp::agent
