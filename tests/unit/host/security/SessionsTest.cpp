#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/SessionManager.h"
#include "framework/launcher/SessionUpdate.h"
#include "host/security/Sessions.h"

namespace {

using host::Sessions;
using namespace std::chrono_literals;

class SessionsTest : public testing::Test {
 protected:
  SessionsTest() : mSessions(limits(30min, 12h), [this] { return mNow; }) {}

  static host::AccessSettings limits(std::chrono::milliseconds idle, std::chrono::milliseconds lifetime) {
    host::AccessSettings settings;
    settings.sessionIdle = idle;
    settings.sessionLifetime = lifetime;
    return settings;
  }
  static http::Command callWith(const std::string& id) {
    return http::Command({http::RestApi::GET, "/1.0/servers", "/1.0/servers", "kvtSession=" + id, "", {}});
  }
  static std::size_t accounted() { return launcher::SessionManager::get_instance()->sessions().size(); }

  Sessions::Clock::time_point mNow = Sessions::Clock::now() + 1min;  ///< after what the framework notes meanwhile
  Sessions mSessions;
};

TEST_F(SessionsTest, AreKnownByTheirIdentifier) {
  const auto opened = mSessions.open("admin", "stamp");
  EXPECT_EQ(opened.id.size(), 43U);
  EXPECT_EQ(opened.csrfToken.size(), 43U);
  EXPECT_NE(opened.id, opened.csrfToken);
  const auto found = mSessions.find(opened.id);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->user, "admin");
  EXPECT_EQ(found->stamp, "stamp");
  EXPECT_EQ(found->csrfToken, opened.csrfToken);
  EXPECT_FALSE(mSessions.find(""));
  EXPECT_FALSE(mSessions.find(opened.id + "x"));
  EXPECT_FALSE(mSessions.use(opened.csrfToken));
}

TEST_F(SessionsTest, AreThoseOfTheSessionManager) {
  EXPECT_EQ(accounted(), 0U);
  const auto opened = mSessions.open("admin", "");
  const auto& sessions = launcher::SessionManager::get_instance()->sessions();
  ASSERT_EQ(sessions.count(http::SessionID(opened.id)), 1U);
  const auto command = callWith(opened.id);
  const launcher::SessionUpdate update(&command);
  EXPECT_EQ(sessions.at(http::SessionID(opened.id)).callsInProgress, 1);
  mSessions.close(opened.id);
  EXPECT_EQ(accounted(), 0U);
  EXPECT_FALSE(mSessions.find(opened.id));
}

TEST_F(SessionsTest, EndWithWhatHoldsThem) {
  { Sessions(limits(1min, 1h)).open("admin", ""); }
  EXPECT_EQ(accounted(), 0U);
}

TEST_F(SessionsTest, EndWhenTheyAreNotUsed) {
  const auto opened = mSessions.open("admin", "");
  EXPECT_EQ(opened.expires, mNow + 30min);
  mNow += 29min;
  EXPECT_TRUE(mSessions.find(opened.id));
  mNow += 2min;
  EXPECT_FALSE(mSessions.find(opened.id));
  EXPECT_FALSE(mSessions.use(opened.id));
  EXPECT_EQ(mSessions.size(), 0U);
  EXPECT_EQ(accounted(), 0U);
}

TEST_F(SessionsTest, GoOnWhileTheyAreUsed) {
  const auto opened = mSessions.open("admin", "");
  for (int i = 0; i < 10; ++i) {
    mNow += 29min;
    const auto used = mSessions.use(opened.id);
    ASSERT_TRUE(used);
    EXPECT_EQ(used->expires, mNow + 30min);
  }
}

TEST_F(SessionsTest, AreNotUsedByBeingLookedAt) {
  const auto opened = mSessions.open("admin", "");
  mNow += 20min;
  EXPECT_TRUE(mSessions.find(opened.id));
  mNow += 11min;
  EXPECT_FALSE(mSessions.find(opened.id));
}

TEST_F(SessionsTest, AreUsedByTheCallsOfPlugins) {
  const auto start = mNow;
  mNow -= 20min;
  const auto opened = mSessions.open("admin", "");
  {
    const auto command = callWith(opened.id);
    const launcher::SessionUpdate update(&command);  // by the clock of the machine
  }
  mNow = start + 20min;
  EXPECT_TRUE(mSessions.find(opened.id));
}

TEST_F(SessionsTest, DoNotEndForWantOfUseDuringACall) {
  const auto opened = mSessions.open("admin", "");
  const auto command = callWith(opened.id);
  {
    const launcher::SessionUpdate update(&command);
    mNow += 2h;
    EXPECT_TRUE(mSessions.find(opened.id));
    mNow += 10h;
    EXPECT_FALSE(mSessions.find(opened.id)) << "in the end they do";
  }
}

TEST_F(SessionsTest, EndAfterTheirLifetimeHoweverMuchTheyAreUsed) {
  const auto opened = mSessions.open("admin", "");
  for (int i = 0; i < 47; ++i) {
    mNow += 15min;
    ASSERT_TRUE(mSessions.use(opened.id));
  }
  EXPECT_EQ(mSessions.use(opened.id)->expires, mNow + 15min);
  mNow += 15min;
  EXPECT_FALSE(mSessions.use(opened.id));
}

TEST_F(SessionsTest, TakeOverNewLimits) {
  const auto opened = mSessions.open("admin", "");
  mNow += 10min;
  mSessions.setLimits(limits(5min, 12h));
  EXPECT_FALSE(mSessions.find(opened.id));
}

TEST_F(SessionsTest, AreSweptOnceTheyHaveEnded) {
  for (int i = 0; i < 10; ++i)
    mSessions.open("user" + std::to_string(i), "");
  mNow += 31min;
  const auto opened = mSessions.open("admin", "");
  EXPECT_EQ(mSessions.size(), 1U);
  EXPECT_EQ(accounted(), 1U);
  mNow += 20min;
  EXPECT_TRUE(mSessions.use(opened.id));
}

TEST_F(SessionsTest, AreBoundedForAUser) {
  const auto other = mSessions.open("other", "");
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < Sessions::kMostOfAUser + 1; ++i) {
    mNow += 1ms;
    ids.push_back(mSessions.open("admin", "").id);
  }
  EXPECT_EQ(mSessions.size(), Sessions::kMostOfAUser + 1);
  EXPECT_FALSE(mSessions.find(ids[0])) << "the oldest goes";
  EXPECT_TRUE(mSessions.find(ids[1]));
  EXPECT_TRUE(mSessions.find(other.id));
}

TEST_F(SessionsTest, AreBoundedInAll) {
  const auto first = mSessions.open("first", "");
  for (std::size_t i = 0; i < Sessions::kMostSessions; ++i) {
    mNow += 1ms;
    mSessions.open("user" + std::to_string(i), "");
  }
  EXPECT_EQ(mSessions.size(), Sessions::kMostSessions);
  EXPECT_EQ(accounted(), Sessions::kMostSessions);
  EXPECT_FALSE(mSessions.find(first.id));
}

TEST_F(SessionsTest, EndWhenSomebodyTakesThemOutOfTheSessionManager) {
  const auto opened = mSessions.open("admin", "");
  launcher::SessionManager::get_instance()->sessions().clear();
  EXPECT_FALSE(mSessions.find(opened.id));
  EXPECT_FALSE(mSessions.use(opened.id));
}

TEST_F(SessionsTest, AreSafeForManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      for (int j = 0; j < 50; ++j) {
        const auto opened = mSessions.open("user" + std::to_string(i), "");
        const auto command = callWith(opened.id);
        const launcher::SessionUpdate update(&command);
        EXPECT_TRUE(mSessions.use(opened.id));
        mSessions.close(opened.id);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(mSessions.size(), 0U);
  EXPECT_EQ(accounted(), 0U);
}

}  // namespace
