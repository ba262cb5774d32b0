#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Searching.h"
#include "slp/wire/Codec.h"

namespace slp::test {
namespace {

using client::End;
using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;

const auto kA = endpoint("10.0.0.1");
const auto kB = endpoint("10.0.0.2");

std::string previousResponders(const FakeNetwork::Sent& sent) {
  const auto decoded = wire::decode(wire::bytesOf(sent.bytes));
  const auto& body = std::get<wire::Message>(decoded).body;
  return std::string(std::get<wire::ServiceRequest>(body).previousResponders);
}

TEST(ServiceSearch, WithNobodyThereTakesTwoSilentRounds) {
  Searching one;
  EXPECT_THAT(one.services(), SizeIs(0));
  EXPECT_EQ(one.outcome.end, End::kComplete);
  EXPECT_EQ(one.outcome.error, SLP_OK);
  EXPECT_EQ(one.took, 500ms);
  EXPECT_EQ(one.network.countOf(Via::kGroup), 2U);
}

TEST(ServiceSearch, WithAllAnswersInTakesTwoMoreRounds) {
  for (unsigned responders : {1U, 2U}) {
    Searching one;
    for (unsigned i = 1; i <= responders; ++i)
      one.network.add(serviceAgent(endpoint("10.0.0." + std::to_string(i)), {"service:test://" + std::to_string(i)}));
    EXPECT_THAT(one.services(), SizeIs(responders));
    EXPECT_EQ(one.took, 750ms);
    EXPECT_EQ(one.outcome.error, SLP_OK);
  }
}

TEST(ServiceSearch, RepeatsItsIdentifierAndListsThoseWhoHaveAnswered) {
  Searching one;
  one.network.add(serviceAgent(kA, {"service:test://a"}));
  one.services();
  ASSERT_EQ(one.network.countOf(Via::kGroup), 3U);
  std::vector<std::string> lists;
  std::vector<std::uint16_t> xids;
  for (const auto& sent : one.network.sent) {
    if (sent.via != Via::kGroup) continue;
    lists.push_back(previousResponders(sent));
    xids.push_back(std::get<wire::Message>(wire::decode(wire::bytesOf(sent.bytes))).header.xid);
  }
  EXPECT_THAT(lists, ElementsAre("", "10.0.0.1", "10.0.0.1"));
  EXPECT_THAT(xids, ElementsAre(xids[0], xids[0], xids[0]));
  EXPECT_NE(xids[0], 0);
}

TEST(ServiceSearch, FindsTwoHundredThoughTheirListDoesNotFit) {
  Searching one;
  for (unsigned i = 0; i < 200; ++i)
    one.network.add(serviceAgent(endpoint("10.100.200." + std::to_string(i)), {"service:test://" + std::to_string(i)}));
  EXPECT_THAT(one.services(), SizeIs(200));
  EXPECT_EQ(one.took, 750ms);
  for (const auto& sent : one.network.sent)
    EXPECT_LE(sent.bytes.size(), one.settings.maxDatagramMessage());
}

TEST(ServiceSearch, GoesOnForThoseWhoAnswerLate) {
  Searching one;
  one.network.add(serviceAgent(kA, {"service:test://a"})).delay = 400ms;
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.took, 1250ms) << "the third and fourth round are the silent ones";
}

TEST(ServiceSearch, HandsOutEachUrlOnceHoweverOftenItComes) {
  Searching one;
  one.network.repeatsAnswers = true;
  one.network.jitter = 100ms;
  one.network.add(serviceAgent(kA, {"service:test://a", "service:test://both"}));
  one.network.add(serviceAgent(kB, {"service:test://both", "service:test://B", "service:test://b"}));
  EXPECT_THAT(one.services(),
              UnorderedElementsAre("service:test://a", "service:test://both", "service:test://B", "service:test://b"));
}

TEST(ServiceSearch, HandsOutWhatTheProcessHasFirst) {
  Searching one;
  one.local.urls = {{"service:test://own", 10}, {"service:test://a", 10}};
  one.network.add(serviceAgent(kA, {"service:test://a", "service:test://b"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://own", "service:test://a", "service:test://b"));
}

TEST(ServiceSearch, HandsOutLifetimesAsTheyCome) {
  Searching one;
  one.local.urls = {{"service:test://own", 65'535}};
  auto agent = serviceAgent(kA, {});
  agent.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    return {serviceReply(request, {"service:test://a"}, false, 7)};
  };
  one.network.add(agent);
  std::vector<std::uint16_t> lifetimes;
  one.userAgent.findServices({"service:test", "DEFAULT", "", "en"}, one.settings, {}, one.network,
                             [&](std::string_view, std::uint16_t lifetime) {
                               lifetimes.push_back(lifetime);
                               return true;
                             });
  EXPECT_THAT(lifetimes, ElementsAre(65'535, 7));
}

TEST(ServiceSearch, AsksTheAgentOfThisMachineWithNoInterfaceUp) {
  Searching one;
  one.network.interfaces = 0;
  one.network.add(serviceAgent(endpoint("127.0.0.1"), {"service:test://here"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://here"));
  EXPECT_EQ(one.outcome.error, SLP_OK);
  EXPECT_EQ(one.took, 2ms);
}

TEST(ServiceSearch, DoesNotAskItselfWhenItHoldsThePort) {
  Searching one;
  one.local.holds = true;
  one.services();
  EXPECT_EQ(one.network.countOf(Via::kDatagram), 0U);
}

TEST(ServiceSearch, SaysWhenThereIsNobodyToAsk) {
  Searching one;
  one.network.interfaces = 0;
  EXPECT_THAT(one.services(), SizeIs(0));
  EXPECT_EQ(one.outcome.error, SLP_NETWORK_ERROR);
  EXPECT_EQ(one.took, 2ms);
}

TEST(ServiceSearch, IsNoFailureWithOwnResultsAndNobodyToAsk) {
  Searching one;
  one.network.interfaces = 0;
  one.local.urls = {{"service:test://own", 10}};
  one.services();
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(ServiceSearch, EndsAtOnceWhenTheSinkHasEnough) {
  Searching one;
  one.network.add(serviceAgent(kA, {"service:test://a", "service:test://b"}));
  one.whenFound = [] { return false; };
  EXPECT_THAT(one.services(), SizeIs(1));
  EXPECT_EQ(one.outcome.end, End::kStopped);
  EXPECT_LT(one.took, 250ms);
  one.local.urls = {{"service:test://own", 10}};
  EXPECT_THAT(one.services(), ElementsAre("service:test://own"));
  EXPECT_EQ(one.outcome.end, End::kStopped);
  EXPECT_TRUE(one.network.sent.empty());
}

TEST(ServiceSearch, EndsAtOnceWhenCancelled) {
  Searching one;
  one.network.add(serviceAgent(kA, {"service:test://a"})).delay = 200ms;
  one.network.cancelAt = one.network.now() + 100ms;
  EXPECT_THAT(one.services(), SizeIs(0));
  EXPECT_EQ(one.outcome.end, End::kCancelled);
  EXPECT_EQ(one.took, 100ms);
}

TEST(ServiceSearch, DoesNotTakeTheTimeOfCallbacksForSilence) {
  Searching one;
  one.network.add(serviceAgent(kA, {"service:test://a"}));
  one.network.add(serviceAgent(kB, {"service:test://b"})).delay = 100ms;
  one.whenFound = [&] {
    one.network.elapse(60'000ms);
    return true;
  };
  EXPECT_THAT(one.services(), ElementsAre("service:test://a", "service:test://b"));
  EXPECT_EQ(one.took, 750ms);
}

TEST(ServiceSearch, HandsOutAtMostSoMany) {
  Searching one;
  one.settings.maxResults = 2;
  one.network.add(serviceAgent(kA, {"service:test://a", "service:test://b", "service:test://c"}));
  EXPECT_THAT(one.services(), SizeIs(2));
  EXPECT_EQ(one.outcome.end, End::kComplete);
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(ServiceSearch, IsBoundedInTime) {
  Searching one;
  one.settings.multicastMaximumWait = 600ms;
  one.network.add(serviceAgent(kA, {"service:test://a"}));
  one.services();
  EXPECT_EQ(one.took, 600ms);
}

TEST(ServiceSearch, TriesTheWholeAnswerOverTcp) {
  Searching one;
  FakeAgent agent = serviceAgent(kA, {});
  agent.answer = [](const wire::Message& request, Via via) -> std::vector<std::string> {
    if (via == Via::kStream) return {serviceReply(request, {"service:test://a", "service:test://b"})};
    return {serviceReply(request, {"service:test://a"}, true)};
  };
  one.network.add(agent);
  EXPECT_THAT(one.services(), ElementsAre("service:test://a", "service:test://b"));
  EXPECT_EQ(one.network.countOf(Via::kStream), 1U);
  EXPECT_EQ(one.took, 750ms);
}

TEST(ServiceSearch, TriesAnAnswerThatWasCutInsideAFieldOverTcp) {
  Searching one;
  FakeAgent agent = serviceAgent(kA, {});
  agent.answer = [](const wire::Message& request, Via via) -> std::vector<std::string> {
    auto answer = serviceReply(request, {"service:test://a", "service:test://b"}, via != Via::kStream);
    if (via != Via::kStream) answer.resize(answer.size() - 5);
    return {answer};
  };
  one.network.add(agent);
  EXPECT_THAT(one.services(), ElementsAre("service:test://a", "service:test://b"));
  EXPECT_EQ(one.network.countOf(Via::kStream), 1U);
  EXPECT_EQ(one.took, 750ms);
  one.target.host = kA;
  EXPECT_THAT(one.services(), ElementsAre("service:test://a", "service:test://b"));
  EXPECT_EQ(one.took, 4ms);
}

TEST(ServiceSearch, SaysWhenARequestFitsNoDatagram) {
  Searching one;
  one.services("service:test", "(x=" + std::string(2'000, 'y') + ")");
  EXPECT_EQ(one.outcome.error, SLP_BUFFER_OVERFLOW);
  EXPECT_EQ(one.network.countOf(Via::kGroup), 0U);
  one.services("service:test", std::string(70'000, 'y'));
  EXPECT_EQ(one.outcome.error, SLP_PARAMETER_BAD);
}

TEST(ServiceSearch, AsksOnlyTheHostItIsTiedTo) {
  Searching one;
  one.target.host = kA;
  one.local.urls = {{"service:test://own", 10}};
  one.network.add(serviceAgent(kA, {"service:test://a"}));
  one.network.add(serviceAgent(kB, {"service:test://b"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://a"));
  EXPECT_EQ(one.network.sent.size(), 1U);
  EXPECT_EQ(one.took, 2ms);
}

TEST(ServiceSearch, SaysWhyTheHostItIsTiedToHasNoAnswer) {
  Searching one;
  one.target.host = kA;
  one.services();
  EXPECT_EQ(one.outcome.error, SLP_NETWORK_TIMED_OUT);
  EXPECT_EQ(one.took, 2'000ms);
  EXPECT_EQ(one.network.countOf(Via::kDatagram), 11U) << "one, and five pairs";
  EXPECT_EQ(one.network.countOf(Via::kStream), 1U);
  one.network.add(serviceAgent(kA, {})).udp = FakeAgent::Port::kRefuses;
  one.services();
  EXPECT_EQ(one.outcome.error, SLP_NETWORK_ERROR);
  EXPECT_EQ(one.took, 2ms);
}

struct ErrorCase {
  const char* name;
  wire::ErrorCode code;
  SLPError expected;
};

class ServiceSearchError : public testing::TestWithParam<ErrorCase> {};

TEST_P(ServiceSearchError, OfTheHostBecomesTheOutcome) {
  Searching one;
  one.target.host = kA;
  FakeAgent agent = serviceAgent(kA, {});
  agent.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    wire::ServiceReply body;
    body.error = GetParam().code;
    return {reply(request, body)};
  };
  one.network.add(agent);
  one.services();
  EXPECT_EQ(one.outcome.error, GetParam().expected);
  EXPECT_EQ(one.took, 2ms);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, ServiceSearchError,
    testing::Values(ErrorCase{"Language", wire::ErrorCode::kLanguageNotSupported, SLP_LANGUAGE_NOT_SUPPORTED},
                    ErrorCase{"Parse", wire::ErrorCode::kParseError, SLP_PARSE_ERROR},
                    ErrorCase{"Scope", wire::ErrorCode::kScopeNotSupported, SLP_SCOPE_NOT_SUPPORTED},
                    ErrorCase{"Absent", wire::ErrorCode::kAuthenticationAbsent, SLP_AUTHENTICATION_ABSENT},
                    ErrorCase{"Internal", wire::ErrorCode::kInternalError, SLP_INTERNAL_SYSTEM_ERROR},
                    ErrorCase{"Busy", wire::ErrorCode::kBusyNow, SLP_NETWORK_ERROR},
                    ErrorCase{"Unknown", static_cast<wire::ErrorCode>(999), SLP_NETWORK_ERROR}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ServiceSearch, IsNotSpoiledByTheScopesOfThisMachinesAgent) {
  Searching one;
  FakeAgent agent = serviceAgent(endpoint("127.0.0.1"), {});
  agent.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    wire::ServiceReply body;
    body.error = wire::ErrorCode::kScopeNotSupported;
    return {reply(request, body)};
  };
  one.network.add(agent);
  one.services();
  EXPECT_EQ(one.outcome.error, SLP_OK);
}

TEST(ServiceSearch, AsksForServicesInTheGroupOfTheirType) {
  Searching one;
  one.services();
  EXPECT_EQ(one.network.sent[0].group, Transport::Group::kService);
  one.services("service:directory-agent");
  EXPECT_EQ(one.network.sent[0].group, Transport::Group::kDirectoryAgent);
}

TEST(ServiceSearch, FindsAgentsByTheirAdverts) {
  Searching one;
  one.network.add(directoryAgent(kA, {}));
  FakeAgent agent = serviceAgent(kB, {});
  agent.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    if (std::get<wire::ServiceRequest>(request.body).serviceType != "service:service-agent") return {};
    return {reply(request, wire::ServiceAgentAdvert{"service:service-agent://10.0.0.2", "DEFAULT", "", {}})};
  };
  one.network.add(agent);
  EXPECT_THAT(one.services("service:directory-agent"), ElementsAre("service:directory-agent://10.0.0.1"));
  EXPECT_EQ(one.directoryAgents.all().size(), 1U) << "whoever looks for them learns them, too";
  EXPECT_THAT(one.services("service:service-agent"), ElementsAre("service:service-agent://10.0.0.2"));
}

TEST(ServiceSearch, RemembersWhoSentAUrl) {
  Searching one;
  one.network.add(serviceAgent(kA, {"service:test://x"})).answersFrom = endpoint("10.0.0.1", 5'555);
  one.services();
  EXPECT_EQ(one.responders.senderOf("service:test://x"), kA) << "agents are asked at their port";
}

struct TypeCase {
  const char* name;
  const char* asked;
  const char* url;
  bool taken;
};

class ServiceSearchType : public testing::TestWithParam<TypeCase> {};

TEST_P(ServiceSearchType, CoversTheUrlOrTheUrlIsDropped) {
  Searching one;
  one.network.add(serviceAgent(kA, {GetParam().url}));
  EXPECT_THAT(one.services(GetParam().asked), SizeIs(GetParam().taken ? 1 : 0));
}

INSTANTIATE_TEST_SUITE_P(
    Urls, ServiceSearchType,
    testing::Values(TypeCase{"Same", "service:test", "service:test://a", true},
                    TypeCase{"SameInAnotherCase", "Service:Test", "service:TEST://a", true},
                    TypeCase{"ConcreteOfAbstract", "service:wbem", "service:wbem:https://a", true},
                    TypeCase{"AbstractForConcrete", "service:wbem:https", "service:wbem://a", false},
                    TypeCase{"AnotherService", "service:test", "service:printer://a", false},
                    TypeCase{"LongerName", "service:test", "service:test2://a", false},
                    TypeCase{"AnotherSchemeAsAService", "service:wbem", "https://evil/", false},
                    TypeCase{"SchemeOfTheConcreteType", "service:wbem:https", "https://evil/", false},
                    TypeCase{"BareUrlAsAService", "service:test", "://10.77.0.1:8443", false},
                    TypeCase{"BareUrl", "test", "://10.77.0.1:8443", false},
                    TypeCase{"Scheme", "http", "http://h", true}, TypeCase{"AnotherScheme", "https", "http://a", false},
                    TypeCase{"ServiceForAScheme", "https", "service:printer://a", false},
                    TypeCase{"Empty", "service:test", "", false},
                    TypeCase{"LineFeed", "service:test", "service:test://a\nservice:test://b", false},
                    TypeCase{"Delete", "service:test", "service:test://a\x7F", false}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace slp::test
