#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ResponderFixture.h"

namespace slp::agent {
namespace {

using wire::ErrorCode;
using wire::ServiceAgentAdvert;
using wire::ServiceRequest;

ResponderSettings settings() {
  ResponderSettings settings;
  settings.scopes = "DEFAULT,LAB";
  settings.saAttributes = "(site=Bldg 7)";
  return settings;
}

class ResponderAdvert : public ResponderTest {
 protected:
  ResponderAdvert() : ResponderTest(settings()) {}
};

const ServiceRequest kAgents = searchFor("service:service-agent");

TEST_F(ResponderAdvert, TellsAddressScopesAndConfiguredAttributes) {
  for (const auto& source : {neighbour(), byMulticast(), byTcp()}) {
    EXPECT_EQ(ask<ServiceAgentAdvert>(kAgents, source),
              (ServiceAgentAdvert{"service:service-agent://10.77.0.1", "DEFAULT,LAB", "(site=Bldg 7)", {}}));
    EXPECT_FALSE(mOverflow);
  }
}

TEST_F(ResponderAdvert, TellsTheTypesOfItsServices) {
  add(service("service:wbem:https://10.77.0.1", "service:wbem:https"));
  auto advert = ask<ServiceAgentAdvert>(kAgents);
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->attributes, "(site=Bldg 7),(service-type=service:wbem:https)");
  add(service("http://10.77.0.1", "http"));
  advert = ask<ServiceAgentAdvert>(kAgents);
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->attributes, "(site=Bldg 7),(service-type=service:wbem:https,http)");
  mRegistry.removeAll(kThisProcess);
  advert = ask<ServiceAgentAdvert>(kAgents);
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->attributes, "(site=Bldg 7)");
}

TEST_F(ResponderAdvert, EscapesATypeThatWouldEndTheList) {
  add(service("u1", "a),(b=,c"));
  const auto advert = ask<ServiceAgentAdvert>(kAgents);
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->attributes, "(site=Bldg 7),(service-type=a\\29\\2c\\28b\\3d\\2cc)");
}

TEST_F(ResponderAdvert, WritesAnIpv6AddressInBrackets) {
  auto source = neighbour();
  source.ownAddress = address("fe80::1%2");
  const auto advert = ask<ServiceAgentAdvert>(kAgents, source);
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->url, "service:service-agent://[fe80::1]");
}

TEST_F(ResponderAdvert, NeedsNoScopes) {
  auto any = kAgents;
  any.scopes = "";
  EXPECT_TRUE(ask<ServiceAgentAdvert>(any, byMulticast()));
  any.scopes = "A,lab";
  EXPECT_TRUE(ask<ServiceAgentAdvert>(any, byMulticast()));
  any.scopes = "A";
  EXPECT_FALSE(answerTo(encoded(any), byMulticast()));
}

struct PredicateCase {
  const char* name;
  const char* predicate;
  bool answered;
};

class ResponderAdvertPredicate : public ResponderAdvert, public testing::WithParamInterface<PredicateCase> {};

TEST_P(ResponderAdvertPredicate, DecidesWhetherThereIsAnAdvert) {
  add(service("service:nfs://10.77.0.1/a", "service:nfs"));
  add(service("service:wbem:https://10.77.0.1", "service:wbem:https"));
  const auto search = searchFor("service:service-agent", GetParam().predicate);
  EXPECT_EQ(answerTo(encoded(search), byMulticast()).has_value(), GetParam().answered);
  const auto direct = answerTo(encoded(search), neighbour());
  ASSERT_TRUE(direct);
  EXPECT_EQ(*direct == encoded(wire::ServiceReply{}), !GetParam().answered);
}

INSTANTIATE_TEST_SUITE_P(Table, ResponderAdvertPredicate,
                         testing::Values(PredicateCase{"FullType", "(service-type=service:nfs)", true},
                                         PredicateCase{"BareType", "(service-type=nfs)", true},
                                         PredicateCase{"Wildcard", "(service-type=service:wbem*)", true},
                                         PredicateCase{"OneOfTwo", "(|(service-type=lpr)(service-type=NFS))", true},
                                         PredicateCase{"OtherType", "(service-type=lpr)", false},
                                         PredicateCase{"Configured", "(site=bldg 7)", true},
                                         PredicateCase{"ConfiguredOtherwise", "(site=bldg 8)", false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ResponderAdvert, LeavesAttributesOutWhenTheyDoNotFit) {
  for (int i = 0; i < 200; ++i)
    add(service("u" + std::to_string(i), "service:long-name-" + std::to_string(i)));
  auto advert = ask<ServiceAgentAdvert>(kAgents);
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->attributes, "(site=Bldg 7)");
  EXPECT_TRUE(mOverflow);
  advert = ask<ServiceAgentAdvert>(kAgents, byTcp());
  ASSERT_TRUE(advert);
  EXPECT_GT(advert->attributes.size(), 200U * 20);
  EXPECT_FALSE(mOverflow);
  for (int i = 200; i < 5'000; ++i)
    add(service("u" + std::to_string(i), "service:long-name-" + std::to_string(i)));
  advert = ask<ServiceAgentAdvert>(kAgents, byTcp());
  ASSERT_TRUE(advert);
  EXPECT_EQ(advert->attributes, "(site=Bldg 7)") << "more than any message can hold";
  EXPECT_TRUE(mOverflow);
}

TEST_F(ResponderAdvert, HandsAdvertsOfDirectoryAgentsOn) {
  std::vector<std::string> heard;
  mResponder.onDirectoryAgentAdvert([&heard](const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from) {
    heard.push_back(std::string(advert.url) + " " + from.text());
  });
  wire::DirectoryAgentAdvert advert{ErrorCode::kOk, 7, "service:directory-agent://10.77.0.9", "DEFAULT", {}, {}, {}};
  EXPECT_EQ(answerTo(encoded(advert), byMulticast()), std::nullopt);
  EXPECT_THAT(heard, testing::ElementsAre("service:directory-agent://10.77.0.9 10.77.0.3:40000"));
  advert.error = ErrorCode::kInternalError;
  EXPECT_EQ(answerTo(encoded(advert), neighbour()), std::nullopt);
  EXPECT_EQ(heard.size(), 1U);
}

}  // namespace
}  // namespace slp::agent
