#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/observe/SightingView.h"
#include "host/observe/Sightings.h"
#include "json/lookup.h"

namespace {

using host::KnownServer;
using host::Sightings;
using utils::Sighting;
using Source = Sighting::Source;
using Outcome = Sighting::Outcome;
using State = KnownServer::State;

KnownServer::Time at(int second) {
  return KnownServer::Time(std::chrono::seconds(second));
}

Sighting sighting(const std::string& address, Outcome outcome, Source source = Source::kSlp,
                  const std::string& reason = "") {
  return {address, "", source, outcome, reason};
}

std::vector<std::string> addresses(const Sightings::Entries& entries) {
  std::vector<std::string> found;
  for (const auto& entry : entries)
    found.push_back(entry->address);
  return found;
}

using Addresses = std::vector<std::string>;

TEST(Sightings, RememberWhoSpokeOfAServerAndWhen) {
  Sightings sightings;
  sightings.take(sighting("192.0.2.1", Outcome::kSeen, Source::kAnnouncement), at(10));
  sightings.take(sighting("192.0.2.1", Outcome::kSeen, Source::kSlp), at(20));
  sightings.take(sighting("192.0.2.1", Outcome::kSeen, Source::kAnnouncement), at(30));
  ASSERT_EQ(sightings.size(), 1U);
  const KnownServer server = *sightings.all().front();
  ASSERT_TRUE(server.source(Source::kAnnouncement));
  EXPECT_EQ(server.source(Source::kAnnouncement)->first, at(10));
  EXPECT_EQ(server.source(Source::kAnnouncement)->last, at(30));
  ASSERT_TRUE(server.source(Source::kSlp));
  EXPECT_EQ(server.source(Source::kSlp)->first, at(20));
  EXPECT_FALSE(server.source(Source::kByHand));
  EXPECT_EQ(server.state, State::kSeen);
}

TEST(Sightings, KeepWhatWasFoundOutWhenAServerIsOnlySeenAgain) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kVerified), at(1));
  sightings.take(sighting("b", Outcome::kFailed, Source::kSlp, "It did not answer"), at(1));
  sightings.take(sighting("a", Outcome::kSeen), at(2));
  sightings.take(sighting("b", Outcome::kSeen), at(2));
  EXPECT_EQ(sightings.all()[0]->state, State::kVerified);
  EXPECT_EQ(sightings.all()[0]->verified, at(1));
  EXPECT_EQ(sightings.all()[1]->state, State::kFailed);
  EXPECT_EQ(sightings.all()[1]->failed, at(1));
  EXPECT_EQ(sightings.all()[1]->reason, "It did not answer");
}

TEST(Sightings, ForgetTheReasonOnceAServerHasAnswered) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kFailed, Source::kSlp, "It did not answer"), at(1));
  sightings.take(sighting("a", Outcome::kVerified), at(2));
  EXPECT_EQ(sightings.all()[0]->state, State::kVerified);
  EXPECT_EQ(sightings.all()[0]->reason, "");
  EXPECT_EQ(sightings.all()[0]->failed, at(1));
}

TEST(Sightings, ShowAServerThatLeftAsGoneUntilItIsSeenAgain) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kVerified), at(1));
  sightings.take(sighting("a", Outcome::kLeft, Source::kByHand, "It was removed"), at(2));
  EXPECT_EQ(sightings.all()[0]->state, State::kLeft);
  EXPECT_EQ(sightings.all()[0]->reason, "It was removed");
  EXPECT_FALSE(sightings.all()[0]->source(Source::kByHand)) << "going is no reason why it is here";
  sightings.take(sighting("a", Outcome::kSeen), at(3));
  EXPECT_EQ(sightings.all()[0]->state, State::kVerified);
  EXPECT_EQ(sightings.all()[0]->verified, at(1));
  EXPECT_EQ(sightings.all()[0]->reason, "");
}

TEST(Sightings, DoNotTakeOneForVerifiedThatFailedAfterwards) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kVerified), at(1));
  sightings.take(sighting("a", Outcome::kFailed, Source::kSlp, "It did not answer"), at(2));
  sightings.take(sighting("a", Outcome::kLeft, Source::kAnnouncement, "It said goodbye"), at(3));
  EXPECT_EQ(sightings.all()[0]->state, State::kLeft);
  sightings.take(sighting("a", Outcome::kSeen, Source::kAnnouncement), at(4));
  EXPECT_EQ(sightings.all()[0]->state, State::kSeen);
  sightings.take(sighting("a", Outcome::kVerified), at(5));
  sightings.take(sighting("a", Outcome::kLeft, Source::kAnnouncement), at(6));
  sightings.take(sighting("a", Outcome::kSeen, Source::kAnnouncement), at(7));
  EXPECT_EQ(sightings.all()[0]->state, State::kVerified);
}

TEST(Sightings, KeepAFailureWhenThePassDoesNotListTheServer) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kVerified), at(1));
  sightings.take(sighting("a", Outcome::kFailed, Source::kSlp, "Its certificate has changed"), at(2));
  const auto version = sightings.version();
  EXPECT_FALSE(sightings.take(sighting("a", Outcome::kLeft, Source::kSlp, "The pass did not find it"), at(3)));
  EXPECT_EQ(sightings.version(), version);
  sightings.take(sighting("a", Outcome::kSeen), at(4));
  EXPECT_EQ(sightings.all()[0]->state, State::kFailed);
  EXPECT_EQ(sightings.all()[0]->reason, "Its certificate has changed");
}

TEST(Sightings, EndAFailureWithAGoodbyeOrARemoval) {
  for (const Source source : {Source::kAnnouncement, Source::kByHand}) {
    Sightings sightings;
    sightings.take(sighting("a", Outcome::kFailed, Source::kSlp, "It did not answer"), at(1));
    EXPECT_TRUE(sightings.take(sighting("a", Outcome::kLeft, source, "Gone"), at(2)));
    EXPECT_EQ(sightings.all()[0]->state, State::kLeft);
    EXPECT_EQ(sightings.all()[0]->reason, "Gone");
  }
}

TEST(Sightings, GoWhenThePassDoesNotListThemThatDidNotFail) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kVerified), at(1));
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kLeft, Source::kSlp, "The pass did not find it"), at(2)));
  EXPECT_EQ(sightings.all()[0]->state, State::kLeft);
}

TEST(Sightings, PassOverTheGoingOfSomebodyUnknown) {
  Sightings sightings;
  EXPECT_FALSE(sightings.take(sighting("a", Outcome::kLeft), at(1)));
  EXPECT_EQ(sightings.size(), 0U);
  EXPECT_EQ(sightings.version(), 0U);
}

TEST(Sightings, PassOverWhatCanBeNoAddress) {
  Sightings sightings;
  EXPECT_FALSE(sightings.take(sighting("", Outcome::kSeen), at(1)));
  EXPECT_FALSE(sightings.take(sighting(std::string(256, 'x'), Outcome::kSeen), at(1)));
  EXPECT_TRUE(sightings.take(sighting(std::string(255, 'x'), Outcome::kSeen), at(1)));
}

TEST(Sightings, KeepTheNameWhenALaterSightingHasNone) {
  Sightings sightings;
  sightings.take({"a", "Alpha", Source::kSlp, Outcome::kSeen, ""}, at(1));
  sightings.take({"a", "", Source::kSlp, Outcome::kSeen, ""}, at(2));
  EXPECT_EQ(sightings.all()[0]->displayId, "Alpha");
}

TEST(Sightings, CutTextsThatAreTooLongBetweenTwoCharacters) {
  Sightings sightings;
  const std::string long_ = std::string(511, 'x') + "\xC3\xA9 and more";
  sightings.take({"a", long_, Source::kSlp, Outcome::kFailed, long_}, at(1));
  EXPECT_EQ(sightings.all()[0]->displayId, std::string(511, 'x'));
  EXPECT_EQ(sightings.all()[0]->reason, std::string(511, 'x'));
}

TEST(Sightings, MakeRoomByTheOneHeardOfLongestAgo) {
  Sightings sightings(3);
  for (const char* const address : {"a", "b", "c"})
    sightings.take(sighting(address, Outcome::kSeen), at(1));
  sightings.take(sighting("a", Outcome::kSeen), at(31));
  sightings.take(sighting("d", Outcome::kSeen), at(32));
  EXPECT_EQ(addresses(sightings.all()), (Addresses{"c", "a", "d"}));
}

TEST(Sightings, TellWhatHasChangedSinceAVersion) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kSeen), at(1));
  sightings.take(sighting("b", Outcome::kSeen), at(1));
  const auto version = sightings.version();
  EXPECT_TRUE(sightings.changedSince(version).changed.empty());
  sightings.take(sighting("c", Outcome::kSeen), at(2));
  sightings.take(sighting("a", Outcome::kVerified), at(2));
  const auto changes = sightings.changedSince(version);
  EXPECT_TRUE(changes.isComplete);
  EXPECT_EQ(addresses(changes.changed), (Addresses{"c", "a"}));
  EXPECT_TRUE(changes.removed.empty());
  EXPECT_TRUE(sightings.changedSince(changes.version).changed.empty());
  EXPECT_EQ(addresses(sightings.changedSince(0).changed), (Addresses{"b", "c", "a"}));
}

TEST(Sightings, TellOfManyInPieces) {
  Sightings sightings(3);
  for (const char* const address : {"a", "b", "c", "d", "e"})
    sightings.take(sighting(address, Outcome::kSeen), at(1));
  // 1: a, 2: b, 3: c, 4: a removed, 5: d, 6: b removed, 7: e
  auto changes = sightings.changedSince(0, 2);
  EXPECT_EQ(addresses(changes.changed), Addresses{"c"});
  EXPECT_EQ(changes.removed, Addresses{"a"});
  EXPECT_TRUE(changes.hasMore);
  changes = sightings.changedSince(changes.version, 2);
  EXPECT_EQ(addresses(changes.changed), Addresses{"d"});
  EXPECT_EQ(changes.removed, Addresses{"b"});
  EXPECT_TRUE(changes.hasMore);
  changes = sightings.changedSince(changes.version, 2);
  EXPECT_EQ(addresses(changes.changed), Addresses{"e"});
  EXPECT_TRUE(changes.removed.empty());
  EXPECT_FALSE(changes.hasMore);
  EXPECT_EQ(changes.version, sightings.version());
}

TEST(Sightings, TakeItForNoChangeWhenOnlyTimesMoveSoonAfterOne) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kVerified), at(10));
  const auto version = sightings.version();
  EXPECT_FALSE(sightings.take(sighting("a", Outcome::kSeen), at(20)));
  EXPECT_FALSE(sightings.take(sighting("a", Outcome::kVerified), at(39)));
  EXPECT_EQ(sightings.version(), version);
  EXPECT_EQ(sightings.all()[0]->verified, at(39)) << "it is known all the same";
  EXPECT_EQ(sightings.all()[0]->source(Source::kSlp)->last, at(39));
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kVerified), at(40)));
  EXPECT_GT(sightings.version(), version);
}

TEST(Sightings, TakeAnythingButTimesForAChangeAtOnce) {
  Sightings sightings;
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kSeen), at(1)));
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kSeen, Source::kAnnouncement), at(1))) << "who speaks of it";
  EXPECT_TRUE(sightings.take({"a", "Alpha", Source::kSlp, Outcome::kSeen, ""}, at(1))) << "its name";
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kFailed, Source::kSlp, "one"), at(1))) << "its state";
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kFailed, Source::kSlp, "two"), at(1))) << "the reason";
  EXPECT_TRUE(sightings.take(sighting("a", Outcome::kSeen), at(0))) << "a clock that was set back";
}

TEST(Sightings, TellWhoMadeRoom) {
  Sightings sightings(1);
  sightings.take(sighting("a", Outcome::kSeen), at(1));
  const auto version = sightings.version();
  sightings.take(sighting("b", Outcome::kSeen), at(2));
  EXPECT_EQ(sightings.changedSince(version).removed, Addresses{"a"});
  EXPECT_EQ(addresses(sightings.changedSince(version).changed), Addresses{"b"});
  sightings.take(sighting("a", Outcome::kSeen), at(3));
  EXPECT_EQ(sightings.changedSince(version).removed, Addresses{"b"}) << "who is back has not been removed";
}

TEST(Sightings, TellEverythingToWhoeverHasMissedTooMuch) {
  Sightings sightings(1);
  sightings.take(sighting("first", Outcome::kSeen), at(1));
  const auto version = sightings.version();
  for (int i = 0; i < 5'000; ++i)
    sightings.take(sighting("s" + std::to_string(i), Outcome::kSeen), at(2));
  const auto changes = sightings.changedSince(version);
  EXPECT_FALSE(changes.isComplete);
  EXPECT_EQ(addresses(changes.changed), Addresses{"s4999"});
  EXPECT_TRUE(changes.removed.empty());
  EXPECT_FALSE(sightings.changedSince(sightings.version() + 1).isComplete) << "a version that was never told";
  EXPECT_TRUE(sightings.changedSince(sightings.version()).isComplete);
}

TEST(Sightings, AreBoundedWhateverTheyAreTold) {
  Sightings sightings;
  for (int i = 0; i < 25'000; ++i)
    sightings.take(sighting(std::to_string(i), Outcome::kSeen), at(i));
  EXPECT_EQ(sightings.size(), 20'000U);
  EXPECT_EQ(sightings.all().front()->address, "5000");
}

TEST(Sightings, AreTalliedByState) {
  Sightings sightings;
  sightings.take(sighting("a", Outcome::kSeen, Source::kByHand), at(1));
  sightings.take(sighting("b", Outcome::kVerified), at(1));
  sightings.take(sighting("c", Outcome::kFailed), at(1));
  sightings.take(sighting("d", Outcome::kSeen, Source::kByHand), at(1));
  sightings.take(sighting("d", Outcome::kLeft, Source::kByHand), at(2));
  const auto tally = sightings.tally();
  EXPECT_EQ(tally.seen, 1U);
  EXPECT_EQ(tally.verified, 1U);
  EXPECT_EQ(tally.failed, 1U);
  EXPECT_EQ(tally.left, 1U);
  EXPECT_EQ(tally.byHand, 1U);
}

TEST(Sightings, AreNotTalliedAsFailedThatWereOnlySearchedForInVain) {
  Sightings sightings;
  sightings.take(sighting("mistyped", Outcome::kFailed, Source::kSearch), at(1));
  EXPECT_EQ(sightings.tally().failed, 0U);
  sightings.take(sighting("verified", Outcome::kVerified, Source::kSearch), at(1));
  sightings.take(sighting("verified", Outcome::kFailed, Source::kSearch), at(2));
  EXPECT_EQ(sightings.tally().failed, 1U);
  for (const Source source : {Source::kAnnouncement, Source::kSlp, Source::kByHand}) {
    const std::string address = "named" + std::to_string(static_cast<int>(source));
    sightings.take(sighting(address, Outcome::kSeen, source), at(1));
    sightings.take(sighting(address, Outcome::kFailed, Source::kSearch), at(2));
  }
  EXPECT_EQ(sightings.tally().failed, 4U);
}

TEST(Sightings, MayBeReadWhileOthersTell) {
  Sightings sightings(50);
  std::atomic<int> tellers = 2;
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 3'000; ++i)
        sightings.take(sighting(std::to_string((i * (t + 1)) % 120), Outcome::kSeen), at(i));
      --tellers;
    });
  }
  std::uint64_t version = 0;
  std::vector<std::string> known;
  while (true) {
    const bool isLast = tellers == 0;
    const auto changes = sightings.changedSince(version);
    if (!changes.isComplete) known.clear();
    for (const std::string& address : changes.removed)
      std::erase(known, address);
    for (const auto& entry : changes.changed) {
      std::erase(known, entry->address);
      known.push_back(entry->address);
    }
    version = changes.version;
    EXPECT_LE(sightings.all().size(), 50U);
    if (isLast) break;
  }
  for (std::thread& thread : threads)
    thread.join();
  Addresses expected = addresses(sightings.all());
  std::sort(expected.begin(), expected.end());
  std::sort(known.begin(), known.end());
  EXPECT_EQ(known, expected) << "whoever follows the changes knows what is there";
}

TEST(SightingDocument, HasEverythingThatIsKnown) {
  Sightings sightings;
  sightings.take({"192.0.2.1", "Alpha", Source::kAnnouncement, Outcome::kSeen, ""}, at(0));
  sightings.take({"192.0.2.1", "", Source::kSlp, Outcome::kFailed, "It did not answer"}, at(60));
  const json::Object document = host::sightingDocument(*sightings.all().front());
  EXPECT_EQ(json::textAt(document, {"address"}), "192.0.2.1");
  EXPECT_EQ(json::textAt(document, {"displayId"}), "Alpha");
  EXPECT_EQ(json::textAt(document, {"state"}), "failed");
  EXPECT_EQ(json::textAt(document, {"sources", "announcement", "first"}), "1970-01-01T00:00:00Z");
  EXPECT_EQ(json::textAt(document, {"sources", "slp", "last"}), "1970-01-01T00:01:00Z");
  EXPECT_EQ(json::find(document, {"sources", "hand"}), nullptr);
  EXPECT_EQ(json::find(document, {"verified"}), nullptr);
  EXPECT_EQ(json::textAt(document, {"failed"}), "1970-01-01T00:01:00Z");
  EXPECT_EQ(json::textAt(document, {"reason"}), "It did not answer");
}

}  // namespace
