#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/DoctorCommand.h"
#include "cli/DoctorJudge.h"

namespace cli::doctor {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

/// 2026-11-21T16:50:00Z
const std::chrono::system_clock::time_point kNow{std::chrono::seconds(1795279800)};

constexpr const char* kStatus = R"({
  "uptimeSeconds": 3600, "discovery": {"isRunning": false, "passes": 7, "lastPass": {"found": 3}}, "servers": {"listed": 3, "verified": 2},
  "announcements": {"received": 5, "dropped": {}},
  "interfaces": [{"name": "eth0", "ipV4": ["10.0.0.1"], "isJoined": true}, {"name": "eth1", "ipV4": []}],
  "certificate": {"notAfter": "2027-11-21T16:50:00Z", "isSelfSigned": true}})";

/// Of a machine where all is well.
Facts healthy() {
  Facts facts;
  facts.now = kNow;
  facts.server.url = "https://127.0.0.1:8443";
  facts.server.isHere = true;
  facts.server.isLoggedIn = true;
  facts.server.status = parsed(kStatus);
  facts.interfaces = {{"eth0", "10.0.0.1", InterfaceFacts::Echo::kHeard, ""}};
  facts.ports = {{427, "UDP", true, "kvt-server"}, {427, "TCP", true, "kvt-server"}, {1847, "UDP", true, "kvt-server"}};
  facts.slp.urls = {"service:x://10.0.0.1:8443"};
  facts.clock.isSynchronised = true;
  facts.server.ahead = Ahead(1);
  return facts;
}

/// The texts of what is not fine, each with its advice.
std::vector<std::string> complaints(const Facts& facts, Finding::Level level = Finding::Level::kProblem) {
  std::vector<std::string> texts;
  for (const Finding& finding : judge(facts)) {
    if (finding.level == level) texts.push_back(finding.text + " -> " + finding.advice);
  }
  return texts;
}

Facts withStatus(const std::string& before, const std::string& after) {
  std::string text = kStatus;
  const std::size_t place = text.find(before);
  EXPECT_NE(place, std::string::npos) << before;
  Facts facts = healthy();
  facts.server.status = parsed(text.replace(place, before.size(), after));
  return facts;
}

TEST(Doctor, FindsNothingWhereAllIsWell) {
  EXPECT_THAT(complaints(healthy()), IsEmpty());
  EXPECT_THAT(complaints(healthy(), Finding::Level::kNote), IsEmpty());
  std::ostringstream out;
  EXPECT_EQ(tellFindings(healthy(), Format::kTable, out), ExitCode::kDone);
  EXPECT_EQ(
      out.str(),
      "ok       server         https://127.0.0.1:8443 answers.\n"
      "ok       login          You are logged in, or need not be.\n"
      "ok       discovery      The last look at the network found 3 services; 3 servers are listed, 2 of them "
      "verified.\n"
      "ok       multicast      The server hears announcements on eth0.\n"
      "ok       multicast      What is sent to the group on eth0 (10.0.0.1) is heard on this machine.\n"
      "ok       ports          UDP port 427 is the server's.\n"
      "ok       ports          TCP port 427 is the server's.\n"
      "ok       ports          UDP port 1847 is the server's.\n"
      "ok       search         1 answer a search by SLP: service:x://10.0.0.1:8443\n"
      "ok       clock          The clocks that can be seen agree.\n"
      "ok       certificate    The server's certificate is good for 365 more days; it is signed by itself, so that "
      "browsers ask.\n"
      "\n"
      "Nothing to do.\n");
}

TEST(Doctor, TellsProblemsWithWhatToDo) {
  Facts facts = healthy();
  facts.clock.isSynchronised = false;
  std::ostringstream out;
  EXPECT_EQ(tellFindings(facts, Format::kTable, out), ExitCode::kRefused);
  EXPECT_THAT(out.str(), HasSubstr("problem  clock          The clock of this machine is not kept by anybody.\n"
                                   "                        -> timedatectl set-ntp true\n"));
  EXPECT_THAT(out.str(), HasSubstr("\nOne problem to look at.\n"));
  out.str("");
  EXPECT_EQ(tellFindings(facts, Format::kJson, out), ExitCode::kRefused);
  const json::Object document = parsed(out.str());
  EXPECT_EQ(json::Number(document["problems"]), 1);
  EXPECT_EQ(json::Array(document["findings"]).Size(), judge(facts).size());
}

TEST(Doctor, LooksAtThisMachineWithoutAServer) {
  Facts facts = healthy();
  facts.server = {};
  facts.server.unreachable = Failure{ExitCode::kUnreachable, "cannot reach https://127.0.0.1:8443: refused"};
  facts.ports = {{427, "UDP", false, ""}};
  EXPECT_THAT(complaints(facts),
              testing::ElementsAre("cannot reach https://127.0.0.1:8443: refused -> Does it run (systemctl status "
                                   "kvt-server)? Another one is named with --server URL."));
}

TEST(Doctor, SaysThatNobodyIsLoggedIn) {
  Facts facts = healthy();
  facts.server.isLoggedIn = false;
  facts.server.status.reset();
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("Nobody is logged in")));
}

TEST(Doctor, TellsADistrustedServerApart) {
  Facts facts = healthy();
  facts.server.unreachable = Failure{ExitCode::kNonsense, "the certificate of one has changed"};
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("Compare the certificate's fingerprint")));
}

TEST(Doctor, LooksAtDiscovery) {
  constexpr const char* kLooksAround = R"("isRunning": false, "passes": 7, "lastPass": {"found": 3})";
  constexpr const char* kFirstPass = R"("isRunning": true, "passes": 0, "lastPass": null)";
  EXPECT_THAT(complaints(withStatus(kLooksAround, kFirstPass)), IsEmpty());
  EXPECT_THAT(complaints(withStatus(kLooksAround, kFirstPass), Finding::Level::kNote),
              Contains(HasSubstr("has not ended yet")));
  EXPECT_THAT(complaints(withStatus("\"isRunning\": false", "\"isRunning\": true")), IsEmpty());
}

TEST(Doctor, SaysThatDiscoveryIsOffOnceItWouldHaveBegun) {
  Facts facts = healthy();
  facts.server.status =
      parsed(R"({"uptimeSeconds": 61, "discovery": {"isRunning": false, "passes": 0, "lastPass": null}})");
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("The server does not look for others.")));
  (*facts.server.status)["uptimeSeconds"] = json::Number(60);
  EXPECT_THAT(complaints(facts), IsEmpty());
  EXPECT_THAT(complaints(facts, Finding::Level::kNote), Contains(HasSubstr("has not ended yet")));
}

TEST(Doctor, LooksAtMulticast) {
  EXPECT_THAT(complaints(withStatus("\"isJoined\": true", "\"isJoined\": false")),
              Contains(HasSubstr("does not hear announcements on eth0")));
  Facts facts = healthy();
  facts.interfaces[0].echo = InterfaceFacts::Echo::kSilent;
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("on eth0 (10.0.0.1) is not heard again. -> Look at the firewall")));
  facts.interfaces[0].echo = InterfaceFacts::Echo::kRefused;
  facts.interfaces[0].refusal = "Operation not permitted";
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("on eth0 (10.0.0.1): Operation not permitted")));
  facts.interfaces.clear();
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("No interface of this machine has an IPv4 address")));
  facts = healthy();
  facts.hasGroupRoute = false;
  EXPECT_THAT(complaints(facts), IsEmpty());
  EXPECT_THAT(complaints(facts, Finding::Level::kNote), Contains(HasSubstr("lead nowhere with 239.255.255.253")));
}

TEST(Doctor, LooksAtPorts) {
  Facts facts = healthy();
  facts.ports = {{427, "UDP", false, ""}, {1847, "UDP", false, ""}};
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("Nobody listens on UDP port 427: the searches of others are not "
                                                    "answered. -> The server needs the right")));
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("UDP port 1847: announcements of others are missed.")));
  facts.server.isHere = false;
  EXPECT_THAT(complaints(facts), IsEmpty());
  facts.ports = {{427, "TCP", true, "another"}};
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("TCP port 427 is held by another, so")));
  facts.ports = {{427, "TCP", true, ""}};
  EXPECT_THAT(complaints(facts), IsEmpty());
  EXPECT_THAT(complaints(facts, Finding::Level::kNote), Contains(HasSubstr("by whom is told to root only")));
}

TEST(Doctor, LooksAtWhoAnswersASearch) {
  Facts facts = healthy();
  facts.slp.urls.clear();
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("No server answers a search by SLP.")));
  facts.slp.failure = "no network";
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("A search by SLP fails: no network")));
}

TEST(Doctor, LooksAtClocks) {
  Facts facts = healthy();
  facts.server.ahead = Ahead(5);
  facts.clock.peers = {{"10.0.0.2", Ahead(-5)}};
  facts.clock.isSynchronised.reset();
  EXPECT_THAT(complaints(facts), IsEmpty());
  facts.server.ahead = Ahead(6);
  facts.clock.peers = {{"10.0.0.2", Ahead(-60)}};
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("The clock of the server is 6 s ahead of this machine's.")));
  EXPECT_THAT(complaints(facts), Contains(HasSubstr("The clock of 10.0.0.2 is 60 s behind this machine's.")));
}

TEST(Doctor, LooksAtTheCertificate) {
  EXPECT_THAT(complaints(withStatus("2027-11-21T16:50:00Z", "2026-11-21T16:50:00Z")),
              Contains(HasSubstr("The server's certificate has expired.")));
  EXPECT_THAT(complaints(withStatus("2027-11-21T16:50:00Z", "2026-12-21T16:49:00Z")),
              Contains(HasSubstr("is good for 29 more days.")));
  EXPECT_THAT(complaints(withStatus("2027-11-21T16:50:00Z", "2026-12-21T16:50:00Z")), IsEmpty());
  EXPECT_THAT(complaints(withStatus("2027-11-21T16:50:00Z", "tomorrow")), IsEmpty());
  Facts facts = withStatus("\"certificate\": {", "\"x\": {");
  EXPECT_THAT(complaints(facts, Finding::Level::kNote), Contains(HasSubstr("served without TLS")));
}

TEST(Doctor, ExplainsWhatWasDropped) {
  const Facts facts = withStatus("\"dropped\": {}", R"("dropped": {"no details": 3, "strange": 2, "list full": 0})");
  const auto notes = complaints(facts, Finding::Level::kNote);
  EXPECT_THAT(notes, testing::ElementsAre(HasSubstr("3 announcements were dropped: they told nothing of the server."),
                                          HasSubstr("2 announcements were dropped: strange.")));
}

TEST(Doctor, LooksAtPeers) {
  Facts facts = healthy();
  facts.server.peers = {parsed(R"({"address": "10.0.0.2:8443", "fingerprint": "SHA256:aa"})"),
                        parsed(R"({"address": "10.0.0.3:8443", "offered": {"fingerprint": "SHA256:bb"}})")};
  EXPECT_THAT(complaints(facts),
              testing::ElementsAre("The certificate of 10.0.0.3:8443 has changed, and it is no longer called. -> When "
                                   "its administrator says that it is SHA256:bb: kvtctl peers trust 10.0.0.3:8443"));
  facts.server.peers.clear();
  for (int i = 0; i < 12; ++i)
    facts.server.sightings.push_back(parsed(R"({"address": "10.0.0.9", "state": "failed", "reason": "timed out",
                                               "sources": {"slp": {}}})"));
  facts.server.sightings.push_back(parsed(R"({"address": "10.0.0.8", "state": "verified"})"));
  const auto texts = complaints(facts);
  EXPECT_EQ(texts.size(), 11u);
  EXPECT_THAT(texts.front(), HasSubstr("10.0.0.9 was heard of, but does not answer as it should: timed out"));
  EXPECT_THAT(texts.back(), HasSubstr("2 more do not answer."));
}

TEST(Doctor, PassesOverWhatWasOnlySearchedForInVain) {
  Facts facts = healthy();
  facts.server.sightings = {parsed(R"({"address": "8.8.8.8", "state": "failed", "sources": {"search": {}}})")};
  EXPECT_THAT(complaints(facts), IsEmpty());
  facts.server.sightings = {
      parsed(R"({"address": "10.0.0.2", "state": "failed", "sources": {"search": {}, "slp": {}}})"),
      parsed(R"({"address": "10.0.0.3", "state": "failed", "sources": {"search": {}}, "verified": "2026-01-01T"})")};
  EXPECT_THAT(complaints(facts), testing::ElementsAre(HasSubstr("10.0.0.2"), HasSubstr("10.0.0.3")));
}

TEST(Doctor, NamesTheFileOfTheServersOwnCertificate) {
  EXPECT_THAT(complaints(withStatus("2027-11-21T16:50:00Z", "2026-11-21T16:50:00Z")), Contains(HasSubstr(" tls.pem ")));
}

TEST(Doctor, NeutralisesWhatOthersSay) {
  Facts facts = healthy();
  facts.slp.urls = {"service:x\x1b[2J\n"};
  std::ostringstream out;
  tellFindings(facts, Format::kTable, out);
  EXPECT_THAT(out.str(), HasSubstr("service:x\\u001b[2J\\u000a"));
}

}  // namespace
}  // namespace cli::doctor
