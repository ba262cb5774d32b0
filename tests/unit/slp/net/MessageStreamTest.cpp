#include <cerrno>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "slp/net/MessageStream.h"
#include "unit/slp/net/Sockets.h"

namespace slp::net {
namespace {

constexpr std::size_t kMost = 100'000;

/// The start of a message says how long it is; the rest does not matter here.
std::string message(std::size_t length, char fill = 'x') {
  std::string text(length, fill);
  text[0] = 2;
  text[1] = 1;
  for (unsigned i = 0; i < 3; ++i)
    text[2 + i] = static_cast<char>(static_cast<unsigned char>(length >> (16 - 8 * i)));
  return text;
}

/// A stream, and the other end of its connection as a plain socket.
class MessageStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    mStream = MessageStream(Descriptor(ends[0]), kMost);
    mPeer.reset(ends[1]);
  }

  void peerSends(std::string_view text) {
    ASSERT_EQ(::send(mPeer.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
  std::string peerTakes() const {
    std::string all(1 << 20, '\0');
    const auto count = ::recv(mPeer.get(), all.data(), all.size(), 0);
    all.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return all;
  }
  /// What `next` gives, as text; "none" for nothing.
  std::string next() {
    const auto bytes = mStream.next();
    return bytes ? textOf(*bytes) : "none";
  }

  MessageStream mStream{Descriptor(), kMost};
  Descriptor mPeer;
};

TEST_F(MessageStreamTest, GivesAMessageThatComesWhole) {
  peerSends(message(20));
  mStream.ready();
  EXPECT_EQ(next(), message(20));
  EXPECT_EQ(next(), "none");
  EXPECT_FALSE(mStream.messageBegun());
  EXPECT_FALSE(mStream.failed());
}

TEST_F(MessageStreamTest, GivesAMessageThatComesByteByByte) {
  const auto whole = message(40);
  for (std::size_t i = 0; i < whole.size(); ++i) {
    EXPECT_EQ(next(), "none");
    EXPECT_EQ(mStream.messageBegun(), i > 0);
    peerSends(whole.substr(i, 1));
    mStream.ready();
  }
  EXPECT_EQ(next(), whole);
}

TEST_F(MessageStreamTest, GivesSeveralMessagesOfOneRead) {
  const auto half = message(30, 'c');
  peerSends(message(20, 'a') + message(50'000, 'b') + half.substr(0, 10));
  mStream.ready();
  EXPECT_EQ(next(), message(20, 'a'));
  EXPECT_EQ(next(), message(50'000, 'b'));
  EXPECT_EQ(next(), "none");
  EXPECT_TRUE(mStream.messageBegun());
  peerSends(half.substr(10) + message(20, 'd'));
  mStream.ready();
  EXPECT_EQ(next(), half);
  EXPECT_EQ(next(), message(20, 'd'));
}

TEST_F(MessageStreamTest, GivesManyMessagesWithoutGrowing) {
  for (int i = 0; i < 1'000; ++i) {
    const auto text = message(997, static_cast<char>('a' + i % 26));
    peerSends(text);
    mStream.ready();
    ASSERT_EQ(next(), text);
  }
}

TEST_F(MessageStreamTest, TakesAMessageOfTheGreatestLength) {
  const auto longest = message(kMost);
  std::string_view rest = longest;
  while (!rest.empty()) {
    peerSends(rest.substr(0, 10'000));
    rest.remove_prefix(10'000);
    mStream.ready();
  }
  EXPECT_EQ(next(), longest);
  EXPECT_FALSE(mStream.failed());
}

struct BadCase {
  const char* name;
  std::string start;
};

class BadMessage : public MessageStreamTest, public testing::WithParamInterface<BadCase> {};

TEST_P(BadMessage, EndsTheStreamBehindTheGoodOnes) {
  peerSends(message(20) + GetParam().start);
  mStream.ready();
  EXPECT_EQ(next(), message(20));
  EXPECT_FALSE(mStream.failed());
  EXPECT_EQ(next(), "none");
  EXPECT_TRUE(mStream.failed());
  EXPECT_EQ(mStream.error(), EMSGSIZE);
  EXPECT_FALSE(mStream.wantsRead());
  EXPECT_FALSE(mStream.wantsWrite());
}

const BadCase kBad[] = {
    {"TooLong", message(kMost + 1).substr(0, 5)},
    {"ShorterThanAHeader", message(20).replace(2, 3, std::string("\0\0\5", 3))},
    {"OfNoLength", message(20).replace(2, 3, std::string(3, '\0'))},
    {"OfAnotherVersion", message(20).replace(0, 1, "\1")},
    {"OfAnotherProtocol", "GET / HTTP/1.1\r\n\r\n"},
};

INSTANTIATE_TEST_SUITE_P(Starts, BadMessage, testing::ValuesIn(kBad), [](const auto& row) { return row.param.name; });

TEST_F(MessageStreamTest, ReadsNoMoreThanItsBoundBeforeItIsEmptied) {
  const std::string flood = message(1'000);
  std::size_t sent = 0;
  while (sent < 10 * kMost) {
    if (::send(mPeer.get(), flood.data(), flood.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(flood.size())) break;
    sent += flood.size();
    mStream.ready();
  }
  EXPECT_FALSE(mStream.wantsRead());
  std::size_t taken = 0;
  while (mStream.next())
    ++taken;
  EXPECT_EQ(taken, kMost / flood.size());
  EXPECT_TRUE(mStream.wantsRead());
}

TEST_F(MessageStreamTest, SendsAtOnceWhatTheKernelTakes) {
  mStream.send(message(20, 'a'));
  mStream.send(message(30, 'b'));
  EXPECT_FALSE(mStream.wantsWrite());
  EXPECT_EQ(mStream.unsent(), 0u);
  EXPECT_EQ(peerTakes(), message(20, 'a') + message(30, 'b'));
}

TEST_F(MessageStreamTest, SendsTheRestWhenThePeerReads) {
  std::string expected;
  for (char fill = 'a'; fill <= 'z'; ++fill) {
    expected += message(90'000, fill);
    mStream.send(message(90'000, fill));
  }
  EXPECT_TRUE(mStream.wantsWrite());
  EXPECT_GT(mStream.unsent(), 0u);
  std::string all;
  while (all.size() < expected.size() && isReady(mPeer.get())) {
    all += peerTakes();
    mStream.ready();
  }
  EXPECT_TRUE(all == expected);
  EXPECT_FALSE(mStream.wantsWrite());
}

TEST_F(MessageStreamTest, AnswersAPeerThatHasClosedItsDirection) {
  peerSends(message(20));
  ASSERT_EQ(::shutdown(mPeer.get(), SHUT_WR), 0);
  mStream.ready();
  mStream.ready();
  EXPECT_FALSE(mStream.failed());
  EXPECT_FALSE(mStream.wantsRead());
  EXPECT_EQ(next(), message(20));
  mStream.send(message(30));
  EXPECT_TRUE(mStream.failed());
  EXPECT_EQ(mStream.error(), 0);
  EXPECT_EQ(peerTakes(), message(30));
}

TEST_F(MessageStreamTest, StaysUntilAHalfClosedPeerHasEverything) {
  peerSends(message(20));
  ASSERT_EQ(::shutdown(mPeer.get(), SHUT_WR), 0);
  mStream.ready();
  mStream.ready();
  EXPECT_EQ(next(), message(20));
  const std::string answer(3'000'000, 'x');
  mStream.send(answer);
  EXPECT_FALSE(mStream.failed());
  std::size_t taken = 0;
  while (!mStream.failed() && isReady(mPeer.get())) {
    taken += peerTakes().size();
    mStream.ready();
  }
  taken += peerTakes().size();
  EXPECT_EQ(taken, answer.size());
}

TEST_F(MessageStreamTest, EndsWithAPeerThatCloses) {
  mPeer.reset();
  mStream.ready();
  EXPECT_TRUE(mStream.failed());
  EXPECT_EQ(mStream.error(), 0);
  EXPECT_FALSE(mStream.wantsRead());
}

TEST_F(MessageStreamTest, EndsWithAPeerThatClosesInsideAMessage) {
  peerSends(message(20).substr(0, 12));
  mPeer.reset();
  mStream.ready();
  mStream.ready();
  EXPECT_EQ(next(), "none");
  EXPECT_TRUE(mStream.failed());
}

TEST_F(MessageStreamTest, OutlivesAWriteToAPeerThatHasGone) {
  mPeer.reset();
  for (int i = 0; i < 5; ++i)
    mStream.send(message(1'000));
  EXPECT_TRUE(mStream.failed());
  EXPECT_EQ(mStream.error(), EPIPE);
  EXPECT_EQ(mStream.unsent(), 0u);
  mStream.ready();
  EXPECT_EQ(next(), "none");
}

TEST_F(MessageStreamTest, FailsInTheMiddleOfAnAnswer) {
  mStream.send(std::string(3'000'000, 'x'));
  EXPECT_TRUE(mStream.wantsWrite());
  EXPECT_GT(peerTakes().size(), 0u);
  mPeer.reset();
  mStream.ready();
  EXPECT_TRUE(mStream.failed());
  EXPECT_EQ(mStream.unsent(), 0u);
  EXPECT_FALSE(mStream.wantsWrite());
}

TEST(MessageStream, WithoutASocketHasFailed) {
  MessageStream stream(Descriptor(), kMost);
  EXPECT_TRUE(stream.failed());
  stream.send("nothing");
  stream.ready();
  EXPECT_FALSE(stream.next());
}

}  // namespace
}  // namespace slp::net
