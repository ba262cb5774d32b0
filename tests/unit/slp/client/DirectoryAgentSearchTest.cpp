#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Searching.h"

namespace slp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;

const auto kAgent = endpoint("10.0.0.1");
const auto kDirectory = endpoint("10.0.0.9");

/// A process that knows a directory agent.
struct Directed : Searching {
  explicit Directed(const std::string& scopes = "DEFAULT") { learn(kDirectory, scopes); }
  void learn(const net::Endpoint& at, const std::string& scopes) {
    const auto url = "service:directory-agent://" + at.address.text();
    wire::DirectoryAgentAdvert advert;
    advert.bootTime = 1;
    advert.url = url;
    advert.scopes = scopes;
    directoryAgents.learn(advert, at, 427, network.now());
  }
};

TEST(DirectoryAgentSearch, AsksTheOneThatIsKnownAndNobodyElse) {
  Directed one;
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
  EXPECT_EQ(one.took, 2ms);
}

TEST(DirectoryAgentSearch, TakesAnEmptyAnswerForAnAnswer) {
  Directed one;
  one.network.add(directoryAgent(kDirectory, {}));
  EXPECT_THAT(one.services(), IsEmpty());
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(DirectoryAgentSearch, FallsBackToMulticastWhenItIsSilentAndForgetsIt) {
  Directed one;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 2'000ms + 750ms);
  EXPECT_THAT(one.directoryAgents.all(), IsEmpty());
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 750ms);
}

TEST(DirectoryAgentSearch, FallsBackToMulticastAtOnceWhenItRefuses) {
  Directed one;
  one.network.add(directoryAgent(kDirectory, {})).udp = FakeAgent::Port::kRefuses;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 752ms);
}

TEST(DirectoryAgentSearch, FallsBackToMulticastWhenItIsBusyButKeepsIt) {
  Directed one;
  auto busy = directoryAgent(kDirectory, {});
  busy.answer = [](const wire::Message& request, Via via) -> std::vector<std::string> {
    wire::ServiceReply body;
    body.error = wire::ErrorCode::kBusyNow;
    if (via == Via::kGroup) return {};
    return {reply(request, body)};
  };
  one.network.add(busy);
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_THAT(one.directoryAgents.all(), SizeIs(1));
}

TEST(DirectoryAgentSearch, NeedsOneOfTwoToAnswer) {
  Directed one;
  one.learn(endpoint("10.0.0.8"), "DEFAULT");
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
  EXPECT_THAT(one.directoryAgents.all(), SizeIs(1));
}

TEST(DirectoryAgentSearch, AsksEverybodyForScopesThatNoneServes) {
  Directed one("a");
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services("service:test", "", "A,b"), UnorderedElementsAre("service:test://d", "service:test://a"));
  EXPECT_THAT(one.services("service:test", "", "a"), ElementsAre("service:test://d"));
}

TEST(DirectoryAgentSearch, LooksForThemBesideTheQueryAndNotBeforeIt) {
  Searching one;
  one.settings.daActiveDiscoveryInterval = 900s;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 750ms);
  EXPECT_EQ(one.network.countOf(Via::kGroup), 5U) << "three rounds, and two of the other search";
  one.services();
  EXPECT_EQ(one.network.countOf(Via::kGroup), 3U) << "it is not looked for again so soon";
}

TEST(DirectoryAgentSearch, LooksForThemOnlyWhenThereIsANetwork) {
  Searching one;
  one.settings.daActiveDiscoveryInterval = 900s;
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  one.network.interfaces = 0;
  EXPECT_THAT(one.services(), IsEmpty());
  one.network.interfaces = 1;
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
}

TEST(DirectoryAgentSearch, LooksForThemAgainAfterASearchThatWasStoppedAtOnce) {
  Searching one;
  one.settings.daActiveDiscoveryInterval = 900s;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  one.network.add(directoryAgent(kDirectory, {"service:test://d"})).delay = 100ms;
  one.whenFound = [] { return false; };
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_THAT(one.directoryAgents.all(), IsEmpty());
  one.whenFound = [] { return true; };
  one.services();
  EXPECT_THAT(one.directoryAgents.all(), SizeIs(1));
}

TEST(DirectoryAgentSearch, AsksTheOneThatIsFoundMeanwhile) {
  Searching one;
  one.settings.daActiveDiscoveryInterval = 900s;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  EXPECT_THAT(one.services(), UnorderedElementsAre("service:test://d", "service:test://a"));
  EXPECT_EQ(one.took, 750ms);
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
  EXPECT_EQ(one.took, 2ms);
}

TEST(DirectoryAgentSearch, AsksConfiguredOnesByAddressAndByName) {
  Searching one;
  one.settings.directoryAgents = {"10.0.0.8", "da.example", "nobody.example"};
  one.network.names["da.example"] = {kDirectory.address};
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  one.network.add(directoryAgent(endpoint("10.0.0.8"), {"service:test://e"}));
  EXPECT_THAT(one.services(), UnorderedElementsAre("service:test://d", "service:test://e"));
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
  const auto resolved = one.network.resolved;
  one.services();
  EXPECT_EQ(one.network.resolved, resolved) << "names are not looked up for every search";
}

TEST(DirectoryAgentSearch, PassesASilentConfiguredOneOverForAWhile) {
  Searching one;
  one.settings.directoryAgents = {"10.0.0.9"};
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 2'750ms);
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 750ms);
  one.network.elapse(60'000ms);
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
}

TEST(DirectoryAgentSearch, LeavesHalfOfAShortTimeToMulticast) {
  Searching one;
  one.settings.directoryAgents = {"10.0.0.9"};
  one.settings.multicastMaximumWait = 1'500ms;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 1'500ms);
}

TEST(DirectoryAgentSearch, DoesNotTakeTheTimeOfTheResolverForSilence) {
  Searching one;
  one.settings.directoryAgents = {"nobody.example", "no.example"};
  one.network.resolving = 20'000ms;
  one.network.add(serviceAgent(kAgent, {"service:test://a"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 750ms);
  EXPECT_EQ(one.network.sentBeforeResolving, 1U) << "this machine's agent need not wait for names";
}

TEST(DirectoryAgentSearch, WorksWithNoNetworkButTheirs) {
  Directed one;
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  one.settings.multicastTimeouts.clear();
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
}

TEST(DirectoryAgentSearch, TakesLongRequestsThereOverTcp) {
  Directed one;
  one.network.add(directoryAgent(kDirectory, {"service:test://d"}));
  EXPECT_THAT(one.services("service:test", "(x=" + std::string(2'000, 'y') + ")"), ElementsAre("service:test://d"));
  EXPECT_EQ(one.network.countTo(kDirectory), 1U);
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
}

}  // namespace
}  // namespace slp::test
