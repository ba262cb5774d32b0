#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Searching.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

const auto kHostile = endpoint("10.0.0.66");
const auto kHonest = endpoint("10.0.0.1");

using Answer = FakeAgent::Answer;

struct HostileCase {
  const char* name;
  Answer answer;
};

class HostileReplies : public testing::TestWithParam<HostileCase> {};

TEST_P(HostileReplies, BringNothingAndHinderNothing) {
  Searching one;
  FakeAgent hostile;
  hostile.endpoint = kHostile;
  hostile.answer = GetParam().answer;
  one.network.add(hostile);
  one.network.add(serviceAgent(kHonest, {"service:test://honest"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://honest"));
  EXPECT_EQ(one.outcome.error, SLP_OK);
  EXPECT_EQ(one.took, 750ms);
  EXPECT_THAT(one.directoryAgents.all(), IsEmpty());
}

std::string withXid(wire::Message request, std::uint16_t change) {
  request.header.xid = static_cast<std::uint16_t>(request.header.xid + change);
  return serviceReply(request, {"service:test://hostile"});
}

wire::DirectoryAgentAdvert foreignAdvert() {
  wire::DirectoryAgentAdvert advert;
  advert.bootTime = 1;
  advert.url = "service:directory-agent://10.0.0.99";
  advert.scopes = "DEFAULT";
  return advert;
}

INSTANTIATE_TEST_SUITE_P(
    Answers, HostileReplies,
    testing::Values(
        HostileCase{"WrongIdentifier",
                    [](const wire::Message& request, Via) {
                      return std::vector{withXid(request, 1), withXid(request, 0x8000)};
                    }},
        HostileCase{"WrongFunction",
                    [](const wire::Message& request, Via) {
                      return std::vector{
                          reply(request, wire::AttributeReply{wire::ErrorCode::kOk, "service:test://hostile", {}}),
                          reply(request, wire::ServiceTypeReply{wire::ErrorCode::kOk, "service:test"}),
                          reply(request, request.body)};
                    }},
        HostileCase{"WrongType",
                    [](const wire::Message& request, Via) {
                      return std::vector{serviceReply(request, {"service:other://hostile", "service:://x", "", "\n"})};
                    }},
        HostileCase{"NoMessage",
                    [](const wire::Message& request, Via) {
                      auto cut = serviceReply(request, {"service:test://hostile"});
                      cut.pop_back();
                      return std::vector{cut, std::string(), std::string(1, '\2'), std::string(60'000, '\xFF')};
                    }},
        HostileCase{"ErrorWithUrls",
                    [](const wire::Message& request, Via) {
                      wire::ServiceReply body;
                      body.error = wire::ErrorCode::kInternalError;
                      body.urls.push_back({1, "service:test://hostile", {}});
                      return std::vector{reply(request, body)};
                    }},
        HostileCase{"AdvertThatNobodyAskedFor",
                    [](const wire::Message& request, Via) { return std::vector{reply(request, foreignAdvert())}; }}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(HostileReplies, MayHoldAHundredThousandUrls) {
  std::vector<std::string> urls;
  for (unsigned i = 0; i < 100'000; ++i)
    urls.push_back("service:test://" + std::to_string(i));
  Searching one;
  FakeAgent hostile;
  hostile.endpoint = kHostile;
  hostile.answer = [&](const wire::Message& request, Via via) -> std::vector<std::string> {
    if (via == Via::kGroup) return {serviceReply(request, {}, true)};
    // No message holds more than 65,535: two of them in one datagram each, which no network would carry.
    std::vector<std::string> first(urls.begin(), urls.begin() + 50'000);
    std::vector<std::string> second(urls.begin() + 50'000, urls.end());
    return {serviceReply(request, first), serviceReply(request, second)};
  };
  one.target.host = kHostile;
  one.network.add(hostile);
  EXPECT_THAT(one.services(), SizeIs(50'000)) << "one answer of a host is enough";
  one.target.host.reset();
  hostile.answer = [&](const wire::Message& request, Via) -> std::vector<std::string> {
    std::vector<std::string> answers;
    for (std::size_t i = 0; i < urls.size(); i += 1'000)
      answers.push_back(serviceReply(request, {urls.begin() + static_cast<std::ptrdiff_t>(i),
                                               urls.begin() + static_cast<std::ptrdiff_t>(i + 1'000)}));
    return answers;
  };
  one.network.add(hostile);
  EXPECT_THAT(one.services(), SizeIs(limits::kMaxResults));
  EXPECT_EQ(one.outcome.end, client::End::kComplete);
}

TEST(HostileReplies, MayHoldSoManyBytes) {
  constexpr std::size_t kSize = 60'000;
  constexpr std::size_t kFit = limits::kMaxResultBytes / kSize;
  Searching one;
  FakeAgent hostile;
  hostile.endpoint = kHostile;
  hostile.answer = [&](const wire::Message& request, Via) {
    std::vector<std::string> answers;
    for (std::size_t i = 0; i < kFit + 10; ++i) {
      std::string url = "service:test://" + std::to_string(i) + "/";
      url.resize(kSize, 'x');
      answers.push_back(serviceReply(request, {url}));
    }
    return answers;
  };
  one.network.add(hostile);
  EXPECT_THAT(one.services(), SizeIs(kFit));
  EXPECT_EQ(one.outcome.end, client::End::kComplete);
}

TEST(HostileReplies, WithOverflowAndNoTcpCostAtMostTheWaitForIt) {
  for (const auto port : {FakeAgent::Port::kRefuses, FakeAgent::Port::kSilent}) {
    Searching one;
    FakeAgent hostile;
    hostile.endpoint = kHostile;
    hostile.tcp = port;
    hostile.heedsPreviousResponders = false;
    hostile.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
      return {serviceReply(request, {"service:test://cut"}, true), serviceReply(request, {}, true)};
    };
    one.network.add(hostile);
    EXPECT_THAT(one.services(), ElementsAre("service:test://cut"));
    EXPECT_EQ(one.network.countOf(Via::kStream), 1U) << "one connection, however often it says so";
    EXPECT_LE(one.took, 5'100ms);
  }
}

FakeAgent forgedOverflow(unsigned number, FakeAgent::Port tcp) {
  FakeAgent agent;
  agent.endpoint = endpoint("10.1.0." + std::to_string(number));
  agent.tcp = tcp;
  agent.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    return {serviceReply(request, {}, true)};
  };
  return agent;
}

TEST(HostileReplies, WithTwoHundredForgedOverflowsDoNotStarveTheRestOfAnHonestOne) {
  Searching one;
  for (unsigned i = 0; i < 200; ++i)
    one.network.add(forgedOverflow(i, FakeAgent::Port::kSilent));
  FakeAgent honest = serviceAgent(endpoint("10.0.0.1"), {});
  honest.delay = 50ms;
  honest.answer = [](const wire::Message& request, Via via) -> std::vector<std::string> {
    return {serviceReply(request, {via == Via::kStream ? "service:test://whole" : "service:test://cut"},
                         via != Via::kStream)};
  };
  one.network.add(honest);
  std::vector<Milliseconds> times;
  one.whenFound = [&] {
    times.push_back(one.network.elapsed());
    return true;
  };
  EXPECT_THAT(one.services(), ElementsAre("service:test://cut", "service:test://whole"));
  EXPECT_LE(times.back(), 2'000ms) << "behind three turns of connections that do not come about";
}

TEST(HostileReplies, WithForgedOverflowsDoNotKeepADirectoryAgentWaiting) {
  Searching one;
  one.settings.daActiveDiscoveryInterval = 900s;
  for (unsigned i = 0; i < 200; ++i)
    one.network.add(forgedOverflow(i, FakeAgent::Port::kSilent));
  const auto at = endpoint("10.0.0.9");
  auto directory = directoryAgent(at, {"service:test://d"});
  directory.delay = 50ms;
  directory.udp = FakeAgent::Port::kSilent;
  one.settings.datagramTimeouts = {100ms};
  one.network.add(directory);
  std::vector<Milliseconds> times;
  one.whenFound = [&] {
    times.push_back(one.network.elapsed());
    return true;
  };
  EXPECT_THAT(one.services(), ElementsAre("service:test://d"));
  EXPECT_LE(times.back(), 600ms) << "the next connection that is free is for whoever was asked";
}

TEST(HostileReplies, WithRubbishOverTcpEndTheExchange) {
  Searching one;
  FakeAgent hostile;
  hostile.endpoint = kHostile;
  hostile.answer = [](const wire::Message& request, Via via) -> std::vector<std::string> {
    if (via == Via::kStream) return {withXid(request, 1), serviceReply(request, {"service:test://late"})};
    return {serviceReply(request, {"service:test://cut"}, true)};
  };
  one.network.add(hostile);
  EXPECT_THAT(one.services(), ElementsAre("service:test://cut"));
  EXPECT_EQ(one.took, 750ms);
}

TEST(HostileReplies, FromEverNewAddressesAreBoundedByTheTimeLimit) {
  Searching one;
  for (unsigned i = 0; i < 500; ++i) {
    auto agent = serviceAgent(endpoint("10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250)),
                              {"service:test://" + std::to_string(i)});
    agent.delay = Milliseconds(60 * i);
    one.network.add(agent);
  }
  one.services();
  EXPECT_LE(one.took, 15'000ms);
}

TEST(HostileReplies, ThatNeverEndDoNotHoldTheSearch) {
  Searching one;
  FakeAgent hostile;
  hostile.endpoint = kHostile;
  hostile.answer = [](const wire::Message& request, Via) {
    return std::vector<std::string>(20'000, serviceReply(request, {"service:test://again"}));
  };
  one.network.latency = 0ms;
  one.network.add(hostile);
  EXPECT_THAT(one.services(), ElementsAre("service:test://again"));
  EXPECT_EQ(one.took, 750ms);
}

TEST(HostileReplies, CannotNameAnotherHostAsDirectoryAgent) {
  Searching one;
  one.settings.daActiveDiscoveryInterval = 900s;
  FakeAgent hostile;
  hostile.endpoint = kHostile;
  hostile.answer = [](const wire::Message& request, Via) { return std::vector{reply(request, foreignAdvert())}; };
  one.network.add(hostile);
  one.network.add(serviceAgent(kHonest, {"service:test://honest"}));
  EXPECT_THAT(one.services(), ElementsAre("service:test://honest"));
  EXPECT_THAT(one.directoryAgents.all(), IsEmpty());
  EXPECT_EQ(one.network.countTo(endpoint("10.0.0.99")), 0U);
}

TEST(HostileReplies, CannotMakeTheSearchSendToLoopback) {
  Searching one;
  one.local.holds = true;
  FakeAgent hostile = serviceAgent(kHostile, {"service:test://x"});
  hostile.answersFrom = endpoint("127.0.0.1");
  one.network.add(hostile);
  one.services();
  EXPECT_THAT(one.services(), SizeIs(1));
  EXPECT_EQ(one.network.countOf(Via::kDatagram), 0U) << "loopback is no responder to be remembered";
}

}  // namespace
}  // namespace slp::test
