#include <string>

#include <gtest/gtest.h>

#include "framework/utils/IpAddress.h"

namespace {

TEST(IpAddress, KnowsIPv4) {
  for (const char* text : {"0.0.0.0", "10.0.0.1", "255.255.255.255"})
    EXPECT_TRUE(utils::isIPv4Text(text)) << text;
  for (const char* text : {"", "10.0.0", "10.0.0.0.1", "256.0.0.1", "10.0.0.01", "0x0a.0.0.1", "10.0.0.1 ", " 10.0.0.1",
                           "10.0.0.1/24", "::1", "host", "167772161", "10.0.0.-1"}) {
    EXPECT_FALSE(utils::isIPv4Text(text)) << text;
  }
  EXPECT_FALSE(utils::isIPv4Text(std::string("10.0.0.1\0", 9)));
}

TEST(IpAddress, KnowsIPv6) {
  for (const char* text : {"::", "::1", "2001:db8::1", "FE80::1", "fe80::1%eth0", "fe80::1%2", "::ffff:10.0.0.1"}) {
    EXPECT_TRUE(utils::isIPv6Text(text)) << text;
  }
  for (const char* text :
       {"", ":", "10.0.0.1", "[::1]", "2001:db8::1/64", "2001::db8::1", "fe80::1%", "%eth0",
        "12345::", "fe80::1%eth0%eth1", "fe80::1%et/h0", "fe80::1%aaaaaaaaaaaaaaaa", "fe80::1%e h"}) {
    EXPECT_FALSE(utils::isIPv6Text(text)) << text;
  }
  EXPECT_FALSE(utils::isIPv6Text(std::string(100'000, ':')));
}

}  // namespace
