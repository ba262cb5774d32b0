#include <gtest/gtest.h>

#include "FakePeers.h"
#include "slp/agent/DirectoryAgentFinder.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;

class DirectoryAgentFinderTest : public testing::Test {
 protected:
  std::vector<FakePeers::Sent> after(std::chrono::milliseconds step) {
    mNow += step;
    mSilent = mFinder.work(mNow);
    return mPeers.take();
  }
  static wire::ServiceRequest requestOf(const FakePeers::Sent& sent) {
    return std::get<wire::ServiceRequest>(sent.message().body);
  }

  FakePeers mPeers;
  DirectoryAgentFinder::TimePoint mNow{1'000s};
  std::vector<net::Endpoint> mSilent;
  DirectoryAgentFinder mFinder{{"DEFAULT", "en", {100ms, 200ms, 300ms, 400ms}, {50ms, 60ms}, 1'352}, mPeers, 7};
};

TEST_F(DirectoryAgentFinderTest, AsksByMulticastWhenItIsTime) {
  mFinder.search(mNow + 1s);
  EXPECT_TRUE(after(999ms).empty());
  const auto sent = after(1ms);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].by, FakePeers::By::kMulticast);
  EXPECT_TRUE(sent[0].message().header.multicast);
  EXPECT_EQ(requestOf(sent[0]).serviceType, "service:directory-agent");
  EXPECT_EQ(requestOf(sent[0]).scopes, "DEFAULT");
  EXPECT_EQ(requestOf(sent[0]).previousResponders, "");
}

TEST_F(DirectoryAgentFinderTest, EndsAfterTwoSilentRounds) {
  mFinder.search(mNow);
  EXPECT_EQ(after(0ms).size(), 1U);
  EXPECT_EQ(after(100ms).size(), 1U);
  EXPECT_EQ(after(200ms).size(), 0U);
  EXPECT_FALSE(mFinder.next());
}

TEST_F(DirectoryAgentFinderTest, NamesThoseThatHaveAnswered) {
  mFinder.search(mNow);
  const auto first = after(0ms);
  ASSERT_EQ(first.size(), 1U);
  EXPECT_TRUE(mFinder.answered(endpoint("10.0.0.9"), first[0].xid()));
  EXPECT_TRUE(mFinder.answered(endpoint("10.0.0.9"), first[0].xid()));
  EXPECT_TRUE(mFinder.answered(endpoint("fe80::9%3"), first[0].xid()));
  const auto second = after(100ms);
  ASSERT_EQ(second.size(), 1U);
  EXPECT_EQ(requestOf(second[0]).previousResponders, "10.0.0.9,fe80::9");
  EXPECT_EQ(second[0].xid(), first[0].xid());
  EXPECT_EQ(after(200ms).size(), 1U) << "one silent round is no end";
  EXPECT_EQ(after(300ms).size(), 0U);
}

TEST_F(DirectoryAgentFinderTest, EndsWhenTheListOfRespondersFillsADatagram) {
  DirectoryAgentFinder finder({"DEFAULT", "en", {100ms, 100ms}, {}, 70}, mPeers, 7);
  finder.search(mNow);
  finder.work(mNow);
  const auto sent = mPeers.take();
  ASSERT_EQ(sent.size(), 1U);
  for (const char* address : {"10.10.10.1", "10.10.10.2", "10.10.10.3"})
    finder.answered(endpoint(address), sent[0].xid());
  finder.work(mNow + 100ms);
  EXPECT_TRUE(mPeers.take().empty());
  EXPECT_FALSE(finder.next());
}

TEST_F(DirectoryAgentFinderTest, BelievesNoAdvertThatItDidNotAskFor) {
  EXPECT_FALSE(mFinder.answered(endpoint("10.0.0.9"), 0));
  mFinder.search(mNow + 1s);
  EXPECT_FALSE(mFinder.answered(endpoint("10.0.0.9"), 8)) << "nothing has been sent yet";
  after(1s);
  EXPECT_FALSE(mFinder.answered(endpoint("10.0.0.9"), 9));
  EXPECT_TRUE(mFinder.answered(endpoint("10.0.0.9"), 8));
}

TEST_F(DirectoryAgentFinderTest, AsksAConfiguredAgentAgainAfterAWhileOfSilence) {
  mFinder.ask(endpoint("10.0.0.9"), mNow);
  mFinder.ask(endpoint("10.0.0.9"), mNow);
  const auto first = after(0ms);
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(first[0].by, FakePeers::By::kDatagram);
  EXPECT_FALSE(first[0].message().header.multicast);
  EXPECT_EQ(after(50ms).size(), 1U);
  EXPECT_EQ(after(60ms).size(), 0U);
  EXPECT_EQ(mSilent, std::vector{endpoint("10.0.0.9")});
  EXPECT_EQ(after(59s).size(), 0U);
  EXPECT_EQ(after(1s).size(), 1U);
  EXPECT_FALSE(mFinder.answered(endpoint("10.0.0.8"), first[0].xid())) << "another one than was asked";
  EXPECT_TRUE(mFinder.answered(endpoint("10.0.0.9"), first[0].xid()));
  EXPECT_FALSE(mFinder.next());
}

TEST_F(DirectoryAgentFinderTest, AsksOneThatIsOnlySpokenOfInFewTries) {
  DirectoryAgentFinder finder({"DEFAULT", "en", {}, {1ms, 10ms, 20ms, 30ms}, 1'352}, mPeers, 7);
  finder.check(endpoint("10.0.0.9"), mNow);
  std::size_t sent = 0;
  for (const auto wait : {0ms, 10ms, 20ms}) {
    mNow += wait;
    EXPECT_TRUE(finder.work(mNow).empty());
    finder.check(endpoint("10.0.0.9"), mNow);
    sent += mPeers.take().size();
  }
  EXPECT_EQ(sent, 3U);
  EXPECT_EQ(finder.work(mNow + 30ms), std::vector{endpoint("10.0.0.9")});
  EXPECT_TRUE(mPeers.take().empty());
  EXPECT_FALSE(finder.next()) << "it is not asked again";
}

TEST_F(DirectoryAgentFinderTest, AsksFewOfManyThatAreSpokenOf) {
  mFinder.ask(endpoint("10.0.1.1"), mNow);
  for (int i = 0; i < 250; ++i)
    mFinder.check(endpoint("10.0.0." + std::to_string(i)), mNow);
  EXPECT_EQ(after(0ms).size(), DirectoryAgentFinder::kMaxRumours + 1);
}

TEST_F(DirectoryAgentFinderTest, ChecksAlsoAnAgentThatIsKnown) {
  mFinder.check(endpoint("10.0.0.9"), mNow);
  mFinder.known(endpoint("10.0.0.9"));
  const auto sent = after(0ms);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_TRUE(mFinder.answered(endpoint("10.0.0.9"), sent[0].xid()));
}

}  // namespace
}  // namespace slp::agent
