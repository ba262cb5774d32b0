#include <atomic>
#include <functional>
#include <latch>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "framework/utils/Thread.h"
#include "framework/utils/ThreadPool.h"
#include "support/LogCapture.h"
#include "support/Wait.h"

namespace {

using utils::ThreadPool;

std::atomic<int> gLiving;

class Job : public utils::ThreadPoolJob {
 public:
  explicit Job(std::function<void()> work = {}) : mWork(std::move(work)) { ++gLiving; }
  ~Job() override { --gLiving; }
  void execute() override {
    if (mWork) mWork();
  }

 private:
  const std::function<void()> mWork;
};

bool isIdle(ThreadPool& pool) {
  return support::waitFor([&] { return pool.getRunningJobCount() == 0; });
}

/// Keeps the workers of a pool busy until it is opened.
class Gate {
 public:
  void enter() {
    ++mWaiting;
    mGate.wait();
  }
  void open() { mGate.count_down(); }
  int waiting() const { return mWaiting; }

 private:
  std::atomic<int> mWaiting = 0;
  std::latch mGate{1};
};

TEST(ThreadPool, RunsEveryJobAndDeletesIt) {
  std::atomic<int> runs = 0;
  ThreadPool pool(4);
  for (int i = 0; i < 1000; ++i)
    pool.addJob(new Job([&] { ++runs; }));
  EXPECT_TRUE(isIdle(pool));
  EXPECT_EQ(runs, 1000);
  EXPECT_EQ(gLiving, 0);
}

TEST(ThreadPool, RunsJobsInTheOrderOfTheirArrivalOnOneThread) {
  std::vector<int> order;
  ThreadPool pool(1);
  for (int i = 0; i < 5; ++i)
    pool.addJob(new Job([&order, i] { order.push_back(i); }));
  EXPECT_TRUE(isIdle(pool));
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST(ThreadPool, RunsAsManyJobsAtOnceAsItHasThreads) {
  Gate gate;
  ThreadPool pool(3);
  for (int i = 0; i < 5; ++i)
    pool.addJob(new Job([&] { gate.enter(); }));
  EXPECT_TRUE(support::waitFor([&] { return gate.waiting() == 3; }));
  EXPECT_EQ(pool.getRunningJobCount(), 5);
  EXPECT_EQ(pool.getPendingJobCount(), 2);
  gate.open();
  EXPECT_TRUE(isIdle(pool));
  EXPECT_EQ(pool.getPendingJobCount(), 0);
}

TEST(ThreadPool, HasAtLeastOneThread) {
  for (const int threads : {0, -3}) {
    std::atomic<int> runs = 0;
    ThreadPool pool(threads);
    pool.addJob(new Job([&] { ++runs; }));
    EXPECT_TRUE(isIdle(pool));
    EXPECT_EQ(runs, 1);
  }
}

TEST(ThreadPool, AJobThatThrowsCostsOnlyItself) {
  const support::LogCapture log;
  std::atomic<int> runs = 0;
  ThreadPool pool(1);
  pool.addJob(new Job([] { throw std::runtime_error("no luck"); }));
  pool.addJob(new Job([] { throw 1; }));
  pool.addJob(new Job([&] { ++runs; }));
  EXPECT_TRUE(isIdle(pool));
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(gLiving, 0);
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "ThreadPool:execute: a job ended by an exception:no luck"));
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "ThreadPool:execute: a job ended by an unknown exception"));
}

TEST(ThreadPool, PassesOverNull) {
  ThreadPool pool(1);
  pool.addJob(nullptr);
  EXPECT_EQ(pool.getRunningJobCount(), 0);
}

TEST(ThreadPool, TakesJobsFromItsOwnJobs) {
  std::atomic<int> runs = 0;
  ThreadPool pool(1);
  pool.addJob(new Job([&] {
    for (int i = 0; i < 3; ++i)
      pool.addJob(new Job([&] { ++runs; }));
  }));
  EXPECT_TRUE(support::waitFor([&] { return runs == 3; }));
}

TEST(ThreadPool, DropsWhatIsPendingAndWaitsForWhatRunsWhenItIsDestroyed) {
  Gate gate;
  std::atomic<bool> ended = false;
  std::atomic<int> dropped = 0;
  std::thread opener;
  {
    ThreadPool pool(1);
    pool.addJob(new Job([&] {
      gate.enter();
      ended = true;
    }));
    EXPECT_TRUE(support::waitFor([&] { return gate.waiting() == 1; }));
    for (int i = 0; i < 10; ++i)
      pool.addJob(new Job([&] { ++dropped; }));
    opener = std::thread([&] {
      EXPECT_TRUE(support::waitFor([] { return gLiving == 1; }));  // the pending ones are gone
      gate.open();
    });
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(dropped, 0);
  EXPECT_EQ(gLiving, 0);
  opener.join();
}

TEST(ThreadPool, TakesNothingMoreWhenClosed) {
  Gate gate;
  std::atomic<int> runs = 0;
  ThreadPool pool(1);
  pool.addJob(new Job([&] { gate.enter(); }));
  EXPECT_TRUE(support::waitFor([&] { return gate.waiting() == 1; }));
  pool.addJob(new Job([&] { ++runs; }));
  pool.close();
  EXPECT_EQ(pool.getPendingJobCount(), 0);
  EXPECT_EQ(pool.getRunningJobCount(), 1);
  pool.addJob(new Job([&] { ++runs; }));
  EXPECT_EQ(gLiving, 1);
  gate.open();
  EXPECT_TRUE(isIdle(pool));
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(gLiving, 0);
}

TEST(ThreadPool, AJobsDestructorMayUseThePool) {
  struct Asking : utils::ThreadPoolJob {
    explicit Asking(ThreadPool& askedPool) : pool(askedPool) {}
    ~Asking() override { pool.addJob(nullptr), static_cast<void>(pool.getRunningJobCount()); }
    void execute() override {}
    ThreadPool& pool;
  };
  ThreadPool pool(1);
  pool.addJob(new Asking(pool));
  EXPECT_TRUE(isIdle(pool));
  pool.close();
  pool.addJob(new Asking(pool));
  EXPECT_EQ(pool.getRunningJobCount(), 0);
}

TEST(ThreadPool, IsSafeForEveryThread) {
  std::atomic<int> runs = 0;
  ThreadPool pool(3);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int job = 0; job < 250; ++job) {
        pool.addJob(new Job([&] { ++runs; }));
        EXPECT_LE(pool.getPendingJobCount(), 1000);
      }
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_TRUE(isIdle(pool));
  EXPECT_EQ(runs, 1000);
}

}  // namespace
