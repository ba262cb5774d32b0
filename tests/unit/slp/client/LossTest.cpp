#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Searching.h"

namespace slp::test {
namespace {

using testing::SizeIs;
using namespace std::chrono_literals;

/// Searches until everybody has been found once.
void findAll(Searching& one, std::size_t count) {
  std::set<std::string> known;
  for (unsigned i = 0; i < 50 && known.size() < count; ++i) {
    one.services();
    known.insert(one.found.begin(), one.found.end());
  }
  ASSERT_EQ(known.size(), count);
}

TEST(Loss, OfThreeInTenEachWayMakesNoListFlapOnceAllAreKnown) {
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    Searching one(seed);
    one.network.lossEachWay = 0.3;
    for (unsigned i = 1; i <= 3; ++i)
      one.network.add(serviceAgent(endpoint("10.0.0." + std::to_string(i)), {"service:test://" + std::to_string(i)}));
    findAll(one, 3);
    for (unsigned search = 0; search < 200; ++search) {
      ASSERT_THAT(one.services(), SizeIs(3)) << "seed " << seed << ", search " << search;
      ASSERT_LE(one.took, 5'000ms);
    }
  }
}

TEST(Loss, WithRepetitionAndReorderingStillHandsOutEachOnce) {
  Searching one(7);
  one.network.lossEachWay = 0.3;
  one.network.repeatsAnswers = true;
  one.network.jitter = 300ms;
  for (unsigned i = 1; i <= 3; ++i)
    one.network.add(serviceAgent(endpoint("10.0.0." + std::to_string(i)), {"service:test://" + std::to_string(i)}));
  findAll(one, 3);
  for (unsigned search = 0; search < 200; ++search)
    ASSERT_THAT(one.services(), SizeIs(3)) << "search " << search;
}

TEST(Loss, OfAResponderIsNoticedWithinOneSearch) {
  Searching one;
  const auto gone = endpoint("10.0.0.1");
  one.network.add(serviceAgent(gone, {"service:test://1"}));
  one.network.add(serviceAgent(endpoint("10.0.0.2"), {"service:test://2"}));
  EXPECT_THAT(one.services(), SizeIs(2));
  one.network.remove(gone.address);
  EXPECT_THAT(one.services(), SizeIs(1));
  EXPECT_EQ(one.took, 250ms + 2'000ms);
  EXPECT_EQ(one.network.countTo(gone), 13U) << "six pairs and a connection";
  EXPECT_THAT(one.services(), SizeIs(1));
  EXPECT_EQ(one.network.countTo(gone), 0U) << "it is not asked again";
  EXPECT_EQ(one.took, 750ms);
}

TEST(Loss, OfHundredsAtOnceIsNoticedWithinOneSearch) {
  for (unsigned count : {200U, 600U}) {
    Searching one;
    const auto at = [](unsigned i) {
      return endpoint("10.1." + std::to_string(i / 200) + '.' + std::to_string(i % 200));
    };
    for (unsigned i = 0; i < count; ++i)
      one.network.add(serviceAgent(at(i), {"service:test://" + std::to_string(i)}));
    one.network.add(serviceAgent(endpoint("10.2.0.1"), {"service:test://stays"}));
    ASSERT_THAT(one.services(), SizeIs(count + 1));
    for (unsigned i = 0; i < count; ++i)
      one.network.remove(at(i).address);
    EXPECT_THAT(one.services(), SizeIs(1));
    EXPECT_LE(one.took, 750ms + 2'000ms);
    for (unsigned i = 0; i < count; ++i)
      ASSERT_GE(one.network.countTo(at(i)), 12U) << "all of them are asked to the end";
    EXPECT_THAT(one.services(), SizeIs(1));
    EXPECT_EQ(one.took, 750ms) << "all of them are forgotten";
  }
}

TEST(Loss, OfThousandsAtOnceDoesNotHoldTheSearch) {
  Searching one;
  one.network.add(serviceAgent(endpoint("10.0.0.1"), {"service:test://a"}));
  for (unsigned i = 0; i < 10'000; ++i)
    one.network.add(serviceAgent(endpoint("10.1." + std::to_string(i / 200) + '.' + std::to_string(i % 200)),
                                 {"service:test://x"}));
  one.services();
  for (unsigned i = 0; i < 10'000; ++i)
    one.network.remove(address("10.1." + std::to_string(i / 200) + '.' + std::to_string(i % 200)));
  EXPECT_THAT(one.services(), SizeIs(1));
  EXPECT_LE(one.took, 2'750ms);
  one.services();
  EXPECT_EQ(one.took, 750ms);
}

TEST(Loss, IsNotMadeGoodWithRespondersOfOtherNetworks) {
  Searching one;
  const auto gone = endpoint("10.0.0.1");
  one.network.add(serviceAgent(gone, {"service:test://1"}));
  one.services();
  one.network.remove(gone.address);
  one.network.tiedTo = "eth1";
  one.services();
  EXPECT_EQ(one.network.countTo(gone), 0U);
}

TEST(Loss, OfAServiceIsNoticedAtOnceWhenItsPortRefuses) {
  Searching one;
  const auto gone = endpoint("10.0.0.1");
  one.network.add(serviceAgent(gone, {"service:test://1"}));
  one.services();
  auto& agent = one.network.add(serviceAgent(gone, {}));
  agent.udp = FakeAgent::Port::kRefuses;
  EXPECT_THAT(one.services(), SizeIs(0));
  EXPECT_EQ(one.took, 500ms);
  one.services();
  EXPECT_EQ(one.network.countTo(gone), 0U);
}

TEST(Loss, OfAServiceIsNoticedAtOnceWhenItsAgentSaysSo) {
  Searching one;
  const auto agent = endpoint("10.0.0.1");
  one.network.add(serviceAgent(agent, {"service:test://1"}));
  one.services();
  one.network.add(serviceAgent(agent, {}));
  EXPECT_THAT(one.services(), SizeIs(0));
  EXPECT_GT(one.network.countTo(agent), 0U);
  EXPECT_EQ(one.took, 500ms);
  one.services();
  EXPECT_EQ(one.network.countTo(agent), 0U);
}

TEST(Loss, OfAttributesIsNotToldByAnEmptyAnswerToAQuestionForSome) {
  Searching one;
  const auto at = endpoint("10.0.0.1");
  auto agent = attributeAgent(at, "");
  agent.answer = [](const wire::Message& request, Via) -> std::vector<std::string> {
    const auto* asked = std::get_if<wire::AttributeRequest>(&request.body);
    if (asked == nullptr) return {};
    return {reply(request, wire::AttributeReply{wire::ErrorCode::kOk, asked->tags.empty() ? "(a=1)" : "", {}})};
  };
  one.network.add(agent);
  ASSERT_THAT(one.attributes("service:test"), SizeIs(1));
  EXPECT_THAT(one.attributes("service:test", "b"), SizeIs(0));
  agent.hearsGroup = false;
  one.network.add(agent);
  EXPECT_THAT(one.attributes("service:test"), SizeIs(1)) << "it is remembered, and asked by unicast";
}

TEST(Loss, OfTheFirstAnswersOfManyIsMadeGoodByUnicast) {
  Searching one;
  for (unsigned i = 0; i < 200; ++i)
    one.network.add(serviceAgent(endpoint("10.0.0." + std::to_string(i)), {"service:test://" + std::to_string(i)}));
  ASSERT_THAT(one.services(), SizeIs(200));
  one.network.lossEachWay = 0.3;
  unsigned missing = 0;
  for (unsigned search = 0; search < 20; ++search)
    missing += static_cast<unsigned>(200 - one.services().size());
  EXPECT_LE(missing, 4U) << "of 4,000: six pairs fail together in one of 3,000, and then TCP is left";
}

TEST(Loss, MakesTheAttributesOfAUrlComeAtTheSecondTry) {
  Searching one(3);
  const auto host = endpoint("10.0.0.1");
  one.network.add(attributeAgent(host, "(a=1)"));
  one.network.lossEachWay = 0.3;
  for (unsigned search = 0; search < 200; ++search)
    ASSERT_THAT(one.attributes("service:test://10.0.0.1"), testing::ElementsAre("(a=1)")) << search;
}

}  // namespace
}  // namespace slp::test
