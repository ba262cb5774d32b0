#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "framework/utils/Mutex.h"

namespace {

TEST(Lock, ExcludesOtherThreads) {
  utils::Mutex mutex;
  int count = 0;
  const auto add = [&] {
    for (int i = 0; i < 1000; ++i) {
      const utils::Lock lock(&mutex, false);
      ++count;
    }
  };
  std::thread other(add);
  add();
  other.join();
  EXPECT_EQ(count, 2000);
}

TEST(Lock, StaysUnlockedWhenDeferred) {
  utils::Mutex mutex;
  const utils::Lock deferred(&mutex, true);
  const utils::Lock lock(&mutex, false);  // would never return
  SUCCEED();
}

TEST(SharedMutex, LetsReadersInTogether) {
  utils::SharedMutex mutex;
  const utils::SharedLock_SMutex first(&mutex);
  std::atomic<bool> second = false;
  std::thread reader([&] {
    const utils::SharedLock_SMutex lock(&mutex);
    second = true;
  });
  reader.join();
  EXPECT_TRUE(second);
}

TEST(SharedMutex, KeepsWritersApart) {
  utils::SharedMutex mutex;
  int count = 0;
  const auto add = [&] {
    for (int i = 0; i < 1000; ++i) {
      const utils::UniqueLock_SMutex lock(&mutex);
      ++count;
    }
  };
  std::thread other(add);
  add();
  other.join();
  const utils::SharedLock_SMutex lock(&mutex);
  EXPECT_EQ(count, 2000);
}

}  // namespace
