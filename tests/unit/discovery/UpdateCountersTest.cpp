#include <gtest/gtest.h>

#include "discovery/UpdateCounters.h"

namespace {

using discovery::UpdateCounters;

TEST(UpdateCounters, KnowNothingAtFirst) {
  EXPECT_FALSE(UpdateCounters().find("a"));
}

TEST(UpdateCounters, GiveWhatWasRecordedLast) {
  UpdateCounters counters;
  counters.record("a", 3, "digest");
  counters.record("a", 4, "other");
  ASSERT_TRUE(counters.find("a"));
  EXPECT_EQ(counters.find("a")->counter, 4u);
  EXPECT_EQ(counters.find("a")->gid, "other");
}

TEST(UpdateCounters, KeepTheDigestWhenNoneIsGiven) {
  UpdateCounters counters;
  counters.record("a", 3, "digest");
  counters.record("a", 4, "");
  EXPECT_EQ(counters.find("a")->counter, 4u);
  EXPECT_EQ(counters.find("a")->gid, "digest");
}

TEST(UpdateCounters, KeepOnlyTheAddressesOfTheLists) {
  UpdateCounters counters;
  for (const char* address : {"a", "b", "c", "d"})
    counters.record(address, 1, "");
  counters.keepOnly({{"a", {}}, {"x", {}}}, {{"c", {}}});
  EXPECT_EQ(counters.size(), 2u);
  EXPECT_TRUE(counters.find("a"));
  EXPECT_TRUE(counters.find("c"));
}

TEST(UpdateCounters, TakeNoNewAddressWhenFull) {
  UpdateCounters counters(1);
  counters.record("a", 1, "");
  counters.record("b", 1, "");
  counters.record("a", 2, "");
  EXPECT_EQ(counters.size(), 1u);
  EXPECT_EQ(counters.find("a")->counter, 2u);
}

TEST(UpdateCounters, AreForgottenTogether) {
  UpdateCounters counters;
  counters.record("a", 1, "");
  counters.clear();
  EXPECT_EQ(counters.size(), 0u);
}

}  // namespace
