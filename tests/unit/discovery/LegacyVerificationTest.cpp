#include <gtest/gtest.h>

#include "json/lookup.h"
#include "unit/discovery/VerificationTest.h"

namespace {

constexpr const char* kAttributes =
    R"({"gid":"g","properties":{"displayId":"old","lastUpdatedCounter":2,"os":{"name":"x"}}})";

json::Object answerOfBuild(const std::string& build) {
  return support::parsed(R"({"properties":{"agents":[{"build":")" + build +
                         R"("}],"os":{"network":{"lastCommunicatedIp":{"ipV4":"10.0.0.9"}}},"more":1}})");
}

class LegacyVerification : public VerificationTest {
 protected:
  LegacyVerification() { preferences.set("slp_find_service_strictness", "0"); }
};

TEST_F(LegacyVerification, FilesTheAttributesAndNotTheAnswer) {
  peers.answer(kIp, 200, answerOfBuild("008.1"));
  verify(kAttributes);
  EXPECT_EQ(filed(), support::parsed(R"({"gid":"g","properties":{"displayId":"old","lastUpdatedCounter":2,
      "os":{"name":"x","network":{"lastCommunicatedIp":{"ipV4":"10.0.0.9"}}},"isPivot":false}})"));
  EXPECT_EQ(Inventory::mUpdatedCounters.find(kIp)->counter, 2u);
}

TEST_F(LegacyVerification, TellsTheHostThatTheServerIsALegacyOne) {
  verify(kAttributes);
  ASSERT_EQ(peers.calls(), 1);
  EXPECT_TRUE(json::flagAt(peers.requests().front(), {"properties", "isLegacyServer"}));
}

TEST_F(LegacyVerification, FilesBuild008ThatAnswers405) {
  peers.answer(kIp, 405, answerOfBuild("008.5.1"));
  verify(kAttributes);
  EXPECT_TRUE(isFiled());
  for (const char* text : {"In isLegacyServer scenario", "Initial strBuildVersion:008.5.1", "Final strBuildVersion:008",
                           "isServerFound:0,isCounterUpdated:0,isLegacyServer:1"}) {
    EXPECT_EQ(log.count(std::string("RemoteServerDiscovery:addDiscoveredHost:") + text), 1u) << text;
  }
}

struct AnswerRow {
  int status;
  const char* build;  ///< null: an empty body
  bool isFiled;
  bool isUnreachable;
};

TEST_F(LegacyVerification, GoesByStatusAndBuild) {
  const AnswerRow rows[] = {
      {200, "008.5.1", true, false}, {400, "008.5.1", true, false}, {405, "008.5.1", true, false},
      {200, "008", true, false},     {200, "007.9", false, false},  {400, "007.9", false, false},
      {405, "007.9", false, false},  {200, "", false, false},       {200, "0081.5", false, false},
      {200, "8.5", false, false},    {200, " 008.5", false, false}, {200, nullptr, false, true},
      {400, nullptr, false, true},   {405, nullptr, false, true},   {404, "008.5.1", false, true},
      {500, "008.5.1", false, true}, {502, "008.5.1", false, true}, {503, "008.5.1", false, true},
      {201, "008.5.1", false, true}, {401, "008.5.1", false, true},
  };
  for (const AnswerRow& row : rows) {
    const std::string name = std::to_string(row.status) + " " + (row.build != nullptr ? row.build : "(empty)");
    inventory.clearUnreachable(kIp);
    Inventory::mCycleDiscoveredHosts.clear();
    Inventory::mPartialDiscoveredHosts.clear();
    Inventory::mUpdatedCounters.clear();
    peers.answer(kIp, row.status, row.build != nullptr ? answerOfBuild(row.build) : json::Object());
    verify(kAttributes);
    EXPECT_EQ(isFiled(), row.isFiled) << name;
    EXPECT_EQ(isNowhere(), !row.isFiled) << name;
    EXPECT_EQ(inventory.mapUnreachableIP.contains(kIp), row.isUnreachable) << name;
    EXPECT_EQ(Inventory::mUpdatedCounters.find(kIp).has_value(), row.isFiled) << name;
  }
}

TEST_F(LegacyVerification, AsksAgainInTheNextPassAfterAFailureThatMayPass) {
  peers.answer(kIp, 400, support::parsed(R"({"status":{"code":1,"desc":"no connection"}})"));
  verify(kAttributes);
  EXPECT_TRUE(isNowhere());
  peers.answer(kIp, 200, answerOfBuild("008.1"));
  endPass();
  verify(kAttributes);
  EXPECT_EQ(peers.calls(), 2);
  EXPECT_TRUE(isFiled());
}

TEST_F(LegacyVerification, CopiesNoAddressThatTheAnswerDoesNotHave) {
  peers.answer(kIp, 200, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})"));
  verify(kAttributes);
  EXPECT_EQ(filed(), support::parsed(R"({"gid":"g","properties":{"displayId":"old","lastUpdatedCounter":2,
      "os":{"name":"x"},"isPivot":false}})"));
}

TEST_F(LegacyVerification, TakesNobodysWordForHavingBeenAddedByHand) {
  peers.answer(kIp, 200, answerOfBuild("008.1"));
  verify(R"({"properties":{"isManual":true,"os":{}}})");
  EXPECT_EQ(json::find(filed(), {"properties", "isManual"}), nullptr);
}

TEST_F(LegacyVerification, TakesAServerForALegacyOneWhoseFiledRecordIsThatOfOne) {
  Inventory::mDiscoveredHosts.insertIfAbsent(kIp, support::parsed(R"({"properties":{"os":{}}})"));
  peers.answer(kIp, 405, answerOfBuild("008.1"));
  verify(R"({"properties":{"lastUpdatedCounter":1}})");
  EXPECT_TRUE(isFiled());
}

TEST_F(LegacyVerification, RefilesAKnownServerWithoutAsking) {
  peers.answer(kIp, 200, answerOfBuild("008.1"));
  verify(kAttributes);
  const json::Object first = filed();
  endPass();
  verify(kAttributes);
  EXPECT_EQ(peers.calls(), 1);
  EXPECT_EQ(filed(), first);
}

}  // namespace
