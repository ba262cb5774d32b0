#include <arpa/inet.h>
#include <cstring>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/utils/NetlinkMessages.h"

namespace {

using utils::netlink::Bytes;
using utils::netlink::nextMessage;
using utils::netlink::readAddress;
using utils::netlink::readDefaultRoute;
using utils::netlink::readLink;

/// Puts bytes together as the kernel does.
class Payload {
 public:
  template <typename Fixed>
  explicit Payload(const Fixed& fixed) {
    append(&fixed, sizeof fixed);
  }

  Payload& attribute(unsigned short type, const void* data, std::size_t size) {
    const rtattr header{static_cast<unsigned short>(sizeof(rtattr) + size), type};
    append(&header, sizeof header);
    append(data, size);
    return *this;
  }
  Payload& number(unsigned short type, std::uint32_t value) { return attribute(type, &value, sizeof value); }
  Payload& text(unsigned short type, const std::string& value) {
    return attribute(type, value.c_str(), value.size() + 1);
  }
  Payload& address(unsigned short type, int family, const char* value) {
    in6_addr binary{};
    EXPECT_EQ(inet_pton(family, value, &binary), 1);
    return attribute(type, &binary, family == AF_INET ? 4 : 16);
  }

  Bytes bytes() const { return mBytes; }
  operator Bytes() const { return mBytes; }

 private:
  void append(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::byte*>(data);
    mBytes.insert(mBytes.end(), bytes, bytes + size);
    mBytes.resize((mBytes.size() + 3) & ~std::size_t{3});
  }

  std::vector<std::byte> mBytes;
};

std::vector<std::byte> message(std::uint32_t length, std::uint16_t type, Bytes payload) {
  nlmsghdr header{};
  header.nlmsg_len = length;
  header.nlmsg_type = type;
  header.nlmsg_seq = 7;
  std::vector<std::byte> bytes(sizeof header + payload.size());
  std::memcpy(bytes.data(), &header, sizeof header);
  std::copy(payload.begin(), payload.end(), bytes.begin() + sizeof header);
  return bytes;
}

Payload link(int index) {
  ifinfomsg fixed{};
  fixed.ifi_index = index;
  fixed.ifi_flags = 1;
  return Payload(fixed);
}

Payload addressOf(int family, unsigned char flags = 0) {
  ifaddrmsg fixed{};
  fixed.ifa_family = static_cast<unsigned char>(family);
  fixed.ifa_flags = flags;
  fixed.ifa_index = 3;
  return Payload(fixed);
}

Payload route(unsigned char length = 0, unsigned char type = RTN_UNICAST, unsigned char table = RT_TABLE_MAIN) {
  rtmsg fixed{};
  fixed.rtm_family = AF_INET;
  fixed.rtm_dst_len = length;
  fixed.rtm_type = type;
  fixed.rtm_table = table;
  return Payload(fixed);
}

TEST(NetlinkMessages, AreCutOffOneByOne) {
  const std::byte payload[4] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}};
  auto bytes = message(sizeof(nlmsghdr) + 3, RTM_NEWLINK, payload);  // one byte of padding
  const auto second = message(sizeof(nlmsghdr), NLMSG_DONE, {});
  bytes.insert(bytes.end(), second.begin(), second.end());
  Bytes rest = bytes;
  const auto first = nextMessage(rest);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->type, RTM_NEWLINK);
  EXPECT_EQ(first->sequence, 7u);
  EXPECT_EQ(first->payload.size(), 3u);
  const auto last = nextMessage(rest);
  ASSERT_TRUE(last);
  EXPECT_EQ(last->type, NLMSG_DONE);
  EXPECT_TRUE(last->payload.empty());
  EXPECT_FALSE(nextMessage(rest));
}

TEST(NetlinkMessages, ThatLieAboutTheirLengthAreTheEnd) {
  for (const std::uint32_t length : {0u, 1u, 15u, 17u, 0xFFFFFFFFu}) {
    const auto bytes = message(length, RTM_NEWLINK, {});
    Bytes rest = bytes;
    EXPECT_FALSE(nextMessage(rest)) << length;
  }
  Bytes nothing;
  EXPECT_FALSE(nextMessage(nothing));
}

TEST(NetlinkMessages, HoldLinks) {
  const unsigned char mac[] = {0x52, 0x54, 0x00, 0x12, 0x34, 0xAB};
  const auto read = readLink(link(3).text(IFLA_IFNAME, "eth0").attribute(IFLA_ADDRESS, mac, sizeof mac));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->index, 3);
  EXPECT_EQ(read->flags, 1u);
  EXPECT_EQ(read->name, "eth0");
  EXPECT_EQ(read->mac, "52:54:00:12:34:ab");
}

TEST(NetlinkMessages, KnowNoMacButOneOfSixBytes) {
  const unsigned char zeros[6] = {};
  const unsigned char tunnel[4] = {10, 0, 0, 1};
  EXPECT_EQ(readLink(link(1).text(IFLA_IFNAME, "lo").attribute(IFLA_ADDRESS, zeros, 6))->mac, "");
  EXPECT_EQ(readLink(link(1).text(IFLA_IFNAME, "tun0").attribute(IFLA_ADDRESS, tunnel, 4))->mac, "");
}

TEST(NetlinkMessages, HoldNoLinkWithoutAName) {
  EXPECT_FALSE(readLink(link(3)));
  EXPECT_FALSE(readLink(link(3).bytes().first(8)));
}

TEST(NetlinkMessages, HoldAddresses) {
  const auto read = readAddress(addressOf(AF_INET6).address(IFA_ADDRESS, AF_INET6, "2001:db8::1"));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->linkIndex, 3);
  EXPECT_EQ(read->family, AF_INET6);
  EXPECT_EQ(read->text, "2001:db8::1");
}

TEST(NetlinkMessages, TellTheNearEndOfAPointToPointLink) {
  for (const bool localFirst : {true, false}) {
    auto payload = addressOf(AF_INET);
    if (localFirst) payload.address(IFA_LOCAL, AF_INET, "10.0.0.1");
    payload.address(IFA_ADDRESS, AF_INET, "10.0.0.2");
    if (!localFirst) payload.address(IFA_LOCAL, AF_INET, "10.0.0.1");
    const auto read = readAddress(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->text, "10.0.0.1");
  }
}

TEST(NetlinkMessages, TakeTheLongFlagsOfAnAddress) {
  auto payload = addressOf(AF_INET6, IFA_F_PERMANENT).address(IFA_ADDRESS, AF_INET6, "2001:db8::1");
  EXPECT_EQ(readAddress(payload)->flags, static_cast<unsigned int>(IFA_F_PERMANENT));
  EXPECT_EQ(readAddress(payload.number(IFA_FLAGS, IFA_F_MANAGETEMPADDR))->flags,
            static_cast<unsigned int>(IFA_F_MANAGETEMPADDR));
}

TEST(NetlinkMessages, HoldNoAddressOfAnotherLengthOrFamily) {
  EXPECT_FALSE(readAddress(addressOf(AF_INET).address(IFA_ADDRESS, AF_INET6, "::1")));
  EXPECT_FALSE(readAddress(addressOf(AF_INET6).address(IFA_ADDRESS, AF_INET, "10.0.0.1")));
  EXPECT_FALSE(readAddress(addressOf(AF_PACKET).address(IFA_ADDRESS, AF_INET, "10.0.0.1")));
  EXPECT_FALSE(readAddress(addressOf(AF_INET)));
}

TEST(NetlinkMessages, HoldDefaultRoutes) {
  const auto read = readDefaultRoute(route().number(RTA_OIF, 5).number(RTA_PRIORITY, 100));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->linkIndex, 5);
  EXPECT_EQ(read->family, AF_INET);
  EXPECT_EQ(read->metric, 100u);
}

TEST(NetlinkMessages, TakeTheFirstHopOfAMultipathRoute) {
  rtnexthop hops[2] = {};
  hops[0].rtnh_ifindex = 4;
  hops[1].rtnh_ifindex = 5;
  EXPECT_EQ(readDefaultRoute(route().attribute(RTA_MULTIPATH, hops, sizeof hops))->linkIndex, 4);
  EXPECT_FALSE(readDefaultRoute(route().attribute(RTA_MULTIPATH, hops, 3)));
}

TEST(NetlinkMessages, HoldNoOtherRoutes) {
  EXPECT_FALSE(readDefaultRoute(route(24).number(RTA_OIF, 5)));
  EXPECT_FALSE(readDefaultRoute(route(0, RTN_UNREACHABLE).number(RTA_OIF, 5)));
  EXPECT_FALSE(readDefaultRoute(route(0, RTN_UNICAST, RT_TABLE_LOCAL).number(RTA_OIF, 5)));
  EXPECT_FALSE(readDefaultRoute(route()));
}

TEST(NetlinkMessages, BearWhateverIsCutShort) {
  const unsigned char mac[] = {1, 2, 3, 4, 5, 6};
  const auto linkBytes = link(3).text(IFLA_IFNAME, "eth0").attribute(IFLA_ADDRESS, mac, sizeof mac);
  const auto addressBytes = addressOf(AF_INET).address(IFA_LOCAL, AF_INET, "10.0.0.1").number(IFA_FLAGS, 0);
  const auto routeBytes = route().number(RTA_PRIORITY, 1).number(RTA_OIF, 5);
  // A copy of exactly that length lets the sanitizer see what is read beyond it.
  const auto cut = [](Bytes bytes, std::size_t length) {
    return std::vector<std::byte>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
  };
  for (std::size_t length = 0; length < linkBytes.bytes().size(); ++length) {
    const auto read = readLink(cut(linkBytes, length));
    if (read) {
      EXPECT_EQ(read->name, "eth0");
    }
  }
  for (std::size_t length = 0; length < addressBytes.bytes().size(); ++length) {
    const auto read = readAddress(cut(addressBytes, length));
    if (read) {
      EXPECT_EQ(read->text, "10.0.0.1");
    }
  }
  for (std::size_t length = 0; length < routeBytes.bytes().size(); ++length) {
    EXPECT_FALSE(readDefaultRoute(cut(routeBytes, length))) << length;
  }
}

TEST(NetlinkMessages, BearAttributesThatLieAboutTheirLength) {
  for (const int length : {0, 1, 3, 5, 200, 65535}) {
    auto payload = link(3);
    const rtattr header{static_cast<unsigned short>(length), IFLA_IFNAME};
    std::vector<std::byte> bytes(payload.bytes().begin(), payload.bytes().end());
    const auto* raw = reinterpret_cast<const std::byte*>(&header);
    bytes.insert(bytes.end(), raw, raw + sizeof header);
    EXPECT_FALSE(readLink(bytes)) << length;
  }
}

}  // namespace
