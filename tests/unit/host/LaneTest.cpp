#include <atomic>
#include <future>
#include <stdexcept>

#include <gtest/gtest.h>

#include "host/http/Lane.h"
#include "host/http/LogLimiter.h"
#include "support/LogCapture.h"
#include "support/Wait.h"

namespace {

using host::Lane;
using host::LogLimiter;
using std::chrono::milliseconds;

TEST(Lane, RunsWhatItTakes) {
  std::atomic<int> ran = 0;
  {
    Lane lane("lane", 3, 100);
    for (int i = 0; i < 100; ++i) {
      EXPECT_TRUE(lane.submit([&] { ++ran; }));
    }
    EXPECT_TRUE(support::waitFor([&] { return ran == 100; }));
  }
  EXPECT_EQ(ran, 100);
}

TEST(Lane, RefusesWhatItsBacklogDoesNotHold) {
  std::promise<void> release;
  auto released = release.get_future().share();
  std::atomic<int> running = 0;
  std::atomic<int> ran = 0;
  Lane lane("lane", 2, 3);
  const auto job = [&, released] {
    ++running;
    released.wait();
    ++ran;
  };
  EXPECT_TRUE(lane.submit(job));
  EXPECT_TRUE(lane.submit(job));
  ASSERT_TRUE(support::waitFor([&] { return running == 2; }));
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(lane.submit(job));
  }
  EXPECT_FALSE(lane.submit(job));
  release.set_value();
  EXPECT_TRUE(support::waitFor([&] { return ran == 5; }));
  EXPECT_TRUE(lane.submit(job));
}

TEST(Lane, DropsWhatWaitsAndEndsWhatRunsWhenItCloses) {
  std::promise<void> release;
  auto released = release.get_future().share();
  std::atomic<bool> running = false;
  std::atomic<int> ran = 0;
  Lane lane("lane", 1, 10);
  lane.submit([&, released] {
    running = true;
    released.wait();
    ++ran;
  });
  ASSERT_TRUE(support::waitFor([&] { return running.load(); }));
  lane.submit([&] { ++ran; });
  std::thread closing([&] { lane.close(); });
  EXPECT_TRUE(support::waitFor([&] { return !lane.submit([] {}); }));
  release.set_value();
  closing.join();
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(lane.submit([] {}));
  lane.close();
}

TEST(Lane, SurvivesAJobThatThrows) {
  const support::LogCapture log;
  std::atomic<bool> ran = false;
  Lane lane("lane", 1, 10);
  lane.submit([] { throw std::runtime_error("oops"); });
  lane.submit([] { throw 1; });
  lane.submit([&] { ran = true; });
  EXPECT_TRUE(support::waitFor([&] { return ran.load(); }));
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Lane:run: a job failed:oops"));
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "Lane:run: a job failed"));
}

TEST(Lane, TellsHowLongTheOldestJobHasBeenWaiting) {
  std::promise<void> release;
  auto released = release.get_future().share();
  std::atomic<bool> running = false;
  Lane lane("lane", 1, 10);
  lane.submit([&, released] {
    running = true;
    released.wait();
  });
  ASSERT_TRUE(support::waitFor([&] { return running.load(); }));
  EXPECT_EQ(lane.longestWait(), milliseconds(0)) << "what runs does not wait";
  lane.submit([] {});
  EXPECT_TRUE(support::waitFor([&] { return lane.longestWait() >= milliseconds(20); }));
  release.set_value();
  EXPECT_TRUE(support::waitFor([&] { return lane.longestWait() == milliseconds(0); }));
}

TEST(LogLimiter, LetsABurstPassAndThenOneASecond) {
  LogLimiter limiter;
  auto now = LogLimiter::Clock::now();
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(limiter.pass(now), 0U);
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_FALSE(limiter.pass(now + milliseconds(999)));
  }
  now += milliseconds(1000);
  EXPECT_EQ(limiter.pass(now), 5U) << "tells how many were left out";
  EXPECT_FALSE(limiter.pass(now));
  now += std::chrono::hours(1);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(limiter.pass(now), i == 0 ? 1U : 0U);
  }
  EXPECT_FALSE(limiter.pass(now));
}

}  // namespace
