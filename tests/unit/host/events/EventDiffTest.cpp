#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "host/events/EventDiff.h"
#include "host/events/EventText.h"
#include "support/Requests.h"

namespace {

using host::EventDiff;
using host::rowKey;
using support::parsed;

json::Object record(const std::string& address, const std::string& id = "a", const std::string& state = "ok") {
  return parsed(R"({"properties":{"displayId":")" + id + R"(","os":{"network":{"lastCommunicatedIp":{"ipV4":")" +
                address + R"("}}},"health":{"state":")" + state + R"("}}})");
}

json::Array list(std::initializer_list<json::Object> records) {
  json::Array array;
  for (const auto& each : records) {
    array.Insert(each);
  }
  return array;
}

std::vector<std::string> keys(const host::ServerChanges& changes) {
  std::vector<std::string> result;
  for (const auto& row : changes.changed) {
    result.push_back(row.key);
  }
  return result;
}

using Keys = std::vector<std::string>;

TEST(RowKey, IsTheAddressUnderWhichTheServerWasReached) {
  EXPECT_EQ(rowKey(record("192.0.2.1")), "192.0.2.1");
  EXPECT_EQ(rowKey(parsed(R"({"properties":{"os":{"network":{"lastCommunicatedIp":{"ipV6":"fd00::1"}}}}})")),
            "fd00::1");
  EXPECT_EQ(rowKey(parsed(R"({"properties":{"os":{"network":{"lastCommunicatedIp":{"ipV6":"b","ipV4":"a"}}}}})")), "a");
}

TEST(RowKey, IsTheIdentifierWhereThereIsNoAddress) {
  EXPECT_EQ(rowKey(parsed(R"({"properties":{"displayId":"x"}})")), "x");
  EXPECT_EQ(rowKey(record("", "x")), "x");
}

TEST(RowKey, BearsRecordsOfAnyForm) {
  for (const char* text : {"{}", R"({"properties":[]})", R"({"properties":{"os":1,"displayId":2}})",
                           R"({"properties":{"os":{"network":{"lastCommunicatedIp":{"ipV4":7}}}}})"}) {
    EXPECT_EQ(rowKey(parsed(text)), "") << text;
  }
  EXPECT_EQ(rowKey(json::Null()), "");
  EXPECT_EQ(rowKey(json::String("a")), "");
}

TEST(EventDiff, TellsEverythingAtFirst) {
  EventDiff diff;
  const auto changes = diff.take(list({record("b"), record("a")}));
  EXPECT_EQ(keys(changes), (Keys{"b", "a"})) << "in the order of the list";
  EXPECT_TRUE(changes.removed.empty());
  EXPECT_EQ(changes.count, 2U);
}

TEST(EventDiff, TellsNothingWhereNothingHasChanged) {
  EventDiff diff;
  diff.take(list({record("a"), record("b")}));
  EXPECT_TRUE(diff.take(list({record("a"), record("b")})).empty());
  EXPECT_TRUE(diff.take(list({record("b"), record("a")})).empty()) << "another order is no change";
}

TEST(EventDiff, TellsWhatIsNewWhatIsDifferentAndWhatIsGone) {
  EventDiff diff;
  diff.take(list({record("stays"), record("changes"), record("goes")}));
  const auto changes = diff.take(list({record("comes"), record("changes", "a", "bad"), record("stays")}));
  EXPECT_EQ(keys(changes), (Keys{"comes", "changes"}));
  EXPECT_EQ(changes.changed[1].record, record("changes", "a", "bad"));
  EXPECT_EQ(changes.removed, Keys{"goes"});
  EXPECT_EQ(changes.count, 3U);
  EXPECT_EQ(changes.size(), 3U);
}

TEST(EventDiff, TellsOfAServerThatHasAnotherAddressNow) {
  EventDiff diff;
  diff.take(list({record("a", "x")}));
  const auto changes = diff.take(list({record("b", "x")}));
  EXPECT_EQ(keys(changes), Keys{"b"});
  EXPECT_EQ(changes.removed, Keys{"a"});
}

TEST(EventDiff, TellsOfAllThatAreGone) {
  EventDiff diff;
  diff.take(list({record("a"), record("b")}));
  auto changes = diff.take({});
  std::sort(changes.removed.begin(), changes.removed.end());
  EXPECT_EQ(changes.removed, (Keys{"a", "b"}));
  EXPECT_EQ(changes.count, 0U);
  EXPECT_TRUE(diff.take({}).empty());
}

TEST(EventDiff, TakesTheLastOfThoseWithOneKey) {
  EventDiff diff;
  const auto first = diff.take(list({record("a", "x"), record("a", "y")}));
  EXPECT_EQ(keys(first), Keys{"a"});
  EXPECT_EQ(first.changed[0].record, record("a", "y"));
  EXPECT_EQ(first.count, 2U);
  EXPECT_TRUE(diff.take(list({record("a", "x"), record("a", "y")})).empty());
  EXPECT_EQ(keys(diff.take(list({record("a", "y"), record("a", "x")}))), Keys{"a"});
}

TEST(EventDiff, StartsOverOnceItHasForgotten) {
  EventDiff diff;
  diff.take(list({record("a")}));
  diff.clear();
  const auto changes = diff.take(list({record("b")}));
  EXPECT_EQ(keys(changes), Keys{"b"});
  EXPECT_TRUE(changes.removed.empty());
}

TEST(EventDiff, KeepsPaceWithTenThousandServers) {
  json::Array before;
  json::Array after;
  for (int number = 0; number < 10'000; ++number) {
    before.Insert(record(std::to_string(number)));
    after.Insert(record(std::to_string(number + 10)));
  }
  EventDiff diff;
  diff.take(before);
  const auto began = std::chrono::steady_clock::now();
  const auto changes = diff.take(after);
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - began;
  RecordProperty("milliseconds", std::to_string(taken.count()));
  std::cout << "a comparison of 10,000 records took " << taken.count() << " ms\n";
  EXPECT_EQ(changes.changed.size(), 10U);
  EXPECT_EQ(changes.removed.size(), 10U);
  EXPECT_LT(taken, std::chrono::seconds(5)) << "far beyond what a linear one takes, also under sanitizers";
}

TEST(EventText, IsOneEventOfAStream) {
  EXPECT_EQ(host::eventText("hello", parsed(R"({"version":"1"})")), "event: hello\ndata: {\"version\":\"1\"}\n\n");
  EXPECT_EQ(host::eventText("reset", {}), "event: reset\ndata: {}\n\n");
}

TEST(EventText, StaysInItsLineWhateverItHolds) {
  json::Object data;
  data["a"] = json::String("x\n\nevent: forged\rdata: y\n\n");
  const std::string text = host::eventText("servers", data);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  EXPECT_EQ(text.find('\r'), std::string::npos);
}

TEST(EventText, TellsOfServers) {
  EventDiff diff;
  diff.take(list({record("a")}));
  EXPECT_EQ(host::serversEvent(diff.take(list({record("b")}))),
            "event: servers\ndata: "
            R"({"changed":[{"key":"b","record":{"properties":{"displayId":"a","os":{"network":{"lastCommunicatedIp":)"
            R"({"ipV4":"b"}}},"health":{"state":"ok"}}}}],"removed":["a"],"count":1})"
            "\n\n");
}

TEST(EventText, TellsOfSightings) {
  EXPECT_EQ(host::sightingsEvent({7, true, false, {parsed(R"({"address":"a"})")}, {"b"}}),
            "event: sightings\ndata: {\"changed\":[{\"address\":\"a\"}],\"removed\":[\"b\"]}\n\n");
}

}  // namespace
