#include <filesystem>
#include <future>
#include <poll.h>
#include <thread>

#include <gtest/gtest.h>

#include "slp/api/Call.h"

namespace slp::api {
namespace {

using namespace std::chrono_literals;

TEST(Call, RunsCallbacksUntilItIsCancelled) {
  Call call;
  EXPECT_TRUE(call.run([] { return true; }));
  EXPECT_FALSE(call.run([] { return false; }));
  call.cancel();
  bool ran = false;
  EXPECT_FALSE(call.run([&] { return ran = true; }));
  EXPECT_FALSE(ran);
}

TEST(Call, WakesWhoeverWaitsWhenItIsCancelled) {
  Call call;
  pollfd waiting{call.wakeup().fd(), POLLIN, 0};
  EXPECT_EQ(poll(&waiting, 1, 0), 0);
  call.cancel();
  EXPECT_EQ(poll(&waiting, 1, 0), 1);
}

TEST(Call, WakesWhoeverBeginsToWaitAfterItsCancellation) {
  Call call;
  call.cancel();
  pollfd waiting{call.wakeup().fd(), POLLIN, 0};
  EXPECT_EQ(poll(&waiting, 1, 0), 1);
}

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(Call, HasNoDescriptorUntilSomebodyWaits) {
  const auto before = openDescriptors();
  Call call;
  call.run([] { return true; });
  EXPECT_EQ(openDescriptors(), before);
  call.wakeup();
  EXPECT_EQ(openDescriptors(), before + 1);
  call.wakeup();
  EXPECT_EQ(openDescriptors(), before + 1);
}

TEST(Call, LetsACallbackEndBeforeItsCancellerGoesOn) {
  Call call;
  std::promise<void> begun;
  std::promise<void> goOn;
  bool done = false;
  std::thread canceller([&] {
    begun.get_future().wait();
    call.cancel();
    goOn.set_value();
    call.awaitCallback(20s);
    EXPECT_TRUE(done);
  });
  call.run([&] {
    begun.set_value();
    goOn.get_future().wait();
    done = true;
    return true;
  });
  canceller.join();
}

TEST(Call, DoesNotWaitForEverForACallback) {
  Call call;
  std::promise<void> begun;
  std::promise<void> release;
  std::thread canceller([&] {
    begun.get_future().wait();
    call.cancel();
    call.awaitCallback(1ms);
    release.set_value();  // the callback waits for this thread
  });
  EXPECT_TRUE(call.run([&] {
    begun.set_value();
    release.get_future().wait();
    return true;
  }));
  canceller.join();
}

TEST(Call, DoesNotWaitForItself) {
  Call call;
  EXPECT_TRUE(call.run([&] {
    call.cancel();
    call.awaitCallback(24h);
    return true;
  }));
}

TEST(Call, IsOutOfItsCallbackWhenThatThrows) {
  Call call;
  EXPECT_THROW(call.run([]() -> bool { throw 1; }), int);
  std::thread([&] { call.awaitCallback(24h); }).join();
}

}  // namespace
}  // namespace slp::api
