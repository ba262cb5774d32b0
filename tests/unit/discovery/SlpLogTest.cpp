#include <gtest/gtest.h>

#include "discovery/SlpLog.h"
#include "support/FakeSlp.h"
#include "support/LogCapture.h"

namespace {

using support::FakeSlp;

TEST(SlpLog, BringsTheMessagesOfTheLibraryIntoOurLogWhileItLives) {
  support::LogCapture log;
  {
    const discovery::SlpLog slpLog;
    EXPECT_TRUE(FakeSlp::say(3, "an error"));
    EXPECT_TRUE(FakeSlp::say(4, "the port is taken"));
    EXPECT_TRUE(FakeSlp::say(6, "an agent refuses"));
    EXPECT_TRUE(FakeSlp::say(7, "a detail of %1% and %s"));
  }
  EXPECT_TRUE(log.has(utils::LOG_FAILURE, "SLP:an error"));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE, "SLP:the port is taken"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "SLP:an agent refuses"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "SLP:a detail of %1% and %s"));
  EXPECT_FALSE(FakeSlp::say(4, "afterwards")) << "syslog gets it again";
  EXPECT_FALSE(log.containsPart("afterwards"));
}

}  // namespace
