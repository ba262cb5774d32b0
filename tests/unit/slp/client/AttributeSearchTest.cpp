#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Searching.h"

namespace slp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;

constexpr auto* kUrl = "service:test://10.0.0.1:80";
const auto kHost = endpoint("10.0.0.1");
const auto kOther = endpoint("10.0.0.2");
const auto kDirectory = endpoint("10.0.0.9");

FakeAgent attributeDirectory(std::string attributes) {
  return attributeAgent(kDirectory, std::move(attributes));
}

FakeAgent failing(const net::Endpoint& at, wire::ErrorCode code) {
  FakeAgent agent;
  agent.endpoint = at;
  agent.answer = [code](const wire::Message& request, Via) -> std::vector<std::string> {
    return {reply(request, wire::AttributeReply{code, {}, {}})};
  };
  return agent;
}

TEST(AttributeSearch, OfAnOwnUrlSendsNothing) {
  Searching one;
  one.local.attributes = "(a=1)";
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(a=1)"));
  EXPECT_THAT(one.network.sent, IsEmpty());
  EXPECT_EQ(one.took, 0ms);
}

TEST(AttributeSearch, OfAnOwnUrlWithoutAttributesHandsOutAnEmptyList) {
  Searching one;
  one.local.attributes = "";
  EXPECT_THAT(one.attributes(kUrl), ElementsAre(""));
  EXPECT_THAT(one.network.sent, IsEmpty());
}

TEST(AttributeSearch, CostsOneRoundTripToTheSenderOfTheUrl) {
  Searching one;
  one.responders.rememberSender(kUrl, kOther);
  one.network.add(attributeAgent(kOther, "(a=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(a=1)"));
  EXPECT_EQ(one.network.sent.size(), 1U);
  EXPECT_EQ(one.took, 2ms);
}

TEST(AttributeSearch, CostsOneRoundTripToTheHostOfTheUrlWhenNobodySentIt) {
  Searching one;
  one.network.add(attributeAgent(kHost, "(a=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(a=1)"));
  EXPECT_EQ(one.network.sent.size(), 1U);
  EXPECT_THAT(one.attributes("://10.0.0.1:8443"), ElementsAre("(a=1)"));
  EXPECT_EQ(one.network.sent.size(), 1U);
}

TEST(AttributeSearch, LooksUpTheNameOfTheHost) {
  Searching one;
  one.network.names["host.example"] = {kHost.address};
  one.network.add(attributeAgent(kHost, "(a=1)"));
  EXPECT_THAT(one.attributes("service:test://host.example"), ElementsAre("(a=1)"));
}

TEST(AttributeSearch, SendsNothingToTheGroupThatAUrlNames) {
  Searching one;
  one.attributes("service:test://239.255.255.253");
  EXPECT_EQ(one.network.countTo(endpoint("239.255.255.253")), 0U);
}

TEST(AttributeSearch, TakesAnEmptyListFromTheHostForTheAnswer) {
  Searching one;
  one.network.add(attributeAgent(kHost, ""));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre(""));
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(AttributeSearch, TakesAnEmptyListFromAnotherForNone) {
  Searching one;
  one.network.add(attributeAgent(kOther, ""));
  EXPECT_THAT(one.attributes(kUrl), IsEmpty());
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(AttributeSearch, AsksADirectoryAgentWhenTheHostRefuses) {
  Searching one;
  one.directoryAgents.configure({kDirectory}, "DEFAULT");
  one.settings.directoryAgents = {"10.0.0.9"};
  one.network.add(attributeAgent(kHost, "")).udp = FakeAgent::Port::kRefuses;
  one.network.add(attributeDirectory("(d=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(d=1)"));
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
  EXPECT_EQ(one.took, 4ms);
}

TEST(AttributeSearch, AsksEverybodyAtLast) {
  Searching one;
  one.network.add(attributeAgent(kOther, "(o=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(o=1)"));
  EXPECT_EQ(one.network.countOf(Via::kGroup), 1U);
  EXPECT_EQ(one.took, 2'000ms + 4ms) << "the silent host, this machine, and the group";
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(o=1)"));
  EXPECT_EQ(one.took, 2ms) << "then it is known who knows the URL";
}

TEST(AttributeSearch, AsksTheHostWhenTheSenderIsGone) {
  Searching one;
  one.settings.directoryAgents = {"10.0.0.9"};
  one.responders.rememberSender(kUrl, kOther);
  one.network.add(attributeAgent(kHost, "(a=1)")).hearsGroup = false;
  one.network.add(attributeDirectory("(d=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(a=1)"));
  EXPECT_EQ(one.took, 2'000ms + 2ms);
  EXPECT_EQ(one.network.countTo(kDirectory), 0U);
  EXPECT_EQ(one.responders.senderOf(kUrl), kHost);
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(a=1)"));
  EXPECT_EQ(one.took, 2ms);
}

TEST(AttributeSearch, AsksTheHostWhenTheSenderRefuses) {
  Searching one;
  one.responders.rememberSender(kUrl, kOther);
  one.network.add(attributeAgent(kOther, "")).udp = FakeAgent::Port::kRefuses;
  one.network.add(attributeAgent(kHost, "(a=1)")).hearsGroup = false;
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(a=1)"));
  EXPECT_EQ(one.took, 4ms);
}

TEST(AttributeSearch, AsksASenderThatIsTheHostOnce) {
  Searching one;
  one.responders.rememberSender(kUrl, kHost);
  EXPECT_THAT(one.attributes(kUrl), IsEmpty());
  EXPECT_EQ(one.network.countTo(kHost), 12U) << "one try, five pairs, and a connection";
}

TEST(AttributeSearch, PrefersAnAnswerToTheErrorOfTheHost) {
  Searching one;
  one.network.add(failing(kHost, wire::ErrorCode::kLanguageNotSupported));
  one.network.add(attributeAgent(kOther, "(o=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(o=1)"));
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(AttributeSearch, SaysTheErrorOfTheHostWhenNobodyHasBetter) {
  Searching one;
  one.network.add(failing(kHost, wire::ErrorCode::kLanguageNotSupported));
  EXPECT_THAT(one.attributes(kUrl), IsEmpty());
  EXPECT_EQ(one.outcome.error, SLP_LANGUAGE_NOT_SUPPORTED);
}

TEST(AttributeSearch, TakesTheAnswerOnlyFromWhomItAsked) {
  Searching one;
  FakeAgent forger = attributeAgent(kHost, "(forged=1)");
  forger.answersFrom = kOther;
  forger.tcp = FakeAgent::Port::kRefuses;
  one.network.add(forger).hearsGroup = false;
  EXPECT_THAT(one.attributes(kUrl), IsEmpty());
}

TEST(AttributeSearch, TriesTheWholeListOverTcpAndDropsTheCutOneWhenThatFails) {
  const std::string whole = "(a=" + std::string(5'000, 'x') + ")";
  Searching one;
  FakeAgent agent = attributeAgent(kHost, "");
  agent.answer = [&](const wire::Message& request, Via via) -> std::vector<std::string> {
    const auto text = via == Via::kStream ? std::string_view(whole) : std::string_view("(cut=1)");
    return {reply(request, wire::AttributeReply{wire::ErrorCode::kOk, text, {}}, via != Via::kStream)};
  };
  one.network.add(agent);
  EXPECT_THAT(one.attributes(kUrl), ElementsAre(whole));
  EXPECT_EQ(one.took, 4ms);
  agent.tcp = FakeAgent::Port::kRefuses;
  agent.hearsGroup = false;
  one.network.add(agent);
  EXPECT_THAT(one.attributes(kUrl), IsEmpty());
  EXPECT_EQ(one.outcome.error, SLP_NETWORK_ERROR);
  agent.endpoint = kOther;
  one.network.add(agent).hearsGroup = true;
  one.network.add(attributeAgent(endpoint("10.0.0.3"), "(a=1)"));
  EXPECT_THAT(one.attributes("service:test"), ElementsAre("(a=1)"));
  EXPECT_EQ(one.outcome.error, SLP_OK) << "an error is for those who have nothing to show";
}

TEST(AttributeSearch, DoesNotTakeTheTimeOfTheResolverForSilence) {
  Searching one;
  one.network.resolving = 20'000ms;
  one.network.names["host.example"] = {kHost.address};
  one.network.add(attributeAgent(kHost, "(a=1)"));
  EXPECT_THAT(one.attributes("service:test://host.example"), ElementsAre("(a=1)"));
  EXPECT_EQ(one.took, 2ms);
}

TEST(AttributeSearch, LeavesTimeForEverybodyToBeAsked) {
  Searching one;
  one.settings.multicastMaximumWait = 1'500ms;
  one.settings.directoryAgents = {"10.0.0.9"};
  one.responders.rememberSender(kUrl, endpoint("10.0.0.3"));
  one.network.add(attributeAgent(kOther, "(o=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(o=1)"));
  EXPECT_LE(one.took, 1'500ms);
}

TEST(AttributeSearch, SaysWhenTimeWasUpBeforeEverybodyWasAsked) {
  Searching one;
  one.settings.multicastMaximumWait = 1'500ms;
  FakeAgent hanging = attributeAgent(kHost, "");
  hanging.tcp = FakeAgent::Port::kSilent;
  hanging.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    auto cut = reply(request, wire::AttributeReply{wire::ErrorCode::kOk, "(a=1)", {}}, true);
    cut.resize(cut.size() - 3);
    return {cut};
  };
  one.network.add(hanging);
  EXPECT_THAT(one.attributes(kUrl), IsEmpty());
  EXPECT_EQ(one.outcome.error, SLP_NETWORK_TIMED_OUT);
  EXPECT_EQ(one.took, 1'500ms);
}

TEST(AttributeSearch, OfATypeHandsOutEachDistinctList) {
  Searching one;
  one.local.attributes = "(own=1)";
  one.network.add(attributeAgent(kHost, "(a=1)"));
  one.network.add(attributeAgent(kOther, "(a=1)"));
  one.network.add(attributeAgent(endpoint("10.0.0.3"), "(b=1)"));
  one.network.add(attributeAgent(endpoint("10.0.0.4"), ""));
  EXPECT_THAT(one.attributes("service:test"), UnorderedElementsAre("(own=1)", "(a=1)", "(b=1)"));
  EXPECT_EQ(one.network.sent[0].group, Transport::Group::kGeneral);
}

TEST(AttributeSearch, AsksOnlyTheHostItIsTiedTo) {
  Searching one;
  one.target.host = kOther;
  one.local.attributes = "(own=1)";
  one.network.add(attributeAgent(kOther, "(o=1)"));
  EXPECT_THAT(one.attributes(kUrl), ElementsAre("(o=1)"));
  EXPECT_EQ(one.network.sent.size(), 1U);
}

TEST(AttributeSearch, EndsAtOnceWhenCancelled) {
  Searching one;
  one.network.cancelAt = one.network.now() + 50ms;
  one.attributes(kUrl);
  EXPECT_EQ(one.outcome.end, client::End::kCancelled);
  EXPECT_EQ(one.took, 50ms);
}

}  // namespace
}  // namespace slp::test
