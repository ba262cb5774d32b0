#include <gtest/gtest.h>

#include "framework/utils/DateTime.h"

namespace {

TEST(DateTime, BeginsWithTheEpoch) {
  EXPECT_EQ(utils::DateTime().to_string(), "1970-01-01T00:00:00Z");
}

TEST(DateTime, TakesTheCurrentTime) {
  const auto before = std::chrono::system_clock::now();
  utils::DateTime time;
  utils::DateTime::get_current_time(time);
  EXPECT_LE(before, time.value());
  EXPECT_LE(time.value(), std::chrono::system_clock::now());
}

}  // namespace
