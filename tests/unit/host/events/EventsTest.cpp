#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "framework/utils/Log.h"
#include "host/events/Events.h"
#include "support/FakePlugin.h"
#include "support/Requests.h"
#include "support/Wait.h"
#include "unit/host/events/Ear.h"

namespace {

using host::Answer;
using host::Events;
using host_test::Ear;
using std::chrono::milliseconds;
using support::parsed;
using support::waitFor;

constexpr milliseconds kNever{3'600'000};

/// What the events tell of; the test changes it.
class World {
 public:
  void setServers(const std::string& values) {
    set([&] { mServers = values; });
  }
  void setStatus(const std::string& status) {
    set([&] { mStatus = status; });
  }
  /// So many more, one version each.
  void setSightings(const std::string& changed, bool isComplete = true, std::uint64_t count = 1) {
    set([&] {
      mSighting = changed;
      mIsComplete = isComplete;
      mVersion += count;
    });
  }

  host::EventSource source() {
    return {[this] { return servers(); },
            [this] {
              const std::lock_guard lock(mMutex);
              return mVersion;
            },
            [this](std::uint64_t since, std::size_t most) { return sightings(since, most); },
            [this]() -> std::optional<json::Object> {
              const std::lock_guard lock(mMutex);
              return parsed(mStatus);
            }};
  }

  std::atomic<int> mLists = 0;
  std::atomic<bool> mFails = false;
  std::atomic<bool> mIsGone = false;

 private:
  template <typename Change>
  void set(Change change) {
    const std::lock_guard lock(mMutex);
    change();
  }
  std::optional<json::Array> servers() {
    ++mLists;
    if (mFails) throw std::runtime_error("no list");
    if (mIsGone) return std::nullopt;
    const std::lock_guard lock(mMutex);
    const json::Object document = parsed("{\"values\":" + mServers + "}");
    return document["values"].getIf<json::Array>() != nullptr
               ? std::optional<json::Array>(static_cast<const json::Array&>(document["values"]))
               : std::nullopt;
  }
  host::SightingChanges sightings(std::uint64_t since, std::size_t most) {
    const std::lock_guard lock(mMutex);
    host::SightingChanges changes{mVersion, mIsComplete, false, {}, {}};
    if (!mIsComplete) return changes;
    changes.version = std::min<std::uint64_t>(mVersion, since + most);
    changes.hasMore = changes.version < mVersion;
    changes.changed.assign(changes.version - since, parsed(mSighting));
    return changes;
  }

  std::mutex mMutex;
  std::string mServers = "[]";
  std::string mStatus = R"({"uptimeSeconds":1})";
  std::string mSighting = "{}";
  bool mIsComplete = true;
  std::uint64_t mVersion = 5;
};

std::string server(const std::string& id) {
  return R"({"properties":{"displayId":")" + id + R"("}})";
}

std::string many(int count) {
  std::string values;
  for (int number = 0; number < count; ++number) {
    values += (number == 0 ? "" : ",") + server(std::to_string(number));
  }
  return "[" + values + "]";
}

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

class NothingElse : public host::Service {
 public:
  void serve(host::ClientRequest, Done done) override { done(host::failureAnswer(404, "nothing")); }
};

class EventsTest : public testing::Test {
 protected:
  /// Nothing happens by itself; hints are followed at once.
  void start(host::EventTimes times = {milliseconds(0), kNever, kNever, kNever}) {
    mEvents = std::make_unique<Events>(mWorld.source(), times);
    mEvents->addRoutes(mRoutes);
  }
  Answer ask(std::function<bool()> isStillAllowed = {}, const std::string& method = "GET") {
    host::ClientRequest request{method, "/1.0/events", "", "", ""};
    request.isStillAllowed = std::move(isStillAllowed);
    std::optional<Answer> answer;
    mRoutes.serve(std::move(request), [&answer](Answer given) { answer = std::move(given); });
    return answer.value_or(Answer{0, "", {}, false});
  }
  /// A client that has been greeted.
  std::shared_ptr<host::AnswerStream> join(Ear& ear, std::function<bool()> isStillAllowed = {}) {
    auto stream = ask(std::move(isStillAllowed)).stream;
    if (!stream) return nullptr;
    stream->begin(ear.send());
    EXPECT_TRUE(waitFor([&ear] { return ear.has("event: status\n"); })) << ear.heard();
    return stream;
  }
  void change(const std::string& servers) {
    mWorld.setServers(servers);
    mEvents->hint();
  }

  World mWorld;
  NothingElse mNothing;
  host::Routes mRoutes{"", mNothing};
  std::unique_ptr<Events> mEvents;
};

TEST_F(EventsTest, AreAStreamThatNobodyKeeps) {
  start();
  const auto answer = ask();
  EXPECT_EQ(answer.status, 200);
  EXPECT_TRUE(answer.stream);
  EXPECT_EQ(answer.headers[0], (std::pair<std::string, std::string>("Content-Type", "text/event-stream")));
  EXPECT_EQ(answer.headers[1], (std::pair<std::string, std::string>("Cache-Control", "no-store")));
}

TEST_F(EventsTest, AnswerHeadWithoutAStream) {
  start();
  const auto answer = ask({}, "HEAD");
  EXPECT_EQ(answer.status, 200);
  EXPECT_FALSE(answer.stream);
  EXPECT_EQ(answer.body, "");
}

TEST_F(EventsTest, GreetAndTellTheStatus) {
  start();
  Ear ear;
  const auto stream = join(ear);
  EXPECT_TRUE(ear.heard().starts_with("event: hello\ndata: {\"version\":\"")) << ear.heard();
  EXPECT_TRUE(ear.has("event: status\ndata: {\"uptimeSeconds\":1}\n\n"));
}

TEST_F(EventsTest, TellWhatChangesAfterTheGreetingAndNotWhatWasThere) {
  mWorld.setServers("[" + server("old") + "]");
  start();
  Ear ear;
  const auto stream = join(ear);
  change("[" + server("old") + "," + server("new") + "]");
  ASSERT_TRUE(waitFor([&ear] { return ear.has("event: servers\n"); }));
  EXPECT_TRUE(ear.has(R"(data: {"changed":[{"key":"new","record":{"properties":{"displayId":"new"}}}],)"
                      R"("removed":[],"count":2})"))
      << ear.heard();
  change("[]");
  EXPECT_TRUE(waitFor([&ear] {
    return ear.has(R"("removed":["old","new"])") || ear.has(R"("removed":["new","old"])");
  })) << ear.heard();
}

TEST_F(EventsTest, ReachEverybody) {
  start();
  Ear ears[3];
  std::shared_ptr<host::AnswerStream> streams[3];
  for (int index = 0; index < 3; ++index) {
    streams[index] = join(ears[index]);
  }
  change("[" + server("a") + "]");
  for (const Ear& ear : ears) {
    EXPECT_TRUE(waitFor([&ear] { return ear.has("\"key\":\"a\""); })) << ear.heard();
  }
}

TEST_F(EventsTest, TellNothingWhereNothingHasChanged) {
  start();
  Ear ear;
  const auto stream = join(ear);
  const int pieces = ear.pieces();
  const int lists = mWorld.mLists;
  mEvents->hint();
  ASSERT_TRUE(waitFor([&] { return mWorld.mLists > lists; }));
  change("[" + server("a") + "]");
  ASSERT_TRUE(waitFor([&ear] { return ear.has("\"key\":\"a\""); }));
  EXPECT_EQ(ear.pieces(), pieces + 1);
}

TEST_F(EventsTest, DoNothingWhileNobodyListens) {
  start({milliseconds(0), milliseconds(1), milliseconds(1), milliseconds(1)});
  for (int count = 0; count < 10; ++count) {
    mEvents->hint();
  }
  Ear ear;
  auto stream = join(ear);
  stream->end();
  stream.reset();
  int lists = mWorld.mLists;
  // It looks once more at most, and then no more.
  ASSERT_TRUE(waitFor([&] {
    const int before = std::exchange(lists, mWorld.mLists);
    std::this_thread::sleep_for(milliseconds(100));
    return before == lists && lists == mWorld.mLists;
  }));
  mEvents->hint();
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(mWorld.mLists, lists);
}

TEST_F(EventsTest, StartOverForWhoeverComesAfterAPause) {
  mWorld.setServers("[" + server("a") + "]");
  start();
  Ear first;
  join(first)->end();
  mWorld.setServers("[" + server("b") + "]");
  Ear second;
  const auto stream = join(second);
  change("[" + server("b") + "," + server("c") + "]");
  ASSERT_TRUE(waitFor([&second] { return second.has("\"key\":\"c\""); })) << second.heard();
  EXPECT_FALSE(second.has("\"a\"")) << "what was gone before it came";
}

TEST_F(EventsTest, LookAtMostOnceInATime) {
  start({milliseconds(300), kNever, kNever, kNever});
  Ear ear;
  const auto stream = join(ear);
  const auto began = std::chrono::steady_clock::now();
  const int lists = mWorld.mLists;
  while (std::chrono::steady_clock::now() - began < milliseconds(1000)) {
    mEvents->hint();
    std::this_thread::sleep_for(milliseconds(1));
  }
  const auto taken = std::chrono::steady_clock::now() - began;
  EXPECT_GE(mWorld.mLists, lists + 1);
  EXPECT_LE(mWorld.mLists - lists, taken / milliseconds(300) + 1);
}

TEST_F(EventsTest, LookWithoutAHintNowAndThen) {
  start({milliseconds(0), milliseconds(20), kNever, kNever});
  Ear ear;
  const auto stream = join(ear);
  mWorld.setServers("[" + server("a") + "]");
  EXPECT_TRUE(waitFor([&ear] { return ear.has("\"key\":\"a\""); }));
}

TEST_F(EventsTest, SayFetchAnewWhereMuchHasChanged) {
  start();
  Ear ear;
  const auto stream = join(ear);
  change(many(Events::kMostChanges));
  ASSERT_TRUE(waitFor([&ear] { return ear.has("event: servers\n"); }));
  EXPECT_FALSE(ear.has("event: reset\n"));
  change("[]");
  ASSERT_TRUE(waitFor([&ear] { return ear.has("\"count\":0"); }));
  change(many(Events::kMostChanges + 1));
  EXPECT_TRUE(waitFor([&ear] { return ear.has("event: reset\ndata: {}\n\n"); }));
}

TEST_F(EventsTest, SayFetchAnewWhereWhatHasChangedIsLarge) {
  start();
  Ear ear;
  const auto stream = join(ear);
  change("[" + server(std::string(60'000, 'a')) + "]");
  ASSERT_TRUE(waitFor([&ear] { return ear.has("event: servers\n"); }));
  EXPECT_FALSE(ear.has("event: reset\n"));
  change("[" + server(std::string(70'000, 'b')) + "]");
  EXPECT_TRUE(waitFor([&ear] { return ear.has("event: reset\n"); }));
}

TEST_F(EventsTest, TellOfManySightingsInSeveralEvents) {
  start();
  Ear ear;
  const auto stream = join(ear);
  const auto addresses = [&ear] { return occurrences(ear.heard(), "\"address\""); };
  mWorld.setSightings(R"({"address":"a"})", true, 2 * Events::kMostChanges + 1);
  mEvents->hint();
  EXPECT_TRUE(waitFor([&] { return addresses() == 2 * Events::kMostChanges + 1; })) << addresses();
  EXPECT_EQ(occurrences(ear.heard(), "event: sightings\n"), 3U);
  EXPECT_FALSE(ear.has("event: reset\n"));
}

TEST_F(EventsTest, TellOfLargeSightingsInEventsOfABoundedSize) {
  start();
  Ear ear;
  const auto stream = join(ear);
  const auto addresses = [&ear] { return occurrences(ear.heard(), "\"address\""); };
  mWorld.setSightings(R"({"address":")" + std::string(2'000, 'a') + R"("})", true, Events::kMostChanges);
  mEvents->hint();
  EXPECT_TRUE(waitFor([&] { return addresses() == Events::kMostChanges; })) << addresses();
  EXPECT_LE(ear.largest(), Events::kMostBytes);
  EXPECT_FALSE(ear.has("event: reset\n"));
}

TEST_F(EventsTest, SayFetchAnewOnceThereIsAListThatWasNoneAtTheGreeting) {
  mWorld.mIsGone = true;
  start();
  Ear ear;
  const auto stream = join(ear);
  mWorld.mIsGone = false;
  change("[" + server("a") + "]");
  EXPECT_TRUE(waitFor([&ear] { return ear.has("event: reset\n"); })) << ear.heard();
}

TEST_F(EventsTest, TellOfSightings) {
  start();
  Ear ear;
  const auto stream = join(ear);
  mWorld.setSightings(R"({"address":"a"})");
  mEvents->hint();
  EXPECT_TRUE(waitFor([&ear] {
    return ear.has("event: sightings\ndata: {\"changed\":[{\"address\":\"a\"}],\"removed\":[]}");
  })) << ear.heard();
  mWorld.setSightings(R"({"address":"b"})", false);
  mEvents->hint();
  EXPECT_TRUE(waitFor([&ear] { return ear.has("event: reset\n"); })) << ear.heard();
}

TEST_F(EventsTest, TellTheStatusWhenMoreThanTheTimeHasChanged) {
  start({milliseconds(0), kNever, milliseconds(10), kNever});
  Ear ear;
  const auto stream = join(ear);
  const int pieces = ear.pieces();
  mWorld.setStatus(R"({"uptimeSeconds":2})");
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(ear.pieces(), pieces);
  mWorld.setStatus(R"({"uptimeSeconds":3,"passes":1})");
  EXPECT_TRUE(waitFor([&ear] { return ear.has(R"(data: {"uptimeSeconds":3,"passes":1})"); })) << ear.heard();
}

TEST_F(EventsTest, KeepConnectionsAliveWithComments) {
  start({milliseconds(0), kNever, kNever, milliseconds(20)});
  Ear ear;
  const auto stream = join(ear);
  EXPECT_TRUE(waitFor([&ear] { return ear.has("\n\n:\n\n:\n\n"); })) << ear.heard();
}

TEST_F(EventsTest, EndWithTheLoginOfTheListenerThatHasNothingToHear) {
  start({milliseconds(0), kNever, kNever, milliseconds(20)});
  std::atomic<bool> isAllowed = true;
  Ear ear;
  const auto stream = join(ear, [&isAllowed] { return isAllowed.load(); });
  EXPECT_FALSE(ear.hasEnded());
  isAllowed = false;
  EXPECT_TRUE(waitFor([&ear] { return ear.hasEnded(); }));
}

TEST_F(EventsTest, DropWhoeverTakesNothing) {
  start();
  Ear slow;
  Ear good;
  const auto slowStream = join(slow);
  const auto goodStream = join(good);
  slow.turnAway();
  change("[" + server("a") + "]");
  ASSERT_TRUE(waitFor([&good] { return good.has("\"key\":\"a\""); }));
  const int pieces = slow.pieces();
  change("[" + server("b") + "]");
  ASSERT_TRUE(waitFor([&good] { return good.has("\"key\":\"b\""); }));
  EXPECT_EQ(slow.pieces(), pieces);
}

TEST_F(EventsTest, RefuseWhatIsTooMuch) {
  start();
  std::vector<Answer> answers;
  for (std::size_t count = 0; count < host::EventStreams::kMost; ++count) {
    answers.push_back(ask());
    ASSERT_TRUE(answers.back().stream);
  }
  const auto refusal = ask();
  EXPECT_EQ(refusal.status, 503);
  EXPECT_FALSE(refusal.stream);
  answers.clear();
  EXPECT_EQ(ask().status, 200);
}

TEST_F(EventsTest, GoOnWhenTheSourceFails) {
  const auto mask = utils::logging::mask();
  utils::logging::setMask(0);
  mWorld.mFails = true;
  start();
  Ear ear;
  const auto stream = join(ear);
  mWorld.mFails = false;
  change("[" + server("a") + "]");
  EXPECT_TRUE(waitFor([&ear] { return ear.has("event: reset\n"); })) << ear.heard();
  utils::logging::setMask(mask);
}

TEST_F(EventsTest, EndAtOnceWhenTheyAreClosed) {
  start();
  Ear ear;
  const auto stream = join(ear);
  const auto began = std::chrono::steady_clock::now();
  mEvents->close();
  EXPECT_TRUE(ear.hasEnded());
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
  EXPECT_EQ(ask().status, 503);
  mEvents->hint();
  mEvents->close();
}

TEST_F(EventsTest, BearComingAndGoingFromManyThreads) {
  start({milliseconds(0), milliseconds(1), milliseconds(1), milliseconds(1)});
  std::vector<std::future<void>> clients;
  for (int client = 0; client < 4; ++client) {
    clients.push_back(std::async(std::launch::async, [this] {
      for (int round = 0; round < 50; ++round) {
        Ear ear;
        const auto stream = ask().stream;
        stream->begin(ear.send());
        mEvents->hint();
        if (round % 5 == 0) waitFor([&ear] { return ear.pieces() > 0; });
        stream->end();
        const int pieces = ear.pieces();
        std::this_thread::yield();
        EXPECT_EQ(ear.pieces(), pieces) << "nothing is sent once it has ended";
      }
    }));
  }
  for (int number = 0; number < 50; ++number) {
    change("[" + server(std::to_string(number)) + "]");
    std::this_thread::sleep_for(milliseconds(1));
  }
  for (auto& client : clients) {
    client.get();
  }
}

TEST(ResourceEvents, AskForTheListAndTheStatusInsideTheProcess) {
  support::ManagerGuard manager;
  const host::EventSource source = host::resourceEvents(manager.manager());
  EXPECT_FALSE(source.servers());
  EXPECT_FALSE(source.status());
  support::FakePlugin plugin;
  plugin
      .get("/1.0/servers",
           [](const support::Request&, json::Object& response) {
             response = parsed(R"({"status":{"code":0},"count":1,"values":[{"properties":{"displayId":"a"}}]})");
             return http::HTTPCommand::HTTP_OK;
           })
      .get("/1.0/status", [](const support::Request&, json::Object& response) {
        response = parsed(R"({"value":{"version":"1"}})");
        return http::HTTPCommand::HTTP_OK;
      });
  ASSERT_TRUE(source.servers());
  EXPECT_EQ(source.servers()->Size(), 1U);
  EXPECT_EQ(source.status(), parsed(R"({"version":"1"})"));
}

}  // namespace
