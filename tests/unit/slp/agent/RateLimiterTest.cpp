#include <string>

#include <gtest/gtest.h>

#include "slp/agent/RateLimiter.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;

net::Address address(const std::string& text) {
  return net::Address::parse(text).value();
}

int admitted(RateLimiter& limiter, const net::Address& source, RateLimiter::TimePoint now, int datagrams) {
  int count = 0;
  for (int i = 0; i < datagrams; ++i)
    count += limiter.admit(source, now) ? 1 : 0;
  return count;
}

const RateLimiter::TimePoint kStart{1h};

TEST(RateLimiter, AdmitsABurstAndNoMore) {
  RateLimiter limiter(10, 20, 4);
  EXPECT_EQ(admitted(limiter, address("10.0.0.1"), kStart, 100), 20);
}

TEST(RateLimiter, FillsAtItsRateUpToTheBurst) {
  RateLimiter limiter(10, 20, 4);
  const auto source = address("10.0.0.1");
  admitted(limiter, source, kStart, 100);
  EXPECT_EQ(admitted(limiter, source, kStart + 99ms, 100), 0);
  EXPECT_EQ(admitted(limiter, source, kStart + 101ms, 100), 1);
  EXPECT_EQ(admitted(limiter, source, kStart + 1h, 100), 20);
}

TEST(RateLimiter, ServesOthersWhileOneFloods) {
  RateLimiter limiter(10, 20, 4);
  admitted(limiter, address("10.0.0.1"), kStart, 1'000);
  EXPECT_TRUE(limiter.admit(address("10.0.0.2"), kStart));
  EXPECT_TRUE(limiter.admit(address("fe80::1"), kStart));
}

TEST(RateLimiter, LetsASourceWaitForWhatItsRequestsTook) {
  RateLimiter limiter(10, 20, 4);
  const auto source = address("10.0.0.1");
  EXPECT_TRUE(limiter.admit(source, kStart));
  limiter.charge(source, 39, kStart);
  EXPECT_FALSE(limiter.allows(source, kStart + 2'050ms));
  EXPECT_TRUE(limiter.allows(source, kStart + 2'150ms));
  EXPECT_TRUE(limiter.allows(source, kStart + 2'150ms)) << "asking takes nothing";
  limiter.charge(address("127.0.0.1"), 1'000, kStart);
  EXPECT_TRUE(limiter.admit(address("127.0.0.1"), kStart));
}

TEST(RateLimiter, NeverLimitsThisMachine) {
  RateLimiter limiter(10, 20, 4);
  EXPECT_EQ(admitted(limiter, address("127.0.0.1"), kStart, 1'000), 1'000);
  EXPECT_EQ(admitted(limiter, address("::1"), kStart, 1'000), 1'000);
}

TEST(RateLimiter, ForgetsTheSourceThatWasSilentForLongest) {
  RateLimiter limiter(10, 20, 2);
  admitted(limiter, address("10.0.0.1"), kStart, 100);
  admitted(limiter, address("10.0.0.2"), kStart, 100);
  limiter.admit(address("10.0.0.1"), kStart);
  limiter.admit(address("10.0.0.3"), kStart);  // the second has to go
  EXPECT_FALSE(limiter.admit(address("10.0.0.1"), kStart));
  EXPECT_TRUE(limiter.admit(address("10.0.0.2"), kStart));
}

TEST(RateLimiter, TakesAClockThatStandsStillOrGoesBackForNoTimePassed) {
  RateLimiter limiter(10, 20, 2);
  const auto source = address("10.0.0.1");
  admitted(limiter, source, kStart, 100);
  EXPECT_FALSE(limiter.admit(source, kStart - 1h));
  EXPECT_FALSE(limiter.admit(source, kStart));
  EXPECT_EQ(admitted(limiter, source, kStart + 1s, 100), 10);
}

}  // namespace
}  // namespace slp::agent
