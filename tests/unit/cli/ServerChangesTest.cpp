#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/ServerChanges.h"

namespace cli {
namespace {

using testing::ElementsAre;

std::string recordText(const std::string& id, const std::string& address, const std::string& build = "1",
                       const std::string& more = "") {
  return R"({"properties": {"displayId": ")" + id + R"(", "build": ")" + build + R"(", )" + more +
         R"("os": {"network": {"lastCommunicatedIp": {"ipV4": ")" + address + R"("}}}}})";
}

json::Object record(const std::string& id, const std::string& address, const std::string& build = "1",
                    const std::string& more = "") {
  return parsed(recordText(id, address, build, more));
}

json::Object sighting(const std::string& address, const std::string& state, const std::string& source,
                      const std::string& reason = "") {
  return parsed(R"({"address": ")" + address + R"(", "displayId": "", "state": ")" + state + R"(", "reason": ")" +
                reason +
                R"(", "sources": {"hand": {"first": "2026-01-01T00:00:00Z", "last": "2026-01-01T00:00:01Z"}, ")" +
                source + R"(": {"first": "2026-01-01T00:00:00Z", "last": "2026-01-01T00:00:02Z"}}})");
}

std::vector<std::string> lines(const ServerChanges::List& changes) {
  std::vector<std::string> texts;
  for (const ServerChange& change : changes)
    texts.push_back(changeLine(change));
  return texts;
}

class Changes : public testing::Test {
 protected:
  void SetUp() override { mChanges.replace({record("one", "10.0.0.1", "1", R"("isPivot": true, )")}, {}); }

  ServerChanges::List put(const std::string& id, const std::string& address, const std::string& build = "1",
                          const std::string& more = "") {
    return mChanges.applyServers(parsed(R"({"changed": [{"key": ")" + address + R"(", "record": )" +
                                        recordText(id, address, build, more) + R"(}], "removed": [], "count": 2})"));
  }
  ServerChanges::List drop(const std::string& key) {
    return mChanges.applyServers(parsed(R"({"changed": [], "removed": [")" + key + R"("], "count": 1})"));
  }
  ServerChanges::List see(const json::Object& entry) {
    json::Array entries;
    entries.Insert(entry);
    json::Object delta;
    delta["changed"] = entries;
    return mChanges.applySightings(delta);
  }

  ServerChanges mChanges;
};

TEST(FirstList, TellsWhatThereIs) {
  ServerChanges changes;
  EXPECT_THAT(lines(changes.replace({record("one", "10.0.0.1", "1", R"("isPivot": true, )"), record("two", "10.0.0.2"),
                                     record("six", "10.0.0.6", "1", R"("isManual": true, )")},
                                    {sighting("10.0.0.2", "verified", "announcement")})),
              ElementsAre("  one 10.0.0.1 this server\n", "  two 10.0.0.2 announced\n", "  six 10.0.0.6 manual\n"));
}

TEST_F(Changes, TellHowAServerCame) {
  see(sighting("10.0.0.2", "seen", "announcement"));
  EXPECT_THAT(lines(put("two", "10.0.0.2")), ElementsAre("+ two 10.0.0.2 announced\n"));
  see(sighting("10.0.0.3", "seen", "slp"));
  EXPECT_THAT(lines(put("three", "10.0.0.4")), ElementsAre("+ three 10.0.0.4 discovered\n"));
  EXPECT_THAT(lines(put("five", "10.0.0.5", "1", R"("isManual": true, )")), ElementsAre("+ five 10.0.0.5 manual\n"));
}

TEST_F(Changes, TellThatAServerLeft) {
  put("two", "10.0.0.2");
  EXPECT_TRUE(see(sighting("10.0.0.2", "left", "announcement")).empty());
  EXPECT_THAT(lines(drop("10.0.0.2")), ElementsAre("- two 10.0.0.2 left\n"));
  EXPECT_TRUE(drop("10.0.0.2").empty());
}

TEST_F(Changes, TellWhyAServerWent) {
  put("two", "10.0.0.2");
  see(sighting("10.0.0.2", "left", "announcement", "It was removed by hand"));
  EXPECT_THAT(lines(drop("10.0.0.2")), ElementsAre("- two 10.0.0.2 It was removed by hand\n"));
}

TEST_F(Changes, TellThatAServerIsNotListedAnyMore) {
  put("two", "10.0.0.2");
  EXPECT_THAT(lines(drop("10.0.0.2")), ElementsAre("- two 10.0.0.2 no longer listed\n"));
}

TEST_F(Changes, TellWhatBecameOfAServer) {
  put("two", "10.0.0.2");
  EXPECT_TRUE(put("two", "10.0.0.2").empty());
  EXPECT_THAT(lines(put("two", "10.0.0.2", "2")), ElementsAre("~ two 10.0.0.2 build 1 -> 2\n"));
  EXPECT_THAT(lines(put("zwei", "10.0.0.2", "2", R"("health": {"state": "ok"}, )")),
              ElementsAre("~ zwei 10.0.0.2 identifier two -> zwei, health - -> ok\n"));
}

TEST_F(Changes, TellThatAServerFailsAndRecoversOnce) {
  const auto failed = sighting("10.0.0.9", "failed", "slp", "timed out");
  EXPECT_TRUE(see(sighting("10.0.0.9", "verified", "slp")).empty());
  EXPECT_THAT(lines(see(failed)), ElementsAre("~ 10.0.0.9 failed: timed out\n"));
  EXPECT_TRUE(see(failed).empty());
  EXPECT_THAT(lines(see(sighting("10.0.0.9", "verified", "slp"))), ElementsAre("~ 10.0.0.9 verified\n"));
}

TEST_F(Changes, TellTheDifferenceOfWholeLists) {
  put("two", "10.0.0.2");
  EXPECT_THAT(
      lines(mChanges.replace({record("one", "10.0.0.1", "1", R"("isPivot": true, )"), record("three", "10.0.0.3")},
                             {sighting("10.0.0.2", "left", "announcement")})),
      ElementsAre("+ three 10.0.0.3 discovered\n", "- two 10.0.0.2 left\n"));
}

TEST_F(Changes, TakeAServerThatGetsAnAddressForTheSame) {
  const std::string early = R"({"properties": {"displayId": "two", "build": "1"}})";
  mChanges.applyServers(parsed(R"({"changed": [{"key": "two", "record": )" + early + "}]}"));
  EXPECT_THAT(lines(mChanges.applyServers(parsed(R"({"changed": [{"key": "10.0.0.2", "record": )" +
                                                 recordText("two", "10.0.0.2") + R"(}], "removed": ["two"]})"))),
              ElementsAre("~ two 10.0.0.2 addresses - -> 10.0.0.2\n"));
  EXPECT_THAT(lines(drop("10.0.0.2")), ElementsAre("- two 10.0.0.2 no longer listed\n"));
}

TEST_F(Changes, PassOverWhatIsNoDelta) {
  for (const char* text :
       {"{}", R"({"changed": 5, "removed": "x"})", R"({"changed": [7, {}, {"key": "k"}], "removed": [7]})"}) {
    EXPECT_TRUE(mChanges.applyServers(parsed(text)).empty()) << text;
    EXPECT_TRUE(mChanges.applySightings(parsed(text)).empty()) << text;
  }
}

TEST(ChangeLine, NeutralisesWhatServersSay) {
  EXPECT_EQ(changeLine({ServerChange::Kind::kAdded, "two\x1b[2J\n", "10.0.0.2", "announced"}),
            "+ two\\u001b[2J\\u000a 10.0.0.2 announced\n");
  EXPECT_EQ(changeLine({ServerChange::Kind::kAdded, "", "10.0.0.2", ""}), "+ - 10.0.0.2 -\n");
}

TEST(ChangeRecord, IsForScripts) {
  EXPECT_EQ(changeRecord({ServerChange::Kind::kRemoved, "two", "10.0.0.2", "left"}, "2026-01-01T00:00:00Z"),
            parsed(R"({"time": "2026-01-01T00:00:00Z", "change": "removed", "id": "two", "address": "10.0.0.2",
                       "what": "left"})"));
}

}  // namespace
}  // namespace cli
