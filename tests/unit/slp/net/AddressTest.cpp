#include <net/if.h>
#include <set>

#include <gtest/gtest.h>

#include "slp/net/Address.h"
#include "slp/net/SocketAddress.h"

namespace slp::net {
namespace {

struct TextCase {
  const char* name;
  std::string text;
  const char* written;  ///< null: no address
};

class AddressText : public testing::TestWithParam<TextCase> {};

TEST_P(AddressText, IsReadAndWritten) {
  const auto address = Address::parse(GetParam().text);
  ASSERT_EQ(address.has_value(), GetParam().written != nullptr);
  if (address) {
    EXPECT_EQ(address->text(), GetParam().written);
  }
}

const TextCase kTexts[] = {
    {"V4", "10.77.0.1", "10.77.0.1"},
    {"V6", "2001:DB8:0:0::5", "2001:db8::5"},
    {"V6Loopback", "::1", "::1"},
    {"V4MappedIntoV6", "::ffff:10.0.0.9", "10.0.0.9"},
    {"ZoneByIndex", "fe80::1%7", "fe80::1"},
    {"ZoneByName", "fe80::1%lo", "fe80::1"},
    {"ZoneOfAGlobalAddress", "2001:db8::5%7", "2001:db8::5"},
    {"Empty", "", nullptr},
    {"HostName", "server.example", nullptr},
    {"ThreeNumbers", "10.0.1", nullptr},
    {"NumberTooLarge", "10.0.0.256", nullptr},
    {"LeadingZero", "010.0.0.1", nullptr},
    {"BlankBehind", "10.0.0.1 ", nullptr},
    {"Brackets", "[::1]", nullptr},
    {"Port", "10.0.0.1:427", nullptr},
    {"ZoneOfV4", "10.0.0.1%lo", nullptr},
    {"EmptyZone", "fe80::1%", nullptr},
    {"ZoneZero", "fe80::1%0", nullptr},
    {"UnknownZone", "fe80::1%nosuchinterface", nullptr},
    {"ZoneTooLong", "fe80::1%" + std::string(300, 'x'), nullptr},
    {"TooLong", std::string(300, '1'), nullptr},
    {"ZeroByte", std::string("10.0.0.1\0", 9), nullptr},
    {"ZeroByteInZone", std::string("fe80::1%l\0o", 11), nullptr},
};

INSTANTIATE_TEST_SUITE_P(Texts, AddressText, testing::ValuesIn(kTexts), [](const auto& row) { return row.param.name; });

TEST(Address, KeepsTheZoneOfALinkLocalOneOnly) {
  EXPECT_EQ(Address::parse("fe80::1%7")->zone, 7u);
  EXPECT_EQ(Address::parse("fe80::1%lo")->zone, if_nametoindex("lo"));
  EXPECT_EQ(Address::parse("fe80::1")->zone, 0u);
  EXPECT_EQ(Address::parse("2001:db8::5%7")->zone, 0u);
}

TEST(Address, OfTheNetworkHasNoZone) {
  EXPECT_EQ(Address::parseForeign("fe80::1%nosuchinterface"), Address::parse("fe80::1"));
  EXPECT_EQ(Address::parseForeign("10.0.0.1"), Address::parse("10.0.0.1"));
  EXPECT_EQ(Address::parseForeign("%1"), std::nullopt);
}

struct KindCase {
  const char* name;
  const char* text;
  bool loopback;
  bool linkLocal;
  bool multicast;
};

class AddressKind : public testing::TestWithParam<KindCase> {};

TEST_P(AddressKind, IsTold) {
  const auto address = Address::parse(GetParam().text);
  ASSERT_TRUE(address);
  EXPECT_EQ(address->isLoopback(), GetParam().loopback);
  EXPECT_EQ(address->isLinkLocal(), GetParam().linkLocal);
  EXPECT_EQ(address->isMulticast(), GetParam().multicast);
}

const KindCase kKinds[] = {
    {"V4", "192.0.2.1", false, false, false},
    {"V4Loopback", "127.8.9.10", true, false, false},
    {"V4LinkLocal", "169.254.1.1", false, true, false},
    {"V4BesideLinkLocal", "169.253.1.1", false, false, false},
    {"V4FirstGroup", "224.0.0.0", false, false, true},
    {"V4LastGroup", "239.255.255.255", false, false, true},
    {"V4BehindGroups", "240.0.0.0", false, false, false},
    {"V6", "2001:db8::1", false, false, false},
    {"V6Loopback", "::1", true, false, false},
    {"V6Unspecified", "::", false, false, false},
    {"V6LinkLocal", "fe80::1", false, true, false},
    {"V6LastLinkLocal", "febf::1", false, true, false},
    {"V6BehindLinkLocal", "fec0::1", false, false, false},
    {"V6Group", "ff02::116", false, false, true},
};

INSTANTIATE_TEST_SUITE_P(Kinds, AddressKind, testing::ValuesIn(kKinds), [](const auto& row) { return row.param.name; });

struct NetworkCase {
  const char* name;
  const char* left;
  const char* right;
  unsigned prefix;
  bool same;
};

class AddressNetwork : public testing::TestWithParam<NetworkCase> {};

TEST_P(AddressNetwork, IsCompared) {
  const auto left = Address::parse(GetParam().left);
  const auto right = Address::parse(GetParam().right);
  ASSERT_TRUE(left && right);
  EXPECT_EQ(sameNetwork(*left, *right, GetParam().prefix), GetParam().same);
  EXPECT_EQ(sameNetwork(*right, *left, GetParam().prefix), GetParam().same);
}

const NetworkCase kNetworks[] = {
    {"WholeBytes", "10.1.2.3", "10.1.2.200", 24, true},
    {"WholeBytesDiffer", "10.1.2.3", "10.1.3.3", 24, false},
    {"LastBitInside", "10.1.2.64", "10.1.2.127", 26, true},
    {"FirstBitOutside", "10.1.2.63", "10.1.2.64", 26, false},
    {"NoBits", "10.1.2.3", "192.0.2.1", 0, true},
    {"AllBits", "10.1.2.3", "10.1.2.3", 32, true},
    {"AllBitsDiffer", "10.1.2.3", "10.1.2.2", 32, false},
    {"MoreBitsThanThereAre", "10.1.2.3", "10.1.2.3", 500, true},
    {"V6", "2001:db8::1", "2001:db8::ffff:1", 64, true},
    {"V6Differs", "2001:db8::1", "2001:db8:0:1::1", 64, false},
    {"V6AllBits", "2001:db8::1", "2001:db8::1", 128, true},
    {"V6MoreBitsThanThereAre", "2001:db8::1", "2001:db8::1", 500, true},
    {"Families", "::", "0.0.0.0", 0, false},
};

INSTANTIATE_TEST_SUITE_P(Networks, AddressNetwork, testing::ValuesIn(kNetworks),
                         [](const auto& row) { return row.param.name; });

TEST(Endpoint, IsWrittenWithPortAndZone) {
  EXPECT_EQ((Endpoint{*Address::parse("10.0.0.1"), 427}).text(), "10.0.0.1:427");
  EXPECT_EQ((Endpoint{*Address::parse("::1"), 427}).text(), "[::1]:427");
  EXPECT_EQ((Endpoint{*Address::parse("fe80::1%7"), 80}).text(), "[fe80::1%7]:80");
}

TEST(Endpoint, SurvivesTheFormOfTheSocketCalls) {
  for (const char* const text : {"10.0.0.1", "2001:db8::5", "fe80::1%7"}) {
    const Endpoint endpoint{*Address::parse(text), 427};
    const SocketAddress form(endpoint);
    EXPECT_EQ(endpointOf(form.get(), form.length), endpoint) << text;
    EXPECT_EQ(endpointOf(form.get(), form.length - 1u), std::nullopt) << text;
  }
}

TEST(Endpoint, IsNotReadFromOtherFamiliesOrNothing) {
  sockaddr_storage other{};
  other.ss_family = AF_UNIX;
  EXPECT_EQ(endpointOf(&other, sizeof(other)), std::nullopt);
  EXPECT_EQ(endpointOf(&other, 0), std::nullopt);
  EXPECT_EQ(endpointOf(nullptr, 100), std::nullopt);
}

TEST(AddressHash, TellsNeighboursApart) {
  std::set<std::size_t> hashes;
  for (unsigned i = 0; i < 256; ++i) {
    hashes.insert(AddressHash()(*Address::parse("10.0.0." + std::to_string(i))));
    hashes.insert(AddressHash()(*Address::parse("fe80::1%" + std::to_string(i + 1))));
  }
  EXPECT_EQ(hashes.size(), 512u);
  EXPECT_EQ(AddressHash()(*Address::parse("::1")), AddressHash()(Address::loopback(Family::kV6)));
}

}  // namespace
}  // namespace slp::net
