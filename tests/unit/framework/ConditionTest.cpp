#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include <climits>
#include <gtest/gtest.h>

#include "framework/utils/Condition.h"
#include "framework/utils/Shutdown.h"
#include "framework/utils/Thread.h"
#include "support/Wait.h"

namespace {

using utils::Condition;
using utils::Lock;
using utils::Mutex;
using utils::Thread;

constexpr int kForever = INT_MAX;

/// What the entry functions of the threads below share; they have no argument.
struct Shared {
  Mutex mutex;
  Condition condition;
  std::atomic<bool> holdsLock = false;
  std::atomic<int> ended = 0;
  std::atomic<int> notified = 0;
};
std::unique_ptr<Shared> gShared;

void waitForever() {
  Lock lock(&gShared->mutex, false);
  gShared->holdsLock = true;
  if (gShared->condition.timed_wait(&lock, kForever)) ++gShared->notified;
  ++gShared->ended;
}

class ConditionTest : public testing::Test {
 protected:
  ConditionTest() { gShared = std::make_unique<Shared>(); }
  ~ConditionTest() override {
    utils::shutdown::reset();
    gShared.reset();
  }

  /// Returns when the thread waits: it then has let go of the lock that it took before.
  static std::unique_ptr<Thread> startedWaiter() {
    gShared->holdsLock = false;
    auto thread = std::make_unique<Thread>("waiter", waitForever);
    EXPECT_TRUE(support::waitFor([] { return gShared->holdsLock.load(); }));
    const Lock lock(&gShared->mutex, false);
    return thread;
  }
};

TEST_F(ConditionTest, TimesOutWithFalseAndTheLockHeld) {
  Lock lock(&gShared->mutex, false);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(gShared->condition.timed_wait(&lock, 20));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
  std::thread other([] {
    gShared->holdsLock = true;
    const Lock second(&gShared->mutex, false);
    gShared->ended = 1;
  });
  EXPECT_TRUE(support::waitFor([] { return gShared->holdsLock.load(); }));
  EXPECT_EQ(gShared->ended, 0);
  EXPECT_FALSE(gShared->condition.timed_wait(&lock, 0));
  EXPECT_FALSE(gShared->condition.timed_wait(&lock, -5));
  EXPECT_TRUE(support::waitFor([&lock] { return gShared->condition.timed_wait(&lock, 1) || gShared->ended == 1; }));
  other.join();
}

TEST_F(ConditionTest, ReturnsTrueWhenNotified) {
  const auto thread = startedWaiter();
  gShared->condition.notify_one();
  thread->join();
  EXPECT_EQ(gShared->notified, 1);
}

TEST_F(ConditionTest, NotifiesOneWaitOrAll) {
  const auto first = startedWaiter();
  const auto second = startedWaiter();
  const auto third = startedWaiter();
  gShared->condition.notify_one();
  EXPECT_TRUE(support::waitFor([] { return gShared->ended == 1; }));
  EXPECT_EQ(gShared->notified, 1);
  gShared->condition.notify_all();
  for (const auto& thread : {first.get(), second.get(), third.get()})
    thread->join();
  EXPECT_EQ(gShared->notified, 3);
}

TEST_F(ConditionTest, NotifiesOnlyItsOwnWaits) {
  const auto thread = startedWaiter();
  Condition other;
  other.notify_all();
  gShared->condition.notify_all();
  thread->join();
  EXPECT_EQ(gShared->notified, 1);
}

TEST_F(ConditionTest, DoesNotKeepNotificationsForLater) {
  gShared->condition.notify_all();
  Lock lock(&gShared->mutex, false);
  EXPECT_FALSE(gShared->condition.timed_wait(&lock, 1));
}

TEST_F(ConditionTest, EndsWhenItsThreadIsJoinedDuringAShutdown) {
  const auto thread = startedWaiter();
  utils::shutdown::begin();
  thread->join();
  EXPECT_EQ(gShared->ended, 1);
  EXPECT_EQ(gShared->notified, 0);
}

TEST_F(ConditionTest, WaitsOnDuringAShutdownUntilItsThreadIsJoined) {
  const auto thread = startedWaiter();
  utils::shutdown::begin();
  gShared->condition.notify_one();  // finds it waiting
  thread->join();
  EXPECT_EQ(gShared->notified, 1);
}

TEST_F(ConditionTest, EndsOnlyTheWaitOfTheThreadThatIsJoined) {
  const auto joined = startedWaiter();
  const auto other = startedWaiter();
  utils::shutdown::begin();
  joined->join();
  EXPECT_EQ(gShared->ended, 1);
  gShared->condition.notify_one();
  other->join();
  EXPECT_EQ(gShared->notified, 1);
}

TEST_F(ConditionTest, EndsWhenTheShutdownBeginsDuringTheJoin) {
  const auto thread = startedWaiter();
  std::thread joiner([&] { thread->join(); });
  utils::shutdown::begin();
  joiner.join();
  EXPECT_EQ(gShared->notified, 0);
}

TEST_F(ConditionTest, EndsAtOnceInAThreadThatIsBeingJoinedDuringShutdown) {
  utils::shutdown::begin();
  const auto waitAgainAndAgain = [] {
    for (int i = 0; i < 100; ++i)
      waitForever();
  };
  Thread thread("waiter", waitAgainAndAgain);
  thread.join();
  EXPECT_EQ(gShared->ended, 100);
  EXPECT_EQ(gShared->notified, 0);
}

TEST_F(ConditionTest, OutsideAShutdownAJoinedThreadWaitsItsTime) {
  static std::atomic<bool> waitedItsTime;
  waitedItsTime = false;
  Thread thread("waiter", [] {
    Lock lock(&gShared->mutex, false);
    const auto before = std::chrono::steady_clock::now();
    gShared->condition.timed_wait(&lock, 50);
    waitedItsTime = std::chrono::steady_clock::now() - before >= std::chrono::milliseconds(50);
  });
  thread.join();
  EXPECT_TRUE(waitedItsTime);
}

TEST_F(ConditionTest, InAThreadOfSomebodyElseAShutdownEndsNothing) {
  utils::shutdown::begin();
  Lock lock(&gShared->mutex, false);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(gShared->condition.timed_wait(&lock, 20));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

TEST_F(ConditionTest, SurvivesNotificationsAndShutdownsFromEverywhere) {
  constexpr int kThreads = 8;
  std::atomic<bool> stop = false;
  std::thread notifier([&] {
    while (!stop)
      gShared->condition.notify_one();
  });
  std::thread host([&] {
    while (!stop) {
      utils::shutdown::begin();
      utils::shutdown::reset();
    }
    utils::shutdown::begin();
  });
  for (int round = 0; round < 20; ++round) {
    std::vector<std::unique_ptr<Thread>> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.push_back(std::make_unique<Thread>("waiter", [] {
        for (int wait = 0; wait < 20; ++wait) {
          Lock lock(&gShared->mutex, false);
          gShared->condition.timed_wait(&lock, 1);
        }
        ++gShared->ended;
      }));
    }
    for (const auto& thread : threads)
      thread->join();
  }
  stop = true;
  notifier.join();
  host.join();
  EXPECT_EQ(gShared->ended, 20 * kThreads);
}

TEST(Shutdown, IsAStateOfTheProcess) {
  EXPECT_FALSE(utils::shutdown::inProgress());
  utils::shutdown::begin();
  EXPECT_TRUE(utils::shutdown::inProgress());
  utils::shutdown::begin();
  EXPECT_TRUE(utils::shutdown::inProgress());
  utils::shutdown::reset();
  EXPECT_FALSE(utils::shutdown::inProgress());
}

}  // namespace
