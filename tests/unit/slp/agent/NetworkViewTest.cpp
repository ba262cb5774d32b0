#include <gtest/gtest.h>

#include "slp/agent/NetworkView.h"

namespace slp::agent {
namespace {

net::Address address(const std::string& text) {
  return net::Address::parse(text).value();
}

std::vector<net::Interface> interfaces() {
  net::Interface lo{1, "lo", true, false, {{address("127.0.0.1"), 8}, {address("::1"), 128}}};
  net::Interface lan{2, "lan", false, true, {{address("10.0.0.1"), 24}, {address("2001:db8::1"), 64}}};
  net::Address linkLocal = address("fe80::1");
  linkLocal.zone = 2;
  lan.addresses.push_back({linkLocal, 64});
  net::Interface wan{3, "wan", false, true, {{address("192.0.2.1"), 24}}};
  return {lo, lan, wan};
}

struct Row {
  std::string name;
  std::vector<std::string> wanted;
  std::string from;
  std::string to;
  std::uint32_t interface;
  std::string expected;  ///< "own address, g for a group, l for on-link > interface of the answer"; "-": not answered
};

class NetworkViewTest : public testing::TestWithParam<Row> {};

TEST_P(NetworkViewTest, TellsWhereADatagramCameFromAndWhereItsAnswerGoes) {
  const Row& row = GetParam();
  NetworkView view(row.wanted);
  view.set(interfaces());
  net::Datagram datagram;
  datagram.from = {address(row.from), 5'000};
  if (datagram.from.address.isLinkLocal()) datagram.from.address.zone = row.interface;
  datagram.to = address(row.to);
  datagram.interface = row.interface;
  const auto source = view.sourceOf(datagram);
  std::string seen = "-";
  if (source) {
    net::Outgoing answer;
    view.address(answer, datagram, *source);
    EXPECT_TRUE(answer.useFrom);
    EXPECT_EQ(answer.from, source->ownAddress);
    EXPECT_EQ(answer.to, datagram.from);
    seen = source->ownAddress.text() + (source->sentToGroup ? " g" : "") + (source->onLink ? " l" : "") + " > " +
           std::to_string(answer.interface);
  }
  EXPECT_EQ(seen, row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NetworkViewTest,
    testing::Values(Row{"Neighbour", {}, "10.0.0.7", "10.0.0.1", 2, "10.0.0.1 l > 2"},
                    Row{"NeighbourToTheGroup", {}, "10.0.0.7", "239.255.255.253", 2, "10.0.0.1 g l > 2"},
                    Row{"NeighbourByBroadcast", {}, "10.0.0.7", "10.0.0.255", 2, "10.0.0.1 g l > 2"},
                    Row{"StrangerFromAfar", {}, "198.51.100.7", "10.0.0.1", 2, "10.0.0.1 > 2"},
                    Row{"NeighbourOfAnotherInterface", {}, "192.0.2.7", "10.0.0.1", 2, "10.0.0.1 > 2"},
                    Row{"Loopback", {}, "127.0.0.1", "127.0.0.1", 1, "127.0.0.1 l > 0"},
                    Row{"AnotherAddressOfLoopback", {}, "127.0.0.2", "127.0.0.9", 1, "127.0.0.9 l > 0"},
                    Row{"OwnAddress", {}, "10.0.0.1", "10.0.0.1", 1, "10.0.0.1 l > 0"},
                    Row{"OwnAddressToTheGroup", {}, "10.0.0.1", "239.255.255.253", 2, "10.0.0.1 g l > 0"},
                    Row{"LinkLocalToTheGroup", {}, "fe80::7", "ff02::116", 2, "fe80::1 g l > 2"},
                    Row{"GlobalToTheGroup", {}, "2001:db8::7", "ff02::116", 2, "2001:db8::1 g l > 2"},
                    Row{"GroupWhereThereIsNoAddress", {}, "2001:db8::7", "ff02::116", 3, "-"},
                    Row{"WantedInterface", {"lan"}, "10.0.0.7", "10.0.0.1", 2, "10.0.0.1 l > 2"},
                    Row{"UnwantedInterface", {"lan"}, "192.0.2.7", "192.0.2.1", 3, "-"},
                    Row{"UnwantedInterfaceForAWantedAddress", {"lan"}, "192.0.2.7", "10.0.0.1", 3, "-"},
                    Row{"LoopbackOnlyWanted", {"lo"}, "127.0.0.1", "127.0.0.1", 1, "127.0.0.1 l > 0"},
                    Row{"FromAGroup", {}, "239.1.1.1", "10.0.0.1", 2, "-"}),
    [](const auto& row) { return row.param.name; });

TEST(NetworkView, AnswersNobodyWithoutAPort) {
  NetworkView view({});
  view.set(interfaces());
  net::Datagram datagram;
  datagram.from = {address("10.0.0.7"), 0};
  datagram.to = address("10.0.0.1");
  datagram.interface = 2;
  EXPECT_FALSE(view.sourceOf(datagram));
}

TEST(NetworkView, KnowsWhoConnectsFromALinkOfOurs) {
  NetworkView view({});
  view.set(interfaces());
  EXPECT_TRUE(view.sourceOf({address("10.0.0.7"), 1}, address("10.0.0.1"), 5).onLink);
  EXPECT_FALSE(view.sourceOf({address("198.51.100.7"), 1}, address("10.0.0.1"), 5).onLink);
  const Source source = view.sourceOf({address("127.0.0.1"), 1}, address("127.0.0.1"), 5);
  EXPECT_TRUE(source.onLink);
  EXPECT_TRUE(source.tcp);
  EXPECT_EQ(source.connection, 5U);
}

}  // namespace
}  // namespace slp::agent
