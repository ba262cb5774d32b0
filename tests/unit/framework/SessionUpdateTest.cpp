#include <memory>
#include <stdexcept>
#include <thread>

#include <boost/exception/exception.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/SessionManager.h"
#include "framework/launcher/SessionUpdate.h"
#include "framework/utils/Thread.h"
#include "support/LogCapture.h"

namespace {

using http::Command;
using http::RestApi;
using launcher::SessionManager;
using launcher::SessionUpdate;
using testing::ElementsAre;
using testing::IsEmpty;

Command commandWith(const std::string& cookies) {
  return Command(Command::Request{RestApi::GET, "/1.0/servers", "/1.0/servers", cookies, "", {}});
}

/// A live session "s2" among others.
class SessionUpdateTest : public testing::Test {
 protected:
  SessionUpdateTest() {
    for (const char* id : {"s1", "s2", "s3"})
      sessions()[http::SessionID(id)] = {};
  }
  ~SessionUpdateTest() override { sessions().clear(); }

  static SessionManager::Sessions& sessions() { return SessionManager::get_instance()->sessions(); }
  static int calls(const std::string& id) { return sessions().at(http::SessionID(id)).callsInProgress; }

  const std::string mThread = utils::Thread::get_id();
  support::LogCapture mLog;
};

TEST_F(SessionUpdateTest, CountsTheCallFromEntryToExit) {
  const Command command = commandWith("kvtSession=s2");
  {
    const SessionUpdate update(&command);
    EXPECT_EQ(calls("s2"), 1);
  }
  EXPECT_EQ(calls("s2"), 0);
  EXPECT_EQ(calls("s1"), 0);
  EXPECT_EQ(calls("s3"), 0);
  EXPECT_THAT(mLog.texts(utils::LOG_DETAIL), ElementsAre("---> entry from thread " + mThread + ", callcount 1",
                                                         "---> exit from thread " + mThread + ", callcount 0"));
}

TEST_F(SessionUpdateTest, NotesTheTimeOfTheAccess) {
  const Command command = commandWith("kvtSession=s2");
  const auto before = std::chrono::system_clock::now();
  const SessionUpdate update(&command);
  EXPECT_GE(sessions().at(http::SessionID("s2")).lastAccess.value(), before);
  EXPECT_EQ(sessions().at(http::SessionID("s1")).lastAccess.value(), std::chrono::system_clock::time_point());
}

TEST_F(SessionUpdateTest, CountsCallsThatRunAtOnce) {
  const Command command = commandWith("kvtSession=s2");
  const SessionUpdate first(&command);
  const SessionUpdate second(&command);
  EXPECT_EQ(calls("s2"), 2);
  EXPECT_TRUE(mLog.contains("---> entry from thread " + mThread + ", callcount 2"));
}

TEST_F(SessionUpdateTest, TracesItsEnd) {
  { const SessionUpdate update(nullptr); }
  EXPECT_TRUE(mLog.has(utils::LOG_TRACE, "launcher::SessionUpdate::~SessionUpdate"));
}

TEST_F(SessionUpdateTest, WithoutACookieChangesNothingAndSaysNothing) {
  const Command command = commandWith("other=s2");
  {
    const SessionUpdate update(&command);
    EXPECT_EQ(calls("s2"), 0);
  }
  EXPECT_EQ(calls("s2"), 0);
  EXPECT_THAT(mLog.texts(utils::LOG_DETAIL), IsEmpty());
  EXPECT_THAT(mLog.texts(utils::LOG_FAILURE), IsEmpty());
}

TEST_F(SessionUpdateTest, WithoutACommandChangesNothingAndSaysNothing) {
  { const SessionUpdate update(nullptr); }
  EXPECT_THAT(mLog.texts(utils::LOG_DETAIL), IsEmpty());
}

TEST_F(SessionUpdateTest, SaysThatTheSessionEndedDuringTheCall) {
  const Command command = commandWith("kvtSession=s2");
  {
    const SessionUpdate update(&command);
    sessions().erase(http::SessionID("s2"));
  }
  EXPECT_THAT(
      mLog.texts(utils::LOG_DETAIL),
      ElementsAre("---> entry from thread " + mThread + ", callcount 1",
                  "===> exit from thread " + mThread + ". logout happens during the api GET /1.0/servers execution"));
  EXPECT_FALSE(sessions().contains(http::SessionID("s2")));
}

TEST_F(SessionUpdateTest, SaysThatThereIsNoSuchSession) {
  for (const char* id : {"s0", "s22", "s4"}) {
    const Command command = commandWith(std::string("kvtSession=") + id);
    mLog.clear();
    { const SessionUpdate update(&command); }
    EXPECT_THAT(
        mLog.texts(utils::LOG_DETAIL),
        ElementsAre("===> entry from thread " + mThread + ". logout happens during the api GET /1.0/servers execution",
                    "===> exit from thread " + mThread + ". logout happens during the api GET /1.0/servers execution"));
  }
  EXPECT_EQ(sessions().size(), 3u);
}

/// Fails when it is asked for its cookie the second time, which is at the end.
class FailingCommand : public Command {
 public:
  explicit FailingCommand(void (*fail)()) : mFail(fail) {}
  const http::SessionCookie* getSessionCookie() const override {
    if (mAsked++ > 0) mFail();
    return nullptr;
  }

 private:
  void (*mFail)();
  mutable int mAsked = 0;
};

struct BoostFailure : boost::exception {};

TEST_F(SessionUpdateTest, LogsWhatIsThrownAtItsEnd) {
  const FailingCommand first([] { throw std::runtime_error("no luck"); });
  { const SessionUpdate update(&first); }
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "Destructor SessionUpdate std exception caught:='no luck' "));
  const FailingCommand second([] { throw BoostFailure(); });
  { const SessionUpdate update(&second); }
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "Destructor SessionUpdate boost exception caught "));
  const FailingCommand third([] { throw 1; });
  { const SessionUpdate update(&third); }
}

TEST_F(SessionUpdateTest, CountsRightFromManyThreads) {
  const Command command = commandWith("kvtSession=s2");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int call = 0; call < 100; ++call)
        const SessionUpdate update(&command);
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(calls("s2"), 0);
}

}  // namespace
