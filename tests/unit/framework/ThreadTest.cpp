#include <atomic>
#include <chrono>
#include <memory>
#include <pthread.h>
#include <set>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "framework/utils/Thread.h"
#include "support/LogCapture.h"
#include "support/Wait.h"

namespace {

using utils::Thread;

// Entry functions have no argument, so what they share is here.
std::atomic<int> gRuns;
std::atomic<bool> gRelease;
std::string gName;
std::atomic<Thread*> gSelf;

void count() {
  ++gRuns;
}

void waitForRelease() {
  while (!gRelease)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ++gRuns;
}

class ThreadTest : public testing::Test {
 protected:
  ThreadTest() {
    gRuns = 0;
    gRelease = false;
    gSelf = nullptr;
  }
};

TEST_F(ThreadTest, RunsItsFunctionToTheEndBeforeJoinReturns) {
  gRelease = true;
  Thread thread("worker", waitForRelease);
  thread.join();
  EXPECT_EQ(gRuns, 1);
}

TEST_F(ThreadTest, JoinsAtOnceTheSecondTime) {
  Thread thread("worker", count);
  thread.join();
  thread.join();
  EXPECT_EQ(gRuns, 1);
}

TEST_F(ThreadTest, LetsSeveralThreadsJoinIt) {
  Thread thread("worker", waitForRelease);
  std::thread other([&] {
    thread.join();
    EXPECT_EQ(gRuns, 1);
  });
  gRelease = true;
  thread.join();
  EXPECT_EQ(gRuns, 1);
  other.join();
}

TEST_F(ThreadTest, DoesNotWaitForItself) {
  Thread thread("worker", [] {
    EXPECT_TRUE(support::waitFor([] { return gSelf != nullptr; }));
    gSelf.load()->join();
    ++gRuns;
  });
  gSelf = &thread;
  thread.join();
  EXPECT_EQ(gRuns, 1);
}

TEST_F(ThreadTest, RunsOnWhenItsObjectIsDestroyed) {
  std::make_unique<Thread>("worker", waitForRelease).reset();
  EXPECT_EQ(gRuns, 0);
  gRelease = true;
  EXPECT_TRUE(support::waitFor([] { return gRuns == 1; }));
}

TEST_F(ThreadTest, EndsWithoutAFunction) {
  Thread("worker", nullptr).join();
}

TEST_F(ThreadTest, BearsItsNameCutToWhatTheSystemKeeps) {
  Thread thread("IPChangeMonitorThread", [] {
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    gName = name;
  });
  thread.join();
  EXPECT_EQ(gName, "IPChangeMonitor");
}

TEST_F(ThreadTest, LogsAnExceptionThatEndsIt) {
  const support::LogCapture log;
  Thread("worker", [] { throw std::runtime_error("no luck"); }).join();
  Thread("worker", [] { throw 1; }).join();
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Thread:run: worker ended by an exception:no luck"));
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Thread:run: worker ended by an unknown exception"));
}

TEST_F(ThreadTest, SleepsAtLeastThatManyMilliseconds) {
  const auto before = std::chrono::steady_clock::now();
  Thread::sleep(20);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
  Thread::sleep(0);
  Thread::sleep(-5);
}

TEST_F(ThreadTest, HasAnIdentifierOfItsOwn) {
  static std::string other;
  Thread("worker", [] { other = Thread::get_id(); }).join();
  EXPECT_FALSE(other.empty());
  EXPECT_NE(other, Thread::get_id());
  EXPECT_EQ(Thread::get_id(), Thread::get_id());
}

}  // namespace
