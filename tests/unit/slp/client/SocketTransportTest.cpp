#include <thread>

#include <gtest/gtest.h>

#include "FakeNetwork.h"
#include "slp/client/SocketTransport.h"
#include "slp/wire/Codec.h"

namespace slp::test {
namespace {

using client::SocketTransport;
using EventKind = Transport::EventKind;
using namespace std::chrono_literals;

std::string message(std::string_view type) {
  std::string bytes;
  wire::ServiceRequest request;
  request.serviceType = type;
  EXPECT_TRUE(wire::encode({}, request, bytes));
  return bytes;
}

std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class SocketTransportOnLoopback : public testing::TestWithParam<net::Family> {
 protected:
  void SetUp() override {
    const int error = peer.open(GetParam(), 0);
    if (error != 0) GTEST_SKIP() << "this machine has no such family: " << error;
    at = {net::Address::loopback(GetParam()), peer.localPort()};
  }
  /// What the peer has received, with where it came from.
  std::optional<net::Endpoint> awaitAtPeer(std::string& bytes) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
      for (const auto& datagram : peer.receive()) {
        bytes = textOf(datagram.bytes);
        return datagram.from;
      }
      std::this_thread::sleep_for(1ms);
    }
    return std::nullopt;
  }
  Transport::TimePoint soon() const { return transport.now() + 10s; }

  net::UdpSocket peer;
  net::Endpoint at;
  net::Wakeup cancel;
  config::Settings settings;
  SocketTransport transport{settings, {}, cancel};
};

TEST_P(SocketTransportOnLoopback, SendsAndReceivesDatagrams) {
  ASSERT_TRUE(transport.sendTo("request", at));
  std::string bytes;
  const auto from = awaitAtPeer(bytes);
  ASSERT_TRUE(from);
  EXPECT_EQ(bytes, "request");
  net::Outgoing answer;
  answer.to = *from;
  for (const auto* text : {"one", "two", "three"}) {
    answer.bytes = text;
    ASSERT_EQ(peer.send(answer), 0);
  }
  for (const auto* text : {"one", "two", "three"}) {
    const auto event = transport.wait(soon());
    ASSERT_EQ(event.kind, EventKind::kDatagram);
    EXPECT_EQ(textOf(event.bytes), text);
    EXPECT_EQ(event.from, at);
  }
}

TEST_P(SocketTransportOnLoopback, HandsOutWhatHasArrivedBeforeItSaysThatTimeIsUp) {
  ASSERT_TRUE(transport.sendTo("request", at));
  std::string bytes;
  const auto from = awaitAtPeer(bytes);
  ASSERT_TRUE(from);
  net::Outgoing answer;
  answer.to = *from;
  answer.bytes = "late";
  ASSERT_EQ(peer.send(answer), 0);
  const auto past = transport.now() - 10s;
  EXPECT_EQ(transport.wait(past).kind, EventKind::kDatagram);
  EXPECT_EQ(transport.wait(past).kind, EventKind::kTimeUp);
}

TEST_P(SocketTransportOnLoopback, SaysWhichPortRefused) {
  auto other = at;
  other.port = 1;  // nobody has it: binding it takes privilege, and no service has it by custom
  ASSERT_TRUE(transport.sendTo("request", other));
  const auto event = transport.wait(soon());
  EXPECT_EQ(event.kind, EventKind::kRefused);
  EXPECT_EQ(event.from, other);
  EXPECT_TRUE(transport.sendTo("request", at)) << "the refusal of one is not the failure of another";
  std::string bytes;
  EXPECT_TRUE(awaitAtPeer(bytes));
}

TEST_P(SocketTransportOnLoopback, CarriesMessagesOverTcp) {
  int error = 0;
  const auto listener = net::listenTcp(GetParam(), at.port, error);
  ASSERT_EQ(error, 0);
  const auto request = message("service:request");
  const auto stream = transport.openStream(at, request);
  std::thread server([&] {
    net::Endpoint from;
    net::Descriptor accepted;
    while (!accepted) {
      accepted = net::acceptTcp(listener.get(), from);
      std::this_thread::sleep_for(1ms);
    }
    net::MessageStream connection(std::move(accepted), 100'000);
    bool echoed = false;
    while (!echoed && !connection.failed()) {
      connection.ready();
      if (const auto whole = connection.next()) {
        connection.send(textOf(*whole));
        echoed = true;
      }
      std::this_thread::sleep_for(1ms);
    }
  });
  auto event = transport.wait(soon());
  EXPECT_EQ(event.kind, EventKind::kStreamConnected);
  EXPECT_EQ(event.stream, stream);
  event = transport.wait(soon());
  EXPECT_EQ(event.kind, EventKind::kStreamMessage);
  EXPECT_EQ(event.stream, stream);
  EXPECT_EQ(textOf(event.bytes), request);
  server.join();
  event = transport.wait(soon());
  EXPECT_EQ(event.kind, EventKind::kStreamFailed) << "the peer has closed";
  EXPECT_EQ(event.stream, stream);
}

TEST_P(SocketTransportOnLoopback, SaysWhenAConnectionFails) {
  const auto stream = transport.openStream(at, message("service:request"));
  const auto event = transport.wait(soon());
  EXPECT_EQ(event.kind, EventKind::kStreamFailed);
  EXPECT_EQ(event.stream, stream);
}

TEST_P(SocketTransportOnLoopback, SaysNothingOfAStreamThatWasClosed) {
  const auto stream = transport.openStream(at, message("service:request"));
  transport.closeStream(stream);
  EXPECT_EQ(transport.wait(transport.now() + 20ms).kind, EventKind::kTimeUp);
}

TEST_P(SocketTransportOnLoopback, EndsEveryWaitWhenCancelled) {
  std::thread canceller([&] { cancel.signal(); });
  EXPECT_EQ(transport.wait(soon()).kind, EventKind::kCancelled);
  canceller.join();
  EXPECT_EQ(transport.wait(soon()).kind, EventKind::kCancelled);
}

TEST_P(SocketTransportOnLoopback, SendsNothingInAFamilyThatIsOff) {
  settings.useIpv4 = GetParam() != net::Family::kV4;
  settings.useIpv6 = GetParam() != net::Family::kV6;
  SocketTransport other(settings, {}, cancel);
  EXPECT_FALSE(other.sendTo("request", at));
  int error = 0;
  const auto listener = net::listenTcp(GetParam(), at.port, error);
  ASSERT_EQ(error, 0);
  const auto stream = other.openStream(at, message("service:request"));
  const auto event = other.wait(soon());
  EXPECT_EQ(event.kind, EventKind::kStreamFailed);
  EXPECT_EQ(event.stream, stream);
  EXPECT_TRUE(other.resolve(at.address.text()).empty());
}

INSTANTIATE_TEST_SUITE_P(Families, SocketTransportOnLoopback, testing::Values(net::Family::kV4, net::Family::kV6),
                         [](const auto& test) { return test.param == net::Family::kV4 ? "Ipv4" : "Ipv6"; });

TEST(SocketTransport, StopsItsClockWhileCallbacksRun) {
  net::Wakeup cancel;
  SocketTransport transport(config::Settings{}, {}, cancel);
  transport.pauseClock();
  const auto stopped = transport.now();
  std::this_thread::sleep_for(5ms);
  EXPECT_EQ(transport.now(), stopped);
  const auto before = std::chrono::steady_clock::now();
  transport.resumeClock();
  const auto ran = transport.now() - stopped;
  EXPECT_LE(ran, std::chrono::steady_clock::now() - before);
  EXPECT_GE(transport.now(), stopped);
}

TEST(SocketTransport, SendsToNobodyOnAnInterfaceThatIsNotThere) {
  net::Wakeup cancel;
  SocketTransport transport(config::Settings{}, {"no-such-interface"}, cancel);
  EXPECT_EQ(transport.multicast("request", Transport::Group::kGeneral, ""), 0U);
}

}  // namespace
}  // namespace slp::test
