#include <gtest/gtest.h>

#include "host/security/LoginThrottle.h"

namespace {

using host::LoginThrottle;
using namespace std::chrono_literals;

constexpr const char* kHere = "192.0.2.7";
constexpr const char* kThere = "192.0.2.8";

class LoginThrottleTest : public testing::Test {
 protected:
  LoginThrottleTest() : mThrottle(5, 15min, [this] { return mNow; }) {}

  /// How long to wait for a login, in seconds; 0 when it is tried, which fails.
  long fail(const std::string& user = "admin", const std::string& address = kHere) {
    const auto wait = mThrottle.admit(user, address);
    return wait ? static_cast<long>(wait->count()) : 0;
  }
  /// Fails until the user is locked out.
  void lockOut(const std::string& user, const std::string& address) {
    for (int i = 0; i < 5; ++i) {
      while (fail(user, address) != 0)
        mNow += 1s;
    }
  }
  std::string address(int i) { return "198.51." + std::to_string(i / 250) + "." + std::to_string(i % 250); }

  LoginThrottle::Clock::time_point mNow = LoginThrottle::Clock::now();
  LoginThrottle mThrottle;
};

TEST_F(LoginThrottleTest, LetsTwoFailuresGo) {
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 1);
}

TEST_F(LoginThrottleTest, DoublesTheWaitAndThenLocksOut) {
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 1);
  mNow += 1s;
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 2);
  mNow += 1s;
  EXPECT_EQ(fail(), 1) << "asking too early costs nothing";
  EXPECT_FALSE(mThrottle.isLockedOut("admin", kHere));
  mNow += 1s;
  EXPECT_EQ(fail(), 0);
  EXPECT_TRUE(mThrottle.isLockedOut("admin", kHere));
  EXPECT_EQ(fail(), 900);
  mNow += 899s + 500ms;
  EXPECT_EQ(fail(), 1);
  mNow += 500ms;
  EXPECT_FALSE(mThrottle.isLockedOut("admin", kHere));
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 0) << "the count begins anew";
}

TEST_F(LoginThrottleTest, WaitsAMinuteAtMostBeforeTheLockOut) {
  mThrottle.setLimits(100, 15min);
  for (int i = 0; i < 20; ++i) {
    while (fail() != 0)
      mNow += 1s;
  }
  EXPECT_EQ(fail(), 60);
}

TEST_F(LoginThrottleTest, LocksOutOneUserFromOneAddress) {
  lockOut("admin", kHere);
  EXPECT_EQ(fail("admin", kThere), 0);
  EXPECT_EQ(fail("other", kHere), 0);
  EXPECT_GT(fail("admin", kHere), 0);
}

TEST_F(LoginThrottleTest, LocksOutOneIpV6AddressAndNotItsNeighbours) {
  lockOut("admin", "fe80::1%eth0");
  EXPECT_GT(fail("admin", "fe80::1%eth0"), 0);
  EXPECT_EQ(fail("admin", "fe80::2%eth0"), 0);
  EXPECT_EQ(fail("admin", "fe80::1%eth1"), 0) << "another machine, at another link";
}

TEST_F(LoginThrottleTest, TakesHalfAnIpV6AddressForOneThatTriesManyTimes) {
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(fail("user" + std::to_string(i), "2001:db8::" + std::to_string(i + 1)), 0);
  EXPECT_EQ(fail("admin", "2001:db8::ffff:1"), 900);
  EXPECT_EQ(fail("admin", "2001:db8:0:1::1"), 0);
}

TEST_F(LoginThrottleTest, LetsTheUserInWhoIsKnownWhileHisNeighboursTry) {
  EXPECT_EQ(fail("admin", "2001:db8::1"), 0);
  mThrottle.succeeded("admin", "2001:db8::1");
  for (int i = 0; i < 40; ++i)
    (void)fail("admin", "2001:db8::1:" + std::to_string(i + 1));
  EXPECT_EQ(fail("admin", "2001:db8::1:ffff"), 900);
  EXPECT_EQ(fail("admin", "2001:db8::1"), 0);
  EXPECT_FALSE(mThrottle.isLockedOut("admin", "2001:db8::1"));
}

TEST_F(LoginThrottleTest, BeginsAnewAfterALogin) {
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(fail(), 0);
  mThrottle.succeeded("admin", kHere);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(fail(), 0);
}

TEST_F(LoginThrottleTest, CountsWhatIsStillBeingTried) {
  mThrottle.setLimits(1, 15min);
  EXPECT_EQ(fail(), 0);
  EXPECT_EQ(fail(), 900);
  mThrottle.succeeded("admin", kHere);
  EXPECT_EQ(fail(), 0);
}

TEST_F(LoginThrottleTest, ForgetsWhatWasNotTried) {
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(fail(), 0);
    mThrottle.withdrawn("admin", kHere);
  }
}

TEST_F(LoginThrottleTest, LocksAnAddressOutThatTriesManyUsers) {
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(fail("user" + std::to_string(i)), 0);
  EXPECT_EQ(fail("another"), 900);
  EXPECT_TRUE(mThrottle.isLockedOut("another", kHere));
  EXPECT_EQ(fail("another", kThere), 0);
}

TEST_F(LoginThrottleTest, IsNotForgottenForAnAddressThatHasAnAccount) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(fail("user" + std::to_string(i)), 0);
    EXPECT_EQ(fail("user" + std::to_string(i)), 0);
    if (i == 9) break;
    EXPECT_EQ(fail("attacker"), 0);
    mThrottle.succeeded("attacker", kHere);
  }
  EXPECT_EQ(fail("another"), 900);
}

TEST_F(LoginThrottleTest, SlowsStrangersDownWhenManyAddressesTryAUser) {
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(fail("admin", address(i)), 0);
  EXPECT_EQ(fail("admin", address(20)), 10);
  EXPECT_FALSE(mThrottle.isLockedOut("admin", address(20)));
  mNow += 10s;
  EXPECT_EQ(fail("admin", address(20)), 0);
  EXPECT_EQ(fail("admin", address(21)), 10);
  EXPECT_EQ(fail("other", address(21)), 0);
}

TEST_F(LoginThrottleTest, LetsTheUserInWhoIsKnownOrOnTheMachineWhileStrangersTry) {
  EXPECT_EQ(fail("admin", kHere), 0);
  mThrottle.succeeded("admin", kHere);
  for (int i = 0; i < 500; ++i) {
    (void)fail("admin", address(i));
    mNow += 1s;
  }
  EXPECT_GT(fail("admin", kThere), 0);
  EXPECT_EQ(fail("admin", kHere), 0);
  EXPECT_EQ(fail("admin", "127.0.0.1"), 0);
  EXPECT_EQ(fail("admin", "::1"), 0);
}

TEST_F(LoginThrottleTest, TakesOverNewLimits) {
  lockOut("admin", kHere);
  mThrottle.setLimits(10, 1min);
  EXPECT_LE(fail(), 60);
  mNow += 1min;
  EXPECT_EQ(fail(), 0);
}

TEST_F(LoginThrottleTest, IsBounded) {
  lockOut("admin", kHere);
  for (int i = 0; i < 5000; ++i) {
    mNow += 1ms;
    (void)fail("user", address(i));
    mThrottle.withdrawn("other" + std::to_string(i), address(i));
  }
  EXPECT_GT(fail("user", address(4999)), 0);
}

}  // namespace
