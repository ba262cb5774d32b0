#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "heartbeat/HeartBeatWindows.h"
#include "heartbeat/IncomingRecord.h"
#include "support/FakeObserver.h"
#include "support/FakeSystem.h"
#include "unit/heartbeat/Network.h"

namespace {

using discovery::DiscoveryMap;
using discovery::HeartBeatWindows;
using heartbeat::AnnounceRecord;

constexpr std::string_view kServer = R"((ip=10.0.0.7),(server={!PROPERTIES!:{!a!:1}}))";

class ObservedRecords : public testing::Test {
 protected:
  ObservedRecords() { DiscoveryMap::updateServerList({}); }
  ~ObservedRecords() override { DiscoveryMap::updateServerList({}); }

  static void hear(std::int32_t kind, std::string_view attributes = "", std::string_view address = "10.0.0.7") {
    const AnnounceRecord record{kind, address, "service:x-mgmt.quorvel:kvt://10.0.0.7:8443", attributes, 65535};
    heartbeat::tellOf(heartbeat::handleAnnounceRecord(record));
  }

  support::FakeObserver mObserver;
};

using Texts = std::vector<std::string>;

TEST_F(ObservedRecords, AreCountedByKind) {
  hear(AnnounceRecord::kJoin);
  hear(AnnounceRecord::kRegister, kServer);
  hear(AnnounceRecord::kRegister, kServer);
  hear(AnnounceRecord::kDeregister);
  EXPECT_EQ(mObserver.count("announce_records", "join"), 1U);
  EXPECT_EQ(mObserver.count("announce_records", "register"), 2U);
  EXPECT_EQ(mObserver.count("announce_records", "deregister"), 1U);
}

TEST_F(ObservedRecords, OfAServerThatComesAndGoesAreSightings) {
  hear(AnnounceRecord::kRegister, kServer);
  hear(AnnounceRecord::kDeregister);
  EXPECT_EQ(mObserver.sightings(),
            (Texts{"announcement seen 10.0.0.7", "announcement left 10.0.0.7 (It said goodbye)"}));
}

TEST_F(ObservedRecords, ChangeTheListOnlyWhenTheyDo) {
  hear(AnnounceRecord::kJoin);
  EXPECT_EQ(mObserver.changes(), 0);
  hear(AnnounceRecord::kRegister, kServer);
  EXPECT_EQ(mObserver.changes(), 1);
  EXPECT_EQ(mObserver.gauge("servers_listed"), 1);
  hear(AnnounceRecord::kRegister, kServer);
  EXPECT_EQ(mObserver.changes(), 1) << "it was there";
  hear(AnnounceRecord::kDeregister, "", "10.0.0.8");
  EXPECT_EQ(mObserver.changes(), 1) << "it was not there";
  hear(AnnounceRecord::kDeregister);
  EXPECT_EQ(mObserver.changes(), 2);
  EXPECT_EQ(mObserver.gauge("servers_listed"), 0);
}

TEST_F(ObservedRecords, OfAnUnknownKindAreDropped) {
  hear(77);
  EXPECT_EQ(mObserver.count("announce_records", "unknown"), 1U);
  EXPECT_EQ(mObserver.count("announce_records_dropped", "unknown kind"), 1U);
  EXPECT_TRUE(mObserver.sightings().empty());
}

TEST_F(ObservedRecords, WithoutDetailsAreDropped) {
  hear(AnnounceRecord::kRegister, "(ip=10.0.0.7)");
  EXPECT_EQ(mObserver.count("announce_records_dropped", "no details"), 1U);
  EXPECT_TRUE(mObserver.sightings().empty());
}

TEST_F(ObservedRecords, WithUnreadableDetailsAreDropped) {
  hear(AnnounceRecord::kRegister, "(ip=10.0.0.7),(server={!a!:)");
  EXPECT_EQ(mObserver.count("announce_records_dropped", "unreadable details"), 1U);
  EXPECT_TRUE(mObserver.sightings().empty());
}

TEST_F(ObservedRecords, WithTooLongAnAddressAreDropped) {
  const std::string attributes = "(ip=" + std::string(300, '1') + R"(),(server={!PROPERTIES!:{!a!:1}}))";
  hear(AnnounceRecord::kRegister, attributes);
  EXPECT_EQ(mObserver.count("announce_records_dropped", "address too long"), 1U);
  EXPECT_TRUE(mObserver.sightings().empty());
}

TEST_F(ObservedRecords, OfAServerMoreThanThereIsRoomForAreDropped) {
  discovery::HostTable::Map full;
  for (int i = 0; i < 16'384; ++i)
    full.emplace(std::to_string(i), json::Object());
  DiscoveryMap::updateServerList(std::move(full));
  hear(AnnounceRecord::kRegister, kServer);
  EXPECT_EQ(mObserver.count("announce_records_dropped", "list full"), 1U);
  EXPECT_TRUE(mObserver.sightings().empty());
}

class ObservedListener : public heartbeat::testing::NetworkTest {};

TEST_F(ObservedListener, TellsOfRecordsWithoutALock) {
  const heartbeat::testing::Namespace machine;
  static support::FakeSystem system;  // older than the listener, whose threads may ask it until they are joined
  system.setAddresses({});
  HeartBeatWindows& listener = *HeartBeatWindows::getInstance();
  machine.in([&] { listener.invokeThread(); });
  support::FakeObserver observer;
  // Ending the listening waits for every record that is being handled.
  observer.whenTold([&] {
    listener.terminateThread();
    DiscoveryMap::updateServerList(DiscoveryMap::getDiscoveredHost());
  });
  const AnnounceRecord record{AnnounceRecord::kRegister, "10.0.0.7", "", kServer, 65535};
  listener.HandleIncomingData(&record);
  EXPECT_EQ(observer.changes(), 1);
  listener.HandleIncomingData(&record);
  EXPECT_EQ(observer.count("announce_records", "register"), 1U) << "the listener was terminated";
  observer.whenTold({});
  DiscoveryMap::updateServerList({});
}

}  // namespace
