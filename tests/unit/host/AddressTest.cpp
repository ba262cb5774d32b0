#include <gtest/gtest.h>

#include "host/config/ListenAddress.h"
#include "host/net/Address.h"

namespace {

using host::Link;
using host::ListenAddress;

TEST(Address, KnowsAddressesOfBothFamilies) {
  for (const char* text : {"10.0.0.1", "255.255.255.255", "::", "2001:db8::1", "fe80::1%eth0", "::ffff:10.0.0.1"}) {
    EXPECT_TRUE(host::isIpAddress(text)) << text;
  }
  for (const char* text : {"", "10.0.0", "10.0.0.256", "10.0.0.1 ", "[::1]", "::1%", "::1%a/b", "host", "1"}) {
    EXPECT_FALSE(host::isIpAddress(text)) << text;
  }
}

TEST(Address, KnowsHostNames) {
  for (const char* text : {"a", "server-1", "server_1.example.com", "example.com.", "1a", "10.example"}) {
    EXPECT_TRUE(host::isHostName(text)) << text;
  }
  const std::string longLabel(64, 'a');
  std::string longName;
  for (int i = 0; i < 64; ++i) {
    longName += "abc.";
  }
  for (const std::string& text :
       {std::string(), std::string("."), std::string("a..b"), std::string("-a"), std::string("a-"), std::string("a b"),
        std::string("a/b"), std::string("a:1"), std::string("a@b"), std::string("10.0.0.1"), std::string("10.1"),
        std::string("1"), std::string("a.0x7f"), std::string("\xC3\xA9.example"), std::string("a\0b", 3), longLabel,
        longName}) {
    EXPECT_FALSE(host::isHostName(text)) << text;
  }
}

TEST(Address, KnowsWhatPeersCannotBeReachedUnder) {
  for (const char* text : {"", "name", "0.0.0.0", "0.1.2.3", "127.0.0.1", "127.9.9.9", "224.0.0.1", "255.255.255.255",
                           "::", "::1", "ff02::1", "fe80::1", "::ffff:127.0.0.1"}) {
    EXPECT_TRUE(host::isUnusableForPeers(text)) << text;
  }
  for (const char* text : {"10.0.0.1", "192.0.2.1", "2001:db8::1", "fd00::1", "fe80::1%eth0", "::2"}) {
    EXPECT_FALSE(host::isUnusableForPeers(text)) << text;
  }
}

TEST(Address, PutsIpV6InBrackets) {
  EXPECT_EQ(host::bracketed("::1"), "[::1]");
  EXPECT_EQ(host::bracketed("10.0.0.1"), "10.0.0.1");
  EXPECT_EQ(host::bracketed("name"), "name");
}

struct OnLink {
  const char* address;
  Link link;
  bool expected;
};

TEST(Address, IsOnALinkWhenItSharesThePrefix) {
  const OnLink table[] = {
      {"10.0.0.5", {"10.0.0.1", 24}, true},
      {"10.0.1.5", {"10.0.0.1", 24}, false},
      {"10.0.1.5", {"10.0.0.1", 23}, true},
      {"10.0.0.2", {"10.0.0.1", 31}, false},
      {"10.0.0.1", {"10.0.0.1", 32}, true},
      {"9.9.9.9", {"10.0.0.1", 0}, true},
      {"10.0.0.5", {"10.0.0.1", 33}, false},
      {"2001:db8::5", {"2001:db8::1", 64}, true},
      {"2001:db8:1::5", {"2001:db8::1", 64}, false},
      {"2001:db8::5", {"2001:db8::1", 126}, false},
      {"2001:db8::5", {"2001:db8::4", 127}, true},
      {"fe80::5%eth0", {"fe80::1", 64}, true},
      {"10.0.0.5", {"::ffff:10.0.0.1", 120}, false},
      {"name", {"10.0.0.1", 0}, false},
      {"", {"10.0.0.1", 0}, false},
      {"10.0.0.5", {"", 0}, false},
  };
  for (const OnLink& row : table) {
    EXPECT_EQ(host::isOnLink(row.address, {row.link}), row.expected)
        << row.address << " in " << row.link.address << "/" << row.link.prefixLength;
  }
  EXPECT_TRUE(host::isOnLink("10.0.0.5", {{"192.0.2.1", 24}, {"10.0.0.1", 24}}));
  EXPECT_FALSE(host::isOnLink("10.0.0.5", {}));
}

TEST(Address, ReadsTheLinksOfTheNamedInterfaces) {
  const auto links = host::linksOf({"lo"});
  ASSERT_FALSE(links.empty());
  EXPECT_EQ(links.front().address, "127.0.0.1");
  EXPECT_EQ(links.front().prefixLength, 8U);
  EXPECT_TRUE(host::linksOf({}).empty());
}

TEST(ListenAddress, ReadsAddressAndPort) {
  const std::pair<const char*, ListenAddress> table[] = {
      {"0.0.0.0:8443", {"0.0.0.0", 8443}},        {"[::]:0", {"::", 0}},  {"192.0.2.1:65535", {"192.0.2.1", 65535}},
      {"[2001:db8::1]:1", {"2001:db8::1", 1}},    {"*:8443", {"", 8443}}, {":8443", {"", 8443}},
      {"[fe80::1%eth0]:80", {"fe80::1%eth0", 80}}};
  for (const auto& [text, expected] : table) {
    const auto listen = host::parseListenAddress(text);
    ASSERT_TRUE(listen) << text << ": " << listen.error();
    EXPECT_EQ(*listen, expected) << text;
  }
}

TEST(ListenAddress, RefusesEverythingElse) {
  for (const char* text :
       {"", "8443", "10.0.0.1", "10.0.0.1:", "10.0.0.1:x", "10.0.0.1:-1", "10.0.0.1:65536", "10.0.0.1: 80", "::1:8443",
        "[::1]", "[]:80", "[10.0.0.1]:80", "localhost:80", "[::1:80", "10.0.0.256:80", "**:80", "10.0.0.1:80:80"}) {
    const auto listen = host::parseListenAddress(text);
    ASSERT_FALSE(listen) << text;
    EXPECT_TRUE(listen.error().starts_with("\"" + std::string(text) + "\" is not an address and port")) << text;
  }
}

TEST(ListenAddress, IsWrittenAsItIsRead) {
  for (const char* text : {"0.0.0.0:8443", "[::]:0", "*:1", "[fe80::1%eth0]:80"}) {
    EXPECT_EQ(toString(*host::parseListenAddress(text)), text);
  }
}

}  // namespace
