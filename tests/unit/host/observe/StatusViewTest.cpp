#include <string>

#include <gtest/gtest.h>

#include "host/observe/StatusView.h"
#include "json/lookup.h"

namespace {

using host::Observatory;
using host::statusDocument;

class StatusTest : public testing::Test {
 protected:
  json::Object status() const { return statusDocument(mObservatory, mInterfaces, mJoined); }

  Observatory::Time mNow{std::chrono::seconds(0)};
  Observatory mObservatory{[this] { return mNow; }};
  std::vector<utils::NetworkInterface> mInterfaces;
  std::set<std::string> mJoined;
};

TEST_F(StatusTest, SaysWhatRunsAndSinceWhen) {
  mNow += std::chrono::seconds(90);
  EXPECT_NE(json::textAt(status(), {"version"}), "");
  EXPECT_EQ(json::textAt(status(), {"build"}).substr(0, 4), "008.");
  EXPECT_EQ(json::textAt(status(), {"started"}), "1970-01-01T00:00:00Z");
  EXPECT_EQ(json::numberAt(status(), {"uptimeSeconds"}), 90);
}

TEST_F(StatusTest, HasNoLastPassBeforeTheFirst) {
  EXPECT_NE(json::find(status(), {"discovery", "lastPass"}), nullptr);
  EXPECT_EQ(json::objectAt(status(), {"discovery", "lastPass"}), nullptr);
  mObservatory.passBegan();
  EXPECT_TRUE(json::flagAt(status(), {"discovery", "isRunning"}));
  mObservatory.passEnded({std::chrono::milliseconds(1'234), 3, 2});
  const json::Object after = status();
  EXPECT_FALSE(json::flagAt(after, {"discovery", "isRunning"}));
  EXPECT_EQ(json::numberAt(after, {"discovery", "passes"}), 1);
  EXPECT_EQ(json::textAt(after, {"discovery", "lastPass", "began"}), "1970-01-01T00:00:00Z");
  EXPECT_EQ(json::numberAt(after, {"discovery", "lastPass", "durationMs"}), 1'234);
  EXPECT_EQ(json::numberAt(after, {"discovery", "lastPass", "found"}), 3);
  EXPECT_EQ(json::numberAt(after, {"discovery", "lastPass", "listed"}), 2);
}

TEST_F(StatusTest, CountsServersRecordsMessagesAndPeers) {
  using utils::Sighting;
  mObservatory.measured("servers_listed", 12);
  mObservatory.sighted({"a", "", Sighting::Source::kByHand, Sighting::Outcome::kVerified, ""});
  mObservatory.sighted({"b", "", Sighting::Source::kSlp, Sighting::Outcome::kFailed, ""});
  mObservatory.counted("announce_records", "join", 2);
  mObservatory.counted("announce_records", "register", 3);
  mObservatory.counted("announce_records_dropped", "unknown kind", 1);
  mObservatory.counted("slp_messages_sent", "SrvRqst", 4);
  mObservatory.counted("peers_fetches", "ok", 5);
  mObservatory.counted("peers_fetches", "timed out", 2);
  const json::Object now = status();
  EXPECT_EQ(json::numberAt(now, {"servers", "listed"}), 12);
  EXPECT_EQ(json::numberAt(now, {"servers", "verified"}), 1);
  EXPECT_EQ(json::numberAt(now, {"servers", "failed"}), 1);
  EXPECT_EQ(json::numberAt(now, {"servers", "byHand"}), 1);
  EXPECT_EQ(json::numberAt(now, {"announcements", "received"}), 5);
  EXPECT_EQ(json::numberAt(now, {"announcements", "dropped", "unknown kind"}), 1);
  EXPECT_EQ(json::numberAt(now, {"slp", "sent SrvRqst"}), 4);
  EXPECT_EQ(json::numberAt(now, {"peers", "fetches"}), 7);
  EXPECT_EQ(json::numberAt(now, {"peers", "failures", "timed out"}), 2);
  EXPECT_EQ(json::find(now, {"queues", "servers_listed"}), nullptr);
}

TEST_F(StatusTest, ShowsWhatWaits) {
  mObservatory.provideQueues([] { return Observatory::Queues{{"read", 2}}; });
  mObservatory.measured("discovery_jobs_waiting", 3);
  EXPECT_EQ(json::numberAt(status(), {"queues", "read"}), 2);
  EXPECT_EQ(json::numberAt(status(), {"queues", "discovery_jobs_waiting"}), 3);
}

TEST_F(StatusTest, SaysOnWhichInterfacesAnnouncementsAreHeard) {
  mInterfaces = {{"eth0", "", {"192.0.2.1"}, {"2001:db8::1"}}, {"eth1", "", {"198.51.100.1"}, {}}};
  mJoined = {"eth1", "lo"};
  const json::Object now = status();
  const json::Array* const interfaces = json::arrayAt(now, {"interfaces"});
  ASSERT_NE(interfaces, nullptr);
  ASSERT_EQ(interfaces->Size(), 2U);
  const json::Object& first = (*interfaces)[0];
  const json::Object& second = (*interfaces)[1];
  EXPECT_EQ(json::textAt(first, {"name"}), "eth0");
  EXPECT_FALSE(json::flagAt(first, {"isJoined"}));
  EXPECT_EQ(json::arrayAt(first, {"ipV4"})->Size(), 1U);
  EXPECT_EQ(json::arrayAt(first, {"ipV6"})->Size(), 1U);
  EXPECT_TRUE(json::flagAt(second, {"isJoined"}));
}

TEST_F(StatusTest, TakesInWhatOthersProvide) {
  EXPECT_NE(json::find(status(), {"certificate"}), nullptr);
  EXPECT_EQ(json::objectAt(status(), {"certificate"}), nullptr);
  mObservatory.provide("certificate", []() -> json::UnknownElement {
    json::Object certificate;
    certificate["subject"] = json::String("CN=here");
    return certificate;
  });
  EXPECT_EQ(json::textAt(status(), {"certificate", "subject"}), "CN=here");
  mObservatory.provide("certificate", {});
  EXPECT_EQ(json::objectAt(status(), {"certificate"}), nullptr);
}

}  // namespace
