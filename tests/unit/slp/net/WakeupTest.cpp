#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "slp/net/Wakeup.h"
#include "unit/slp/net/Sockets.h"

namespace slp::net {
namespace {

constexpr std::chrono::milliseconds kNow{0};

TEST(Wakeup, IsReadyFromSignalToClear) {
  Wakeup wakeup;
  EXPECT_FALSE(isReady(wakeup.fd(), POLLIN, kNow));
  wakeup.signal();
  EXPECT_TRUE(isReady(wakeup.fd(), POLLIN, kNow));
  wakeup.clear();
  EXPECT_FALSE(isReady(wakeup.fd(), POLLIN, kNow));
}

TEST(Wakeup, TakesSeveralSignalsForOne) {
  Wakeup wakeup;
  for (int i = 0; i < 3; ++i)
    wakeup.signal();
  wakeup.clear();
  EXPECT_FALSE(isReady(wakeup.fd(), POLLIN, kNow));
}

TEST(Wakeup, DoesNotBlockWhenThereIsNothingToClear) {
  Wakeup wakeup;
  wakeup.clear();
  EXPECT_FALSE(isReady(wakeup.fd(), POLLIN, kNow));
}

TEST(Wakeup, WakesAnotherThread) {
  Wakeup wakeup;
  std::thread other([&] { wakeup.signal(); });
  EXPECT_TRUE(isReady(wakeup.fd()));
  other.join();
}

}  // namespace
}  // namespace slp::net
