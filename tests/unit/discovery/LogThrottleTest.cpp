#include <gtest/gtest.h>

#include "discovery/LogThrottle.h"

namespace {

using discovery::LogThrottle;

TEST(LogThrottle, AdmitsTheFirstAndThenOnePerInterval) {
  LogThrottle throttle;
  const LogThrottle::Clock::time_point start{};
  EXPECT_TRUE(throttle.admits(start));
  EXPECT_FALSE(throttle.admits(start));
  EXPECT_FALSE(throttle.admits(start + LogThrottle::kInterval / 2));
  EXPECT_TRUE(throttle.admits(start + LogThrottle::kInterval));
  EXPECT_FALSE(throttle.admits(start + LogThrottle::kInterval + LogThrottle::kInterval / 2));
}

}  // namespace
