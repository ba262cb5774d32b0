#include <deque>

#include <gtest/gtest.h>

#include "framework/utils/Shutdown.h"
#include "host/resources/Peer.h"
#include "json/lookup.h"
#include "support/Requests.h"
#include "support/Wait.h"
#include "unit/host/AskAnybody.h"
#include "unit/host/ScriptedServer.h"

namespace {

using host::askInTurn;
using host::judge;
using host::PeerAnswer;
using host::PeerTarget;
using host_test::askAnybody;
using host_test::httpAnswer;
using host_test::ScriptedServer;
using httpclient::ErrorKind;
using httpclient::Response;
using std::chrono::milliseconds;
using Kind = PeerAnswer::Kind;

const std::string kRecordAnswer = R"({"status":{"code":0},"value":{"properties":{"displayId":"peer"}}})";

Response answered(int status, std::string body) {
  Response response;
  response.status = status;
  response.body = std::move(body);
  response.primaryIp = "10.0.0.9";
  response.connected = true;
  return response;
}
Response failed(ErrorKind error) {
  Response response;
  response.error = error;
  response.errorText = "it failed";
  return response;
}

struct Judged {
  const char* name;
  Response response;
  Kind kind;
};

class Judgements : public testing::TestWithParam<Judged> {};

TEST_P(Judgements, TellWhatMayPassFromWhatProvesThatThereIsNoServer) {
  const auto answer = judge(GetParam().response, "10.0.0.5");
  EXPECT_EQ(answer.kind, GetParam().kind);
  EXPECT_EQ(answer.error, GetParam().response.error);
  EXPECT_EQ(answer.text.empty(), answer.kind == Kind::kRecord);
  EXPECT_EQ(answer.record.Empty(), answer.kind != Kind::kRecord);
}

INSTANTIATE_TEST_SUITE_P(
    Peer, Judgements,
    testing::Values(
        Judged{"Record", answered(200, kRecordAnswer), Kind::kRecord},
        Judged{"NoConnection", failed(ErrorKind::kUnreachable), Kind::kMayPass},
        Judged{"TimeOut", failed(ErrorKind::kTimedOut), Kind::kMayPass},
        Judged{"NoAddress", failed(ErrorKind::kResolve), Kind::kMayPass},
        Judged{"CalledOff", failed(ErrorKind::kCancelled), Kind::kMayPass},
        Judged{"Busy", answered(503, kRecordAnswer), Kind::kMayPass},
        Judged{"InternalError", answered(500, ""), Kind::kMayPass},
        Judged{"AnotherServersFault", answered(599, ""), Kind::kMayPass},
        Judged{"NotFound", answered(404, kRecordAnswer), Kind::kNoServer},
        Judged{"BadRequest", answered(400, ""), Kind::kNoServer},
        Judged{"Unauthorized", answered(401, ""), Kind::kNoServer},
        Judged{"Redirect", answered(302, ""), Kind::kNoServer}, Judged{"NoContent", answered(204, ""), Kind::kNoServer},
        Judged{"TooLarge", failed(ErrorKind::kTooLarge), Kind::kNoServer},
        Judged{"NoTls", failed(ErrorKind::kTls), Kind::kMayPass},
        Judged{"CertificateRefused", failed(ErrorKind::kCertificate), Kind::kRefused},
        Judged{"AddressRefused", failed(ErrorKind::kForbidden), Kind::kRefused},
        Judged{"NoHttp", failed(ErrorKind::kMalformed), Kind::kNoServer},
        Judged{"NoUrl", failed(ErrorKind::kBadUrl), Kind::kNoServer},
        Judged{"Empty", answered(200, ""), Kind::kNoServer}, Judged{"NoJson", answered(200, "<html>"), Kind::kNoServer},
        Judged{"NoObject", answered(200, "[]"), Kind::kNoServer},
        Judged{"NoValue", answered(200, "{}"), Kind::kNoServer},
        Judged{"ValueOfAnotherKind", answered(200, R"({"value":[]})"), Kind::kNoServer},
        Judged{"NoProperties", answered(200, R"({"value":{}})"), Kind::kNoServer},
        Judged{"PropertiesOfAnotherKind", answered(200, R"({"value":{"properties":"x"}})"), Kind::kNoServer},
        Judged{"TooDeep", answered(200, R"({"value":{"properties":{"a":)" + std::string(10'000, '[')),
               Kind::kNoServer}),
    [](const auto& tested) { return tested.param.name; });

std::string contacted(const json::Object& record, const char* family) {
  return json::textAt(record, {"properties", "os", "network", "lastCommunicatedIp", family});
}

TEST(Peer, NotesTheAddressThatWasContactedWhateverThePeerSays) {
  const auto lying = answered(
      200, R"({"value":{"properties":{"os":{"network":{"lastCommunicatedIp":{"ipV4":"6.6.6.6","ipV6":"::6"}}}}}})");
  auto record = judge(lying, "10.0.0.5").record;
  EXPECT_EQ(contacted(record, "ipV4"), "10.0.0.5");
  EXPECT_EQ(contacted(record, "ipV6"), "");
  record = judge(lying, "fd00::5").record;
  EXPECT_EQ(contacted(record, "ipV6"), "fd00::5");
  record = judge(lying, "peer.example").record;
  EXPECT_EQ(contacted(record, "ipV4"), "10.0.0.9") << "a name gives way to where it led";
}

TEST(Peer, SurvivesARecordWhoseOsIsNoObject) {
  const auto record = judge(answered(200, R"({"value":{"properties":{"os":"linux"}}})"), "10.0.0.5").record;
  EXPECT_EQ(contacted(record, "ipV4"), "10.0.0.5");
}

TEST(Peer, AsksForTheDetailsAndSaysWhichAddressItUsed) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, kRecordAnswer); });
  const auto answer = askAnybody({"127.0.0.1", server.port(), "http"}, milliseconds(20'000));
  EXPECT_EQ(answer.kind, Kind::kRecord) << answer.text;
  EXPECT_EQ(json::textAt(answer.record, {"properties", "displayId"}), "peer");
  const std::string request = server.requests().at(0);
  EXPECT_TRUE(request.starts_with("GET /1.0/servers/self HTTP/1.1\r\n")) << request;
  EXPECT_NE(request.find("\r\nCookie: lastCommunicatedNIC=127.0.0.1\r\n"), std::string::npos) << request;
}

/// Answers in turn what a test has prepared, and notes what it was asked.
class FakePeers {
 public:
  std::deque<PeerAnswer> answers;
  std::vector<std::string> asked;
  bool accepts = true;

  PeerAnswer run(std::vector<PeerTarget> targets) {
    return askInTurn(
        targets,
        [this](const PeerTarget& target, milliseconds limit) {
          EXPECT_GT(limit.count(), 0);
          EXPECT_LE(limit, milliseconds(5000));
          asked.push_back(target.host);
          if (answers.empty()) return PeerAnswer{Kind::kMayPass, {}, "nothing more", ErrorKind::kUnreachable};
          PeerAnswer answer = std::move(answers.front());
          answers.pop_front();
          return answer;
        },
        [this](const json::Object&) { return accepts; });
  }
};

PeerAnswer record(const std::string& id) {
  PeerAnswer answer{Kind::kRecord, {}, "", ErrorKind::kNone};
  answer.record["id"] = json::String(id);
  return answer;
}
PeerAnswer mayPass() {
  return {Kind::kMayPass, {}, "later", ErrorKind::kTimedOut};
}
PeerAnswer noServer() {
  return {Kind::kNoServer, {}, "no", ErrorKind::kNone};
}

using Hosts = std::vector<std::string>;

TEST(AskInTurn, TakesTheFirstRecord) {
  FakePeers peers;
  peers.answers = {record("a")};
  EXPECT_EQ(peers.run({{"a", 1}, {"b", 1}}).kind, Kind::kRecord);
  EXPECT_EQ(peers.asked, Hosts({"a"}));
}

TEST(AskInTurn, GoesOnToTheNextAddress) {
  FakePeers peers;
  peers.answers = {mayPass(), mayPass(), record("c")};
  EXPECT_EQ(json::textAt(peers.run({{"a", 1}, {"b", 1}, {"c", 1}}).record, {"id"}), "c");
  EXPECT_EQ(peers.asked, Hosts({"a", "b", "c"}));
}

TEST(AskInTurn, EndsWhenTheFirstAddressProvesThatThereIsNoServer) {
  FakePeers peers;
  peers.answers = {noServer(), record("b")};
  EXPECT_EQ(peers.run({{"a", 1}, {"b", 1}}).kind, Kind::kNoServer);
  EXPECT_EQ(peers.asked, Hosts({"a"}));
}

TEST(AskInTurn, EndsWhenTheFirstAddressIsRefused) {
  FakePeers peers;
  peers.answers = {{Kind::kRefused, {}, "changed", ErrorKind::kCertificate}, record("b")};
  const auto answer = peers.run({{"a", 1}, {"b", 1}});
  EXPECT_EQ(answer.kind, Kind::kRefused);
  EXPECT_EQ(answer.text, "changed");
  EXPECT_EQ(peers.asked, Hosts({"a"}));
}

TEST(AskInTurn, DoesNotCountThatAFurtherAddressIsRefused) {
  FakePeers peers;
  peers.answers = {mayPass(), {Kind::kRefused, {}, "changed", ErrorKind::kCertificate}, record("a")};
  EXPECT_EQ(json::textAt(peers.run({{"a", 1}, {"b", 1}}).record, {"id"}), "a");
  EXPECT_EQ(peers.asked, Hosts({"a", "b", "a"}));
}

TEST(AskInTurn, DoesNotCountWhatAFurtherAddressProves) {
  FakePeers peers;
  peers.answers = {mayPass(), noServer(), record("a")};
  EXPECT_EQ(json::textAt(peers.run({{"a", 1}, {"b", 1}}).record, {"id"}), "a");
  EXPECT_EQ(peers.asked, Hosts({"a", "b", "a"}));
}

TEST(AskInTurn, PassesOverAnotherServerAtAFurtherAddress) {
  FakePeers peers;
  peers.accepts = false;
  peers.answers = {mayPass(), record("stranger")};
  const auto answer = peers.run({{"a", 1}, {"b", 1}});
  EXPECT_EQ(answer.kind, Kind::kMayPass);
  EXPECT_TRUE(answer.record.Empty());
}

TEST(AskInTurn, TakesTheFirstAddressesRecordWithoutAsking) {
  FakePeers peers;
  peers.accepts = false;
  peers.answers = {record("a")};
  EXPECT_EQ(peers.run({{"a", 1}}).kind, Kind::kRecord);
}

TEST(AskInTurn, TriesAFewTimesAndTellsTheFirstAddressesLastFailure) {
  FakePeers peers;
  peers.answers = {mayPass(), mayPass()};
  const auto answer = peers.run({{"a", 1}});
  EXPECT_EQ(answer.kind, Kind::kMayPass);
  EXPECT_EQ(answer.text, "nothing more");
  EXPECT_EQ(answer.error, ErrorKind::kUnreachable);
  EXPECT_EQ(peers.asked, Hosts({"a", "a", "a"}));
}

TEST(AskInTurn, HasNothingToAskWithoutTargets) {
  FakePeers peers;
  EXPECT_EQ(peers.run({}).kind, Kind::kMayPass);
  EXPECT_TRUE(peers.asked.empty());
}

TEST(AskInTurn, EndsAtOnceWhenTheHostShutsDown) {
  FakePeers peers;
  utils::shutdown::begin();
  EXPECT_EQ(peers.run({{"a", 1}}).kind, Kind::kMayPass);
  utils::shutdown::reset();
  EXPECT_TRUE(peers.asked.empty());
}

TEST(Peer, IsCalledOffWhenTheHostShutsDown) {
  ScriptedServer* hanging = nullptr;
  ScriptedServer server([&](const std::string&) { return hanging->hang(); });
  hanging = &server;
  PeerAnswer answer;
  std::thread asking([&] { answer = askAnybody({"127.0.0.1", server.port(), "http"}, std::chrono::hours(1)); });
  EXPECT_TRUE(support::waitFor([&] { return server.requests().size() == 1; }));
  utils::shutdown::begin();
  asking.join();
  utils::shutdown::reset();
  EXPECT_EQ(answer.kind, Kind::kMayPass);
  EXPECT_EQ(answer.error, ErrorKind::kCancelled);
}

}  // namespace
