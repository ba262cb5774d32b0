// What the HTTP client makes of servers that speak TLS, more or less.

#include <atomic>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "httpclient/HttpClient.h"
#include "support/Wait.h"
#include "unit/host/ScriptedServer.h"
#include "unit/host/peers/TlsServer.h"

namespace {

using host_test::httpAnswer;
using host_test::Identity;
using host_test::makeIdentity;
using host_test::ScriptedServer;
using host_test::TlsServer;
using httpclient::ErrorKind;
using httpclient::perform;
using httpclient::Request;
using httpclient::ServerCertificate;
using std::chrono::milliseconds;

std::string greet(const std::string&) {
  return httpAnswer(200, "hello");
}

Request requestTo(std::uint16_t port, const std::string& host = "127.0.0.1") {
  Request request;
  request.url = httpclient::makeUrl("https", host, port, "/secret");
  request.connectTimeout = milliseconds(20'000);
  request.totalTimeout = milliseconds(20'000);
  return request;
}

Request trusting(std::uint16_t port, const std::string& host = "127.0.0.1") {
  Request request = requestTo(port, host);
  request.acceptCertificate = [](const ServerCertificate&) { return std::nullopt; };
  return request;
}

TEST(TlsClient, ShowsTheCertificateToItsCallbackAndSendsWhenItIsAccepted) {
  const Identity identity = makeIdentity();
  TlsServer server(identity, greet);
  std::vector<ServerCertificate> shown;
  Request request = requestTo(server.port());
  request.acceptCertificate = [&](const ServerCertificate& certificate) -> std::optional<std::string> {
    EXPECT_TRUE(server.requests().empty()) << "nothing was sent yet";
    shown.push_back(certificate);
    return std::nullopt;
  };
  const auto response = perform(request);
  EXPECT_EQ(response.status, 200) << response.errorText;
  EXPECT_EQ(response.body, "hello");
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown[0].fingerprint, identity.fingerprint());
  EXPECT_EQ(shown[0].address, "127.0.0.1");
}

TEST(TlsClient, SendsNothingToAServerThatItsCallbackRefuses) {
  TlsServer server(makeIdentity(), greet);
  Request request = requestTo(server.port());
  request.acceptCertificate = [](const ServerCertificate&) { return std::optional<std::string>("we do not know it"); };
  const auto response = perform(request);
  EXPECT_EQ(response.error, ErrorKind::kCertificate);
  EXPECT_EQ(response.errorText, "we do not know it");
  EXPECT_EQ(response.status, 0);
  EXPECT_EQ(server.connections(), 1);
  EXPECT_TRUE(server.requests().empty());
}

TEST(TlsClient, TakesACallbackThatThrowsForARefusal) {
  TlsServer server(makeIdentity(), greet);
  Request request = requestTo(server.port());
  request.acceptCertificate = [](const ServerCertificate&) -> std::optional<std::string> {
    throw std::runtime_error("out of order");
  };
  const auto response = perform(request);
  EXPECT_EQ(response.error, ErrorKind::kCertificate);
  EXPECT_EQ(response.errorText, "out of order");
  EXPECT_TRUE(server.requests().empty());
}

TEST(TlsClient, LeavesNamesAndValidityToTheCallback) {
  TlsServer server(makeIdentity({.names = "DNS:elsewhere.example",
                                 .notBefore = std::chrono::hours(-48),
                                 .notAfter = std::chrono::hours(-24)}),
                   greet);
  EXPECT_EQ(perform(trusting(server.port())).status, 200);
}

TEST(TlsClient, ShowsTheAddressThatANameLedTo) {
  TlsServer server(makeIdentity(), greet);
  std::string address;
  Request request = requestTo(server.port(), "localhost");
  request.acceptCertificate = [&](const ServerCertificate& certificate) -> std::optional<std::string> {
    address = certificate.address;
    return std::nullopt;
  };
  EXPECT_EQ(perform(request).status, 200);
  EXPECT_EQ(address, "127.0.0.1");
}

struct Signed {
  const char* name;
  host_test::Wanted wanted;
  bool isOurs;  ///< signed by the authority that is trusted
  ErrorKind error;
};

class Authorities : public testing::TestWithParam<Signed> {};

TEST_P(Authorities, Decide) {
  const Identity ours = makeIdentity({.isAuthority = true});
  const Identity theirs = makeIdentity({.isAuthority = true});
  TlsServer server(makeIdentity(GetParam().wanted, GetParam().isOurs ? &ours : &theirs), greet);
  Request request = requestTo(server.port());
  request.authorities = ours.pem();
  const auto response = perform(request);
  EXPECT_EQ(response.error, GetParam().error) << response.errorText;
  EXPECT_EQ(response.errorText.empty(), response.error == ErrorKind::kNone);
  EXPECT_EQ(server.requests().size(), response.error == ErrorKind::kNone ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    TlsClient, Authorities,
    testing::Values(Signed{"Good", {}, true, ErrorKind::kNone}, Signed{"OfAnother", {}, false, ErrorKind::kCertificate},
                    Signed{"Expired",
                           {.notBefore = std::chrono::hours(-48), .notAfter = std::chrono::hours(-24)},
                           true,
                           ErrorKind::kCertificate},
                    Signed{"NotYetValid", {.notBefore = std::chrono::hours(12)}, true, ErrorKind::kCertificate},
                    Signed{"WrongName", {.names = "DNS:elsewhere.example"}, true, ErrorKind::kCertificate},
                    Signed{"WrongAddress", {.names = "IP:192.0.2.7"}, true, ErrorKind::kCertificate}),
    [](const auto& tested) { return tested.param.name; });

TEST(TlsClient, RefusesWhatSignsItselfWithoutBeingAnAuthorityOfOurs) {
  TlsServer server(makeIdentity(), greet);
  EXPECT_EQ(perform(requestTo(server.port())).error, ErrorKind::kCertificate) << "by the system's authorities";
  Request request = requestTo(server.port());
  request.authorities = makeIdentity({.isAuthority = true}).pem();
  EXPECT_EQ(perform(request).error, ErrorKind::kCertificate);
  EXPECT_TRUE(server.requests().empty());
}

TEST(TlsClient, TrustsNobodyWithAuthoritiesThatAreNone) {
  TlsServer server(makeIdentity(), greet);
  Request request = requestTo(server.port());
  request.authorities = "nonsense";
  EXPECT_EQ(perform(request).error, ErrorKind::kCertificate);
  EXPECT_TRUE(server.requests().empty());
}

TEST(TlsClient, RefusesTlsThatIsTooOld) {
  TlsServer server(makeIdentity(), greet, TLS1_1_VERSION);
  const auto response = perform(trusting(server.port()));
  EXPECT_EQ(response.error, ErrorKind::kTls) << response.errorText;
  EXPECT_TRUE(server.requests().empty());
}

TEST(TlsClient, TakesTls12) {
  TlsServer server(makeIdentity(), greet, TLS1_2_VERSION);
  EXPECT_EQ(perform(trusting(server.port())).status, 200);
}

/// Answers whatever comes with text and no TLS.
class PlainServer {
 public:
  PlainServer() : mSocket(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(mSocket, reinterpret_cast<const sockaddr*>(&address), size);
    ::listen(mSocket, 1);
    ::getsockname(mSocket, reinterpret_cast<sockaddr*>(&address), &size);
    mPort = ntohs(address.sin_port);
    mThread = std::thread([this] {
      const int connection = ::accept(mSocket, nullptr, nullptr);
      char bytes[4096];
      if (connection < 0 || ::recv(connection, bytes, sizeof bytes, 0) <= 0) return;
      const std::string text = "220 mail.example ready, and in no mood for handshakes\r\n";
      (void)::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
      ::close(connection);
    });
  }
  ~PlainServer() {
    ::shutdown(mSocket, SHUT_RDWR);
    mThread.join();
    ::close(mSocket);
  }
  PlainServer(const PlainServer&) = delete;
  PlainServer& operator=(const PlainServer&) = delete;

  std::uint16_t port() const { return mPort; }

 private:
  const int mSocket;
  std::uint16_t mPort = 0;
  std::thread mThread;
};

TEST(TlsClient, TellsThatWhatAnswersSpeaksNoTls) {
  const PlainServer server;
  const auto response = perform(trusting(server.port()));
  EXPECT_EQ(response.error, ErrorKind::kTls) << response.errorText;
  EXPECT_NE(response.errorText, "");
}

TEST(TlsClient, FollowsNoRedirect) {
  TlsServer server(makeIdentity(),
                   [](const std::string&) { return httpAnswer(302, "", "Location: http://127.0.0.1:1/\r\n"); });
  EXPECT_EQ(perform(trusting(server.port())).status, 302);
}

TEST(TlsClient, EndsAnEndlessBody) {
  TlsServer server(makeIdentity(),
                   [](const std::string&) { return "HTTP/1.1 200 OK\r\n\r\n" + std::string(1'000'000, 'x'); });
  Request request = trusting(server.port());
  request.maxBodyBytes = 1000;
  EXPECT_EQ(perform(request).error, ErrorKind::kTooLarge);
}

TEST(TlsClient, GivesUpABodyThatDoesNotCome) {
  TlsServer* hanging = nullptr;
  TlsServer server(makeIdentity(), [&](const std::string&) { return hanging->hang(); });
  hanging = &server;
  Request request = trusting(server.port());
  request.totalTimeout = milliseconds(2000);
  EXPECT_EQ(perform(request).error, ErrorKind::kTimedOut);
}

TEST(TlsClient, CanBeCalledOff) {
  TlsServer* hanging = nullptr;
  TlsServer server(makeIdentity(), [&](const std::string&) { return hanging->hang(); });
  hanging = &server;
  std::atomic<bool> cancelled = false;
  Request request = trusting(server.port());
  request.totalTimeout = std::chrono::minutes(10);
  request.cancelled = [&] { return cancelled.load(); };
  ErrorKind error = ErrorKind::kNone;
  std::thread exchange([&] { error = perform(request).error; });
  EXPECT_TRUE(support::waitFor([&] { return server.requests().size() == 1; }));
  cancelled = true;
  exchange.join();
  EXPECT_EQ(error, ErrorKind::kCancelled);
}

TEST(AcceptAddress, IsAskedBeforeAnythingIsConnected) {
  TlsServer server(makeIdentity(), greet);
  std::vector<std::string> asked;
  Request request = trusting(server.port());
  request.acceptAddress = [&](const std::string& address) {
    asked.push_back(address);
    return std::optional<std::string>("not that one");
  };
  const auto response = perform(request);
  EXPECT_EQ(response.error, ErrorKind::kForbidden);
  EXPECT_EQ(response.errorText, "not that one");
  EXPECT_FALSE(response.connected);
  EXPECT_EQ(asked, std::vector<std::string>{"127.0.0.1"});
  EXPECT_EQ(server.connections(), 0);
}

TEST(AcceptAddress, IsAskedForWhereANameLeads) {
  ScriptedServer server(greet);
  Request request;
  request.url = httpclient::makeUrl("http", "localhost", server.port(), "/");
  request.acceptAddress = [](const std::string&) { return std::optional<std::string>("no"); };
  EXPECT_EQ(perform(request).error, ErrorKind::kForbidden);
  EXPECT_TRUE(server.requests().empty());
  request.acceptAddress = [](const std::string& address) {
    return address == "127.0.0.1" ? std::nullopt : std::optional<std::string>("no");
  };
  EXPECT_EQ(perform(request).status, 200) << "the refused address does not stand in the way of the other one";
}

TEST(AcceptAddress, GetsIpV4InsideOfIpV6AsIpV4) {
  ScriptedServer server(greet);
  std::string asked;
  Request request;
  request.url = httpclient::makeUrl("http", "::ffff:127.0.0.1", server.port(), "/");
  request.acceptAddress = [&](const std::string& address) {
    asked = address;
    return std::optional<std::string>("no");
  };
  EXPECT_EQ(perform(request).error, ErrorKind::kForbidden);
  EXPECT_EQ(asked, "127.0.0.1");
}

TEST(AcceptAddress, GetsOtherSpellingsOfAnAddressAsTheAddress) {
  ScriptedServer server(greet);
  for (const char* host : {"2130706433", "0x7f.1", "127.1"}) {
    std::string asked;
    Request request;
    request.url = httpclient::makeUrl("http", host, server.port(), "/");
    request.acceptAddress = [&](const std::string& address) {
      asked = address;
      return std::optional<std::string>("no");
    };
    EXPECT_EQ(perform(request).error, ErrorKind::kForbidden) << host;
    EXPECT_EQ(asked, "127.0.0.1") << host;
  }
}

TEST(AcceptAddress, TellsAnAddressThatIsAllowedAndDeadFromARefusedOne) {
  Request request;
  request.url = httpclient::makeUrl("http", "127.0.0.1", host_test::deadPort(), "/");
  request.acceptAddress = [](const std::string&) { return std::nullopt; };
  EXPECT_EQ(perform(request).error, ErrorKind::kUnreachable);
}

}  // namespace
