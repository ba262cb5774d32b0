#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "httpclient/HttpClient.h"
#include "support/Wait.h"
#include "unit/host/ScriptedServer.h"

namespace {

using host_test::deadPort;
using host_test::httpAnswer;
using host_test::ScriptedServer;
using httpclient::ErrorKind;
using httpclient::makeUrl;
using httpclient::perform;
using httpclient::Request;
using std::chrono::milliseconds;

Request requestTo(const ScriptedServer& server, const std::string& path = "/") {
  Request request;
  request.url = makeUrl("http", "127.0.0.1", server.port(), path);
  return request;
}

TEST(HttpClient, BringsStatusBodyAndAddress) {
  ScriptedServer server([](const std::string&) { return httpAnswer(404, "{\"a\":1}"); });
  const auto response = perform(requestTo(server));
  EXPECT_EQ(response.error, ErrorKind::kNone);
  EXPECT_EQ(response.errorText, "");
  EXPECT_EQ(response.status, 404);
  EXPECT_EQ(response.body, "{\"a\":1}");
  EXPECT_EQ(response.primaryIp, "127.0.0.1");
  EXPECT_TRUE(response.connected);
  EXPECT_FALSE(response.ok());
}

TEST(HttpClient, SendsMethodPathHeadersCookieAndBody) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, ""); });
  Request request = requestTo(server, "/a/b?c=d");
  request.method = "PUT";
  request.headers = {"X-One: 1", "Content-Type: application/json"};
  request.cookie = "lastCommunicatedNIC=10.0.0.5";
  request.body = "{}";
  EXPECT_TRUE(perform(request).ok());
  const std::string sent = server.requests().at(0);
  EXPECT_TRUE(sent.starts_with("PUT /a/b?c=d HTTP/1.1\r\n")) << sent;
  EXPECT_NE(sent.find("\r\nX-One: 1\r\n"), std::string::npos) << sent;
  EXPECT_NE(sent.find("\r\nContent-Type: application/json\r\n"), std::string::npos) << sent;
  EXPECT_NE(sent.find("\r\nCookie: lastCommunicatedNIC=10.0.0.5\r\n"), std::string::npos) << sent;
  EXPECT_NE(sent.find("\r\nContent-Length: 2\r\n"), std::string::npos) << sent;
}

TEST(HttpClient, BringsTheHeaderLinesOfTheFinalAnswer) {
  ScriptedServer server([](const std::string&) {
    return "HTTP/1.1 103 Early Hints\r\nX-Early: 1\r\n\r\n" + httpAnswer(200, "", "Set-Cookie: a=b\r\n");
  });
  const auto response = perform(requestTo(server));
  const auto has = [&response](const char* line) {
    return std::find(response.headers.begin(), response.headers.end(), line) != response.headers.end();
  };
  EXPECT_TRUE(has("Set-Cookie: a=b"));
  EXPECT_FALSE(has("X-Early: 1"));
}

TEST(HttpClient, HandsABodyOnAsItComes) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, std::string(100'000, 'x')); });
  Request request = requestTo(server);
  request.maxBodyBytes = 10;
  std::size_t received = 0;
  request.onBody = [&received](std::string_view piece) {
    received += piece.size();
    return true;
  };
  const auto response = perform(request);
  EXPECT_TRUE(response.ok()) << response.errorText;
  EXPECT_EQ(received, 100'000u);
  EXPECT_EQ(response.body, "");
}

TEST(HttpClient, KeepsTheBodyOfARefusalFromTheReceiver) {
  ScriptedServer server([](const std::string&) { return httpAnswer(401, "log in"); });
  Request request = requestTo(server);
  request.onBody = [](std::string_view) -> bool { throw std::logic_error("not for you"); };
  EXPECT_EQ(perform(request).body, "log in");
}

TEST(HttpClient, EndsWhenTheReceiverWantsNoMoreOrFails) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, "x"); });
  Request request = requestTo(server);
  request.onBody = [](std::string_view) { return false; };
  EXPECT_EQ(perform(request).error, ErrorKind::kCancelled);
  request.onBody = [](std::string_view) -> bool { throw std::runtime_error("full"); };
  EXPECT_EQ(perform(request).error, ErrorKind::kCancelled);
}

TEST(HttpClient, SendsAPostWithoutABodyWithItsLength) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, ""); });
  Request request = requestTo(server);
  request.method = "POST";
  EXPECT_TRUE(perform(request).ok());
  EXPECT_NE(server.requests().at(0).find("\r\nContent-Length: 0\r\n"), std::string::npos);
}

TEST(HttpClient, DoesNotWaitForABodyAfterHead) {
  ScriptedServer server([](const std::string&) { return "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n"; });
  Request request = requestTo(server);
  request.method = "HEAD";
  EXPECT_TRUE(perform(request).ok());
}

TEST(HttpClient, FollowsNoRedirect) {
  ScriptedServer server([](const std::string&) { return httpAnswer(302, "", "Location: http://127.0.0.1:1/\r\n"); });
  EXPECT_EQ(perform(requestTo(server)).status, 302);
}

TEST(HttpClient, UsesNoProxy) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, ""); });
  ::setenv("http_proxy", "http://127.0.0.1:1", 1);
  const auto response = perform(requestTo(server));
  ::unsetenv("http_proxy");
  EXPECT_TRUE(response.ok()) << response.errorText;
}

struct Failing {
  const char* name;
  std::string answer;
  ErrorKind error;
};

class FailingAnswers : public testing::TestWithParam<Failing> {};

TEST_P(FailingAnswers, AreTold) {
  ScriptedServer server([](const std::string&) { return GetParam().answer; });
  Request request = requestTo(server);
  request.maxBodyBytes = 1000;
  const auto response = perform(request);
  EXPECT_EQ(response.error, GetParam().error) << response.errorText;
  EXPECT_EQ(response.status, 0);
  EXPECT_EQ(response.body, "");
  EXPECT_NE(response.errorText, "");
  EXPECT_TRUE(response.connected);
}

INSTANTIATE_TEST_SUITE_P(
    HttpClient, FailingAnswers,
    testing::Values(
        Failing{"NoAnswer", "", ErrorKind::kUnreachable}, Failing{"NoHttp", "SSH-2.0-x\r\n\r\n", ErrorKind::kMalformed},
        Failing{"HalfABody", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{", ErrorKind::kUnreachable},
        Failing{"TooLongByItsHeader", "HTTP/1.1 200 OK\r\nContent-Length: 1001\r\n\r\n", ErrorKind::kTooLarge},
        Failing{"TooLongInTheEnd", "HTTP/1.1 200 OK\r\n\r\n" + std::string(1001, 'a'), ErrorKind::kTooLarge},
        Failing{
            "TooLongInChunks",
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3e9\r\n" + std::string(1001, 'a') + "\r\n0\r\n\r\n",
            ErrorKind::kTooLarge},
        Failing{"AnEndlessHeader",
                "HTTP/1.1 200 OK\r\n" +
                    [] {
                      std::string lines;
                      for (int i = 0; i < 2000; ++i) {
                        lines += "X-Line: " + std::string(50, 'a') + "\r\n";
                      }
                      return lines;
                    }(),
                ErrorKind::kTooLarge}),
    [](const auto& tested) { return tested.param.name; });

TEST(HttpClient, TakesABodyOfJustTheAllowedSize) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, std::string(1000, 'a')); });
  Request request = requestTo(server);
  request.maxBodyBytes = 1000;
  EXPECT_EQ(perform(request).body.size(), 1000U);
}

TEST(HttpClient, TellsThatNobodyListens) {
  Request request;
  request.url = makeUrl("http", "127.0.0.1", deadPort(), "/");
  const auto response = perform(request);
  EXPECT_EQ(response.error, ErrorKind::kUnreachable);
  EXPECT_FALSE(response.connected);
  EXPECT_EQ(response.primaryIp, "");
}

TEST(HttpClient, TellsThatANameHasNoAddress) {
  Request request;
  request.url = "http://" + std::string(64, 'a') + ":1/";  // no resolver asks anybody for a label of that length
  request.totalTimeout = milliseconds(20'000);
  EXPECT_EQ(perform(request).error, ErrorKind::kResolve);
}

TEST(HttpClient, GivesUpAnAnswerThatDoesNotCome) {
  ScriptedServer* hanging = nullptr;
  ScriptedServer server([&](const std::string&) { return hanging->hang(); });
  hanging = &server;
  Request request = requestTo(server);
  request.totalTimeout = milliseconds(100);
  const auto response = perform(request);
  EXPECT_EQ(response.error, ErrorKind::kTimedOut);
  EXPECT_TRUE(response.connected);
}

TEST(HttpClient, CanBeCalledOffWhileItWaits) {
  ScriptedServer* hanging = nullptr;
  ScriptedServer server([&](const std::string&) { return hanging->hang(); });
  hanging = &server;
  std::atomic<bool> cancelled = false;
  Request request = requestTo(server);
  request.totalTimeout = std::chrono::minutes(10);
  request.cancelled = [&] { return cancelled.load(); };
  ErrorKind error = ErrorKind::kNone;
  std::thread exchange([&] { error = perform(request).error; });
  EXPECT_TRUE(support::waitFor([&] { return server.requests().size() == 1; }));
  cancelled = true;
  exchange.join();
  EXPECT_EQ(error, ErrorKind::kCancelled);
}

class BadUrls : public testing::TestWithParam<const char*> {};

TEST_P(BadUrls, AreRefused) {
  Request request;
  request.url = GetParam();
  EXPECT_EQ(perform(request).error, ErrorKind::kBadUrl);
}

INSTANTIATE_TEST_SUITE_P(HttpClient, BadUrls,
                         testing::Values("", "nonsense", "file:///etc/passwd", "ftp://127.0.0.1/", "http://",
                                         "http://127.0.0.1:99999/", "http://a b/", "http://[::1/"));

TEST(HttpClient, LetsNobodyAddHeaderLines) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, ""); });
  Request request = requestTo(server);
  request.cookie = "a=b\r\nX-Evil: 1";
  EXPECT_EQ(perform(request).error, ErrorKind::kBadUrl);
  request.cookie = "";
  request.headers = {"A: b\r\nX-Evil: 1"};
  EXPECT_EQ(perform(request).error, ErrorKind::kBadUrl);
  EXPECT_TRUE(server.requests().empty());
}

TEST(HttpClient, WritesUrlsOfEveryKindOfHost) {
  EXPECT_EQ(makeUrl("http", "10.0.0.1", 8443, "/x"), "http://10.0.0.1:8443/x");
  EXPECT_EQ(makeUrl("https", "a.example", 1, "/"), "https://a.example:1/");
  EXPECT_EQ(makeUrl("http", "2001:db8::1", 80, "/"), "http://[2001:db8::1]:80/");
  EXPECT_EQ(makeUrl("http", "fe80::1%eth0", 80, "/"), "http://[fe80::1%25eth0]:80/");
}

TEST(HttpClient, RunsInManyThreadsAtOnce) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, "{}"); });
  std::atomic<int> good = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 10; ++n) {
        if (perform(requestTo(server)).ok()) ++good;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(good, 80);
}

}  // namespace
