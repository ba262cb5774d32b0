#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "framework/utils/LogRepeats.h"

namespace {

using std::chrono::seconds;
using utils::LOG_ERROR;
using utils::LOG_FAILURE;
using utils::logging::hasWords;
using utils::logging::LogRepeats;

const LogRepeats::TimePoint kStart{std::chrono::hours(1)};

unsigned int admitted(LogRepeats& repeats, std::size_t key, unsigned int times, LogRepeats::TimePoint now) {
  unsigned int passed = 0;
  for (unsigned int i = 0; i < times; ++i) {
    if (repeats.admit(key, LOG_ERROR, "message " + std::to_string(i), now)) ++passed;
  }
  return passed;
}

TEST(LogRepeats, LetsAMessagePassSoManyTimesInAnInterval) {
  LogRepeats repeats;
  EXPECT_EQ(admitted(repeats, 1, 100, kStart), LogRepeats::kTimes);
  EXPECT_EQ(admitted(repeats, 1, 1, kStart + LogRepeats::kInterval - seconds(1)), 0u);
}

TEST(LogRepeats, CountsAMessageApartFromOthersBetweenThem) {
  LogRepeats repeats;
  unsigned int passed = 0;
  for (unsigned int i = 0; i < 20; ++i) {
    passed += admitted(repeats, 1, 1, kStart);
    passed += admitted(repeats, 2, 1, kStart);
  }
  EXPECT_EQ(passed, 2 * LogRepeats::kTimes);
}

TEST(LogRepeats, LetsItPassAgainInTheNextInterval) {
  LogRepeats repeats;
  admitted(repeats, 1, 100, kStart);
  EXPECT_EQ(admitted(repeats, 1, 100, kStart + LogRepeats::kInterval), LogRepeats::kTimes);
}

TEST(LogRepeats, TellsOnceAndAfterTheIntervalWhatWasLeftOut) {
  LogRepeats repeats;
  admitted(repeats, 1, LogRepeats::kTimes + 3, kStart);
  EXPECT_TRUE(repeats.takeDue(kStart + LogRepeats::kInterval - seconds(1)).empty());
  const auto due = repeats.takeDue(kStart + LogRepeats::kInterval);
  ASSERT_EQ(due.size(), 1u);
  EXPECT_EQ(due[0].count, 3u);
  EXPECT_EQ(due[0].level, LOG_ERROR);
  EXPECT_EQ(due[0].sample, "message " + std::to_string(LogRepeats::kTimes + 2));
  EXPECT_TRUE(repeats.takeDue(kStart + 2 * LogRepeats::kInterval).empty());
}

TEST(LogRepeats, TellsWhatWasLeftOutWhenTheMessageComesAgainItself) {
  LogRepeats repeats;
  admitted(repeats, 1, LogRepeats::kTimes + 3, kStart);
  EXPECT_EQ(admitted(repeats, 1, 1, kStart + LogRepeats::kInterval), 1u);
  const auto due = repeats.takeDue(kStart + LogRepeats::kInterval);
  ASSERT_EQ(due.size(), 1u);
  EXPECT_EQ(due[0].count, 3u);
}

TEST(LogRepeats, TellsNothingOfAMessageOfWhichNothingWasLeftOut) {
  LogRepeats repeats;
  admitted(repeats, 1, LogRepeats::kTimes, kStart);
  EXPECT_TRUE(repeats.takeDue(kStart + LogRepeats::kInterval).empty());
}

TEST(LogRepeats, ForgetsTheOldestWhenThereAreTooManyAndStillTellsOfIt) {
  LogRepeats repeats;
  admitted(repeats, 1'000'000, LogRepeats::kTimes + 1, kStart);
  for (std::size_t key = 0; key < LogRepeats::kMessages; ++key) {
    EXPECT_EQ(admitted(repeats, key, 1, kStart), 1u);
  }
  ASSERT_EQ(repeats.takeDue(kStart).size(), 1u);
  EXPECT_EQ(admitted(repeats, 1'000'000, 1, kStart), 1u) << "its place was taken, so it begins anew";
}

TEST(LogRepeats, KeepsOnlyTheBeginningOfALongMessage) {
  LogRepeats repeats;
  admitted(repeats, 1, LogRepeats::kTimes, kStart);
  repeats.admit(1, LOG_FAILURE, std::string(100'000, 'x'), kStart);
  const auto due = repeats.takeDue(kStart + LogRepeats::kInterval);
  ASSERT_EQ(due.size(), 1u);
  EXPECT_EQ(due[0].sample, std::string(LogRepeats::kSampleLength, 'x'));
}

TEST(LogRepeats, HoldsNoMoreThanItsPlacesWhateverStrangersBringAlong) {
  LogRepeats repeats;
  for (std::size_t key = 0; key < 100'000; ++key) {
    admitted(repeats, key, LogRepeats::kTimes + 1, kStart);
  }
  EXPECT_LE(repeats.takeDue(kStart + LogRepeats::kInterval).size(), LogRepeats::kMessages);
}

TEST(LogRepeats, TakesAFormatForANameOnlyWhereItHasWords) {
  EXPECT_TRUE(hasWords("failed:%1%"));
  EXPECT_FALSE(hasWords(""));
  EXPECT_FALSE(hasWords("%1%: %2% (%3%)"));
}

}  // namespace
