#include <gtest/gtest.h>

#include "host/security/Origin.h"

namespace {

using host::ClientRequest;

ClientRequest from(const std::string& address, const std::string& host, bool isForwarded = false) {
  ClientRequest request;
  request.remoteAddress = address;
  request.headers.host = host;
  request.headers.isForwarded = isForwarded;
  return request;
}

ClientRequest write(const std::string& origin, const std::string& host, const std::string& fetchSite = "",
                    bool isSecure = false) {
  ClientRequest request;
  request.headers.origin = origin;
  request.headers.host = host;
  request.headers.fetchSite = fetchSite;
  request.isSecure = isSecure;
  return request;
}

TEST(NetworkOfAClient, IsItsIpV4Address) {
  EXPECT_EQ(host::networkOf("192.0.2.7"), "192.0.2.7");
  EXPECT_EQ(host::networkOf("::ffff:192.0.2.7"), "192.0.2.7");
}

TEST(NetworkOfAClient, IsTheFirstHalfOfItsIpV6Address) {
  EXPECT_EQ(host::networkOf("2001:db8:0:1:2:3:4:5"), "2001:db8:0:1::/64");
  EXPECT_EQ(host::networkOf("2001:db8:0:1::9"), "2001:db8:0:1::/64");
  EXPECT_NE(host::networkOf("2001:db8:0:2::9"), "2001:db8:0:1::/64");
  EXPECT_EQ(host::networkOf("fe80::1%eth0"), "fe80::/64%eth0");
}

TEST(NetworkOfAClient, IsWhateverElseItIsCalled) {
  EXPECT_EQ(host::networkOf(""), "");
  EXPECT_EQ(host::networkOf("x"), "x");
}

TEST(Loopback, IsTheMachineItself) {
  for (const char* address : {"127.0.0.1", "127.255.0.9", "::1", "::ffff:127.0.0.1", "0:0:0:0:0:0:0:1"}) {
    EXPECT_TRUE(host::isLoopbackAddress(address)) << address;
  }
  for (const char* address : {"", "128.0.0.1", "192.0.2.7", "::", "::2", "::ffff:192.0.2.7", "localhost", "127.0.0",
                              "127.0.0.1.example", "2001:db8::127.0.0.1"}) {
    EXPECT_FALSE(host::isLoopbackAddress(address)) << address;
  }
}

TEST(LocalRequest, ComesFromThisMachineForThisMachine) {
  for (const char* host : {"localhost", "LocalHost:8443", "127.0.0.1", "127.0.0.1:80", "[::1]", "[::1]:8443"}) {
    EXPECT_TRUE(host::isLocal(from("127.0.0.1", host))) << host;
    EXPECT_TRUE(host::isLocal(from("::1", host))) << host;
    EXPECT_FALSE(host::isLocal(from("192.0.2.7", host))) << host;
    EXPECT_FALSE(host::isLocal(from("127.0.0.1", host, true))) << host;
  }
}

TEST(LocalRequest, IsNoneWhenItWasMeantForSomebodyElse) {
  for (const char* host : {"", "evil.example", "localhost.evil.example", "127.0.0.1.evil.example", "192.0.2.1", "[::1",
                           "[localhost]x", "::1", "evil.example:127.0.0.1"}) {
    EXPECT_FALSE(host::isLocal(from("127.0.0.1", host))) << host;
  }
}

TEST(ForeignOrigin, IsAnotherServer) {
  for (const char* origin : {"null", "https://evil.example", "http://server.example:8444", "http://server.example",
                             "server.example:8443", "https://server.example:8443.evil.example", "x"}) {
    EXPECT_NE(host::foreignOrigin(write(origin, "server.example:8443")), "") << origin;
  }
  EXPECT_NE(host::foreignOrigin(write("https://", "server.example")), "");
  EXPECT_NE(host::foreignOrigin(write("https://server.example", "")), "");
}

TEST(ForeignOrigin, IsNotThisServerNorNone) {
  EXPECT_EQ(host::foreignOrigin(write("", "server.example:8443")), "");
  EXPECT_EQ(host::foreignOrigin(write("https://server.example:8443", "server.example:8443")), "");
  EXPECT_EQ(host::foreignOrigin(write("https://Server.Example", "server.example")), "");
  EXPECT_EQ(host::foreignOrigin(write("http://[::1]:80", "[::1]:80")), "");
}

TEST(ForeignOrigin, IsThisServerWithoutTlsWhereItHasTls) {
  EXPECT_NE(host::foreignOrigin(write("http://a.example", "a.example", "", true)), "");
  EXPECT_EQ(host::foreignOrigin(write("HTTPS://a.example", "a.example", "", true)), "");
  EXPECT_EQ(host::foreignOrigin(write("https://a.example", "a.example")), "") << "a proxy may have the TLS";
}

TEST(ForeignOrigin, IsWhatTheBrowserSaysOfThePage) {
  for (const char* site : {"cross-site", "same-site", "x"}) {
    EXPECT_NE(host::foreignOrigin(write("", "a.example", site)), "") << site;
    EXPECT_NE(host::foreignOrigin(write("https://a.example", "a.example", site)), "") << site;
  }
  for (const char* site : {"", "same-origin", "none"}) {
    EXPECT_EQ(host::foreignOrigin(write("https://a.example", "a.example", site)), "") << site;
  }
}

}  // namespace
