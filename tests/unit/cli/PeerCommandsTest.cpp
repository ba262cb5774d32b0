#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/PeerCommands.h"

namespace cli {
namespace {

class Peers : public testing::Test {
 protected:
  ExitCode run(PeerCommand command, const std::string& address = "", const std::string& fingerprint = "") {
    Options options;
    options.peers = PeerOptions{command, address, fingerprint};
    return runPeerCommand(options, mServer.client(), mOut, mErr);
  }

  FakeServer mServer;
  std::ostringstream mOut;
  std::ostringstream mErr;
};

constexpr const char* kDone = R"({"status": {"code": 0, "desc": "Success"}})";

TEST_F(Peers, AreListedWithWhatTheyOfferNow) {
  mServer.answer("GET /1.0/peers", 200, R"({"values": [
      {"address": "10.0.0.2:8443", "fingerprint": "SHA256:aa", "since": "2026-01-01T00:00:00Z",
       "lastSeen": "2026-02-01T00:00:00Z", "offered": {"fingerprint": "SHA256:bb", "since": "2026-03-01T00:00:00Z"}},
      {"address": "10.0.0.3:8443", "fingerprint": "SHA256:cc", "since": "2026-01-01T00:00:00Z"}]})");
  EXPECT_EQ(run(PeerCommand::kList), ExitCode::kDone);
  EXPECT_EQ(mOut.str(),
            "ADDRESS        CERTIFICATE  SINCE                 LAST SEEN             NOW OFFERS\n"
            "10.0.0.2:8443  SHA256:aa    2026-01-01T00:00:00Z  2026-02-01T00:00:00Z  SHA256:bb\n"
            "10.0.0.3:8443  SHA256:cc    2026-01-01T00:00:00Z  -                     -\n");
}

TEST_F(Peers, AreTrustedWithTheCertificateThatTheyOffer) {
  mServer.answer("POST /1.0/peers/trust", 200, kDone);
  EXPECT_EQ(run(PeerCommand::kTrust, "10.0.0.2:8443"), ExitCode::kDone);
  EXPECT_EQ(mServer.calls().front(), R"(POST /1.0/peers/trust {"address":"10.0.0.2:8443"})");
}

TEST_F(Peers, AreSearchedForOnceTheyAreTrusted) {
  mServer.answer("POST", 200, kDone);
  mServer.answer("GET /1.0/searchedserver/", 200, R"({"value": {"properties": {"displayId": "two"}}})");
  EXPECT_EQ(run(PeerCommand::kTrust, "[fe80::2]:8443"), ExitCode::kDone);
  EXPECT_EQ(mServer.calls()[1], std::string("POST /1.0/servers/self/operations/discovery ") +
                                    R"({"action":"SEARCH","parameters":{"address":"[fe80::2]"}})");
  EXPECT_EQ(mOut.str(), "[fe80::2]:8443: trusted, and it answers\n");
}

TEST_F(Peers, AreTrustedEvenWhenTheyDoNotAnswerJustNow) {
  mServer.answer("POST /1.0/peers/trust", 200, kDone);
  mServer.answer("POST", 400, R"({"status": [{"code": 1, "desc": "Failure"}]})");
  mServer.answer("GET /1.0/sightings", 200,
                 R"({"values": [{"address": "10.0.0.2", "state": "failed", "reason": "timed out"}]})");
  EXPECT_EQ(run(PeerCommand::kTrust, "10.0.0.2:8443"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "10.0.0.2:8443: trusted, but no server answers at 10.0.0.2: timed out\n");
}

TEST_F(Peers, ThatAreNotTrustedAreNotSearchedFor) {
  mServer.answer("POST /1.0/peers/trust", 409, R"({"status": {"code": 409, "desc": "It offers another"}})");
  EXPECT_EQ(run(PeerCommand::kTrust, "10.0.0.2:8443"), ExitCode::kRefused);
  EXPECT_EQ(mServer.calls().size(), 1u);
}

TEST_F(Peers, AreTrustedWithTheCertificateThatIsNamed) {
  mServer.answer("POST /1.0/peers/trust", 200, kDone);
  const std::string digits(64, 'a');
  EXPECT_EQ(run(PeerCommand::kTrust, "10.0.0.2:8443", std::string(64, 'A')), ExitCode::kDone);
  EXPECT_EQ(mServer.calls().front(),
            R"(POST /1.0/peers/trust {"address":"10.0.0.2:8443","fingerprint":"SHA256:)" + digits + "\"}");
}

TEST_F(Peers, TakeNoFingerprintThatIsNone) {
  EXPECT_EQ(run(PeerCommand::kTrust, "10.0.0.2:8443", "12:34"), ExitCode::kUsage);
  EXPECT_EQ(mErr.str(), "kvtctl: a fingerprint is SHA256: and 64 hexadecimal digits\n");
  EXPECT_TRUE(mServer.calls().empty());
}

TEST_F(Peers, AreForgotten) {
  mServer.answer("POST /1.0/peers/forget", 200, kDone);
  EXPECT_EQ(run(PeerCommand::kForget, "10.0.0.2:8443"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "10.0.0.2:8443: forgotten\n");
}

TEST_F(Peers, ThatTheServerDoesNotKnowAreRefused) {
  mServer.answer("POST", 404, R"({"status": {"code": 404, "desc": "There is no such certificate"}})");
  EXPECT_EQ(run(PeerCommand::kForget, "10.0.0.9:8443"), ExitCode::kRefused);
  EXPECT_EQ(mErr.str(), "kvtctl: There is no such certificate\n");
}

}  // namespace
}  // namespace cli
