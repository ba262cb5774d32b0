#include <gtest/gtest.h>

#include "discovery/SlpTraffic.h"
#include "support/FakeObserver.h"
#include "support/FakeSlp.h"

namespace {

using support::FakeSlp;

TEST(SlpTraffic, BringsTheMessagesOfTheLibraryToTheObserverWhileItLives) {
  const support::FakeObserver observer;
  {
    const discovery::SlpTraffic traffic;
    EXPECT_TRUE(FakeSlp::tell(SLP_MESSAGE_SENT, "SrvRqst"));
    EXPECT_TRUE(FakeSlp::tell(SLP_MESSAGE_SENT, "SrvRqst"));
    EXPECT_TRUE(FakeSlp::tell(SLP_MESSAGE_RECEIVED, "SrvRply"));
    EXPECT_TRUE(FakeSlp::tell(SLP_MESSAGE_DROPPED, "unknown"));
  }
  EXPECT_EQ(observer.count("slp_messages_sent", "SrvRqst"), 2U);
  EXPECT_EQ(observer.count("slp_messages_received", "SrvRply"), 1U);
  EXPECT_EQ(observer.count("slp_messages_dropped", "unknown"), 1U);
  EXPECT_FALSE(FakeSlp::tell(SLP_MESSAGE_SENT, "SrvRqst"));
}

}  // namespace
