// Calls to other servers as a whole: real servers on the loopback address, which is allowed here because it is named.

#include <fstream>
#include <future>

#include <gtest/gtest.h>

#include "host/peers/Peers.h"
#include "json/lookup.h"
#include "support/LogCapture.h"
#include "support/Requests.h"
#include "unit/host/ScriptedServer.h"
#include "unit/host/TemporaryDirectory.h"
#include "unit/host/WatchedSightings.h"
#include "unit/host/peers/TlsServer.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::PeerAnswer;
using host::Peers;
using host::PeerSettings;
using host_test::httpAnswer;
using host_test::Identity;
using host_test::makeIdentity;
using host_test::ScriptedServer;
using host_test::TlsServer;
using httpclient::ErrorKind;
using Kind = PeerAnswer::Kind;

std::string record(const std::string&) {
  return httpAnswer(200, R"({"status":{"code":0},"value":{"properties":{"displayId":"peer"}}})");
}

/// Answers that there is nothing, as whatever comes last in a chain of services.
class Nothing : public host::Service {
 public:
  void serve(ClientRequest, Done done) override { done(host::failureAnswer(404, "nothing")); }
};

class PeersTest : public testing::Test {
 protected:
  PeersTest() { mSettings.allowedNetworks = {"127.0.0.0/8", "::1/128"}; }

  void start() { mPeers = std::make_unique<Peers>(mSettings, mDirectory); }

  PeerAnswer ask(const std::string& scheme, std::uint16_t port, const std::string& host = "127.0.0.1") {
    if (!mPeers) start();
    return mPeers->ask({host, port, scheme}, std::chrono::seconds(20));
  }

  /// What the routes answer.
  Answer request(const std::string& method, const std::string& path, const std::string& body = "") {
    if (!mPeers) start();
    Nothing nothing;
    host::Routes routes("", nothing);
    mPeers->addRoutes(routes);
    std::promise<Answer> promise;
    routes.serve({method, path, "", body, "127.0.0.1"}, [&promise](Answer answer) { promise.set_value(answer); });
    return promise.get_future().get();
  }
  json::Object list() { return support::parsed(request("GET", "/1.0/peers").body); }

  std::string writeFile(const std::string& content) {
    const auto path = mPlace.path() / "authorities.pem";
    std::ofstream(path) << content;
    return path.string();
  }

  support::LogCapture mLog;
  host_test::WatchedSightings mWatched;
  host_test::TemporaryDirectory mPlace;
  const state::Directory mDirectory{(mPlace.path() / "state").string()};
  PeerSettings mSettings{{}, "", true};
  std::unique_ptr<Peers> mPeers;
};

std::string address(const TlsServer& server) {
  return "127.0.0.1:" + std::to_string(server.port());
}

TEST_F(PeersTest, PinTheCertificateOfAServerAtTheFirstContact) {
  const Identity identity = makeIdentity();
  TlsServer server(identity, record);
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRecord);
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRecord);
  const auto document = list();
  EXPECT_EQ(json::numberAt(document, {"count"}), 1);
  const auto* values = json::arrayAt(document, {"values"});
  ASSERT_EQ(values->Size(), 1U);
  const auto& entry = *(*values)[0].getIf<json::Object>();
  EXPECT_EQ(json::textAt(entry, {"address"}), address(server));
  EXPECT_EQ(json::textAt(entry, {"fingerprint"}), identity.fingerprint());
  EXPECT_NE(json::textAt(entry, {"since"}), "");
  EXPECT_NE(json::textAt(entry, {"lastSeen"}), "");
  EXPECT_EQ(json::find(entry, {"offered"}), nullptr);
  EXPECT_EQ(mWatched.counts().at("peers_fetches: ok"), 2U);
}

TEST_F(PeersTest, SendNothingToAServerWhoseCertificateHasChangedUntilItIsTrusted) {
  const Identity before = makeIdentity();
  const Identity after = makeIdentity();
  TlsServer server(before, record);
  ask("https", server.port());
  server.show(after);
  const auto refused = ask("https", server.port());
  EXPECT_EQ(refused.kind, Kind::kRefused);
  EXPECT_EQ(refused.error, ErrorKind::kCertificate);
  EXPECT_EQ(refused.text, "The certificate of " + address(server) + " has changed (now " + after.fingerprint() +
                              ", was " + before.fingerprint() + "): kvtctl peers trust " + address(server) +
                              " accepts it");
  EXPECT_EQ(server.connections(), 2);
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(mWatched.counts().at("peers_fetches: certificate refused"), 1U);
  const auto document = list();
  const auto& entry = *(*json::arrayAt(document, {"values"}))[0].getIf<json::Object>();
  EXPECT_EQ(json::textAt(entry, {"offered", "fingerprint"}), after.fingerprint());
  EXPECT_NE(json::textAt(entry, {"offered", "since"}), "");

  const std::string body = R"({"address":")" + address(server) + R"(","fingerprint":")" + after.fingerprint() + "\"}";
  EXPECT_EQ(request("POST", "/1.0/peers/trust", body).status, 200);
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRecord);
}

TEST_F(PeersTest, TakeWhateverComesAfterAServerWasForgotten) {
  TlsServer server(makeIdentity(), record);
  ask("https", server.port());
  server.show(makeIdentity());
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRefused);
  EXPECT_EQ(request("POST", "/1.0/peers/forget", R"({"address":")" + address(server) + "\"}").status, 200);
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRecord);
}

TEST_F(PeersTest, DoNotPinWhatIsNoServerOfOurKind) {
  TlsServer server(makeIdentity(), [](const std::string&) { return httpAnswer(404, "{}"); });
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kNoServer);
  EXPECT_EQ(json::numberAt(list(), {"count"}), 0);
  EXPECT_EQ(mWatched.counts().at("peers_fetches: no such server"), 1U);
}

TEST_F(PeersTest, PinUnderTheAddressThatANameLedTo) {
  TlsServer server(makeIdentity(), record);
  EXPECT_EQ(ask("https", server.port(), "localhost").kind, Kind::kRecord);
  server.show(makeIdentity());
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRefused) << "the same server, now by its address";
}

TEST_F(PeersTest, DoNotCallWithoutTlsAServerThatHadItWhateverARecordSays) {
  TlsServer server(makeIdentity(), record);
  ScriptedServer plain(record);
  EXPECT_EQ(ask("http", plain.port()).kind, Kind::kRecord);
  ask("https", server.port());
  const auto refused = ask("http", plain.port());
  EXPECT_EQ(refused.kind, Kind::kRefused);
  EXPECT_EQ(refused.error, ErrorKind::kForbidden);
  EXPECT_TRUE(refused.text.starts_with("The server at 127.0.0.1 had TLS before")) << refused.text;
  EXPECT_EQ(ask("http", plain.port(), "::ffff:127.0.0.1").kind, Kind::kRefused);
  EXPECT_NE(ask("http", plain.port(), "localhost").kind, Kind::kRecord);
  EXPECT_EQ(plain.requests().size(), 1U);
}

TEST_F(PeersTest, CallNobodyWithoutTlsWhereThatIsNotAllowed) {
  mSettings.mayUseHttp = false;
  ScriptedServer plain(record);
  const auto refused = ask("http", plain.port());
  EXPECT_EQ(refused.kind, Kind::kRefused);
  EXPECT_EQ(refused.text, "servers are not called without TLS: the setting peers.allow_http allows it");
  EXPECT_TRUE(plain.requests().empty());
}

TEST_F(PeersTest, GoByTheAuthoritiesWhereThereAreSomeAndPinNothing) {
  const Identity authority = makeIdentity({.isAuthority = true});
  mSettings.caFile = writeFile(authority.pem());
  TlsServer server(makeIdentity({}, &authority), record);
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRecord);
  server.show(makeIdentity({}, &authority));
  EXPECT_EQ(ask("https", server.port()).kind, Kind::kRecord);
  server.show(makeIdentity());
  const auto refused = ask("https", server.port());
  EXPECT_EQ(refused.kind, Kind::kRefused);
  EXPECT_EQ(refused.error, ErrorKind::kCertificate);
  EXPECT_EQ(server.requests().size(), 2U);
  EXPECT_EQ(json::numberAt(list(), {"count"}), 0);
}

TEST_F(PeersTest, RefuseAddressesThatAreNotAllowed) {
  mSettings.allowedNetworks = {};
  ScriptedServer plain(record);
  for (const char* host : {"127.0.0.1", "localhost", "::ffff:127.0.0.1"}) {
    const auto refused = ask("http", plain.port(), host);
    EXPECT_EQ(refused.kind, Kind::kRefused) << host;
    EXPECT_EQ(refused.error, ErrorKind::kForbidden) << host;
    EXPECT_NE(refused.text.find("peers.allowed_networks"), std::string::npos) << refused.text;
  }
  EXPECT_TRUE(plain.requests().empty());
  EXPECT_EQ(mWatched.counts().at("peers_fetches: address not allowed"), 3U);
}

TEST_F(PeersTest, AskTheServersOfOneFamilyOfANameWhenOnlyThatIsAllowed) {
  mSettings.allowedNetworks = {"127.0.0.1"};
  ScriptedServer plain(record);
  EXPECT_EQ(ask("http", plain.port(), "localhost").kind, Kind::kRecord);
}

TEST_F(PeersTest, FollowNoRedirectAndTakeNoEndlessAnswer) {
  TlsServer redirecting(makeIdentity(),
                        [](const std::string&) { return httpAnswer(302, "", "Location: http://127.0.0.1:1/\r\n"); });
  EXPECT_EQ(ask("https", redirecting.port()).kind, Kind::kNoServer);
  TlsServer endless(makeIdentity(),
                    [](const std::string&) { return "HTTP/1.1 200 OK\r\n\r\n" + std::string(2'000'000, 'x'); });
  EXPECT_EQ(ask("https", endless.port()).error, ErrorKind::kTooLarge);
}

TEST_F(PeersTest, TakeOnNewSettingsWhenTheyAreReadAnew) {
  ScriptedServer plain(record);
  EXPECT_EQ(ask("http", plain.port()).kind, Kind::kRecord);
  PeerSettings next = mSettings;
  next.allowedNetworks = {"192.0.2.0/24"};
  const auto commit = mPeers->prepare(next);
  ASSERT_TRUE(commit) << commit.error();
  EXPECT_EQ(ask("http", plain.port()).kind, Kind::kRecord) << "not yet";
  (*commit)();
  EXPECT_EQ(ask("http", plain.port()).kind, Kind::kRefused);
}

TEST_F(PeersTest, ChangeNothingForSettingsThatMakeNoSense) {
  ScriptedServer plain(record);
  start();
  PeerSettings next = mSettings;
  next.allowedNetworks = {"nonsense"};
  EXPECT_FALSE(mPeers->prepare(next));
  next = mSettings;
  next.caFile = writeFile("no certificate");
  EXPECT_FALSE(mPeers->prepare(next));
  EXPECT_EQ(ask("http", plain.port()).kind, Kind::kRecord);
}

TEST_F(PeersTest, SayWhatIsWrongWithSettings) {
  EXPECT_EQ(Peers::problemOf(mSettings), std::nullopt);
  mSettings.allowedNetworks = {"10.0.0.1/8"};
  EXPECT_EQ(Peers::problemOf(mSettings),
            "peers.allowed_networks: \"10.0.0.1/8\" is an address inside of a network, which is 10.0.0.0/8");
  mSettings.allowedNetworks = {};
  mSettings.caFile = "/nonexistent/file";
  EXPECT_EQ(Peers::problemOf(mSettings), "peers.ca_file: /nonexistent/file: cannot be read: No such file or directory");
  mSettings.caFile = writeFile("no certificate");
  EXPECT_NE(Peers::problemOf(mSettings), std::nullopt);
  mSettings.caFile = mPlace.path().string();
  EXPECT_NE(Peers::problemOf(mSettings), std::nullopt) << "a directory";
}

TEST_F(PeersTest, AreNotMadeWithSettingsThatMakeNoSense) {
  mSettings.caFile = "/nonexistent/file";
  EXPECT_THROW(start(), std::invalid_argument);
}

TEST_F(PeersTest, TrustNobodyWithAFileOfPinsThatMakesNoSense) {
  mDirectory.write(state::Pins::kFile, "nonsense");
  TlsServer server(makeIdentity(), record);
  ScriptedServer plain(record);
  const auto refused = ask("https", server.port());
  EXPECT_EQ(refused.kind, Kind::kRefused);
  EXPECT_NE(refused.text.find("pins.json"), std::string::npos) << refused.text;
  EXPECT_EQ(ask("http", plain.port()).kind, Kind::kRefused);
  EXPECT_TRUE(server.requests().empty());
  EXPECT_TRUE(plain.requests().empty());
}

struct BadBody {
  const char* name;
  const char* body;
  int status;
};

class BadBodies : public PeersTest, public testing::WithParamInterface<BadBody> {};

TEST_P(BadBodies, AreRefused) {
  for (const char* path : {"/1.0/peers/trust", "/1.0/peers/forget"}) {
    const Answer answer = request("POST", path, GetParam().body);
    EXPECT_EQ(answer.status, GetParam().status) << path << answer.body;
    EXPECT_EQ(json::numberAt(support::parsed(answer.body), {"status", "code"}), GetParam().status);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Peers, BadBodies,
    testing::Values(BadBody{"Empty", "", 400}, BadBody{"NoJson", "{", 400}, BadBody{"NoAddress", "{}", 400},
                    BadBody{"AnAddressWithoutPort", R"({"address":"192.0.2.7"})", 400},
                    BadBody{"AName", R"({"address":"name:8443"})", 400},
                    BadBody{"EveryAddress", R"({"address":"*:8443"})", 400},
                    BadBody{"NoPort", R"({"address":"192.0.2.7:0"})", 400},
                    BadBody{"ABadFingerprint", R"({"address":"192.0.2.7:8443","fingerprint":"x"})", 400},
                    BadBody{"AFingerprintOfAnotherKind", R"({"address":"192.0.2.7:8443","fingerprint":5})", 400},
                    BadBody{"Unknown", R"({"address":"192.0.2.7:8443"})", 404},
                    BadBody{"UnknownOfIpV6", R"({"address":"[fe80::1%eth0]:8443"})", 404}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(PeersTest, DoNotTrustACertificateThatIsNotOffered) {
  TlsServer server(makeIdentity(), record);
  ask("https", server.port());
  const Answer answer =
      request("POST", "/1.0/peers/trust",
              R"({"address":")" + address(server) + R"(","fingerprint":")" + makeIdentity().fingerprint() + "\"}");
  EXPECT_EQ(answer.status, 409) << answer.body;
}

TEST_F(PeersTest, AnswerThatTheyAreBusyOnceTheyAreClosed) {
  start();
  mPeers->close();
  EXPECT_EQ(request("GET", "/1.0/peers").status, 503);
}

}  // namespace
