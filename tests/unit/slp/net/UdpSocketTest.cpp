#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <net/if.h>
#include <netinet/in.h>
#include <set>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "slp/net/Memberships.h"
#include "slp/net/UdpSocket.h"
#include "unit/slp/net/OwnNetwork.h"
#include "unit/slp/net/Sockets.h"

namespace slp::net {
namespace {

/// Two interfaces, each the other end of the other one's cable.
bool linkTwoInterfaces() {
  return std::system(
             "exec 2>/dev/null; ip link add left type veth peer name right &&"
             " sysctl -qw net.ipv4.conf.all.rp_filter=0 net.ipv4.conf.all.accept_local=1 &&"
             " for side in left right; do ip link set $side addrgenmode none && ip link set $side up; done &&"
             " ip addr add 10.77.1.1/24 dev left && ip addr add fd00:77:1::1/64 dev left nodad &&"
             " ip addr add 10.77.2.1/24 dev right && ip addr add fd00:77:2::1/64 dev right nodad") == 0;
}

class UdpSocketOf : public testing::TestWithParam<Family> {
 protected:
  void SetUp() override {
    if (mReceiver.open(GetParam(), 0) != 0 || mSender.open(GetParam(), 0) != 0)
      GTEST_SKIP() << "this machine has no such family";
    if (mSender.send(to(mReceiver, "is there loopback?")) != 0) GTEST_SKIP() << "this machine has no such loopback";
    receiveSome(mReceiver, 1);
  }

  static Outgoing to(const UdpSocket& receiver, std::string text) {
    return toLoopback(std::move(text), GetParam(), receiver.localPort());
  }

  UdpSocket mReceiver;
  UdpSocket mSender;
};

INSTANTIATE_TEST_SUITE_P(Families, UdpSocketOf, testing::Values(Family::kV4, Family::kV6),
                         [](const auto& row) { return row.param == Family::kV4 ? "V4" : "V6"; });

TEST_P(UdpSocketOf, TellsSenderDestinationAndInterface) {
  ASSERT_EQ(mSender.send(to(mReceiver, "hello")), 0);
  const auto all = receiveSome(mReceiver, 1);
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].text, "hello");
  EXPECT_EQ(all[0].from, (Endpoint{Address::loopback(GetParam()), mSender.localPort()}));
  EXPECT_EQ(all[0].to, Address::loopback(GetParam()));
  EXPECT_EQ(all[0].interface, loopbackIndex());
}

TEST_P(UdpSocketOf, ReceivesNothingWithoutWaiting) {
  EXPECT_TRUE(mReceiver.receive().empty());
}

TEST_P(UdpSocketOf, CarriesTheEmptyAndTheLongest) {
  const std::string longest(65'507, 'x');
  ASSERT_EQ(mSender.send(to(mReceiver, "")), 0);
  ASSERT_EQ(mSender.send(to(mReceiver, longest)), 0);
  const auto all = receiveSome(mReceiver, 2);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].text, "");
  EXPECT_TRUE(all[1].text == longest);
}

TEST_P(UdpSocketOf, SaysWhatIsTooLong) {
  EXPECT_EQ(mSender.send(to(mReceiver, std::string(65'600, 'x'))), EMSGSIZE);
}

TEST_P(UdpSocketOf, SendsManyInOrder) {
  mReceiver.growReceiveBuffer(1 << 20);
  std::vector<Outgoing> many;
  for (int i = 0; i < 50; ++i)
    many.push_back(to(mReceiver, std::to_string(i)));
  ASSERT_EQ(mSender.sendAll(many), many.size());
  const auto all = receiveSome(mReceiver, many.size());
  ASSERT_EQ(all.size(), many.size());
  for (std::size_t i = 0; i < all.size(); ++i)
    EXPECT_EQ(all[i].text, std::to_string(i));
}

TEST_P(UdpSocketOf, PassesOverWhatCannotBeSent) {
  std::vector<Outgoing> many{to(mReceiver, "first"), to(mReceiver, std::string(65'600, 'x')), to(mReceiver, "third")};
  EXPECT_EQ(mSender.sendAll(many), 3u);
  const auto all = receiveSome(mReceiver, 2);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].text, "first");
  EXPECT_EQ(all[1].text, "third");
}

TEST_P(UdpSocketOf, HandsOutNoMoreThanABatch) {
  mReceiver.growReceiveBuffer(1 << 20);
  for (std::size_t i = 0; i < UdpSocket::kBatch + 3; ++i)
    ASSERT_EQ(mSender.send(to(mReceiver, "x")), 0);
  EXPECT_EQ(mReceiver.receive().size(), UdpSocket::kBatch);
  EXPECT_EQ(mReceiver.receive().size(), 3u);
}

TEST_P(UdpSocketOf, LetsNoSecondOneHaveItsPort) {
  UdpSocket second;
  EXPECT_EQ(second.open(GetParam(), mReceiver.localPort()), EADDRINUSE);
  EXPECT_FALSE(second.isOpen());
}

TEST_P(UdpSocketOf, SharesItsPortWithTheOtherFamily) {
  UdpSocket other;
  const int error = other.open(GetParam() == Family::kV4 ? Family::kV6 : Family::kV4, mReceiver.localPort());
  if (error == EAFNOSUPPORT || error == EADDRNOTAVAIL) GTEST_SKIP() << "this machine has one family only";
  EXPECT_EQ(error, 0);
}

TEST_P(UdpSocketOf, LeavesFromTheAddressThatIsAskedFor) {
  auto datagram = to(mReceiver, "hello");
  datagram.interface = loopbackIndex();
  datagram.useFrom = true;
  datagram.from = GetParam() == Family::kV4 ? *Address::parse("127.0.0.5") : Address::loopback(Family::kV6);
  ASSERT_EQ(mSender.send(datagram), 0);
  const auto all = receiveSome(mReceiver, 1);
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].from.address, datagram.from);
}

TEST_P(UdpSocketOf, SaysThatAnAddressIsNotItsOwn) {
  auto datagram = to(mReceiver, "hello");
  datagram.useFrom = true;
  datagram.from = *Address::parse(GetParam() == Family::kV4 ? "192.0.2.250" : "2001:db8::250");
  EXPECT_NE(mSender.send(datagram), 0);
}

TEST_P(UdpSocketOf, TellsOfAPortThatRefuses) {
  const std::uint16_t closed = mReceiver.localPort();
  mReceiver.close();
  mSender.reportRefusals();
  ASSERT_EQ(mSender.send(toLoopback("anybody?", GetParam(), closed)), 0);
  ASSERT_TRUE(isReady(mSender.fd(), POLLERR));
  EXPECT_TRUE(mSender.receive().empty());
  EXPECT_EQ(mSender.takeRefusal(), (Endpoint{Address::loopback(GetParam()), closed}));
  EXPECT_EQ(mSender.takeRefusal(), std::nullopt);
}

TEST_P(UdpSocketOf, SendsOnAfterARefusal) {
  UdpSocket gone;
  ASSERT_EQ(gone.open(GetParam(), 0), 0);
  const std::uint16_t closed = gone.localPort();
  gone.close();
  mSender.reportRefusals();
  ASSERT_EQ(mSender.send(toLoopback("anybody?", GetParam(), closed)), 0);
  ASSERT_TRUE(isReady(mSender.fd(), POLLERR));
  EXPECT_EQ(mSender.send(to(mReceiver, "one")), 0);
  const std::vector<Outgoing> more{to(mReceiver, "two"), to(mReceiver, "three")};
  EXPECT_EQ(mSender.sendAll(more), 2u);
  EXPECT_EQ(receiveSome(mReceiver, 3).size(), 3u);
}

TEST_P(UdpSocketOf, ReceivesOnAfterARefusal) {
  UdpSocket gone;
  ASSERT_EQ(gone.open(GetParam(), 0), 0);
  const std::uint16_t closed = gone.localPort();
  gone.close();
  mSender.reportRefusals();
  ASSERT_EQ(mSender.send(toLoopback("anybody?", GetParam(), closed)), 0);
  ASSERT_EQ(mReceiver.send(to(mSender, "here")), 0);
  ASSERT_TRUE(isReady(mSender.fd()));
  EXPECT_EQ(mSender.receive().size(), 1u);
}

TEST_P(UdpSocketOf, HearsTheGroupsOfTheMachineOnTheInterfacesThatJoined) {
  const bool had = inOwnNetwork([] {
    if (!linkTwoInterfaces()) GTEST_SKIP() << "needs ip(8) and paired interfaces";
    UdpSocket receiver;
    UdpSocket sender;
    if (receiver.open(GetParam(), 0) != 0 || sender.open(GetParam(), 0) != 0) GTEST_SKIP() << "no such family";
    const auto group = *Address::parse(GetParam() == Family::kV4 ? "239.255.255.253" : "ff02::116");
    const auto left = if_nametoindex("left");
    const auto right = if_nametoindex("right");
    Memberships memberships;
    ASSERT_EQ(memberships.set({{group, right}}), 0u);
    sender.setMulticastTtl(1);
    // The first goes by left and comes by right; the second loops back by right; neither comes by left.
    for (const auto interface : {left, right}) {
      Outgoing datagram;
      datagram.bytes = interface == left ? "from left" : "from right";
      datagram.to = {group, receiver.localPort()};
      datagram.interface = interface;
      ASSERT_EQ(sender.send(datagram), 0);
      const auto all = receiveSome(receiver, 1);
      ASSERT_EQ(all.size(), 1u);
      EXPECT_EQ(all[0].text, datagram.bytes);
      EXPECT_EQ(all[0].to, group);
      EXPECT_EQ(all[0].interface, right);
    }
    EXPECT_TRUE(receiver.receive().empty());
  });
  if (!had) GTEST_SKIP() << "needs the privilege to make a network namespace";
}

TEST_P(UdpSocketOf, GivesItsPortFreeWhenClosed) {
  const std::uint16_t port = mReceiver.localPort();
  mReceiver.close();
  EXPECT_FALSE(mReceiver.isOpen());
  EXPECT_TRUE(mReceiver.receive().empty());
  EXPECT_EQ(mReceiver.open(GetParam(), port), 0);
  EXPECT_EQ(mReceiver.localPort(), port);
}

TEST_P(UdpSocketOf, IsMovedWithItsPort) {
  const std::uint16_t port = mReceiver.localPort();
  UdpSocket moved = std::move(mReceiver);
  EXPECT_EQ(moved.localPort(), port);
  ASSERT_EQ(mSender.send(toLoopback("hello", GetParam(), port)), 0);
  EXPECT_EQ(receiveSome(moved, 1).size(), 1u);
}

TEST(UdpSocket, DropsWhatDoesNotSayWhereItWent) {
  UdpSocket receiver;
  UdpSocket sender;
  ASSERT_EQ(receiver.open(Family::kV4, 0), 0);
  ASSERT_EQ(sender.open(Family::kV4, 0), 0);
  const int off = 0;
  ASSERT_EQ(::setsockopt(receiver.fd(), IPPROTO_IP, IP_PKTINFO, &off, sizeof(off)), 0);
  ASSERT_EQ(sender.send(toLoopback("hello", Family::kV4, receiver.localPort())), 0);
  ASSERT_TRUE(isReady(receiver.fd()));
  EXPECT_TRUE(receiver.receive().empty());
  EXPECT_FALSE(isReady(receiver.fd(), POLLIN, std::chrono::milliseconds(0)));
}

TEST(UdpSocket, GetsTheReceiveBufferThatTheKernelAllows) {
  UdpSocket socket;
  ASSERT_EQ(socket.open(Family::kV4, 0), 0);
  int before = 0;
  int after = 0;
  socklen_t length = sizeof(before);
  const int smallest = 1;
  ::setsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &smallest, sizeof(smallest));
  ::getsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &before, &length);
  socket.growReceiveBuffer(100'000);
  ::getsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &after, &length);
  EXPECT_GT(after, before);
}

}  // namespace
}  // namespace slp::net
