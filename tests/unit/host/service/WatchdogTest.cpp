#include <chrono>

#include <gtest/gtest.h>

#include "host/service/Watchdog.h"
#include "support/LogCapture.h"

namespace {

using host::Watchdog;
using std::chrono::milliseconds;

class WatchdogTest : public testing::Test {
 protected:
  const support::LogCapture mLog;
  milliseconds mLongestWait{0};
  int mSigns = 0;
  Watchdog mWatchdog{[this] { return mLongestWait; }, [this] { ++mSigns; }};
};

TEST_F(WatchdogTest, GivesASignOfLifeWithEachBeat) {
  mWatchdog.beat();
  mWatchdog.beat();
  EXPECT_EQ(mSigns, 2);
}

TEST_F(WatchdogTest, IsSilentWhileARequestHasWaitedTooLongAndSaysSoOnce) {
  mLongestWait = Watchdog::kLongestWait;
  mWatchdog.beat();
  mWatchdog.beat();
  EXPECT_EQ(mSigns, 0);
  EXPECT_EQ(mLog.records().size(), 1u);
}

TEST_F(WatchdogTest, TakesUpAgainWhenWorkGoesOn) {
  mLongestWait = Watchdog::kLongestWait;
  mWatchdog.beat();
  mLongestWait = Watchdog::kLongestWait - milliseconds(1);
  mWatchdog.beat();
  EXPECT_EQ(mSigns, 1);
}

}  // namespace
