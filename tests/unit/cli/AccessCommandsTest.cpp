#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakePrompt.h"
#include "FakeServer.h"
#include "TemporaryFolder.h"
#include "cli/AccessCommands.h"

namespace cli {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* kLoggedIn =
    R"({"value": {"user": "ann", "role": "operator", "csrfToken": "c5", "expires": "2026-11-21T16:50:00Z"}})";

class Access : public testing::Test {
 protected:
  void SetUp() override { unsetenv("KVT_TOKEN"); }
  void TearDown() override { unsetenv("KVT_TOKEN"); }

  ExitCode run(AccessCommand command, const std::string& name = "", bool isTerminal = false,
               Format format = Format::kTable, const std::string& role = "") {
    Options options;
    options.access = AccessOptions{command, name, role};
    options.format = format;
    return runAccessCommand(options, mServer.client(), mFiles, mPerson.prompt(isTerminal), mOut, mErr);
  }
  void letIn() {
    mServer.answer("GET /1.0/session", 200, R"({"value": {"user": "", "role": "none"}})");
    mServer.answer("POST /1.0/session", 200, kLoggedIn, {"Set-Cookie: kvtSession=s3; Path=/; HttpOnly"});
    mServer.answer("POST /1.0/tokens", 200, R"({"value": {"name": "x", "role": "operator", "token": "kvt_new"}})");
    mServer.answer("DELETE", 200, R"({"status": {"code": 0, "desc": "Success"}})");
  }
  std::string token() const { return tokenFor(FakeServer::kUrl, mFiles); }

  TemporaryFolder mFolder;
  UserFiles mFiles{mFolder.file("config")};
  FakeServer mServer;
  FakePrompt mPerson;
  std::ostringstream mOut;
  std::ostringstream mErr;
};

TEST_F(Access, ALoginLeavesATokenForTheServer) {
  letIn();
  mPerson.answers = {"a horse and a battery"};
  EXPECT_EQ(run(AccessCommand::kLogin, "ann"), ExitCode::kDone) << mErr.str();
  EXPECT_EQ(mOut.str(), "ann: logged in to http://server:8443 as operator\n");
  EXPECT_EQ(token(), "kvt_new");
  EXPECT_EQ(tokenFor("http://another:8443", mFiles), "");
  const auto& calls = mServer.calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[1], R"(POST /1.0/session {"user":"ann","password":"a horse and a battery"})");
  EXPECT_THAT(calls[2],
              MatchesRegex(R"(POST /1.0/tokens .*"name":"kvtctl-ann-[^"]*-[0-9a-f]{8}","role":"operator".*)"));
  EXPECT_EQ(calls[3], "DELETE /1.0/session");
  for (const std::size_t i : {2u, 3u}) {
    EXPECT_EQ(mServer.requests()[i].cookie, "kvtSession=s3");
    EXPECT_THAT(mServer.requests()[i].headers, Contains("X-CSRF-Token: c5"));
  }
}

TEST_F(Access, APersonIsAskedWhoLogsIn) {
  letIn();
  mPerson.answers = {"ann", "a horse and a battery"};
  EXPECT_EQ(run(AccessCommand::kLogin, "", true), ExitCode::kDone);
  EXPECT_THAT(mPerson.questions, ElementsAre("User: ", "Password: "));
}

TEST_F(Access, AScriptHasToSayWhoLogsIn) {
  EXPECT_EQ(run(AccessCommand::kLogin), ExitCode::kUsage);
  EXPECT_EQ(mErr.str(), "kvtctl: say who logs in: --user NAME\n");
  EXPECT_TRUE(mServer.calls().empty());
}

TEST_F(Access, NoPasswordIsAskedForAServerThatDoesNotAnswer) {
  mServer.failWith(httpclient::ErrorKind::kUnreachable, "refused");
  EXPECT_EQ(run(AccessCommand::kLogin, "ann", true), ExitCode::kUnreachable);
  EXPECT_TRUE(mPerson.questions.empty());
}

TEST_F(Access, NobodyIsAskedWhereThereIsNoAccount) {
  mServer.answer("GET /1.0/session", 200, R"({"value": {"user": "", "role": "none", "setup": "open"}})");
  EXPECT_EQ(run(AccessCommand::kLogin, "", true), ExitCode::kNotAllowed);
  EXPECT_EQ(mErr.str(), "kvtctl: there is no account yet: kvtctl user add NAME --role operator\n");
  EXPECT_TRUE(mPerson.questions.empty());
}

TEST_F(Access, WhereTheFirstAccountIsMadeIsToldFromAfar) {
  mServer.answer("GET /1.0/session", 200, R"({"value": {"user": "", "role": "none", "setup": "loopback"}})");
  EXPECT_EQ(run(AccessCommand::kLogin, "ann"), ExitCode::kNotAllowed);
  EXPECT_EQ(mErr.str(),
            "kvtctl: there is no account yet: on the server's machine, kvtctl user add NAME --role operator\n");
}

TEST_F(Access, AWrongPasswordIsToldInTheServersWords) {
  mServer.answer("GET /1.0/session", 200, R"({"value": {}})");
  mServer.answer("POST /1.0/session", 401,
                 R"({"status": {"code": 401, "desc": "The user name or the password is wrong"}})");
  mPerson.answers = {"no"};
  EXPECT_EQ(run(AccessCommand::kLogin, "ann"), ExitCode::kNotAllowed);
  EXPECT_EQ(mErr.str(), "kvtctl: The user name or the password is wrong\n");
  EXPECT_EQ(token(), "");
}

TEST_F(Access, ALockOutIsTold) {
  mServer.answer("GET /1.0/session", 200, R"({"value": {}})");
  mServer.answer("POST /1.0/session", 429, R"({"status": {"code": 429, "desc": "Try again in 900 s"}})");
  mPerson.answers = {"no"};
  EXPECT_EQ(run(AccessCommand::kLogin, "ann"), ExitCode::kRefused);
  EXPECT_EQ(mErr.str(), "kvtctl: Try again in 900 s\n");
}

TEST_F(Access, ALoginWithoutASessionMakesNoSense) {
  mServer.answer("GET /1.0/session", 200, R"({"value": {}})");
  mServer.answer("POST /1.0/session", 200, kLoggedIn);
  mPerson.answers = {"a horse and a battery"};
  EXPECT_EQ(run(AccessCommand::kLogin, "ann"), ExitCode::kNonsense);
}

TEST_F(Access, ANewLoginRevokesTheTokenOfTheOneBefore) {
  letIn();
  mPerson.answers = {"a horse and a battery", "a horse and a battery"};
  run(AccessCommand::kLogin, "ann");
  run(AccessCommand::kLogin, "ann");
  const auto& calls = mServer.calls();
  ASSERT_EQ(calls.size(), 9u);
  EXPECT_THAT(calls[7], StartsWith("DELETE /1.0/tokens/kvtctl-ann-"));
  EXPECT_EQ(mServer.requests()[7].cookie, "kvtSession=s3");
}

TEST_F(Access, ALogoutRevokesAndForgets) {
  letIn();
  mPerson.answers = {"a horse and a battery"};
  run(AccessCommand::kLogin, "ann");
  mOut.str("");
  EXPECT_EQ(run(AccessCommand::kLogout), ExitCode::kDone) << mErr.str();
  EXPECT_EQ(mOut.str(), "ann: logged out of http://server:8443\n");
  EXPECT_THAT(mServer.calls().back(), StartsWith("DELETE /1.0/tokens/kvtctl-ann-"));
  EXPECT_THAT(mServer.lastRequest().headers, Contains("Authorization: Bearer kvt_new"));
  EXPECT_EQ(token(), "");
  EXPECT_EQ(run(AccessCommand::kLogout), ExitCode::kRefused);
  EXPECT_EQ(mErr.str(), "kvtctl: nobody is logged in to http://server:8443\n");
}

TEST_F(Access, ALogoutSaysWhenTheTokenGoesOnBeingGood) {
  letIn();
  mPerson.answers = {"a horse and a battery"};
  run(AccessCommand::kLogin, "ann");
  mServer.failWith(httpclient::ErrorKind::kUnreachable, "refused");
  EXPECT_EQ(run(AccessCommand::kLogout), ExitCode::kUnreachable);
  EXPECT_THAT(mErr.str(), HasSubstr("logged out here, but the token kvtctl-ann-"));
  EXPECT_EQ(token(), "");
}

TEST_F(Access, TheEnvironmentsTokenGoesBefore) {
  letIn();
  mPerson.answers = {"a horse and a battery"};
  run(AccessCommand::kLogin, "ann");
  setenv("KVT_TOKEN", "kvt_given", 1);
  EXPECT_EQ(token(), "kvt_given");
  setenv("KVT_TOKEN", "", 1);
  EXPECT_EQ(token(), "kvt_new");
}

TEST_F(Access, ADamagedFileIsNoToken) {
  EXPECT_FALSE(mFiles.change(kTokens, [](json::Object&) {}));
  std::ofstream(mFiles.pathOf(kTokens)) << "[]";
  EXPECT_EQ(token(), "");
}

TEST_F(Access, ATokenIsMadePrintedListedAndRevoked) {
  mServer.answer("GET /1.0/session", 200, R"({"value": {"role": "viewer"}})");
  mServer.answer("POST /1.0/tokens", 200, R"({"value": {"name": "ci", "role": "viewer", "token": "kvt_1"}})");
  mServer.answer("GET /1.0/tokens", 200,
                 R"({"value": [{"name": "ci", "user": "ann", "role": "viewer", "created": "2026-11-21T16:50:00Z"}]})");
  mServer.answer("DELETE /1.0/tokens/ci", 200, R"({"status": {"code": 0, "desc": "Success"}})");
  EXPECT_EQ(run(AccessCommand::kTokenAdd, "ci"), ExitCode::kDone);
  EXPECT_EQ(mServer.calls().back(), R"(POST /1.0/tokens {"name":"ci","role":"viewer"})");
  EXPECT_EQ(run(AccessCommand::kTokenList), ExitCode::kDone);
  EXPECT_EQ(run(AccessCommand::kTokenRevoke, "ci"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(),
            "kvt_1\n"
            "NAME  USER  ROLE    CREATED               LAST USED\n"
            "ci    ann   viewer  2026-11-21T16:50:00Z  -\n"
            "ci: revoked\n");
}

TEST_F(Access, ATokenOfAnotherRoleIsAskedForByIt) {
  mServer.answer("POST /1.0/tokens", 200, R"({"value": {"name": "ci", "role": "viewer", "token": "kvt_1"}})");
  EXPECT_EQ(run(AccessCommand::kTokenAdd, "ci", false, Format::kJson, "viewer"), ExitCode::kDone);
  EXPECT_EQ(parsed(mOut.str()), parsed(R"({"name": "ci", "role": "viewer", "token": "kvt_1"})"));
}

TEST_F(Access, TrustIsAMatterOfTls) {
  EXPECT_EQ(run(AccessCommand::kTrust), ExitCode::kUsage);
  EXPECT_EQ(mErr.str(), "kvtctl: http://server:8443 has no certificate: it is not https\n");
}

TEST(LoginTokenName, IsFitForAName) {
  EXPECT_EQ(loginTokenName("ann", "One Host.example", "0123abcd"), "kvtctl-ann-One-Host-0123abcd");
  EXPECT_EQ(loginTokenName(std::string(32, 'u'), std::string(200, 'm'), "0123abcd").size(), 64u);
  EXPECT_EQ(loginTokenName("ann", "", "0123abcd"), "kvtctl-ann--0123abcd");
}

}  // namespace
}  // namespace cli
