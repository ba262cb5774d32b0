#include <cerrno>
#include <sys/resource.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "slp/net/MessageStream.h"
#include "slp/net/SocketAddress.h"
#include "unit/slp/net/Sockets.h"

namespace slp::net {
namespace {

constexpr std::size_t kMost = 100'000;
// A message of 20 bytes.
const std::string kMessage = std::string("\2\1\0\0\24", 5) + std::string(15, 'x');

Endpoint endpointOfSocket(int fd) {
  SocketAddress address;
  address.length = sizeof(address.storage);
  if (::getsockname(fd, address.get(), &address.length) != 0) return {};
  return endpointOf(address.get(), address.length).value_or(Endpoint{});
}

class TcpOf : public testing::TestWithParam<Family> {
 protected:
  void SetUp() override {
    int error = 0;
    mListener = listenTcp(GetParam(), 0, error);
    if (!mListener) GTEST_SKIP() << "this machine has no such family";
    mAt = {Address::loopback(GetParam()), endpointOfSocket(mListener.get()).port};
    const auto probe = MessageStream::connect(mAt, kMost);
    if (probe.failed()) GTEST_SKIP() << "this machine has no such loopback";
    ASSERT_TRUE(isReady(mListener.get()));
    Endpoint from;
    ASSERT_TRUE(acceptTcp(mListener.get(), from));
  }

  Descriptor mListener;
  Endpoint mAt;
};

INSTANTIATE_TEST_SUITE_P(Families, TcpOf, testing::Values(Family::kV4, Family::kV6),
                         [](const auto& row) { return row.param == Family::kV4 ? "V4" : "V6"; });

TEST_P(TcpOf, CarriesMessagesBothWays) {
  auto client = MessageStream::connect(mAt, kMost);
  // Goes out once the connection stands.
  client.send(kMessage);
  ASSERT_TRUE(isReady(mListener.get()));
  Endpoint from;
  MessageStream server(acceptTcp(mListener.get(), from), kMost);
  ASSERT_FALSE(server.failed());
  EXPECT_EQ(from.address, Address::loopback(GetParam()));
  EXPECT_EQ(from, endpointOfSocket(client.fd()));

  ASSERT_TRUE(isReady(client.fd(), POLLOUT));
  client.ready();
  EXPECT_FALSE(client.connecting());
  EXPECT_FALSE(client.wantsWrite());
  ASSERT_TRUE(isReady(server.fd()));
  server.ready();
  const auto request = server.next();
  ASSERT_TRUE(request);
  EXPECT_EQ(textOf(*request), kMessage);

  server.send(kMessage);
  ASSERT_TRUE(isReady(client.fd()));
  client.ready();
  const auto answer = client.next();
  ASSERT_TRUE(answer);
  EXPECT_EQ(textOf(*answer), kMessage);
}

TEST_P(TcpOf, TellsOfAConnectionThatIsRefused) {
  mListener.reset();
  auto client = MessageStream::connect(mAt, kMost);
  client.send(kMessage);
  while (!client.failed() && isReady(client.fd(), POLLOUT))
    client.ready();
  EXPECT_TRUE(client.failed());
  EXPECT_EQ(client.error(), ECONNREFUSED);
}

TEST_P(TcpOf, AcceptsNothingWithoutWaiting) {
  Endpoint from;
  int error = -1;
  EXPECT_FALSE(acceptTcp(mListener.get(), from, &error));
  EXPECT_EQ(error, 0);
}

TEST_P(TcpOf, SaysWhenThereAreNoDescriptorsLeft) {
  const auto client = MessageStream::connect(mAt, kMost);
  ASSERT_TRUE(isReady(mListener.get()));
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  Endpoint from;
  int error = 0;
  const auto refused = acceptTcp(mListener.get(), from, &error);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(refused);
  EXPECT_EQ(error, EMFILE);
  EXPECT_TRUE(acceptTcp(mListener.get(), from, &error));
}

TEST_P(TcpOf, LetsNoSecondListenerHaveItsPort) {
  int error = 0;
  EXPECT_FALSE(listenTcp(GetParam(), mAt.port, error));
  EXPECT_EQ(error, EADDRINUSE);
}

TEST_P(TcpOf, LetsASuccessorHaveItsPortAtOnce) {
  auto client = MessageStream::connect(mAt, kMost);
  ASSERT_TRUE(isReady(mListener.get()));
  Endpoint from;
  // The end that closes first keeps the port in TIME-WAIT.
  { const MessageStream server(acceptTcp(mListener.get(), from), kMost); }
  mListener.reset();
  int error = 0;
  EXPECT_TRUE(listenTcp(GetParam(), mAt.port, error)) << error;
}

TEST(TcpConnection, FailsAtOnceWhereNoRouteLeads) {
  // The first address of a network that is never routed.
  const auto stream = MessageStream::connect({*Address::parse("255.255.255.255"), 1}, kMost);
  EXPECT_TRUE(stream.failed());
  EXPECT_NE(stream.error(), 0);
}

}  // namespace
}  // namespace slp::net
