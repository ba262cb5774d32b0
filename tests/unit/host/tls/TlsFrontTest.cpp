#include <atomic>
#include <fstream>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "host/http/Descriptors.h"
#include "support/Wait.h"
#include "unit/host/tls/FrontFixture.h"
#include "unit/host/tls/TlsClient.h"

namespace {

using host_test::getRequest;
using host_test::RawClient;
using host_test::TlsClient;
using std::chrono::milliseconds;

class TlsFrontTest : public host_test::FrontFixture {
 protected:
  TlsClient tlsClient() const { return TlsClient(mPort); }
  static bool isServed(TlsClient& client) {
    return client.ask(getRequest("/x"), "{}").starts_with("HTTP/1.1 200 OK\r\n");
  }
};

TEST_F(TlsFrontTest, SpeaksBothVersionsThatAreGoodEnough) {
  startWithTls();
  EXPECT_EQ(mScheme, "https");
  TlsClient old(mPort, TLS1_2_VERSION);
  EXPECT_EQ(old.version(), "TLSv1.2");
  EXPECT_TRUE(isServed(old));
  TlsClient present(mPort);
  EXPECT_EQ(present.version(), "TLSv1.3");
  EXPECT_TRUE(isServed(present));
  EXPECT_TRUE(isServed(present)) << "the connection is kept";
  EXPECT_EQ(present.certificateFingerprint(), mTls->info().fingerprint);
  EXPECT_TRUE(mService.requests().at(0).isSecure);
}

TEST_F(TlsFrontTest, RefusesVersionsThatAreNot) {
  startWithTls();
  EXPECT_FALSE(TlsClient(mPort, TLS1_1_VERSION).hasHandshake());
  EXPECT_FALSE(TlsClient(mPort, TLS1_VERSION).hasHandshake());
  EXPECT_TRUE(support::waitFor([&] { return mFront->counts().failedHandshakes == 2; }));
  TlsClient one = tlsClient();
  EXPECT_TRUE(isServed(one));
}

TEST_F(TlsFrontTest, RefusesTheOlderVersionWhereTheNewestIsAskedFor) {
  host::TlsSettings settings;
  settings.leastVersion = host::TlsSettings::Version::kTls13;
  startWithTls(settings);
  EXPECT_FALSE(TlsClient(mPort, TLS1_2_VERSION).hasHandshake());
  EXPECT_TRUE(tlsClient().hasHandshake());
}

TEST_F(TlsFrontTest, TellsWhoSpeaksPlainHttpWhereToGo) {
  startWithTls();
  RawClient plain = client();
  const auto answer = plain.ask(getRequest("/1.0/servers"));
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.body, "This server speaks HTTPS: https://127.0.0.1:" + std::to_string(mPort) + "/\n");
  EXPECT_EQ(answer.header("content-type"), "text/plain; charset=utf-8");
  EXPECT_EQ(answer.header("x-content-type-options"), "nosniff");
  EXPECT_TRUE(plain.isClosed());
  EXPECT_TRUE(mService.requests().empty());
}

TEST_F(TlsFrontTest, DropsWhatIsNoTls) {
  startWithTls();
  for (const std::string& text : {std::string("\x16\x03\x01\xff\xff nonsense"), std::string("\x80\x2e\x01\x00\x02", 5),
                                  std::string(70'000, '\xff'), std::string("\0\0\0\0\0\0\0\0", 8),
                                  std::string("\x16\x03\x03\x00\x05\x01\x00\x00\x01\x00", 10)}) {
    RawClient one = client();
    one.send(text);
    if (text.size() == 10) one.send(text);  // the first handshake message, and then what makes no sense
    while (one.hasData(milliseconds(20'000)) && one.read().status != 0) {
    }
  }
  EXPECT_TRUE(support::waitFor([&] { return mFront->counts().failedHandshakes == 5; }))
      << mFront->counts().failedHandshakes;
  TlsClient one = tlsClient();
  EXPECT_TRUE(isServed(one)) << "others are served";
}

TEST_F(TlsFrontTest, CountsWhoDoesNotBelieveTheCertificateWithoutAWarning) {
  startWithTls();
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    EXPECT_FALSE(TlsClient(mPort, version, version, false).hasHandshake());
  }
  EXPECT_TRUE(support::waitFor([&] { return mFront->counts().failedHandshakes == 2; }));
  EXPECT_FALSE(mLog.containsPart("refused a request"));
  TlsClient one = tlsClient();
  EXPECT_TRUE(isServed(one)) << "others are served";
}

TEST_F(TlsFrontTest, GivesUpAHandshakeThatDoesNotEnd) {
  mLimits.headerTimeout = milliseconds(200);
  startWithTls();
  RawClient silent = client();
  RawClient halfway = client();
  halfway.send(std::string("\x16\x03\x01\x02\x00\x01\x00\x01", 8));
  EXPECT_TRUE(silent.isClosed());
  EXPECT_TRUE(halfway.isClosed());
  EXPECT_EQ(mFront->counts().failedHandshakes, 2U);
  EXPECT_TRUE(mLog.containsPart("TLS: the handshake took too long"));
}

TEST_F(TlsFrontTest, EndsConnectionsInOrder) {
  mLimits.idleTimeout = milliseconds(300);
  startWithTls();
  TlsClient idle = tlsClient();
  ASSERT_TRUE(idle.hasHandshake());
  EXPECT_TRUE(idle.isClosedInOrder());
  TlsClient asked = tlsClient();
  const auto answer = asked.ask(getRequest("/x", "Connection: close\r\n"), "{}");
  EXPECT_NE(answer.find("Connection: close"), std::string::npos) << answer;
  EXPECT_TRUE(asked.isClosedInOrder());
}

TEST_F(TlsFrontTest, EndsIdleConnectionsWhenItStops) {
  startWithTls();
  TlsClient idle = tlsClient();
  EXPECT_TRUE(isServed(idle));
  mFront->stopAccepting();
  EXPECT_TRUE(idle.isClosedInOrder());
}

TEST_F(TlsFrontTest, BoundsHeaderAndBodyOverTlsToo) {
  mLimits.headerBytes = 1024;
  mLimits.headerTimeout = milliseconds(500);
  mLimits.requestTimeout = milliseconds(200);
  startWithTls();
  EXPECT_NE(tlsClient().ask("GET /" + std::string(2000, 'a') + " HTTP/1.1\r\nHost: here\r\n\r\n", "}}").find(" 431 "),
            std::string::npos);
  EXPECT_NE(tlsClient().ask("GET /x HTTP/1.1\r\nHo", "}}").find(" 408 "), std::string::npos);
  EXPECT_NE(tlsClient().ask("POST /x HTTP/1.1\r\nHost: here\r\nContent-Length: 9\r\n\r\n{", "}}").find(" 408 "),
            std::string::npos);
  EXPECT_TRUE(mService.requests().empty());
}

TEST_F(TlsFrontTest, DeliversALargeAnswerWhole) {
  mService.answer = [](const auto&) {
    host::Answer answer;
    answer.body = std::string(2'000'000, 'x') + "end";
    return answer;
  };
  startWithTls();
  EXPECT_GT(tlsClient().ask(getRequest("/x"), "end").size(), 2'000'000U);
}

TEST_F(TlsFrontTest, GivesNewConnectionsANewCertificate) {
  startWithTls();
  TlsClient before = tlsClient();
  const auto fingerprint = mTls->info().fingerprint;
  std::filesystem::remove(mState.pathOf(host::TlsContext::kFileName));
  ASSERT_EQ(mTls->reload({}), std::nullopt);
  TlsClient after = tlsClient();
  EXPECT_EQ(after.certificateFingerprint(), mTls->info().fingerprint);
  EXPECT_NE(after.certificateFingerprint(), fingerprint);
  EXPECT_TRUE(isServed(before)) << "a connection from before goes on";
  std::ofstream(mState.pathOf(host::TlsContext::kFileName)) << "broken";
  EXPECT_NE(mTls->reload({}), std::nullopt);
  TlsClient last = tlsClient();
  EXPECT_EQ(last.certificateFingerprint(), after.certificateFingerprint());
  EXPECT_TRUE(isServed(last));
}

TEST_F(TlsFrontTest, GivesEveryAnswerTheHeadersThatProtectABrowser) {
  startWithTls();
  for (const char* text : {"GET /x HTTP/1.1\r\nHost: here\r\n\r\n", "GET /x HTTP/1.1\r\nnonsense\r\n\r\n"}) {
    const auto answer = tlsClient().ask(text, "}");
    for (const char* line :
         {"\r\nX-Content-Type-Options: nosniff\r\n", "\r\nReferrer-Policy: no-referrer\r\n",
          "\r\nContent-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n",
          "\r\nCross-Origin-Resource-Policy: same-origin\r\n", "\r\nCache-Control: no-store\r\n",
          "\r\nStrict-Transport-Security: max-age=31536000\r\n", "\r\nContent-Type: application/json\r\n"}) {
      EXPECT_NE(answer.find(line), std::string::npos) << line << answer;
    }
  }
}

class HeadersTest : public host_test::FrontFixture {};

TEST_F(HeadersTest, AreThoseOfTheAnswerWhereItHasItsOwn) {
  mService.answer = [](const auto&) {
    host::Answer answer;
    answer.headers = {{"Content-Security-Policy", "default-src 'self'"}, {"Cache-Control", "no-cache"}};
    return answer;
  };
  start();
  const auto answer = client().ask(getRequest("/x"));
  EXPECT_EQ(answer.header("content-security-policy"), "default-src 'self'");
  EXPECT_EQ(answer.header("cache-control"), "no-cache");
  EXPECT_EQ(answer.header("referrer-policy"), "no-referrer");
  EXPECT_EQ(answer.header("strict-transport-security"), "") << "not without TLS";
}

TEST_F(HeadersTest, OfTheRequestReachTheService) {
  start();
  client().ask(
      getRequest("/x",
                 "Accept-Encoding: gzip\r\nAccept-Encoding: br\r\nAuthorization: Bearer a\r\nX-CSRF-Token: b\r\n"
                 "If-None-Match: \"c\"\r\nX-Forwarded-For: 192.0.2.1\r\nOrigin: https://here\r\n"
                 "Sec-Fetch-Site: same-origin\r\n"));
  const auto requests = mService.requests();
  ASSERT_EQ(requests.size(), 1U);
  const auto& headers = requests[0].headers;
  EXPECT_EQ(headers.acceptEncoding, "gzip, br");
  EXPECT_EQ(headers.authorization, "Bearer a");
  EXPECT_EQ(headers.csrfToken, "b");
  EXPECT_EQ(headers.host, "here");
  EXPECT_EQ(headers.ifNoneMatch, "\"c\"");
  EXPECT_TRUE(headers.isForwarded);
  EXPECT_EQ(headers.origin, "https://here");
  EXPECT_EQ(headers.fetchSite, "same-origin");
  EXPECT_FALSE(requests[0].isSecure);
}

TEST_F(HeadersTest, ThatMayBeThereOnlyOnceAreRefusedWhenTheyAreTwice) {
  start();
  for (const char* line : {"Authorization: a", "Host: a", "Origin: a", "X-CSRF-Token: a", "Sec-Fetch-Site: none"}) {
    const std::string twice = std::string(line) + "\r\n" + line + "\r\n";
    EXPECT_EQ(client().ask(getRequest("/x", twice)).status, 400) << line;
  }
  EXPECT_TRUE(mService.requests().empty());
}

class CrowdTest : public host_test::FrontFixture {};

TEST_F(CrowdTest, OfIdleAndSlowClientsLocksNobodyOut) {
  mLimits.connections = 4096;
  if (host::makeRoomForConnections(5000) < 5000) GTEST_SKIP() << "this machine allows too few descriptors";
  startWithTls();
  std::vector<RawClient> crowd;
  for (int i = 0; i < 2000; ++i) {
    crowd.push_back(client());
    if (i % 2 == 0) crowd.back().send(std::string("\x16\x03\x01\x02\x00\x01", 6));
  }
  for (int i = 0; i < 20; ++i) {
    TlsClient one(mPort);
    EXPECT_TRUE(one.ask(getRequest("/x"), "{}").starts_with("HTTP/1.1 200"));
  }
  EXPECT_GE(mFront->counts().connections, 2000U);
  EXPECT_EQ(mFront->counts().evicted, 0U);
}

TEST_F(CrowdTest, GivesWayWhenThereIsNoRoomTheOldestFirst) {
  mLimits.connections = 3;
  start();
  RawClient idle = client();
  EXPECT_EQ(idle.ask(getRequest("/x")).status, 200);
  RawClient slowHeader = client();
  slowHeader.send("GET /x HTT");
  RawClient slowBody = client();
  slowBody.send("POST /x HTTP/1.1\r\nHost: here\r\nContent-Length: 10\r\n\r\n{");
  ASSERT_TRUE(support::waitFor([&] { return mFront->counts().connections == 3; }));
  EXPECT_EQ(client().ask(getRequest("/x")).status, 200);
  EXPECT_TRUE(idle.isClosed());
  EXPECT_EQ(mFront->counts().evicted, 1U);
  EXPECT_TRUE(slowBody.send("x"));
  RawClient second = client();
  RawClient third = client();
  EXPECT_EQ(second.ask(getRequest("/x")).status, 200);
  EXPECT_EQ(third.ask(getRequest("/x")).status, 200);
  EXPECT_TRUE(slowHeader.isClosed());
}

TEST_F(CrowdTest, ThatTakesNoAnswersLocksNobodyOut) {
  mLimits.connections = 4;
  mLimits.writeTimeout = std::chrono::hours(1);
  mService.answer = [](const host::ClientRequest& request) {
    host::Answer made;
    made.body = request.target == "/large" ? std::string(24'000'000, 'x') : "{}";  // more than the system holds for it
    return made;
  };
  start();
  std::vector<RawClient> crowd;
  for (std::size_t i = 1; i <= 4; ++i) {
    crowd.push_back(client());
    crowd.back().send(getRequest("/large"));
    ASSERT_TRUE(support::waitFor([&] { return mService.requests().size() == i; }));
  }
  std::vector<RawClient> others;
  for (int i = 0; i < 6; ++i) {
    EXPECT_TRUE(support::waitFor([&] {
      others.push_back(client());
      return others.back().ask(getRequest("/x")).status == 200;
    }));
  }
  EXPECT_GE(mFront->counts().evicted, 6U);
}

TEST_F(CrowdTest, OfRequestsUnderWayIsLeftAloneAndTheNewOneIsRefused) {
  mLimits.connections = 2;
  mService.answer = [](const auto&) {
    host::Answer never;
    never.status = 0;
    return never;
  };
  start();
  RawClient one = client();
  RawClient two = client();
  one.send(getRequest("/1"));
  two.send(getRequest("/2"));
  ASSERT_TRUE(support::waitFor([&] { return mService.requests().size() == 2; }));
  RawClient three = client();
  const auto refusal = three.read();
  EXPECT_EQ(refusal.status, 503);
  EXPECT_EQ(refusal.header("retry-after"), "1");
  EXPECT_EQ(refusal.header("x-content-type-options"), "nosniff");
  EXPECT_EQ(mFront->counts().refused, 1U);
  EXPECT_FALSE(one.hasData(milliseconds(0)));
}

TEST_F(CrowdTest, IsNoLargerThanTheFilesThatTheProcessMayOpen) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  if (before.rlim_max < 1000) GTEST_SKIP() << "this machine allows too few descriptors";
  const rlimit low{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  EXPECT_EQ(host::makeRoomForConnections(500), 500U);
  rlimit after{};
  getrlimit(RLIMIT_NOFILE, &after);
  EXPECT_EQ(after.rlim_cur, before.rlim_max) << "it was raised";
  if (before.rlim_max < 4'000'000'000U) {
    const auto wanted = static_cast<unsigned int>(before.rlim_max);
    EXPECT_EQ(host::makeRoomForConnections(wanted), wanted - 256);
    EXPECT_TRUE(mLog.containsPart("limits.connections is "));
  }
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(CrowdTest, DoesNotKeepTheFrontFromItsHeartbeat) {
  std::atomic<int> beats = 0;
  mFront.emplace(mLimits, mService);
  mFront->onHeartbeat([&] { ++beats; });
  mFront->start();
  EXPECT_TRUE(support::waitFor([&] { return beats >= 3; }));
  mFront.reset();
}

}  // namespace
