#include <algorithm>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "AgentPeer.h"
#include "slp/agent/Connections.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;

/// A server that answers in the thread of the test.
class ConnectionsTest : public testing::Test {
 protected:
  static constexpr std::size_t kUnsent = 20'000'000;

  void SetUp() override {
    int error = 0;
    mListener = net::listenTcp(net::Family::kV4, mPort, error);
    ASSERT_EQ(error, 0);
    mLoop.watch(mListener.get(), [this] { mConnections.accept(mListener.get(), std::chrono::steady_clock::now()); });
  }
  /// Lets the server work until the condition holds.
  template <typename Condition>
  bool serveUntil(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kTestDeadline;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      const auto soon = std::chrono::steady_clock::now() + 5ms;
      mLoop.run(std::min(soon, mConnections.next().value_or(soon)));
      mConnections.work(std::chrono::steady_clock::now());
    }
    return true;
  }
  net::MessageStream connect() {
    return net::MessageStream::connect({net::Address::loopback(net::Family::kV4), mPort}, limits::kMaxMessage);
  }

  const std::uint16_t mPort = freePort();
  EventLoop mLoop;
  net::Descriptor mListener;
  std::string mAnswer = serviceRequest("service:answer");
  bool mRegisters = false;
  bool mAdmits = true;
  std::vector<std::string> mSeen;
  std::vector<Owner> mEnded;
  Connections mConnections{mLoop,
                           {4, 2, 300ms, 100ms, kUnsent, 10ms},
                           [this](Connections::Peer& peer, std::span<const std::byte> message, std::string& reply) {
                             mSeen.push_back(replyOf(message).bytes);
                             peer.registers = mRegisters;
                             reply = mAnswer;
                           },
                           [this](const Connections::Peer& peer) { mEnded.push_back(peer.owner); },
                           [this](const Connections::Peer&, Connections::TimePoint) { return mAdmits; }};
};

TEST_F(ConnectionsTest, AnswerRequestsInTheirOrder) {
  auto peer = connect();
  std::string both = serviceRequest("service:one", 1) + serviceRequest("service:two", 2);
  peer.send(both.substr(0, 20));
  peer.send(both.substr(20));
  ASSERT_TRUE(serveUntil([&] { return peer.ready(), mSeen.size() == 2; }));
  EXPECT_EQ(mSeen[0], serviceRequest("service:one", 1));
  EXPECT_EQ(mSeen[1], serviceRequest("service:two", 2));
}

TEST_F(ConnectionsTest, AreBoundedInNumber) {
  std::vector<net::MessageStream> peers;
  for (int i = 0; i < 6; ++i)
    peers.push_back(connect());
  const auto refused = [&] {
    return std::count_if(peers.begin(), peers.end(), [](auto& peer) {
      peer.ready();
      return peer.failed();
    });
  };
  EXPECT_TRUE(serveUntil([&] { return refused() == 2; }));
  EXPECT_EQ(mConnections.size(), 4U);
}

struct RoomRow {
  std::string name;
  std::size_t all;
  std::size_t ofSource;
  bool loopback;
  bool admitted;
};

class ConnectionsRoom : public testing::TestWithParam<RoomRow> {};

TEST_P(ConnectionsRoom, IsSharedFairly) {
  const RoomRow& row = GetParam();
  EXPECT_EQ(Connections::admits({}, row.all, row.ofSource, row.loopback), row.admitted);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ConnectionsRoom,
    testing::Values(RoomRow{"First", 0, 0, false, true}, RoomRow{"LastOfASource", 15, 15, false, true},
                    RoomRow{"TooManyOfASource", 16, 16, false, false}, RoomRow{"LastOfAll", 191, 0, false, true},
                    RoomRow{"TooManyOfAll", 192, 0, false, false}, RoomRow{"ManyOfThisMachine", 200, 200, true, true},
                    RoomRow{"TooManyOfThisMachine", 256, 256, true, false}),
    [](const auto& row) { return row.param.name; });

TEST_F(ConnectionsTest, EndWhenTheyIdle) {
  auto peer = connect();
  ASSERT_TRUE(serveUntil([&] { return mConnections.size() == 1; }));
  const auto now = std::chrono::steady_clock::now();
  mConnections.sweep(now);
  EXPECT_EQ(mConnections.size(), 1U);
  mConnections.sweep(now + 301ms);
  EXPECT_EQ(mConnections.size(), 0U);
  EXPECT_EQ(mEnded.size(), 1U);
}

TEST_F(ConnectionsTest, StayWhenTheyIdleButHaveRegistered) {
  mRegisters = true;
  auto peer = connect();
  peer.send(serviceRequest("service:one"));
  ASSERT_TRUE(serveUntil([&] { return peer.ready(), mSeen.size() == 1; }));
  mConnections.sweep(std::chrono::steady_clock::now() + 1h);
  EXPECT_EQ(mConnections.size(), 1U);
}

TEST_F(ConnectionsTest, EndWhenAMessageIsNotCompleteInTime) {
  mRegisters = true;  // no excuse
  auto peer = connect();
  const std::string message = serviceRequest("service:one");
  peer.send(message + message.substr(0, 7));
  ASSERT_TRUE(serveUntil([&] { return peer.ready(), mSeen.size() == 1; }));
  mConnections.sweep(std::chrono::steady_clock::now());
  EXPECT_EQ(mConnections.size(), 1U);
  mConnections.sweep(std::chrono::steady_clock::now() + 101ms);
  EXPECT_EQ(mConnections.size(), 0U);
}

TEST_F(ConnectionsTest, TakeNothingMoreOfOneWhoDoesNotReadAndEndIt) {
  mRegisters = true;  // no excuse
  mAnswer = std::string(8'000'000, 'x');
  auto peer = connect();
  const std::string message = serviceRequest("service:one");
  for (int i = 0; i < 50; ++i)
    peer.send(message);
  auto other = connect();
  ASSERT_TRUE(serveUntil([&] { return peer.ready(), other.ready(), mSeen.size() == 1 && mConnections.size() == 2; }));
  mAnswer = "x";
  other.send(message);
  ASSERT_TRUE(serveUntil([&] { return other.ready(), mSeen.size() > 1; }));
  EXPECT_EQ(mSeen.size(), 2U) << "the other's";
  mConnections.sweep(std::chrono::steady_clock::now() + 301ms);
  EXPECT_EQ(mConnections.size(), 1U);
}

TEST_F(ConnectionsTest, KeepTheRepliesThatNobodyReadsWithinOneBoundForAll) {
  mAnswer = std::string(14'000'000, 'x');  // of which the kernel takes some
  std::vector<net::MessageStream> peers;
  for (int i = 0; i < 4; ++i) {
    peers.push_back(connect());
    peers.back().send(serviceRequest("service:one"));
    peers.back().ready();
  }
  ASSERT_TRUE(serveUntil([&] {
    for (auto& peer : peers)
      if (peer.wantsWrite()) peer.ready();
    return mSeen.size() == 4;
  }));
  EXPECT_LT(mConnections.size(), 4U);
  EXPECT_GE(mConnections.size(), 1U);
}

TEST_F(ConnectionsTest, TakeTurns) {
  auto flooding = connect();
  auto other = connect();
  std::string flood;
  for (int i = 0; i < 1'000; ++i)
    flood += serviceRequest("service:flood");
  flooding.send(flood);
  other.send(serviceRequest("service:other"));
  const auto waits = [&] { return mSeen.size() >= 1'001; };
  ASSERT_TRUE(serveUntil([&] { return flooding.ready(), other.ready(), waits(); }));
  const auto others = std::find(mSeen.begin(), mSeen.end(), serviceRequest("service:other"));
  ASSERT_NE(others, mSeen.end());
  EXPECT_NE(others, mSeen.end() - 1) << "not behind all of the flood";
}

TEST_F(ConnectionsTest, LetThoseWaitWhoAreNotAdmitted) {
  mAdmits = false;
  auto peer = connect();
  peer.send(serviceRequest("service:one"));
  ASSERT_TRUE(serveUntil([&] { return peer.ready(), mConnections.next().has_value(); }));
  mConnections.work(std::chrono::steady_clock::now());
  EXPECT_TRUE(mSeen.empty());
  EXPECT_GT(mConnections.next().value(), std::chrono::steady_clock::now() - 1s) << "no hot loop";
  mAdmits = true;
  EXPECT_TRUE(serveUntil([&] { return mSeen.size() == 1; }));
}

TEST_F(ConnectionsTest, EndWithAMessageThatIsNone) {
  auto peer = connect();
  peer.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(serveUntil([&] { return peer.ready(), peer.failed(); }));
  EXPECT_TRUE(mSeen.empty());
  EXPECT_EQ(mConnections.size(), 0U);
}

TEST_F(ConnectionsTest, EndWithAMessageThatIsTooLong) {
  auto peer = connect();
  std::string message = serviceRequest("service:one");
  message[2] = '\x0F';  // the first of the three bytes of its length
  peer.send(message);
  EXPECT_TRUE(serveUntil([&] { return peer.ready(), peer.failed(); }));
}

TEST_F(ConnectionsTest, SayWhoHasEnded) {
  auto first = connect();
  auto second = connect();
  ASSERT_TRUE(serveUntil([&] { return first.ready(), second.ready(), mConnections.size() == 2; }));
  { const auto ended = std::move(second); }
  ASSERT_TRUE(serveUntil([&] { return mConnections.size() == 1; }));
  ASSERT_EQ(mEnded.size(), 1U);
  EXPECT_EQ(mEnded[0], kFirstConnection + 1);
}

TEST_F(ConnectionsTest, AnswerOneWhoHasClosedHisOwnDirection) {
  auto peer = connect();
  peer.send(serviceRequest("service:one"));
  ASSERT_TRUE(serveUntil([&] { return peer.ready(), mConnections.size() == 1 && !peer.wantsWrite(); }));
  ::shutdown(peer.fd(), SHUT_WR);
  std::string answer;
  EXPECT_TRUE(serveUntil([&] {
    peer.ready();
    if (const auto message = peer.next()) answer = replyOf(*message).bytes;
    return !answer.empty();
  }));
  EXPECT_EQ(answer, mAnswer);
  EXPECT_TRUE(serveUntil([&] { return mConnections.size() == 0; }));
}

}  // namespace
}  // namespace slp::agent
