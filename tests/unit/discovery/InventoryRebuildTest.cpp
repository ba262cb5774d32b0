#include <random>
#include <string>

#include <gtest/gtest.h>

#include "discovery/InventoryRebuild.h"
#include "support/Requests.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::HostTable;
using discovery::rebuildInventory;
using Map = HostTable::Map;

/// The rule as it is meant, step by step: for each found server a walk over the published ones, which collects manual
/// servers on its way and ends at the found server's own entry. Quadratic, and here to judge the function by.
Map rebuiltByWalking(const Map& published, const Map& found) {
  Map rebuilt;
  for (const auto& [foundKey, foundRecord] : found) {
    bool isMatched = false;
    for (const auto& [key, record] : published) {
      json::Object copy = record;
      const bool isManual = static_cast<json::Boolean&>(copy["properties"]["isManual"]);
      if (isManual) {
        rebuilt.emplace(key, record);
        continue;
      }
      if (key == foundKey) {
        rebuilt.emplace(key, record);
        isMatched = true;
        break;
      }
    }
    if (!isMatched) rebuilt.emplace(foundKey, foundRecord);
  }
  return rebuilt;
}

/// What a record may say of being added by hand, well-formed and not.
json::Object randomRecord(std::mt19937& random, const char* origin) {
  static constexpr const char* kRecords[] = {
      R"({"properties":{"isManual":true}})",
      R"({"properties":{"isManual":true}})",
      R"({"properties":{"isManual":false}})",
      R"({"properties":{}})",
      R"({})",
      R"({"properties":{"isManual":"true"}})",
      R"({"properties":{"isManual":1}})",
      R"({"properties":[true]})",
      R"({"isManual":true})",
  };
  json::Object record = support::parsed(kRecords[random() % std::size(kRecords)]);
  record["origin"] = json::String(origin);
  return record;
}

Map randomMap(std::mt19937& random, std::size_t maxSize, unsigned int keys, const char* origin) {
  Map map;
  const std::size_t size = random() % (maxSize + 1);
  for (std::size_t i = 0; i < size; ++i)
    map.emplace(std::to_string(random() % keys), randomRecord(random, origin));
  return map;
}

TEST(InventoryRebuild, GivesWhatTheWalkGivesForRandomLists) {
  std::mt19937 random(20240611);
  for (int round = 0; round < 20'000; ++round) {
    const auto keys = static_cast<unsigned int>(1 + random() % 40);  // few keys overlap much, many hardly
    const Map published = randomMap(random, 12, keys, "published");
    const Map found = randomMap(random, 12, keys, "found");
    const Map expected = rebuiltByWalking(published, found);
    ASSERT_EQ(rebuildInventory(published, found), expected)
        << "round " << round << ", " << published.size() << " published, " << found.size() << " found";
  }
}

TEST(InventoryRebuild, GivesWhatTheWalkGivesForLongerLists) {
  std::mt19937 random(7);
  for (int round = 0; round < 30; ++round) {
    const Map published = randomMap(random, 300, 400, "published");
    const Map found = randomMap(random, 300, 400, "found");
    ASSERT_EQ(rebuildInventory(published, found), rebuiltByWalking(published, found)) << "round " << round;
  }
}

struct Row {
  const char* name;
  Map published;
  Map found;
  std::map<std::string, std::string> expected;  ///< key to display identifier
};

std::map<std::string, std::string> namesIn(const Map& map) {
  std::map<std::string, std::string> names;
  for (const auto& [key, record] : map)
    names[key] = static_cast<const json::String&>(record["properties"]["displayId"]).Value();
  return names;
}

TEST(InventoryRebuild, KeepsAndDropsAsTheTableSays) {
  const json::Object old = recordNamed("old");
  const json::Object fresh = recordNamed("fresh");
  const json::Object manual = manualRecordNamed("manual");
  const Row rows[] = {
      {"a server found again keeps its published record", {{"b", old}}, {{"b", fresh}}, {{"b", "old"}}},
      {"a server not found again drops out", {{"a", old}, {"b", old}}, {{"b", fresh}}, {{"b", "old"}}},
      {"a new server comes in", {{"b", old}}, {{"c", fresh}}, {{"c", "fresh"}}},
      {"a manual server before the found one stays",
       {{"a", manual}, {"b", old}},
       {{"b", fresh}},
       {{"a", "manual"}, {"b", "old"}}},
      {"a manual server after every found one is dropped", {{"b", old}, {"c", manual}}, {{"b", fresh}}, {{"b", "old"}}},
      {"a manual server between found ones stays",
       {{"a", old}, {"b", manual}, {"c", old}, {"d", manual}},
       {{"a", fresh}, {"c", fresh}},
       {{"a", "old"}, {"b", "manual"}, {"c", "old"}}},
      {"a new server keeps all manual ones",
       {{"b", old}, {"z", manual}},
       {{"a", fresh}, {"b", fresh}},
       {{"a", "fresh"}, {"b", "old"}, {"z", "manual"}}},
      {"a manual server that is found keeps its record and all manual ones",
       {{"b", manual}, {"z", manual}},
       {{"b", fresh}},
       {{"b", "manual"}, {"z", "manual"}}},
      {"nothing found gives nothing", {{"b", manual}}, {}, {}},
      {"nothing published gives what was found", {}, {{"a", fresh}}, {{"a", "fresh"}}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(namesIn(rebuildInventory(row.published, row.found)), row.expected) << row.name;
    EXPECT_EQ(namesIn(rebuiltByWalking(row.published, row.found)), row.expected) << row.name << ", by the walk";
  }
}

TEST(InventoryRebuild, LeavesNoTraceInTheRecords) {
  const Map published{{"a", {}}, {"b", support::parsed(R"({"properties":"text"})")}};
  const Map found{{"a", recordNamed("x")}, {"b", recordNamed("y")}};
  EXPECT_EQ(rebuildInventory(published, found), published);
}

}  // namespace
