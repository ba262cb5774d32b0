#include <gtest/gtest.h>

#include "FakeNetwork.h"
#include "slp/client/DirectoryAgents.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using client::DirectoryAgents;
using client::TimePoint;
using Change = DirectoryAgents::Change;
using namespace std::chrono_literals;

constexpr TimePoint kStart{1'000s};

wire::DirectoryAgentAdvert advert(std::string_view url, std::uint32_t bootTime, std::string_view scopes = "DEFAULT") {
  wire::DirectoryAgentAdvert one;
  one.url = url;
  one.bootTime = bootTime;
  one.scopes = scopes;
  return one;
}

struct AdvertCase {
  const char* name;
  const char* url;
  const char* from;
  const char* endpoint;  ///< null: refused
};

class DirectoryAgentsAdvert : public testing::TestWithParam<AdvertCase> {};

TEST_P(DirectoryAgentsAdvert, IsTakenWhenItSpeaksOfItsSender) {
  const auto& row = GetParam();
  DirectoryAgents agents;
  const auto change = agents.learn(advert(row.url, 5), endpoint(row.from, 33'000), 427, kStart);
  if (row.endpoint == nullptr) {
    EXPECT_EQ(change, Change::kNone);
    EXPECT_TRUE(agents.all().empty());
  } else {
    EXPECT_EQ(change, Change::kNew);
    ASSERT_EQ(agents.all().size(), 1U);
    EXPECT_EQ(agents.all()[0].endpoint.text(), row.endpoint);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Adverts, DirectoryAgentsAdvert,
    testing::Values(
        AdvertCase{"OfItsSender", "service:directory-agent://10.0.0.1", "10.0.0.1", "10.0.0.1:427"},
        AdvertCase{"WithAPort", "service:directory-agent://10.0.0.1:1427", "10.0.0.1", "10.0.0.1:1427"},
        AdvertCase{"OfAName", "service:directory-agent://da.example", "10.0.0.1", "10.0.0.1:427"},
        AdvertCase{"OverIpv6", "service:directory-agent://[2001:db8::1]", "2001:db8::1", "[2001:db8::1]:427"},
        AdvertCase{"OfAnother", "service:directory-agent://10.0.0.2", "10.0.0.1", nullptr},
        AdvertCase{"OfAnotherHeardOnLoopback", "service:directory-agent://10.0.0.2", "127.0.0.1", "10.0.0.2:427"},
        AdvertCase{"OfAGroupHeardOnLoopback", "service:directory-agent://239.255.255.253", "127.0.0.1", nullptr},
        AdvertCase{"OfAnotherService", "service:printer://10.0.0.1", "10.0.0.1", nullptr},
        AdvertCase{"WithoutUrl", "", "10.0.0.1", nullptr}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(DirectoryAgents, TellsNewFromRestartedFromGone) {
  DirectoryAgents agents;
  const auto from = endpoint("10.0.0.1");
  const auto* const url = "service:directory-agent://10.0.0.1";
  EXPECT_EQ(agents.learn(advert(url, 5), from, 427, kStart), Change::kNew);
  EXPECT_EQ(agents.learn(advert(url, 5), from, 427, kStart), Change::kNone);
  EXPECT_EQ(agents.learn(advert(url, 6), from, 427, kStart), Change::kRestarted);
  EXPECT_EQ(agents.learn(advert(url, 4), from, 427, kStart), Change::kNone);
  EXPECT_EQ(agents.all()[0].bootTime, 6U);
  EXPECT_EQ(agents.learn(advert(url, 0), from, 427, kStart), Change::kGone);
  EXPECT_EQ(agents.learn(advert(url, 0), from, 427, kStart), Change::kNone);
  EXPECT_TRUE(agents.all().empty());
}

TEST(DirectoryAgents, AreNotTakenOutByOthers) {
  DirectoryAgents agents;
  agents.learn(advert("service:directory-agent://10.0.0.1", 5), endpoint("10.0.0.1"), 427, kStart);
  agents.learn(advert("service:directory-agent://10.0.0.1", 0), endpoint("10.0.0.2"), 427, kStart);
  EXPECT_EQ(agents.all().size(), 1U);
}

TEST(DirectoryAgents, ServeTheirScopes) {
  DirectoryAgents agents;
  agents.learn(advert("service:directory-agent://10.0.0.1", 5, "a,b"), endpoint("10.0.0.1"), 427, kStart);
  agents.learn(advert("service:directory-agent://10.0.0.2", 5, "C"), endpoint("10.0.0.2"), 427, kStart);
  EXPECT_EQ(agents.serving("B,x", kStart).size(), 1U);
  EXPECT_EQ(agents.serving("c,a", kStart).size(), 2U);
  EXPECT_EQ(agents.serving("x", kStart).size(), 0U);
}

TEST(DirectoryAgents, WithoutScopesOrWithAnErrorAreNone) {
  DirectoryAgents agents;
  agents.learn(advert("service:directory-agent://10.0.0.1", 5, ""), endpoint("10.0.0.1"), 427, kStart);
  auto failed = advert("service:directory-agent://10.0.0.1", 5);
  failed.error = wire::ErrorCode::kInternalError;
  agents.learn(failed, endpoint("10.0.0.1"), 427, kStart);
  EXPECT_TRUE(agents.all().empty());
}

TEST(DirectoryAgents, AreForgottenWhenSilentUntilHeardAgain) {
  DirectoryAgents agents;
  const auto from = endpoint("10.0.0.1");
  agents.learn(advert("service:directory-agent://10.0.0.1", 5), from, 427, kStart);
  agents.silent(from, kStart);
  EXPECT_TRUE(agents.all().empty());
  EXPECT_EQ(agents.learn(advert("service:directory-agent://10.0.0.1", 5), from, 427, kStart), Change::kNew);
}

TEST(DirectoryAgents, ConfiguredOnesArePassedOverForAMinuteWhenSilent) {
  DirectoryAgents agents;
  agents.configure({endpoint("10.0.0.1")}, "DEFAULT");
  EXPECT_EQ(agents.serving("DEFAULT", kStart).size(), 1U);
  agents.silent(endpoint("10.0.0.1"), kStart);
  EXPECT_EQ(agents.serving("DEFAULT", kStart).size(), 0U);
  EXPECT_EQ(agents.serving("DEFAULT", kStart + 59s).size(), 0U);
  EXPECT_EQ(agents.serving("DEFAULT", kStart + 60s).size(), 1U);
  EXPECT_EQ(agents.all().size(), 1U);
}

TEST(DirectoryAgents, ConfiguredOnesComeBackWithTheirAdvert) {
  DirectoryAgents agents;
  agents.configure({endpoint("10.0.0.1")}, "DEFAULT");
  agents.silent(endpoint("10.0.0.1"), kStart);
  const auto change =
      agents.learn(advert("service:directory-agent://10.0.0.1", 5, "other"), endpoint("10.0.0.1"), 427, kStart);
  EXPECT_EQ(change, Change::kNew);
  ASSERT_EQ(agents.serving("other", kStart).size(), 1U);
  EXPECT_TRUE(agents.serving("other", kStart)[0].configured);
}

TEST(DirectoryAgents, FollowTheConfiguration) {
  DirectoryAgents agents;
  agents.learn(advert("service:directory-agent://10.0.0.9", 5), endpoint("10.0.0.9"), 427, kStart);
  agents.configure({endpoint("10.0.0.1"), endpoint("10.0.0.2")}, "DEFAULT");
  agents.configure({endpoint("10.0.0.2")}, "DEFAULT");
  ASSERT_EQ(agents.all().size(), 2U);
  EXPECT_EQ(agents.all()[0].endpoint, endpoint("10.0.0.9"));
  EXPECT_EQ(agents.all()[1].endpoint, endpoint("10.0.0.2"));
}

TEST(DirectoryAgents, AreAtMostSoMany) {
  DirectoryAgents agents;
  agents.configure({endpoint("10.1.0.1")}, "DEFAULT");
  for (unsigned i = 1; i <= 200; ++i) {
    const auto text = "10.0.0." + std::to_string(i);
    agents.learn(advert("service:directory-agent://" + text, 5), endpoint(text), 427, kStart);
  }
  EXPECT_EQ(agents.all().size(), limits::kMaxDirectoryAgents);
  EXPECT_EQ(agents.all().back().endpoint, endpoint("10.0.0.200")) << "the one that was learnt first goes";
  EXPECT_EQ(agents.all().front().endpoint, endpoint("10.1.0.1")) << "but not a configured one";
}

TEST(DirectoryAgents, ConfiguredOnesReplaceOthersWhenThereIsNoPlace) {
  DirectoryAgents agents;
  for (unsigned i = 1; i <= limits::kMaxDirectoryAgents; ++i) {
    const auto text = "10.0.0." + std::to_string(i);
    agents.learn(advert("service:directory-agent://" + text, 5), endpoint(text), 427, kStart);
  }
  std::vector<net::Endpoint> configured{endpoint("10.0.0.1")};
  for (unsigned i = 1; i <= limits::kMaxDirectoryAgents; ++i)
    configured.push_back(endpoint("10.1.0." + std::to_string(i)));
  agents.configure(configured, "A");
  const auto all = agents.all();
  EXPECT_EQ(all.size(), limits::kMaxDirectoryAgents);
  for (const auto& agent : all)
    EXPECT_TRUE(agent.configured) << agent.endpoint.text();
  EXPECT_EQ(all[0].endpoint, endpoint("10.0.0.1"));
  EXPECT_EQ(all[1].scopes, "A") << "nothing stays of the one that was there";
  EXPECT_EQ(agents.serving("A", kStart).size(), limits::kMaxDirectoryAgents - 1);
}

TEST(DirectoryAgents, AreLookedForOncePerInterval) {
  DirectoryAgents agents;
  EXPECT_FALSE(agents.claimDiscovery(kStart, 0s));
  EXPECT_TRUE(agents.claimDiscovery(kStart, 900s));
  EXPECT_FALSE(agents.claimDiscovery(kStart + 899s, 900s));
  EXPECT_TRUE(agents.claimDiscovery(kStart + 900s, 900s));
}

TEST(DirectoryAgents, NamesAreLookedUpWhenTheyChangeAndOnceAMinute) {
  DirectoryAgents agents;
  EXPECT_FALSE(agents.claimConfiguration({}, kStart));
  EXPECT_TRUE(agents.claimConfiguration({"a"}, kStart));
  EXPECT_FALSE(agents.claimConfiguration({"a"}, kStart + 59s));
  EXPECT_TRUE(agents.claimConfiguration({"b"}, kStart + 59s));
  EXPECT_TRUE(agents.claimConfiguration({"b"}, kStart + 119s));
  EXPECT_TRUE(agents.claimConfiguration({}, kStart + 120s));
  EXPECT_FALSE(agents.claimConfiguration({}, kStart + 500s));
}

TEST(DirectoryAgents, CountTheirChanges) {
  DirectoryAgents agents;
  const auto from = endpoint("10.0.0.1");
  const auto first = agents.generation();
  agents.learn(advert("service:directory-agent://10.0.0.1", 5), from, 427, kStart);
  const auto second = agents.generation();
  agents.learn(advert("service:directory-agent://10.0.0.1", 5), from, 427, kStart);
  const auto third = agents.generation();
  agents.silent(from, kStart);
  EXPECT_LT(first, second);
  EXPECT_EQ(second, third);
  EXPECT_LT(third, agents.generation());
}

}  // namespace
}  // namespace slp::test
