#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "discovery/PassAnnouncements.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::HostTable;
using discovery::kMaxAnnouncedServers;
using discovery::PassAnnouncements;
using discovery::withAnnouncements;
using Map = HostTable::Map;
using Names = std::set<std::string>;

TEST(WithAnnouncements, AddsWhatWasAnnouncedToWhatWasFound) {
  EXPECT_EQ(withAnnouncements({{"a", {}}}, {{"b", recordNamed("b")}}, {}), (Map{{"a", {}}, {"b", recordNamed("b")}}));
}

TEST(WithAnnouncements, TakesOutWhatWasDeregistered) {
  EXPECT_EQ(withAnnouncements({{"a", {}}, {"b", {}}}, {}, {"a", "unknown"}), (Map{{"b", {}}}));
}

TEST(WithAnnouncements, KeepsTheFoundRecordOfAnAnnouncedServer) {
  EXPECT_EQ(withAnnouncements({{"a", recordNamed("found")}}, {{"a", recordNamed("announced")}}, {}),
            (Map{{"a", recordNamed("found")}}));
}

TEST(WithAnnouncements, LeavesOutWhatWasAnnouncedAndDeregistered) {
  EXPECT_EQ(withAnnouncements({}, {{"a", {}}}, {"a"}), Map());
}

TEST(WithAnnouncements, GivesWhatWasFoundWithoutAnnouncements) {
  EXPECT_EQ(withAnnouncements({{"a", recordNamed("a")}}, {}, {}), (Map{{"a", recordNamed("a")}}));
  EXPECT_EQ(withAnnouncements({}, {}, {"a"}), Map());
}

TEST(WithAnnouncements, KeepsAllThatWasFoundAndAddsUpToTheLimit) {
  Map found = tableOf(kMaxAnnouncedServers - 1);
  const Map announced = {{"x", {}}, {"y", {}}};
  const Map listed = withAnnouncements(found, announced, {});
  EXPECT_EQ(listed.size(), kMaxAnnouncedServers);
  EXPECT_TRUE(listed.contains("x"));
  EXPECT_FALSE(listed.contains("y"));
  found = tableOf(kMaxAnnouncedServers + 3);
  EXPECT_EQ(withAnnouncements(found, announced, {}).size(), found.size());
}

class PassAnnouncementsTest : public ::testing::Test {
 protected:
  Map tableAfterPassEnd() {
    HostTable table;
    announcements.passEnds(table);
    return *table.snapshot();
  }

  PassAnnouncements announcements;
};

TEST_F(PassAnnouncementsTest, ForgetWhatIsAnnouncedOutsideOfAPass) {
  announcements.announced("a", {});
  announcements.deregistered("b");
  announcements.passBegins();
  EXPECT_EQ(announcements.applyTo({{"b", {}}}), (Map{{"b", {}}}));
}

TEST_F(PassAnnouncementsTest, ChangeWhatAPassHasFound) {
  announcements.passBegins();
  announcements.announced("a", recordNamed("announced"));
  announcements.deregistered("b");
  EXPECT_EQ(announcements.applyTo({{"b", {}}, {"c", {}}}), (Map{{"a", recordNamed("announced")}, {"c", {}}}));
}

TEST_F(PassAnnouncementsTest, KeepTheLastWordOfAnAddress) {
  announcements.passBegins();
  announcements.announced("comes", recordNamed("first"));
  announcements.deregistered("comes");
  announcements.announced("comes", recordNamed("second"));
  announcements.deregistered("goes");
  announcements.announced("goes", {});
  announcements.deregistered("goes");
  EXPECT_EQ(announcements.applyTo({{"goes", {}}}), (Map{{"comes", recordNamed("second")}}));
}

TEST_F(PassAnnouncementsTest, LeaveToThePassAServerThatIsFiledAnewAfterItWasDeregistered) {
  announcements.passBegins();
  announcements.deregistered("filed anew");
  announcements.announced("announced", {});
  for (const char* address : {"filed anew", "announced", "unknown"})
    announcements.takeBackDeregistration(address);
  EXPECT_EQ(announcements.applyTo({{"filed anew", {}}}), (Map{{"announced", {}}, {"filed anew", {}}}));
  EXPECT_EQ(announcements.applyTo({}), (Map{{"announced", {}}}));
}

TEST_F(PassAnnouncementsTest, BringTheTableUpToDateAtTheEndOfAPass) {
  HostTable table;
  table.replaceAll({{"stays", recordNamed("found")}, {"goes", {}}});
  announcements.passBegins();
  announcements.announced("comes", recordNamed("comes"));
  announcements.announced("stays", recordNamed("announced"));
  announcements.deregistered("goes");
  announcements.passEnds(table);
  EXPECT_EQ(*table.snapshot(), (Map{{"comes", recordNamed("comes")}, {"stays", recordNamed("found")}}));
}

TEST_F(PassAnnouncementsTest, LeaveAFullTableAsItIs) {
  HostTable table;
  table.replaceAll(tableOf(kMaxAnnouncedServers));
  announcements.passBegins();
  announcements.announced("one more", {});
  announcements.passEnds(table);
  EXPECT_EQ(table.size(), kMaxAnnouncedServers);
}

TEST_F(PassAnnouncementsTest, ForgetEverythingAtTheEndOfAPassAndKeepNothingUntilTheNext) {
  announcements.passBegins();
  announcements.announced("during", {});
  EXPECT_EQ(tableAfterPassEnd(), (Map{{"during", {}}}));
  announcements.announced("between", {});
  EXPECT_EQ(tableAfterPassEnd(), Map());
  EXPECT_EQ(announcements.applyTo({}), Map());
}

TEST_F(PassAnnouncementsTest, ForgetAPassThatNeverEndedWhenTheNextBegins) {
  announcements.passBegins();
  announcements.announced("a", {});
  announcements.passBegins();
  EXPECT_EQ(tableAfterPassEnd(), Map());
}

TEST(PassAnnouncements, KeepNoMoreAddressesThanTheirLimitAndStillTheLastWordOfThoseTheyHold) {
  PassAnnouncements announcements(2);
  announcements.passBegins();
  announcements.announced("a", {});
  announcements.deregistered("b");
  announcements.announced("c", {});
  announcements.deregistered("d");
  announcements.deregistered("a");
  announcements.announced("b", {});
  EXPECT_EQ(announcements.applyTo({{"d", {}}}), (Map{{"b", {}}, {"d", {}}}));
}

/// Announces or withdraws a series of addresses as the listener's threads do: tells first, then changes the table.
void announceAll(PassAnnouncements& announcements, HostTable& table, const std::string& series, bool areComing) {
  for (int i = 0; i < 30; ++i) {
    const std::string address = series + std::to_string(i);
    if (areComing) {
      announcements.announced(address, {});
      table.insertIfAbsent(address, {}, kMaxAnnouncedServers);
    } else {
      announcements.deregistered(address);
      table.erase(address);
    }
    std::this_thread::yield();
  }
}

TEST(PassAnnouncements, AreNotUndoneByThePassThatEndsWhileTheyAreMade) {
  Map found;
  for (int i = 0; i < 30; ++i)
    found["goes " + std::to_string(i)];
  for (int round = 0; round < 200; ++round) {
    PassAnnouncements announcements;
    HostTable table;
    announcements.passBegins();
    std::thread coming([&] { announceAll(announcements, table, "comes ", true); });
    std::thread going([&] { announceAll(announcements, table, "goes ", false); });
    for (int i = 0; i < round % 30; ++i)
      std::this_thread::yield();
    table.replaceAll(announcements.applyTo(found));
    announcements.passEnds(table);
    coming.join();
    going.join();
    const auto hosts = table.snapshot();
    ASSERT_EQ(hosts->size(), 30u);
    ASSERT_TRUE(hosts->begin()->first.starts_with("comes ") && hosts->rbegin()->first.starts_with("comes "));
  }
}

}  // namespace
