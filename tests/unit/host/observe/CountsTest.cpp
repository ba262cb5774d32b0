#include <string>

#include <gtest/gtest.h>

#include "host/observe/Counts.h"

namespace {

using host::Counts;

TEST(Counts, AddUpByKind) {
  Counts counts;
  counts.count("records", "join", 1);
  counts.count("records", "join", 2);
  counts.count("records", "register", 5);
  EXPECT_EQ(counts.kinds("records"), (Counts::Kinds{{"join", 3}, {"register", 5}}));
  EXPECT_EQ(host::total(counts.kinds("records")), 8U);
  EXPECT_TRUE(counts.kinds("unheard_of").empty());
}

TEST(Counts, KeepTheLastMeasure) {
  Counts counts;
  counts.measure("jobs", 3);
  counts.measure("jobs", 1);
  EXPECT_EQ(counts.gauges(), (Counts::Gauges{{"jobs", 1.0}}));
}

TEST(Counts, PassOverNamesThatCanBeNoMetric) {
  Counts counts;
  for (const char* const name : {"", "Records", "announce records", "a\"b", "a-b"}) {
    counts.count(name, "kind", 1);
    counts.measure(name, 1);
  }
  counts.count(std::string(65, 'a'), "kind", 1);
  EXPECT_TRUE(counts.counters().empty());
  EXPECT_TRUE(counts.gauges().empty());
}

TEST(Counts, AreBounded) {
  Counts counts;
  for (int i = 0; i < 1'000; ++i) {
    counts.count("name" + std::to_string(i), "kind", 1);
    counts.count("one", "kind" + std::to_string(i), 1);
    counts.measure("name" + std::to_string(i), 1);
  }
  EXPECT_EQ(counts.counters().size(), Counts::kMostNames);
  EXPECT_EQ(counts.gauges().size(), Counts::kMostNames);
  EXPECT_LE(counts.kinds("one").size(), Counts::kMostKinds + 1);
  EXPECT_EQ(host::total(counts.kinds("one")), 1'000U) << "nothing is lost, only its kind";
  EXPECT_EQ(counts.kinds("one").at("other"), 1'000U - Counts::kMostKinds);
}

}  // namespace
