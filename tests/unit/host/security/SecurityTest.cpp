#include <thread>
#include <vector>

#include "support/Wait.h"
#include "unit/host/security/SecurityFixture.h"

namespace {

using namespace host_test;
using testing::HasSubstr;
using testing::Not;

class SecurityTest : public SecurityFixture {};

TEST_F(SecurityTest, AsksForALoginFirst) {
  startWithAccounts();
  for (const auto& [method, target] :
       {std::pair{"GET", "/1.0/servers"}, std::pair{"POST", "/1.0/servers"}, std::pair{"GET", "/1.0/nothing"},
        std::pair{"DELETE", "/1.0/session"}, std::pair{"GET", "/1.0/tokens"}, std::pair{"OPTIONS", "/1.0/servers"}}) {
    const Answer answer = ask({}, method, target);
    EXPECT_EQ(answer.status, 401) << target;
    EXPECT_EQ(answer.body, R"({"status":{"code":401,"desc":"Log in first"}})");
    EXPECT_EQ(headerOf(answer, "WWW-Authenticate"), "Bearer");
  }
}

TEST_F(SecurityTest, LeavesOpenWhatIsOpen) {
  startWithAccounts();
  EXPECT_EQ(ask({}, "GET", "/healthz").body, "reached");
  EXPECT_EQ(ask({}, "HEAD", "/1.0/servers/self").body, "reached");
  EXPECT_EQ(mResources.last.user, "");
  EXPECT_EQ(mResources.last.role, Role::kNobody);
  EXPECT_EQ(ask({}, "GET", "/1.0/se rvers").status, 400);
}

TEST_F(SecurityTest, LetsAnOperatorDoEverything) {
  startWithAccounts();
  const Client admin = loggedIn("admin");
  EXPECT_EQ(read(admin), 200);
  EXPECT_EQ(write(admin), 200);
  EXPECT_EQ(mResources.last.user, "admin");
  EXPECT_EQ(mResources.last.role, Role::kOperator);
  EXPECT_TRUE(mResources.last.isStillAllowed());
}

TEST_F(SecurityTest, LetsAViewerRead) {
  startWithAccounts();
  const Client guest = loggedIn("guest");
  EXPECT_EQ(read(guest), 200);
  const Answer answer = ask(guest, "POST", "/1.0/other");
  EXPECT_EQ(answer.status, 403);
  EXPECT_EQ(textOf(answer, {"status", "desc"}), "That takes the role operator, and guest has the role viewer");
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "Access: POST /1.0/other of guest from 192.0.2.7 was refused (403)"));
}

TEST_F(SecurityTest, GivesACookieThatNothingElseGetsAt) {
  startWithAccounts();
  Client client;
  const Answer answer = login(client, "admin");
  EXPECT_THAT(headerOf(answer, "Set-Cookie"),
              testing::MatchesRegex("kvtSession=[A-Za-z0-9_-]{43}; Path=/; HttpOnly; SameSite=Strict; Secure"));
  EXPECT_EQ(headerOf(answer, "Cache-Control"), "no-store");
  client.isSecure = false;
  EXPECT_THAT(headerOf(login(client, "admin"), "Set-Cookie"), Not(HasSubstr("Secure")));
}

TEST_F(SecurityTest, GivesACookieForItsPathAlone) {
  ASSERT_FALSE(mAccounts.add("admin", "operator", kPassword));
  start("https://server.example/kvt/");
  const Answer answer = ask({}, "POST", "/kvt/1.0/session", credentials("admin"));
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(headerOf(answer, "Set-Cookie"), HasSubstr("; Path=/kvt;"));
}

TEST_F(SecurityTest, TellsWhoIsLoggedIn) {
  startWithAccounts();
  const Answer nobody = ask({}, "GET", "/1.0/session");
  EXPECT_EQ(nobody.status, 200);
  EXPECT_EQ(nobody.body, R"({"status":{"code":0,"desc":"Success"},"value":)"
                         R"({"user":"","role":"none","csrfToken":"","expires":"","setup":"done"}})");
  const Client guest = loggedIn("guest");
  const Answer answer = ask(guest, "GET", "/1.0/session");
  EXPECT_EQ(textOf(answer, {"value", "user"}), "guest");
  EXPECT_EQ(textOf(answer, {"value", "role"}), "viewer");
  EXPECT_EQ(textOf(answer, {"value", "csrfToken"}), guest.csrf);
  EXPECT_THAT(textOf(answer, {"value", "expires"}), testing::MatchesRegex("20.*T.*Z"));
}

TEST_F(SecurityTest, RefusesAWrongPasswordAndAnUnknownUserAlike) {
  startWithAccounts();
  const Answer wrong = login({}, "admin", kNewPassword);
  const Answer unknown = login({}, "nobody");
  EXPECT_EQ(wrong.status, 401);
  EXPECT_EQ(wrong.body, R"({"status":{"code":401,"desc":"The user name or the password is wrong"}})");
  EXPECT_EQ(unknown.status, 401);
  EXPECT_EQ(unknown.body, wrong.body);
  EXPECT_EQ(headerOf(wrong, "Set-Cookie"), "");
  EXPECT_EQ(login({}, "Not A Name").body, wrong.body);
}

TEST_F(SecurityTest, LogsNeitherPasswordsNorTokensNorWhatMayBeOne) {
  startWithAccounts();
  const Client admin = loggedIn("admin");
  (void)login({}, "admin", kNewPassword);
  (void)login({}, kNewPassword, kNewPassword);
  const Answer made = ask(admin, "POST", "/1.0/tokens", R"({"name":"script","role":"viewer"})");
  Client wrong;
  wrong.bearer = "Bearer kvt_secretsecret";
  EXPECT_EQ(write(wrong), 401);
  for (const std::string& secret : {std::string(kPassword), std::string(kNewPassword), admin.cookie.substr(11),
                                    admin.csrf, textOf(made, {"value", "token"}), std::string("secretsecret")}) {
    ASSERT_GT(secret.size(), 10U);
    EXPECT_FALSE(mLog.containsPart(secret)) << secret;
  }
  EXPECT_TRUE(mLog.has(utils::LOG_INVENTORY, "Access: admin has logged in from 192.0.2.7"));
  EXPECT_TRUE(mLog.has(utils::LOG_INVENTORY, "Access: admin has made the token script (viewer) from 192.0.2.7"));
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "Access: a login as admin from 192.0.2.7 failed"));
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "Access: a login as an unknown user from 192.0.2.7 failed"));
}

TEST_F(SecurityTest, SaysWhatALoginMustHold) {
  startWithAccounts();
  for (const char* body : {"", "{}", "[]", "x", R"({"user":"admin"})", R"({"user":"admin","password":1})",
                           R"({"user":["admin"],"password":"x"})"}) {
    EXPECT_EQ(ask({}, "POST", "/1.0/session", body).status, 400) << body;
  }
}

TEST_F(SecurityTest, LocksOutWhoFailsTooOften) {
  mSettings.access.loginAttempts = 2;
  startWithAccounts();
  EXPECT_EQ(login({}, "admin", kNewPassword).status, 401);
  EXPECT_EQ(login({}, "admin", kNewPassword).status, 401);
  const Answer answer = login({}, "admin");
  EXPECT_EQ(answer.status, 429);
  EXPECT_GT(std::stol(headerOf(answer, "Retry-After")), 800);
  EXPECT_EQ(headerOf(answer, "Set-Cookie"), "");
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "Access: logins as admin from 192.0.2.7 are locked out"));
  Client elsewhere;
  elsewhere.address = "192.0.2.8";
  EXPECT_EQ(login(elsewhere, "admin").status, 200);
}

TEST_F(SecurityTest, WantsTheTokenOfTheSessionForAWrite) {
  startWithAccounts();
  Client admin = loggedIn("admin");
  const std::string csrf = admin.csrf;
  for (const std::string& wrong : {std::string(), std::string("x"), csrf + "x", csrf.substr(1), admin.cookie}) {
    admin.csrf = wrong;
    EXPECT_EQ(write(admin), 403) << wrong;
    EXPECT_EQ(ask(admin, "DELETE", "/1.0/session").status, 403);
    EXPECT_EQ(read(admin), 200);
  }
  admin.csrf = csrf;
  EXPECT_EQ(write(admin), 200);
}

TEST_F(SecurityTest, RefusesTheWritesOfOtherPages) {
  startWithAccounts();
  Client admin = loggedIn("admin");
  Client script = withToken("admin", "operator");
  for (Client* client : {&admin, &script}) {
    client->origin = "https://evil.example";
    EXPECT_EQ(write(*client), 403);
    EXPECT_EQ(read(*client), 200);
    client->origin = "https://server.example:8443";
    EXPECT_EQ(write(*client), 200);
    client->fetchSite = "cross-site";
    EXPECT_EQ(write(*client), 403);
    client->fetchSite = "same-origin";
    EXPECT_EQ(write(*client), 200);
  }
  Client stranger;
  stranger.origin = "https://evil.example";
  EXPECT_EQ(login(stranger, "admin").status, 403);
}

TEST_F(SecurityTest, RefusesTheWritesOfOtherPagesAlsoWhereNobodyLogsIn) {
  mSettings.access.anonymous = Role::kOperator;
  start();
  Client client;
  EXPECT_EQ(write(client), 200);
  client.origin = "https://evil.example";
  EXPECT_EQ(write(client), 403);
}

TEST_F(SecurityTest, EndsASessionWithItsLogout) {
  startWithAccounts();
  const Client admin = loggedIn("admin");
  EXPECT_EQ(read(admin), 200);
  const auto holds = mResources.last.isStillAllowed;
  const Answer answer = ask(admin, "DELETE", "/1.0/session");
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(headerOf(answer, "Set-Cookie"), HasSubstr("kvtSession=; Max-Age=0; Path=/; HttpOnly"));
  EXPECT_EQ(read(admin), 401);
  EXPECT_FALSE(holds());
  EXPECT_TRUE(mLog.has(utils::LOG_INVENTORY, "Access: admin has logged out from 192.0.2.7"));
}

TEST_F(SecurityTest, TakesAnotherSessionAtTheNextLogin) {
  startWithAccounts();
  const Client before = loggedIn("admin");
  Client after = before;
  take(after, login(before, "admin"));
  EXPECT_NE(after.cookie, before.cookie);
  EXPECT_EQ(read(before), 401);
  EXPECT_EQ(read(after), 200);
}

TEST_F(SecurityTest, EndsTheSessionsOfAnAccountThatIsRemovedOrHasANewPassword) {
  startWithAccounts();
  const Client guest = loggedIn("guest");
  const Client admin = loggedIn("admin");
  EXPECT_EQ(read(admin), 200);
  const auto holds = mResources.last.isStillAllowed;
  ASSERT_FALSE(mAccounts.setPassword("admin", kNewPassword));
  EXPECT_FALSE(holds());
  EXPECT_EQ(read(admin), 401);
  EXPECT_EQ(read(guest), 200);
  ASSERT_FALSE(mAccounts.remove("guest"));
  ASSERT_FALSE(mAccounts.add("guest", "viewer", kPassword));
  EXPECT_EQ(read(guest), 401) << "another account of the same name";
}

TEST_F(SecurityTest, TakesOverAChangedRoleAtOnce) {
  startWithAccounts();
  const Client admin = loggedIn("admin");
  EXPECT_EQ(write(admin), 200);
  const auto holds = mResources.last.isStillAllowed;
  ASSERT_FALSE(mAccounts.setRole("admin", "viewer"));
  EXPECT_FALSE(holds());
  EXPECT_EQ(write(admin), 403);
  EXPECT_EQ(read(admin), 200);
}

TEST_F(SecurityTest, MakesTheFirstAccountFromTheMachineItself) {
  start();
  Client local = localClient();
  EXPECT_EQ(textOf(ask(local, "GET", "/1.0/session"), {"value", "setup"}), "open");
  EXPECT_EQ(textOf(ask({}, "GET", "/1.0/session"), {"value", "setup"}), "loopback");
  const Answer answer = ask(local, "POST", "/1.0/setup", credentials("admin"));
  EXPECT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(textOf(answer, {"value", "user"}), "admin");
  EXPECT_EQ(textOf(answer, {"value", "role"}), "operator");
  EXPECT_EQ(textOf(answer, {"value", "setup"}), "done");
  take(local, answer);
  EXPECT_EQ(write(local), 200);
  EXPECT_TRUE(mLog.has(utils::LOG_INVENTORY, "Access: the first account, admin, was made from 127.0.0.1"));
  EXPECT_EQ(ask(localClient(), "POST", "/1.0/setup", credentials("second")).status, 409);
  EXPECT_EQ(login({}, "admin").status, 200);
}

TEST_F(SecurityTest, ReadsNoLongBodyBeforeItKnowsWhoSendsIt) {
  start();
  const std::string atMost(4096, '[');
  const std::string tooLong(4097, '[');
  EXPECT_EQ(ask(localClient(), "POST", "/1.0/setup", atMost).status, 400);
  EXPECT_EQ(ask(localClient(), "POST", "/1.0/setup", tooLong).status, 413);
  EXPECT_EQ(ask({}, "POST", "/1.0/session", atMost).status, 400);
  EXPECT_EQ(ask({}, "POST", "/1.0/session", tooLong).status, 413);
  ASSERT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const Client admin = withToken("admin", "operator");
  EXPECT_EQ(ask(admin, "POST", "/1.0/tokens", atMost).status, 400);
  EXPECT_EQ(ask(admin, "POST", "/1.0/tokens", tooLong).status, 413);
}

TEST_F(SecurityTest, MakesTheFirstAccountFromNowhereElse) {
  start();
  Client elsewhere = localClient();
  elsewhere.address = "192.0.2.7";
  Client proxied = localClient();
  proxied.isForwarded = true;
  Client rebound = localClient();
  rebound.host = "evil.example";
  Client page = localClient();
  page.origin = "http://evil.example";
  for (const Client& client : {elsewhere, proxied, rebound, page}) {
    EXPECT_EQ(ask(client, "POST", "/1.0/setup", credentials("admin")).status, 403);
  }
  EXPECT_TRUE(mAccounts.read().book->accounts.empty());
}

TEST_F(SecurityTest, SaysWhatIsWrongWithTheFirstAccount) {
  start();
  const Answer weak = ask(localClient(), "POST", "/1.0/setup", credentials("admin", "short"));
  EXPECT_EQ(weak.status, 400);
  EXPECT_EQ(textOf(weak, {"status", "desc"}), "A password has at least 12 characters");
  EXPECT_EQ(ask(localClient(), "POST", "/1.0/setup", credentials("Admin")).status, 400);
  EXPECT_EQ(ask(localClient(), "POST", "/1.0/setup", "{}").status, 400);
}

TEST_F(SecurityTest, LetsNobodyInByAFileThatIsNotInOrder) {
  startWithAccounts();
  const Client admin = loggedIn("admin");
  const Client script = withToken("admin", "operator");
  mDirectory.write(state::Accounts::kFileName, "{}");
  EXPECT_EQ(read(admin), 401);
  EXPECT_EQ(read(script), 401);
  const Answer answer = login({}, "admin");
  EXPECT_EQ(answer.status, 503);
  EXPECT_THAT(answer.body, Not(HasSubstr(mDirectory.path())));
  EXPECT_EQ(textOf(ask(localClient(), "GET", "/1.0/session"), {"value", "setup"}), "done");
  EXPECT_EQ(ask(localClient(), "POST", "/1.0/setup", credentials("evil")).status, 503);
  EXPECT_EQ(mLog.count("Access: nobody can log in: " + mDirectory.pathOf("accounts.json") +
                       " cannot be used: its format is not 1"),
            1U);
}

TEST_F(SecurityTest, SaysAtTheStartThatTheAccountsAreNotInOrder) {
  mDirectory.write(state::Accounts::kFileName, "");
  start();
  EXPECT_TRUE(mLog.containsPart("Access: nobody can log in: " + mDirectory.pathOf("accounts.json")));
}

TEST_F(SecurityTest, GivesEverybodyTheRoleOfTheSettings) {
  mSettings.access.anonymous = Role::kViewer;
  startWithAccounts();
  EXPECT_EQ(read({}), 200);
  EXPECT_EQ(mResources.last.role, Role::kViewer);
  const auto holds = mResources.last.isStillAllowed;
  EXPECT_TRUE(holds());
  EXPECT_EQ(write({}), 401);
  auto access = mSettings.access;
  access.anonymous = Role::kNobody;
  mSecurity->reload(access);
  EXPECT_FALSE(holds());
  EXPECT_EQ(read({}), 401);
  access.anonymous = Role::kOperator;
  mSecurity->reload(access);
  EXPECT_EQ(write({}), 200);
  EXPECT_EQ(write(loggedIn("guest")), 200);
}

TEST_F(SecurityTest, NeedsNoSetupWhereEverybodyMayDoEverything) {
  mSettings.access.anonymous = Role::kOperator;
  start();
  EXPECT_EQ(textOf(ask(localClient(), "GET", "/1.0/session"), {"value", "setup"}), "done");
  EXPECT_EQ(textOf(ask({}, "GET", "/1.0/session"), {"value", "role"}), "operator");
}

TEST_F(SecurityTest, AnswersManyLoginsAtOnce) {
  mSettings.access.loginAttempts = 100;
  startWithAccounts();
  std::vector<std::future<Answer>> answers;
  for (int i = 0; i < 30; ++i) {
    answers.push_back(std::async(std::launch::async, [this, i] {
      Client client;
      client.address = "198.51.100." + std::to_string(i);
      return login(client, i % 2 == 0 ? "admin" : "nobody");
    }));
  }
  int busy = 0;
  for (auto& each : answers) {
    const Answer answer = each.get();
    EXPECT_THAT(answer.status, testing::AnyOf(200, 401, 503));
    if (answer.status != 503) continue;
    ++busy;
    EXPECT_EQ(headerOf(answer, "Retry-After"), "1");
  }
  EXPECT_GT(busy, 0);
  EXPECT_LT(busy, 30);
  EXPECT_EQ(login({}, "admin").status, 200);
}

TEST_F(SecurityTest, TakesARefusedRequestForNoUseOfASession) {
  mSettings.access.sessionIdle = std::chrono::milliseconds(1500);
  startWithAccounts();
  Client admin = loggedIn("admin");
  admin.csrf = "";
  EXPECT_TRUE(support::waitFor([&] { return write(admin) == 401; })) << "it ends, however often that is tried";
}

TEST_F(SecurityTest, NotesWhoHasChangedWhatAtEveryLevelOfTheLog) {
  startWithAccounts();
  const Client admin = loggedIn("admin");
  utils::logging::setMask(utils::LOG_ERROR);
  (void)ask(admin, "POST", "/1.0/other", R"({"a":"b"})");
  (void)read(admin);
  EXPECT_TRUE(
      mLog.has(utils::LOG_INVENTORY, R"(Access: admin from 192.0.2.7: POST /1.0/other {"a":"b"} was answered 200)"));
  EXPECT_FALSE(mLog.containsPart("GET"));
  (void)ask(admin, "DELETE", "/1.0/session");
  EXPECT_TRUE(mLog.has(utils::LOG_INVENTORY, "Access: admin has logged out from 192.0.2.7"));
}

}  // namespace
