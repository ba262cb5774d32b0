#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "slp/net/Traffic.h"

namespace slp::net {
namespace {

class Traffic : public testing::Test {
 protected:
  ~Traffic() override { setTrafficCounter(nullptr); }

  static std::string kindOf(const std::string& message) {
    std::string told;
    setTrafficCounter([&](Fate, const char* kind) { told = kind; });
    countMessage(Fate::kReceived, message);
    return told;
  }
};

TEST_F(Traffic, IsToldByTheNamesOfItsMessages) {
  EXPECT_EQ(kindOf("\x02\x01"), "SrvRqst");
  EXPECT_EQ(kindOf("\x02\x05"), "SrvAck");
  EXPECT_EQ(kindOf("\x02\x0B"), "SAAdvert");
}

TEST_F(Traffic, IsUnknownWhenItIsNoMessage) {
  for (const std::string& bytes : {std::string(), std::string("\x02"), std::string("\x01\x01"),
                                   std::string("\x02\0", 2), std::string("\x02\x0C"), std::string("\x02\xFF")})
    EXPECT_EQ(kindOf(bytes), "unknown") << bytes.size();
}

TEST_F(Traffic, IsToldToNobodyOnceTheCounterHasGone) {
  int calls = 0;
  setTrafficCounter([&](Fate, const char*) { ++calls; });
  countMessage(Fate::kSent, std::string_view("\x02\x01"));
  setTrafficCounter(nullptr);
  countMessage(Fate::kSent, std::string_view("\x02\x01"));
  EXPECT_EQ(calls, 1);
}

TEST_F(Traffic, MayHaveItsCounterReplaceItself) {
  int calls = 0;
  setTrafficCounter([&](Fate, const char*) {
    ++calls;
    setTrafficCounter(nullptr);
  });
  countMessage(Fate::kSent, std::string_view("\x02\x01"));
  countMessage(Fate::kSent, std::string_view("\x02\x01"));
  EXPECT_EQ(calls, 1);
}

TEST_F(Traffic, CallsNoCounterThatHasBeenReplaced) {
  std::atomic<bool> stop = false;
  std::vector<std::thread> senders;
  for (int i = 0; i < 2; ++i) {
    senders.emplace_back([&] {
      while (!stop)
        countMessage(Fate::kSent, std::string_view("\x02\x01"));
    });
  }
  for (int i = 0; i < 200; ++i) {
    const auto isAlive = std::make_shared<std::atomic<bool>>(true);
    setTrafficCounter([&, isAlive](Fate, const char*) { EXPECT_TRUE(*isAlive); });
    setTrafficCounter(nullptr);
    *isAlive = false;
  }
  stop = true;
  for (std::thread& sender : senders)
    sender.join();
}

}  // namespace
}  // namespace slp::net
