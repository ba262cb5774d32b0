#include <gtest/gtest.h>

#include "slp/client/Resolver.h"
#include "slp/net/Wakeup.h"

namespace slp::test {
namespace {

TEST(Resolver, TakesNumericHostsAsTheyAre) {
  net::Wakeup cancel;
  cancel.signal();
  const auto v4 = client::resolveHost("10.0.0.1", cancel.fd());
  ASSERT_EQ(v4.size(), 1U);
  EXPECT_EQ(v4[0].text(), "10.0.0.1");
  const auto v6 = client::resolveHost("2001:db8::1", cancel.fd());
  ASSERT_EQ(v6.size(), 1U);
  EXPECT_EQ(v6[0].text(), "2001:db8::1");
}

TEST(Resolver, AsksTheSystemForNames) {
  net::Wakeup cancel;
  const auto addresses = client::resolveHost("localhost", cancel.fd());
  ASSERT_FALSE(addresses.empty());
  EXPECT_TRUE(addresses[0].isLoopback());
}

TEST(Resolver, KnowsNoEmptyHost) {
  net::Wakeup cancel;
  EXPECT_TRUE(client::resolveHost("", cancel.fd()).empty());
}

TEST(Resolver, EndsWhenCancelled) {
  net::Wakeup cancel;
  cancel.signal();
  // Either answer is right, as the system may be quicker; what matters is that none of them hangs or is used after it
  // went, which the sanitizers see.
  for (int i = 0; i < 50; ++i)
    EXPECT_LE(client::resolveHost("localhost", cancel.fd()).size(), 2U);
}

}  // namespace
}  // namespace slp::test
