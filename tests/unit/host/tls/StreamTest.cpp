#include <atomic>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "host/http/AnswerStream.h"
#include "host/http/StreamQueue.h"
#include "support/Wait.h"
#include "unit/host/tls/FrontFixture.h"
#include "unit/host/tls/TlsClient.h"

namespace {

using host::StreamQueue;
using host_test::getRequest;
using host_test::RawClient;
using host_test::TlsClient;
using std::chrono::milliseconds;

/// Keeps what it needs to send, and counts what happens to it.
class TestStream : public host::AnswerStream {
 public:
  void begin(Send send) override {
    const std::lock_guard lock(mMutex);
    mSend = std::move(send);
    ++mBegun;
  }
  void end() override { ++mEnded; }

  bool send(std::string piece) const {
    const std::lock_guard lock(mMutex);
    return mSend && mSend(std::move(piece));
  }
  int begun() const { return mBegun; }
  int ended() const { return mEnded; }

 private:
  mutable std::mutex mMutex;
  Send mSend;
  std::atomic<int> mBegun = 0;
  std::atomic<int> mEnded = 0;
};

class StreamTest : public host_test::FrontFixture {
 protected:
  StreamTest() {
    mService.answer = [this](const host::ClientRequest& request) {
      host::Answer answer;
      answer.headers = {{"Content-Type", "text/event-stream"}};
      if (request.target != "/plain") {
        const std::lock_guard lock(mMutex);
        answer.stream = mStreams.emplace_back(std::make_shared<TestStream>());
      }
      return answer;
    };
  }
  TestStream& stream(std::size_t index = 0) {
    EXPECT_TRUE(support::waitFor([&] { return count() > index; }));
    const std::lock_guard lock(mMutex);
    return *mStreams.at(index);
  }
  std::size_t count() {
    const std::lock_guard lock(mMutex);
    return mStreams.size();
  }
  TestStream& begun(std::size_t index = 0) {
    TestStream& one = stream(index);
    EXPECT_TRUE(support::waitFor([&] { return one.begun() == 1; }));
    return one;
  }
  static bool hasEnded(const TestStream& one) {
    return support::waitFor([&] { return one.ended() == 1; });
  }

  std::mutex mMutex;
  std::vector<std::shared_ptr<TestStream>> mStreams;
};

TEST_F(StreamTest, SendsPiecesAsTheyCome) {
  startWithTls();
  TlsClient one(mPort);
  const auto header = one.ask(getRequest("/events"), "\r\n\r\n");
  EXPECT_NE(header.find("Transfer-Encoding: chunked"), std::string::npos) << header;
  EXPECT_NE(header.find("Content-Type: text/event-stream"), std::string::npos) << header;
  TestStream& sent = begun();
  EXPECT_TRUE(sent.send("hello\n"));
  EXPECT_EQ(one.readUntil("\n\r\n"), "6\r\nhello\n\r\n");
  EXPECT_TRUE(sent.send("again\n"));
  EXPECT_EQ(one.readUntil("\n\r\n"), "6\r\nagain\n\r\n");
  EXPECT_EQ(mFront->counts().streams, 1U);
  EXPECT_TRUE(sent.send(""));
  EXPECT_EQ(one.readUntil("\r\n\r\n"), "0\r\n\r\n");
  EXPECT_TRUE(one.isClosedInOrder());
  EXPECT_TRUE(hasEnded(sent));
  EXPECT_FALSE(sent.send("late"));
  EXPECT_EQ(mFront->counts().streams, 0U);
}

TEST_F(StreamTest, GoesToAnOldClientUntilTheConnectionEnds) {
  startWithTls();
  TlsClient one(mPort);
  const auto header = one.ask("GET /events HTTP/1.0\r\n\r\n", "\r\n\r\n");
  EXPECT_EQ(header.find("chunked"), std::string::npos) << header;
  EXPECT_TRUE(begun().send("hello\n"));
  EXPECT_EQ(one.readUntil("\n"), "hello\n");
  EXPECT_TRUE(stream().send(""));
  EXPECT_TRUE(one.isClosedInOrder());
}

TEST_F(StreamTest, HasOnlyAHeaderWhenOnlyThatIsAskedFor) {
  start();
  RawClient one = client();
  one.send("HEAD /events HTTP/1.1\r\nHost: here\r\n\r\n");
  EXPECT_EQ(one.read(true).status, 200);
  EXPECT_TRUE(hasEnded(stream()));
  EXPECT_EQ(stream().begun(), 0);
}

TEST_F(StreamTest, KeepsTheOrderOfWhatSeveralThreadsSend) {
  startWithTls();
  TlsClient one(mPort);
  one.ask("GET /events HTTP/1.0\r\n\r\n", "\r\n\r\n");
  TestStream& sent = begun();
  std::vector<std::thread> threads;
  for (const char name : {'a', 'b'}) {
    threads.emplace_back([&sent, name] {
      for (int i = 0; i < 500; ++i) {
        EXPECT_TRUE(sent.send(name + std::to_string(i) + "\n"));
      }
    });
  }
  int next[2] = {0, 0};
  for (int i = 0; i < 1000; ++i) {
    const auto line = one.readUntil("\n");
    ASSERT_FALSE(line.empty());
    EXPECT_EQ(line, line[0] + std::to_string(next[line[0] - 'a']++) + "\n");
  }
  for (auto& thread : threads)
    thread.join();
}

TEST_F(StreamTest, PassesALargePieceAndWhatFollowsIt) {
  startWithTls();
  TlsClient one(mPort);
  one.ask("GET /events HTTP/1.0\r\n\r\n", "\r\n\r\n");
  TestStream& sent = begun();
  EXPECT_TRUE(sent.send(std::string(3'000'000, 'x')));
  EXPECT_TRUE(sent.send("the end"));
  EXPECT_TRUE(sent.send(""));
  EXPECT_EQ(one.readUntil("the end").size(), 3'000'007U);
  EXPECT_TRUE(one.isClosedInOrder());
}

TEST_F(StreamTest, DropsAClientThatLeavesTooMuchLying) {
  start();
  RawClient one = client();
  one.send(getRequest("/events"));
  TestStream& sent = begun();
  EXPECT_TRUE(support::waitFor([&] { return !sent.send(std::string(100'000, 'x')); }));
  EXPECT_TRUE(hasEnded(sent));
  EXPECT_TRUE(mLog.containsPart("leaves too much of its stream lying"));
  EXPECT_EQ(client().ask(getRequest("/plain")).status, 200);
}

TEST_F(StreamTest, DropsAClientThatTakesNothingForTooLong) {
  mLimits.writeTimeout = milliseconds(300);
  start();
  RawClient one = client();
  one.send(getRequest("/events"));
  TestStream& sent = begun();
  EXPECT_TRUE(sent.send(std::string(50'000'000, 'x')));
  EXPECT_TRUE(hasEnded(sent));
}

TEST_F(StreamTest, WaitsWithoutALimitForThePiecesToCome) {
  mLimits.writeTimeout = mLimits.requestTimeout = mLimits.idleTimeout = mLimits.headerTimeout = milliseconds(100);
  start();
  RawClient one = client();
  one.send(getRequest("/events"));
  TestStream& sent = begun();
  EXPECT_TRUE(sent.send("x"));
  std::this_thread::sleep_for(milliseconds(500));  // five times every limit
  EXPECT_EQ(sent.ended(), 0);
  EXPECT_TRUE(sent.send("y"));
}

TEST_F(StreamTest, NoticesThatTheClientHasGone) {
  startWithTls();
  {
    TlsClient one(mPort);
    one.ask(getRequest("/events"), "\r\n\r\n");
    begun();
  }
  EXPECT_TRUE(hasEnded(stream()));
  EXPECT_FALSE(stream().send("x"));
}

TEST_F(StreamTest, EndsInOrderWhenTheFrontStops) {
  startWithTls();
  TlsClient one(mPort);
  one.ask(getRequest("/events"), "\r\n\r\n");
  EXPECT_TRUE(begun().send("last\n"));
  mFront->stopAccepting();
  EXPECT_EQ(one.readUntil("0\r\n\r\n"), "5\r\nlast\n\r\n0\r\n\r\n");
  EXPECT_TRUE(one.isClosedInOrder());
  EXPECT_TRUE(hasEnded(stream()));
}

TEST_F(StreamTest, IsToldItsEndWhenTheFrontGoesAtOnce) {
  start();
  RawClient one = client();
  one.send(getRequest("/events"));
  TestStream& sent = begun();
  mFront.reset();
  EXPECT_EQ(sent.ended(), 1);
  EXPECT_FALSE(sent.send("x"));
}

TEST_F(StreamTest, IsRefusedBeyondAQuarterOfTheConnections) {
  mLimits.connections = 8;
  start();
  RawClient one = client();
  RawClient two = client();
  one.send(getRequest("/events"));
  two.send(getRequest("/events"));
  begun(0);
  begun(1);
  RawClient three = client();
  EXPECT_EQ(three.ask(getRequest("/events")).status, 503);
  EXPECT_TRUE(hasEnded(stream(2)));
  EXPECT_EQ(stream(2).begun(), 0);
  EXPECT_EQ(three.ask(getRequest("/plain")).status, 200);
}

TEST_F(StreamTest, DoesNotGiveWayToNewConnections) {
  mLimits.connections = 4;
  start();
  RawClient one = client();
  one.send(getRequest("/events"));
  TestStream& sent = begun();
  std::vector<RawClient> crowd;
  for (int i = 0; i < 20; ++i) {
    crowd.push_back(client());
    EXPECT_EQ(crowd.back().ask(getRequest("/plain")).status, 200);
  }
  EXPECT_TRUE(sent.send("x"));
  EXPECT_EQ(sent.ended(), 0);
}

TEST(StreamQueueTest, BoundsWhatLiesBehindTheNextPiece) {
  int woken = 0;
  StreamQueue queue([&] { ++woken; });
  EXPECT_EQ(queue.take(), "");
  EXPECT_TRUE(queue.push(std::string(10'000'000, 'a')));
  EXPECT_TRUE(queue.push(std::string(StreamQueue::kMaxBehind, 'b')));
  EXPECT_FALSE(queue.hasOverflowed());
  EXPECT_FALSE(queue.push("c"));
  EXPECT_TRUE(queue.hasOverflowed());
  EXPECT_FALSE(queue.push("d"));
  EXPECT_EQ(woken, 3);
}

TEST(StreamQueueTest, GivesAllThatLiesThereBeforeItsEnd) {
  StreamQueue queue([] {});
  std::string all;
  for (int i = 0; i < 100; ++i) {
    all += std::string(2'000, static_cast<char>('a' + i % 26));
    EXPECT_TRUE(queue.push(all.substr(all.size() - 2'000)));
  }
  EXPECT_TRUE(queue.push(""));
  EXPECT_FALSE(queue.push("late"));
  std::string taken;
  while (const auto batch = queue.take()) {
    EXPECT_LE(batch->size(), StreamQueue::kMaxBatch);
    ASSERT_FALSE(batch->empty());
    taken += *batch;
  }
  EXPECT_EQ(taken, all);
}

}  // namespace
