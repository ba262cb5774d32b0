#include <gtest/gtest.h>

#include "discovery/HostTable.h"
#include "support/Requests.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::HostTable;
using Filing = HostTable::Filing;

TEST(HostTable, IsEmptyAtFirst) {
  const HostTable table;
  EXPECT_EQ(table.size(), 0u);
  EXPECT_TRUE(table.snapshot()->empty());
  EXPECT_FALSE(table.find("a"));
}

TEST(HostTable, KeepsAPresentRecordWhenInsertingIfAbsent) {
  HostTable table;
  EXPECT_EQ(table.insertIfAbsent("a", recordNamed("first")), Filing::kNew);
  EXPECT_EQ(table.insertIfAbsent("a", recordNamed("second")), Filing::kPresent);
  EXPECT_EQ(*table.find("a"), recordNamed("first"));
}

TEST(HostTable, ReplacesAPresentRecord) {
  HostTable table;
  EXPECT_EQ(table.insertOrReplace("a", recordNamed("first")), Filing::kNew);
  EXPECT_EQ(table.insertOrReplace("a", recordNamed("second")), Filing::kPresent);
  EXPECT_EQ(*table.find("a"), recordNamed("second"));
  EXPECT_EQ(table.size(), 1u);
}

TEST(HostTable, OrdersKeysByTheirBytes) {
  HostTable table;
  for (const char* key : {"10.0.0.9", "10.0.0.10", "\xc3\xa4", "B", "a", ""})
    table.insertIfAbsent(key, {});
  EXPECT_EQ(keysOf(table), (std::vector<std::string>{"", "10.0.0.10", "10.0.0.9", "B", "a", "\xc3\xa4"}));
}

TEST(HostTable, ErasesByTheWholeKey) {
  HostTable table;
  table.insertIfAbsent("10.0.0.1", {});
  EXPECT_FALSE(table.erase("10.0.0"));
  EXPECT_FALSE(table.erase("10.0.0.11"));
  EXPECT_TRUE(table.erase("10.0.0.1"));
  EXPECT_FALSE(table.erase("10.0.0.1"));
  EXPECT_EQ(table.size(), 0u);
}

TEST(HostTable, TakesNoNewKeyWhenItIsFull) {
  HostTable table;
  table.insertIfAbsent("a", recordNamed("1"), 1);
  EXPECT_EQ(table.insertIfAbsent("b", {}, 1), Filing::kFull);
  EXPECT_EQ(table.insertOrReplace("b", {}, 1), Filing::kFull);
  EXPECT_EQ(keysOf(table), std::vector<std::string>{"a"});
}

TEST(HostTable, StillReplacesWhenItIsFull) {
  HostTable table;
  table.insertIfAbsent("a", recordNamed("1"), 1);
  EXPECT_EQ(table.insertIfAbsent("a", recordNamed("2"), 1), Filing::kPresent);
  EXPECT_EQ(table.insertOrReplace("a", recordNamed("3"), 1), Filing::kPresent);
  EXPECT_EQ(*table.find("a"), recordNamed("3"));
}

TEST(HostTable, ReplacesEverything) {
  HostTable table;
  table.insertIfAbsent("a", {});
  table.replaceAll({{"b", recordNamed("b")}, {"c", {}}});
  EXPECT_EQ(keysOf(table), (std::vector<std::string>{"b", "c"}));
  table.clear();
  EXPECT_EQ(table.size(), 0u);
}

TEST(HostTable, NeverChangesASnapshot) {
  HostTable table;
  table.insertIfAbsent("a", recordNamed("1"));
  const HostTable::Snapshot before = table.snapshot();
  table.insertIfAbsent("b", {});
  table.insertOrReplace("a", recordNamed("2"));
  const HostTable::Snapshot between = table.snapshot();
  table.erase("a");
  table.clear();

  ASSERT_EQ(before->size(), 1u);
  EXPECT_EQ(before->at("a"), recordNamed("1"));
  ASSERT_EQ(between->size(), 2u);
  EXPECT_EQ(between->at("a"), recordNamed("2"));
  EXPECT_EQ(table.size(), 0u);
}

TEST(HostTable, KeepsASnapshotBeyondItsOwnEnd) {
  HostTable::Snapshot snapshot;
  {
    HostTable table;
    table.insertIfAbsent("a", recordNamed("1"));
    snapshot = table.snapshot();
  }
  EXPECT_EQ(snapshot->at("a"), recordNamed("1"));
}

TEST(HostTable, SharesOneMapAmongItsSnapshotsUntilItIsWrittenTo) {
  HostTable table;
  table.insertIfAbsent("a", {});
  const auto first = table.snapshot();
  EXPECT_EQ(table.snapshot().get(), first.get());
  EXPECT_FALSE(table.erase("absent"));
  table.insertIfAbsent("a", recordNamed("ignored"));
  EXPECT_EQ(table.snapshot().get(), first.get()) << "nothing was written";
  table.insertIfAbsent("b", {});
  EXPECT_NE(table.snapshot().get(), first.get());
}

TEST(HostTable, WritesInPlaceWhenNoSnapshotIsHeld) {
  HostTable table;
  table.insertIfAbsent("a", {});
  const void* const map = table.snapshot().get();  // given back at once
  table.insertIfAbsent("b", {});
  EXPECT_EQ(table.snapshot().get(), map);
}

TEST(HostTable, DoesNotSeeWhatItsCallersDoToTheirRecords) {
  HostTable table;
  json::Object record = recordNamed("filed");
  json::UnknownElement& kept = record["properties"]["displayId"];
  table.insertIfAbsent("a", record);
  kept = json::String("changed later");
  EXPECT_EQ(*table.find("a"), recordNamed("filed"));
}

}  // namespace
