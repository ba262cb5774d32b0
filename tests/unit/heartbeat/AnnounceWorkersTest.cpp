#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "heartbeat/AnnounceWorkers.h"
#include "support/LogCapture.h"
#include "support/Wait.h"

namespace {

using heartbeat::AnnounceWorkers;

/// New threads ask for more stack than any machine has, so that none can be made.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_attr_init(&mBefore);
    pthread_getattr_default_np(&mBefore);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 50);
    EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
    pthread_attr_destroy(&huge);
  }
  ~NoMoreThreads() {
    pthread_setattr_default_np(&mBefore);
    pthread_attr_destroy(&mBefore);
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;

 private:
  pthread_attr_t mBefore;
};

TEST(AnnounceWorkers, AreFive) {
  AnnounceWorkers workers;
  std::atomic<int> started = 0;
  EXPECT_TRUE(workers.start([&] { ++started; }));
  workers.join();
  EXPECT_EQ(started, 5);
}

TEST(AnnounceWorkers, AreNotStartedTwice) {
  AnnounceWorkers workers;
  std::atomic<int> started = 0;
  EXPECT_TRUE(workers.start([&] { ++started; }));
  EXPECT_TRUE(workers.start([&] { ++started; }));
  workers.join();
  EXPECT_EQ(started, 5);
}

TEST(AnnounceWorkers, AreStartedLaterWhenTheyCannotBeMade) {
  AnnounceWorkers workers;
  std::atomic<int> started = 0;
  support::LogCapture log;
  {
    const NoMoreThreads none;
    EXPECT_FALSE(workers.start([&] { ++started; }));
  }
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "HeartBeatWin:CreateWorkers:Create Worker Thread Failed:WSAGetLastError:" +
                                            std::to_string(EAGAIN)));
  EXPECT_TRUE(workers.start([&] { ++started; }));
  workers.join();
  EXPECT_EQ(started, 5);
}

TEST(AnnounceWorkers, EndWithTheExceptionOfTheirBody) {
  AnnounceWorkers workers;
  support::LogCapture log;
  EXPECT_TRUE(workers.start([] { throw std::runtime_error("lost"); }));
  workers.join();
  EXPECT_EQ(log.count("HeartBeatWin:WorkerThread:ended by an exception:lost"), 5u);
}

}  // namespace
