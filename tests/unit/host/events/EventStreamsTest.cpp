#include <gtest/gtest.h>

#include "host/events/EventStreams.h"
#include "unit/host/events/Ear.h"

namespace {

using host::EventStreams;
using host_test::Ear;
using State = host::EventStream::State;

class EventStreamsTest : public testing::Test {
 protected:
  int mJoined = 0;
  EventStreams mStreams{[this] { ++mJoined; }};
  Ear mEar;
};

TEST_F(EventStreamsTest, ListensOnceItIsGreeted) {
  const auto stream = mStreams.open({});
  ASSERT_TRUE(stream);
  EXPECT_EQ(stream->state(), State::kOpened);
  EXPECT_TRUE(mStreams.in(State::kJoined).empty());
  stream->begin(mEar.send());
  EXPECT_EQ(mJoined, 1);
  ASSERT_EQ(mStreams.in(State::kJoined).size(), 1U);
  stream->send("hello");
  EXPECT_EQ(mEar.heard(), "hello");
  EXPECT_TRUE(mStreams.in(State::kJoined).empty());
  EXPECT_EQ(mStreams.in(State::kGreeted).size(), 1U);
}

TEST_F(EventStreamsTest, SendsNothingBeforeItBeginsAndAfterItsEnd) {
  const auto stream = mStreams.open({});
  stream->send("early");
  EXPECT_EQ(stream->state(), State::kOpened);
  stream->begin(mEar.send());
  stream->end();
  stream->send("late");
  EXPECT_EQ(mEar.pieces(), 0);
  EXPECT_EQ(stream->state(), State::kOver);
}

TEST_F(EventStreamsTest, BearsAnEndWithoutABeginning) {
  const auto stream = mStreams.open({});
  stream->end();
  stream->close();
  EXPECT_EQ(stream->state(), State::kOver);
}

TEST_F(EventStreamsTest, GivesUpAClientThatTakesNothing) {
  const auto stream = mStreams.open({});
  stream->begin(mEar.send());
  mEar.turnAway();
  stream->send("x");
  EXPECT_EQ(stream->state(), State::kOver);
  stream->send("y");
  EXPECT_EQ(mEar.pieces(), 1);
}

TEST_F(EventStreamsTest, EndsWithTheLogin) {
  bool isAllowed = true;
  const auto stream = mStreams.open([&isAllowed] { return isAllowed; });
  stream->begin(mEar.send());
  stream->send("x");
  isAllowed = false;
  stream->send("secret");
  EXPECT_EQ(mEar.heard(), "x");
  EXPECT_TRUE(mEar.hasEnded());
  EXPECT_EQ(stream->state(), State::kOver);
}

TEST_F(EventStreamsTest, HasAPlaceForSoManyAndNoMore) {
  EventStreams::All all;
  for (std::size_t count = 0; count < EventStreams::kMost; ++count) {
    all.push_back(mStreams.open({}));
    ASSERT_TRUE(all.back());
  }
  EXPECT_FALSE(mStreams.open({}));
  all.pop_back();
  EXPECT_TRUE(mStreams.open({})) << "one has gone, without ever having begun";
}

TEST_F(EventStreamsTest, EndsAllAndLetsInNobodyOnceItIsClosed) {
  const auto greeted = mStreams.open({});
  const auto opened = mStreams.open({});
  greeted->begin(mEar.send());
  mStreams.close();
  EXPECT_TRUE(mEar.hasEnded());
  EXPECT_EQ(mEar.pieces(), 1);
  EXPECT_FALSE(mStreams.open({}));
  Ear late;
  opened->begin(late.send());
  EXPECT_TRUE(late.hasEnded());
  EXPECT_EQ(opened->state(), State::kOver);
}

}  // namespace
