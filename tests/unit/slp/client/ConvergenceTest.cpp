#include <gtest/gtest.h>

#include "FakeNetwork.h"
#include "slp/client/Convergence.h"

namespace slp::test {
namespace {

using client::Convergence;
using Step = Convergence::Step;
using namespace std::chrono_literals;

constexpr Convergence::TimePoint kStart{1s};
const std::vector<Milliseconds> kWaits{250ms, 250ms, 250ms, 500ms};

TEST(Convergence, EndsAfterTwoSilentRounds) {
  Convergence rounds(kWaits, 100);
  EXPECT_EQ(rounds.step(kStart), Step::kSend);
  EXPECT_EQ(rounds.step(kStart + 249ms), Step::kWait);
  EXPECT_EQ(rounds.due(), kStart + 250ms);
  EXPECT_EQ(rounds.step(kStart + 250ms), Step::kSend);
  EXPECT_EQ(rounds.step(kStart + 500ms), Step::kDone);
  EXPECT_TRUE(rounds.done());
  EXPECT_EQ(rounds.step(kStart + 600ms), Step::kDone);
}

TEST(Convergence, GoesOnWhileARoundBringsSomebodyNew) {
  Convergence rounds(kWaits, 100);
  rounds.step(kStart);
  rounds.answered(address("10.0.0.1"));
  EXPECT_EQ(rounds.step(kStart + 250ms), Step::kSend);
  rounds.answered(address("10.0.0.1"));
  EXPECT_EQ(rounds.step(kStart + 500ms), Step::kSend);
  EXPECT_EQ(rounds.step(kStart + 750ms), Step::kDone);
}

TEST(Convergence, NeedsTheSilentRoundsInSuccession) {
  Convergence rounds(kWaits, 100);
  rounds.step(kStart);
  EXPECT_EQ(rounds.step(kStart + 250ms), Step::kSend);
  rounds.answered(address("10.0.0.1"));
  EXPECT_EQ(rounds.step(kStart + 500ms), Step::kSend);
  EXPECT_EQ(rounds.step(kStart + 750ms), Step::kSend);
  EXPECT_EQ(rounds.due(), kStart + 1250ms);
}

TEST(Convergence, EndsWithTheLastWait) {
  Convergence rounds({250ms}, 100);
  rounds.step(kStart);
  rounds.answered(address("10.0.0.1"));
  EXPECT_EQ(rounds.step(kStart + 250ms), Step::kDone);
  Convergence none({}, 100);
  EXPECT_EQ(none.step(kStart), Step::kDone);
}

TEST(Convergence, IsNotKeptGoingByThoseWhoAreOnlyListed) {
  Convergence rounds(kWaits, 100);
  rounds.step(kStart);
  rounds.list(address("10.0.0.1"));
  rounds.step(kStart + 250ms);
  EXPECT_EQ(rounds.step(kStart + 500ms), Step::kDone);
  EXPECT_EQ(rounds.previousResponders(), "10.0.0.1");
}

TEST(Convergence, ListsThoseWhoHaveAnsweredAsFarAsThereIsRoom) {
  Convergence rounds(kWaits, 18);
  rounds.step(kStart);
  for (const auto* text : {"10.0.0.1", "10.0.0.1", "10.0.0.100", "fe80::1%2", "127.0.0.1", "::1"})
    rounds.answered(address(text));
  EXPECT_EQ(rounds.previousResponders(), "10.0.0.1,fe80::1");
  EXPECT_TRUE(rounds.knows(address("10.0.0.100")));
  EXPECT_EQ(rounds.step(kStart + 250ms), Step::kSend) << "a full list does not end the search";
}

TEST(Convergence, NeverListsLoopbackWhichEveryMachineHas) {
  Convergence rounds(kWaits, 100);
  rounds.step(kStart);
  rounds.answered(address("127.0.0.1"));
  rounds.answered(address("::1"));
  EXPECT_EQ(rounds.previousResponders(), "");
}

}  // namespace
}  // namespace slp::test
