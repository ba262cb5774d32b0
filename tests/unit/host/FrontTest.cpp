#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

#include <gtest/gtest.h>

#include "host/http/Front.h"
#include "support/Wait.h"
#include "unit/host/RawClient.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::Front;
using host::Limits;
using host::Service;
using host_test::getRequest;
using host_test::postRequest;
using host_test::RawClient;
using std::chrono::milliseconds;

/// Answers by a function of the test; what it is to keep waiting, it keeps.
class FakeService : public Service {
 public:
  void serve(ClientRequest request, Done done) override {
    const std::lock_guard lock(mMutex);
    mRequests.push_back(request);
    if (request.target == "/wait") {
      mWaiting.push_back(std::move(done));
      return;
    }
    Answer answer;
    answer.body = "{\"target\":\"" + request.target + "\"}";
    if (request.target == "/nothing") answer.status = 204;
    if (request.target == "/large") answer.body = std::string(4'000'000, 'x');
    if (request.target == "/headers") answer.headers.emplace_back("Allow", "GET");
    done(std::move(answer));
  }

  std::vector<ClientRequest> requests() const {
    const std::lock_guard lock(mMutex);
    return mRequests;
  }
  std::size_t waiting() const {
    const std::lock_guard lock(mMutex);
    return mWaiting.size();
  }
  void answerWaiting(const std::string& body) {
    const std::lock_guard lock(mMutex);
    for (const Done& done : mWaiting) {
      Answer answer;
      answer.body = body;
      done(std::move(answer));
    }
    mWaiting.clear();
  }

 private:
  mutable std::mutex mMutex;
  std::vector<ClientRequest> mRequests;
  std::vector<Done> mWaiting;
};

class FrontTest : public testing::Test {
 protected:
  std::uint16_t start() {
    mFront.emplace(mLimits, mService);
    const auto endpoints = mFront->listen({{"127.0.0.1", 0}});
    EXPECT_TRUE(endpoints) << endpoints.error();
    mFront->start();
    mPort = endpoints->front().port;
    return mPort;
  }
  RawClient client() { return RawClient(mPort); }

  Limits mLimits;
  FakeService mService;
  std::optional<Front> mFront;
  std::uint16_t mPort = 0;
};

TEST_F(FrontTest, AnswersARequest) {
  start();
  const auto answer = client().ask(getRequest("/x?y=1", "Cookie: a=1\r\nCookie: b=2\r\n"));
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, R"({"target":"/x?y=1"})");
  EXPECT_EQ(answer.header("content-type"), "application/json");
  EXPECT_EQ(answer.header("content-length"), std::to_string(answer.body.size()));
  const auto request = mService.requests().at(0);
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.cookies, "a=1; b=2");
  EXPECT_EQ(request.remoteAddress, "127.0.0.1");
}

TEST_F(FrontTest, KeepsTheConnectionForFurtherRequests) {
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask(getRequest("/1")).body, R"({"target":"/1"})");
  EXPECT_EQ(one.ask(postRequest("/2", "{}")).body, R"({"target":"/2"})");
  EXPECT_EQ(one.ask(getRequest("/3")).body, R"({"target":"/3"})");
}

TEST_F(FrontTest, AnswersPipelinedRequestsInTheirOrder) {
  start();
  RawClient one = client();
  std::string requests;
  for (int i = 0; i < 50; ++i) {
    requests += i % 2 == 0 ? getRequest("/" + std::to_string(i)) : postRequest("/" + std::to_string(i), "{\"n\":1}");
  }
  one.send(requests);
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(one.read().body, "{\"target\":\"/" + std::to_string(i) + "\"}");
  }
}

TEST_F(FrontTest, TakesARequestThatComesByteByByte) {
  start();
  RawClient one = client();
  for (const char c : postRequest("/slow", "{\"a\":1}")) {
    one.send(std::string_view(&c, 1));
  }
  EXPECT_EQ(one.read().status, 200);
  EXPECT_EQ(mService.requests().at(0).body, "{\"a\":1}");
}

TEST_F(FrontTest, EndsTheConnectionWhenTheClientAsksForIt) {
  start();
  RawClient one = client();
  const auto answer = one.ask(getRequest("/x", "Connection: close\r\n"));
  EXPECT_EQ(answer.header("connection"), "close");
  EXPECT_TRUE(one.isClosed());
}

TEST_F(FrontTest, EndsTheConnectionOfAnOldClient) {
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask("GET /old HTTP/1.0\r\n\r\n").status, 200);
  EXPECT_TRUE(one.isClosed());
}

TEST_F(FrontTest, AnswersHeadWithoutTheBody) {
  start();
  RawClient one = client();
  one.send("HEAD /x HTTP/1.1\r\nHost: here\r\n\r\n");
  const auto answer = one.read(true);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.header("content-length"), "15");
  EXPECT_EQ(one.ask(getRequest("/y")).body, R"({"target":"/y"})");
}

TEST_F(FrontTest, LeavesTheBodyOutWhereThereIsNoContent) {
  start();
  RawClient one = client();
  const auto answer = one.ask(getRequest("/nothing"));
  EXPECT_EQ(answer.status, 204);
  EXPECT_EQ(answer.header("content-length"), "");
  EXPECT_EQ(one.ask(getRequest("/y")).status, 200);
}

TEST_F(FrontTest, PassesTheAnswersHeadersOn) {
  start();
  EXPECT_EQ(client().ask(getRequest("/headers")).header("allow"), "GET");
}

TEST_F(FrontTest, DeliversALargeAnswerWhole) {
  start();
  EXPECT_EQ(client().ask(getRequest("/large")).body.size(), 4'000'000U);
}

TEST_F(FrontTest, TakesAChunkedBody) {
  start();
  const auto answer = client().ask(
      "POST /x HTTP/1.1\r\nHost: here\r\nTransfer-Encoding: chunked\r\n\r\n3\r\n{\"a\r\n4;x=y\r\n\":1}\r\n0\r\n\r\n");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(mService.requests().at(0).body, "{\"a\":1}");
}

TEST_F(FrontTest, InvitesTheBodyOfAClientThatAsksFirst) {
  start();
  RawClient one = client();
  const auto invitation =
      one.ask("POST /x HTTP/1.1\r\nHost: here\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n");
  EXPECT_EQ(invitation.status, 100);
  const auto answer = one.ask("{}");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(mService.requests().at(0).body, "{}");
}

struct BadRequest {
  const char* name;
  std::string text;
  int status;
};

std::ostream& operator<<(std::ostream& out, const BadRequest& bad) {
  return out << bad.name;
}

class BadRequests : public FrontTest, public testing::WithParamInterface<BadRequest> {};

TEST_P(BadRequests, AreAnsweredWithAStatusBlockAndEndTheConnection) {
  mLimits.headerBytes = 1024;
  mLimits.bodyBytes = 1024;
  start();
  RawClient one = client();
  const auto answer = one.ask(GetParam().text);
  EXPECT_EQ(answer.status, GetParam().status);
  EXPECT_NE(answer.body.find("{\"status\":{\"code\":" + std::to_string(GetParam().status) + ",\"desc\":\""),
            std::string::npos)
      << answer.body;
  EXPECT_EQ(answer.header("content-type"), "application/json");
  EXPECT_EQ(answer.header("connection"), "close");
  EXPECT_TRUE(one.isClosed());
  EXPECT_TRUE(mService.requests().empty());
  EXPECT_EQ(client().ask(getRequest("/after")).status, 200) << "others are served";
}

const std::string kPost = "POST /x HTTP/1.1\r\nHost: here\r\n";

INSTANTIATE_TEST_SUITE_P(
    Front, BadRequests,
    testing::Values(
        BadRequest{"NoHttp", "\x16\x03\x01\x02 hello\r\n\r\n", 400},
        BadRequest{"ABlankInTheTarget", "GET /a b HTTP/1.1\r\nHost: here\r\n\r\n", 400},
        BadRequest{"NoTarget", "GET HTTP/1.1\r\nHost: here\r\n\r\n", 400},
        BadRequest{"AnotherVersion", "GET / HTTP/2.0\r\nHost: here\r\n\r\n", 400},
        BadRequest{"NoHost", "GET /x HTTP/1.1\r\n\r\n", 400},
        BadRequest{"AHeaderWithoutColon", "GET /x HTTP/1.1\r\nHost: here\r\nnonsense\r\n\r\n", 400},
        BadRequest{"ALengthThatIsNone", kPost + "Content-Length: many\r\n\r\n", 400},
        BadRequest{"ANegativeLength", kPost + "Content-Length: -1\r\n\r\n", 400},
        BadRequest{"TwoLengths", kPost + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}", 400},
        BadRequest{"ALengthAndChunks", kPost + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        BadRequest{"AChunkSizeThatIsNone", kPost + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
        BadRequest{"AnUnknownEncoding", kPost + "Transfer-Encoding: gzip\r\n\r\n", 501},
        BadRequest{"AnUnknownEncodingInChunks", kPost + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", 501},
        BadRequest{"AnUnknownExpectation", kPost + "Expect: wonders\r\nContent-Length: 2\r\n\r\n{}", 417},
        BadRequest{"AHugeHeader", "GET /x HTTP/1.1\r\nHost: here\r\nA: " + std::string(2000, 'a') + "\r\n\r\n", 431},
        BadRequest{"AHugeTarget", "GET /" + std::string(2000, 'a') + " HTTP/1.1\r\nHost: here\r\n\r\n", 431},
        BadRequest{"AnEndlessHeader", "GET /x HTTP/1.1\r\nHost: here\r\nA: " + std::string(200'000, 'a'), 431},
        BadRequest{"AHugeBody", kPost + "Content-Length: 1025\r\n\r\n" + std::string(1025, 'a'), 413},
        BadRequest{"AHugeBodyThatIsYetToCome", kPost + "Expect: 100-continue\r\nContent-Length: 99999999999\r\n\r\n",
                   413},
        BadRequest{"AHugeChunk", kPost + "Transfer-Encoding: chunked\r\n\r\n500\r\n" + std::string(1280, 'a'), 413},
        BadRequest{"ManyChunks",
                   kPost + "Transfer-Encoding: chunked\r\n\r\n300\r\n" + std::string(768, 'a') + "\r\n300\r\n" +
                       std::string(768, 'a') + "\r\n0\r\n\r\n",
                   413}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(FrontTest, RefusesChunksOfAVersionThatDoesNotKnowThem) {
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask("POST /x HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n").status, 400);
  EXPECT_TRUE(one.isClosed());
  EXPECT_TRUE(mService.requests().empty());
}

TEST_F(FrontTest, BelievesNothingThatFollowsTheBody) {
  start();
  const auto answer = client().ask(kPost +
                                   "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\nAuthorization: Bearer a\r\n"
                                   "Cookie: kvtSession=a\r\nHost: localhost\r\nX-CSRF-Token: b\r\n\r\n");
  EXPECT_EQ(answer.status, 200);
  const auto request = mService.requests().at(0);
  EXPECT_EQ(request.body, "{}");
  EXPECT_EQ(request.headers.authorization, "");
  EXPECT_EQ(request.headers.csrfToken, "");
  EXPECT_EQ(request.headers.host, "here");
  EXPECT_EQ(request.cookies, "");
}

TEST_F(FrontTest, KnowsAProxyByTheNamesOfItsHeaders) {
  start();
  for (const char* line : {"Via: 1.1 x", "X-Real-IP: 192.0.2.1", "x-forwarded-proto: https",
                           "X-Forwarded-For:", "X-Forwarded-Host: a", "Forwarded:"}) {
    (void)client().ask(getRequest("/x", std::string(line) + "\r\n"));
    EXPECT_TRUE(mService.requests().back().headers.isForwarded) << line;
  }
  (void)client().ask(getRequest("/x", "X-Forward: a\r\nReal-IP: a\r\n"));
  EXPECT_FALSE(mService.requests().back().headers.isForwarded);
}

TEST_F(FrontTest, HasRoomForSoManyBytesOfBodiesTogetherAndAlwaysForSmallOnes) {
  mLimits.bodyBytes = 16 * 1024 * 1024;
  start();
  const std::string large = kPost + "Content-Length: 16777216\r\nExpect: 100-continue\r\n\r\n";
  const std::string chunked = kPost + "Transfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n";
  std::vector<RawClient> unfinished;
  for (int i = 0; i < 4; ++i) {
    unfinished.push_back(client());
    EXPECT_EQ(unfinished.back().ask(i % 2 == 0 ? large : chunked).status, 100);
  }
  for (const std::string& request : {large, chunked, kPost + "Content-Length: 4097\r\n\r\n"}) {
    const auto answer = client().ask(request);
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.header("retry-after"), "10");
  }
  EXPECT_EQ(client().ask(postRequest("/small", std::string(4096, 'a'))).status, 200);
  unfinished.pop_back();
  EXPECT_TRUE(support::waitFor([&] { return client().ask(large).status == 100; }));
  EXPECT_EQ(unfinished.front().ask(std::string(16 * 1024 * 1024, 'a')).status, 200);
  EXPECT_EQ(client().ask(large).status, 100) << "what was answered gives its room back";
}

TEST_F(FrontTest, ClosesAConnectionThatIsNeverUsed) {
  mLimits.idleTimeout = milliseconds(100);
  start();
  RawClient silent = client();
  EXPECT_TRUE(silent.isClosed());
}

TEST_F(FrontTest, ClosesAConnectionThatIsNoLongerUsed) {
  mLimits.idleTimeout = milliseconds(100);
  start();
  std::optional<RawClient> used;
  ASSERT_TRUE(support::waitFor([&] {  // a busy machine may let the time pass before the request is sent
    used.emplace(client());
    return used->ask(getRequest("/x")).status == 200;
  }));
  EXPECT_TRUE(used->isClosed());
}

TEST_F(FrontTest, GivesUpAHeaderThatDoesNotEnd) {
  mLimits.headerTimeout = milliseconds(100);
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask("GET /x HTTP/1.1\r\nHo").status, 408);
  EXPECT_TRUE(one.isClosed());
}

TEST_F(FrontTest, GivesUpABodyThatDoesNotCome) {
  mLimits.requestTimeout = milliseconds(100);
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask(kPost + "Content-Length: 10\r\n\r\n{").status, 408);
  EXPECT_TRUE(one.isClosed());
  EXPECT_TRUE(mService.requests().empty());
}

TEST_F(FrontTest, AnswersForAServiceThatTakesTooLong) {
  mLimits.requestTimeout = milliseconds(100);
  start();
  RawClient one = client();
  EXPECT_EQ(one.ask(getRequest("/wait")).status, 504);
  mService.answerWaiting("{}");
  EXPECT_TRUE(one.isClosed()) << "the late answer is dropped";
}

TEST_F(FrontTest, DropsAClientThatDoesNotTakeItsAnswer) {
  mLimits.writeTimeout = milliseconds(100);
  mLimits.connections = 1;
  start();
  RawClient one = client();
  std::string requests;
  for (int i = 0; i < 20; ++i) {
    requests += getRequest("/large");
  }
  one.send(requests);
  EXPECT_TRUE(support::waitFor([&] { return client().ask(getRequest("/x")).status == 200; }));
}

TEST_F(FrontTest, RefusesConnectionsBeyondItsBoundAndServesTheOthers) {
  mLimits.connections = 2;
  start();
  {
    RawClient one = client();
    RawClient two = client();
    one.send(getRequest("/wait"));
    two.send(getRequest("/wait"));
    ASSERT_TRUE(support::waitFor([&] { return mService.waiting() == 2; }));
    RawClient three = client();
    const auto refusal = three.read();
    EXPECT_EQ(refusal.status, 503);
    EXPECT_NE(refusal.body.find("\"code\":503"), std::string::npos);
    mService.answerWaiting("{}");
    EXPECT_EQ(one.read().status, 200);
    EXPECT_EQ(two.read().status, 200);
  }
  EXPECT_TRUE(support::waitFor([&] { return client().ask(getRequest("/4")).status == 200; }));
}

TEST_F(FrontTest, ForgetsAClientThatLeavesWhileItsAnswerIsPrepared) {
  start();
  {
    RawClient one = client();
    one.send(getRequest("/wait"));
    ASSERT_TRUE(support::waitFor([&] { return mService.waiting() == 1; }));
  }
  mService.answerWaiting("{}");
  EXPECT_EQ(client().ask(getRequest("/x")).status, 200);
}

TEST_F(FrontTest, LetsAnAnswerUnderWayEndWhenItStops) {
  start();
  RawClient idle = client();
  EXPECT_EQ(idle.ask(getRequest("/x")).status, 200);
  RawClient one = client();
  one.send(getRequest("/wait"));
  ASSERT_TRUE(support::waitFor([&] { return mService.waiting() == 1; }));
  mFront->stopAccepting();
  EXPECT_TRUE(idle.isClosed());
  EXPECT_ANY_THROW(client());
  mService.answerWaiting("{\"late\":true}");
  const auto answer = one.read();
  EXPECT_EQ(answer.body, "{\"late\":true}");
  EXPECT_EQ(answer.header("connection"), "close");
  mFront->stop(milliseconds(20'000));
}

TEST_F(FrontTest, EndsWhatDoesNotEndInTimeWhenItStops) {
  start();
  RawClient waiting = client();
  waiting.send(getRequest("/wait"));
  RawClient halfway = client();
  halfway.send("GET /x HTT");
  ASSERT_TRUE(support::waitFor([&] { return mService.waiting() == 1; }));
  mFront->stop(milliseconds(50));
  EXPECT_TRUE(waiting.isClosed());
  EXPECT_TRUE(halfway.isClosed());
}

TEST_F(FrontTest, TakesAnAnswerAfterItsEndWithoutHarm) {
  start();
  RawClient one = client();
  one.send(getRequest("/wait"));
  ASSERT_TRUE(support::waitFor([&] { return mService.waiting() == 1; }));
  mFront.reset();
  mService.answerWaiting("{}");
  EXPECT_TRUE(one.isClosed());
}

TEST_F(FrontTest, EndsWithoutHavingStarted) {
  Front front(mLimits, mService);
  EXPECT_TRUE(front.listen({{"127.0.0.1", 0}}));
  front.stopAccepting();
  front.stop(milliseconds(0));
}

TEST_F(FrontTest, SaysWhichAddressItCannotListenOn) {
  start();
  Front other(mLimits, mService);
  const auto endpoints = other.listen({{"127.0.0.1", mPort}});
  ASSERT_FALSE(endpoints);
  EXPECT_EQ(endpoints.error(), "cannot listen on 127.0.0.1:" + std::to_string(mPort) + ": Address already in use");
}

TEST_F(FrontTest, ListensOnEveryAddressOfBothFamilies) {
  Front front(mLimits, mService);
  const auto endpoints = front.listen({{"", 0}});
  ASSERT_TRUE(endpoints);
  front.start();
  const auto port = endpoints->front().port;
  EXPECT_EQ(RawClient(port).ask(getRequest("/x")).status, 200);
  EXPECT_EQ(mService.requests().at(0).remoteAddress, "127.0.0.1");
  if (endpoints->front().address == "0.0.0.0") GTEST_SKIP() << "no IPv6 here";
  EXPECT_EQ(endpoints->front().address, "::");
  EXPECT_EQ(RawClient(port, true).ask(getRequest("/x")).status, 200);
  EXPECT_EQ(mService.requests().at(1).remoteAddress, "::1");
}

TEST_F(FrontTest, ListensOnOnePortForEachFamilyByItself) {
  start();
  const auto port = mPort;
  mFront.reset();
  Front front(mLimits, mService);
  const auto endpoints = front.listen({{"127.0.0.1", port}, {"", port}});
  if (!endpoints) GTEST_SKIP() << endpoints.error();
  EXPECT_EQ(endpoints->size(), 2U);
}

}  // namespace
