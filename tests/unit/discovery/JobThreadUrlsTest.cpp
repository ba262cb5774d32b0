#include <gtest/gtest.h>

#include "discovery/JobThreadUrls.h"

namespace {

TEST(JobThreadUrls, FindsTheUrlOfEachThread) {
  discovery::JobThreadUrls urls;
  urls.set("1", "service:a://one");
  urls.set("2", "service:a://two");
  EXPECT_EQ(urls.find("1"), "service:a://one");
  EXPECT_EQ(urls.find("2"), "service:a://two");
  EXPECT_EQ(urls.find("3"), "");
}

TEST(JobThreadUrls, OverwritesWhatAnEarlierJobLeftBehind) {
  discovery::JobThreadUrls urls;
  urls.set("1", "service:a://one");
  urls.set("1", "service:a://two");
  EXPECT_EQ(urls.find("1"), "service:a://two");
  EXPECT_EQ(urls.size(), 1u);
}

TEST(JobThreadUrls, EraseOnlyTheEntryOfThatUrl) {
  discovery::JobThreadUrls urls;
  urls.set("1", "service:a://one");
  urls.erase("1", "service:a://two");
  urls.erase("2", "service:a://one");
  EXPECT_EQ(urls.find("1"), "service:a://one");
  urls.erase("1", "service:a://one");
  EXPECT_EQ(urls.size(), 0u);
}

}  // namespace
