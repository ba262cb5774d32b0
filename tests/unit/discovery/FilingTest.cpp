// What is filed of a verified server's record, and under which lock.

#include <future>
#include <string>

#include <gtest/gtest.h>

#include "discovery/Limits.h"
#include "json/lookup.h"
#include "support/Wait.h"
#include "unit/discovery/VerificationTest.h"

namespace {

constexpr const char* kCurrent = R"({"properties":{"displayId":"peer","lastUpdatedCounter":1}})";
constexpr const char* kLegacy = R"({"properties":{"displayId":"peer","isManual":true,"os":{"network":{"nics":[]}}}})";

class Filing : public VerificationTest {
 protected:
  Filing() { peers.answer(kIp, 200, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})")); }

  /// Runs `file` in a thread while the filing lock is held elsewhere; whether it ended all the same.
  template <typename File>
  bool endsWhileLocked(File file) {
    std::future<void> filing;
    bool ended = false;
    {
      const utils::Lock lock(&inventory.mHostListMutex, false);
      filing = std::async(std::launch::async, file);
      ended = filing.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
    }
    filing.get();
    return ended;
  }
};

TEST_F(Filing, TakesNoServersWordThatAUserAddedIt) {
  peers.answer(kIp, 200, support::parsed(R"({"properties":{"isManual":true,"agents":[{"build":"008.1"}]}})"));
  verify(kCurrent);
  ASSERT_TRUE(isFiled());
  EXPECT_EQ(json::find(filed(), {"properties", "isManual"}), nullptr);
}

TEST_F(Filing, TakesNoLegacyServersWordThatAUserAddedIt) {
  verify(kLegacy);
  ASSERT_TRUE(isFiled());
  EXPECT_EQ(json::find(filed(), {"properties", "isManual"}), nullptr);
}

TEST_F(Filing, TakesAnOversizedAnswerForNone) {
  json::Object answer;
  answer["properties"]["displayId"] = json::String(std::string(discovery::kMaxRecordLength, 'x'));
  peers.answer(kIp, 200, answer);
  verify(kCurrent);
  EXPECT_TRUE(isNowhere());
  EXPECT_TRUE(inventory.mapUnreachableIP.contains(kIp));
}

TEST_F(Filing, LeavesOutAnOversizedSearchedServer) {
  json::Object found;
  found["value"]["properties"]["displayId"] = json::String(std::string(discovery::kMaxRecordLength, 'x'));
  inventory.addToSearchHostList("10.0.0.5", {}, found, false);
  json::Object filed;
  EXPECT_EQ(inventory.getSearchHost("10.0.0.5", filed), 2);
}

TEST_F(Filing, AsksAKnownServerThatShowsADigestForTheFirstTime) {
  verify(R"({"properties":{"displayId":"peer"}})");
  endPass();
  verify(R"({"gid":"first","properties":{"displayId":"peer"}})");
  EXPECT_EQ(peers.callsTo(kIp), 2);
}

TEST_F(Filing, WaitsForTheLockWithANewServer) {
  EXPECT_FALSE(endsWhileLocked([this] { verify(kCurrent); }));
  EXPECT_TRUE(isFiled());
}

TEST_F(Filing, WaitsForTheLockWithAProvisionalServer) {
  EXPECT_FALSE(endsWhileLocked([this] { verify("", true); }));
  EXPECT_TRUE(isFiled());
}

TEST_F(Filing, WaitsForTheLockWithALegacyServer) {
  EXPECT_FALSE(endsWhileLocked([this] { verify(kLegacy); }));
  EXPECT_TRUE(isFiled());
}

TEST_F(Filing, WaitsForTheLockToPublishAPass) {
  verify(kCurrent);
  EXPECT_FALSE(endsWhileLocked([this] { inventory.clearAutoDiscoveredServers(); }));
}

TEST_F(Filing, FilesAKnownServerAnewWithoutTheLock) {
  verify(kCurrent);
  endPass();
  EXPECT_TRUE(endsWhileLocked([this] { verify(kCurrent); }));
  EXPECT_TRUE(isFiled());
}

}  // namespace
