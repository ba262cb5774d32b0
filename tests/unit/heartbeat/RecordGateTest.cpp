#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "heartbeat/RecordGate.h"
#include "support/Wait.h"

namespace {

using heartbeat::RecordGate;

TEST(RecordGate, IsOpenAtFirst) {
  RecordGate gate;
  int passed = 0;
  gate.pass([&] { ++passed; });
  EXPECT_EQ(passed, 1);
}

TEST(RecordGate, LetsNobodyThroughWhileItIsClosed) {
  RecordGate gate;
  int passed = 0;
  gate.close();
  gate.pass([&] { ++passed; });
  EXPECT_EQ(passed, 0);
  gate.open();
  gate.pass([&] { ++passed; });
  EXPECT_EQ(passed, 1);
}

TEST(RecordGate, LetsManyInAtOnce) {
  RecordGate gate;
  gate.pass([&] {
    bool isInside = false;
    std::thread([&] { gate.pass([&] { isInside = true; }); }).join();
    EXPECT_TRUE(isInside);
  });
}

TEST(RecordGate, ClosesOnlyWhenNobodyIsInside) {
  RecordGate gate;
  std::atomic<bool> mayLeave = false;
  std::atomic<bool> isInside = false;
  std::atomic<bool> isClosed = false;
  std::thread inside([&] {
    gate.pass([&] {
      isInside = true;
      support::waitFor([&] { return mayLeave.load(); });
      EXPECT_FALSE(isClosed);
    });
  });
  ASSERT_TRUE(support::waitFor([&] { return isInside.load(); }));
  std::thread closing([&] {
    gate.close();
    isClosed = true;
  });
  ASSERT_TRUE(support::waitFor([&] { return !gate.isOpen(); }));
  EXPECT_FALSE(isClosed);
  mayLeave = true;
  closing.join();
  inside.join();
  EXPECT_TRUE(isClosed);
}

TEST(RecordGate, ClosesUnderAFlood) {
  RecordGate gate;
  std::atomic<bool> isOver = false;
  std::atomic<bool> isClosed = false;
  std::atomic<int> afterwards = 0;
  std::vector<std::thread> flood;
  for (int i = 0; i < 5; ++i) {
    flood.emplace_back([&] {
      while (!isOver)
        gate.pass([&] { afterwards += isClosed ? 1 : 0; });
    });
  }
  for (int round = 0; round < 100; ++round) {
    gate.close();
    isClosed = true;
    std::this_thread::yield();
    isClosed = false;
    gate.open();
  }
  isOver = true;
  for (std::thread& thread : flood)
    thread.join();
  EXPECT_EQ(afterwards, 0);
}

}  // namespace
